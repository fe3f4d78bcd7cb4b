#include "app/RecallSaveTarget.h"

#include "app/ProjectTitle.h"

namespace tessiva {

RecallSaveTarget RecallSaveTarget::decide(
    const std::optional<std::string>& previousTitle, const std::filesystem::path& loadedFile,
    const std::string& newTitle, const std::filesystem::path& profilesFolder,
    const std::function<bool(const std::filesystem::path&)>& exists) {
    auto refuse = [](std::string why) {
        RecallSaveTarget target;
        target.refusal = std::move(why);
        return target;
    };
    const std::string newKey = ProjectTitle::projectKey(newTitle);
    const std::string previousName =
        previousTitle ? ProjectTitle::profileFileName(*previousTitle) : std::string();
    const std::filesystem::path previousFile =
        previousName.empty() ? std::filesystem::path() : profilesFolder / previousName;

    if (!loadedFile.empty()) {
        const std::string loadedKey = ProjectTitle::keyForBaseName(loadedFile.stem().string());
        if (loadedKey == newKey) {
            return refuse("The current mappings came from " + loadedFile.filename().string() +
                          ", the profile of " + ProjectTitle::baseName(newTitle) +
                          " that is about to be loaded; saving them would overwrite it.");
        }
        if (!previousFile.empty() && loadedKey == ProjectTitle::projectKey(*previousTitle))
            return {Kind::previousProjectProfile, previousFile, {}};
        return {Kind::loadedFile, loadedFile, {}};
    }
    if (previousFile.empty()) {
        return refuse("Could not derive a project mapping filename from title " +
                      previousTitle.value_or(""));
    }
    if (exists(previousFile)) {
        return refuse("The current mappings were not loaded from " +
                      previousFile.filename().string() + "; it belongs to " +
                      ProjectTitle::baseName(*previousTitle) + " and was left as it is.");
    }
    return {Kind::previousProjectProfile, previousFile, {}};
}

}  // namespace tessiva
