#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tessiva {

// The first-run question: does the open Logic project still need a profile of its own? Until it
// has one, every click is blocked by the project gate, so the menu and the setup guide offer to
// create "<project>.json" from the current mappings. Pure; tests give `exists` fixed answers.
struct ProjectProfileSetup {
    // "<project>.json" when a project is open, the loaded profile is not that project's, and the
    // project's own file does not exist in `profilesFolder`; otherwise nothing to create.
    static std::optional<std::string> missingProjectProfile(
        const std::optional<std::string>& projectTitle, const std::filesystem::path& loadedFile,
        const std::filesystem::path& profilesFolder,
        const std::function<bool(const std::filesystem::path&)>& exists);
    // The save panel's proposal: "<project>.json" while a project is open, else `fallback`.
    static std::string proposedSaveAsName(const std::optional<std::string>& projectTitle,
                                          const std::string& fallback);
};

}  // namespace tessiva
