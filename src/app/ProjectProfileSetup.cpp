#include "app/ProjectProfileSetup.h"

#include "app/ProjectTitle.h"

namespace tessiva {

std::optional<std::string> ProjectProfileSetup::missingProjectProfile(
    const std::optional<std::string>& projectTitle, const std::filesystem::path& loadedFile,
    const std::filesystem::path& profilesFolder,
    const std::function<bool(const std::filesystem::path&)>& exists) {
    if (!projectTitle)
        return std::nullopt;
    const std::string name = ProjectTitle::profileFileName(*projectTitle);
    if (name.empty())
        return std::nullopt;
    if (!loadedFile.empty() && ProjectTitle::keyForBaseName(loadedFile.stem().string()) ==
                                   ProjectTitle::projectKey(*projectTitle)) {
        return std::nullopt;
    }
    if (exists(profilesFolder / name))
        return std::nullopt;
    return name;
}

std::string ProjectProfileSetup::proposedSaveAsName(const std::optional<std::string>& projectTitle,
                                                    const std::string& fallback) {
    if (projectTitle) {
        const std::string name = ProjectTitle::profileFileName(*projectTitle);
        if (!name.empty())
            return name;
    }
    return fallback;
}

}  // namespace tessiva
