#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace tessiva {

// Where "Save Current + Load" may put the mappings in memory before another project's profile is
// loaded. The mappings belong to the file they were loaded from, not to whichever project Logic
// showed last: after Song's profile was loaded and the user passed through Cue on the way to
// Third, writing "Cue.json" would hand Song's mappings to Cue. So:
// - mappings loaded from the previous project's own profile go to that project's profile;
// - mappings loaded from a file of no or another project go back to that file;
// - with no loaded file, the previous project's profile is created, never overwritten;
// - nothing is written over the profile about to be loaded.
// Pure; main queue callers. Tests give `exists` a fixed answer.
struct RecallSaveTarget {
    enum class Kind { previousProjectProfile, loadedFile, refused };

    Kind kind = Kind::refused;
    std::filesystem::path file;
    // Why nothing may be written (refused), for the event log.
    std::string refusal;

    static RecallSaveTarget decide(const std::optional<std::string>& previousTitle,
                                   const std::filesystem::path& loadedFile,
                                   const std::string& newTitle,
                                   const std::filesystem::path& profilesFolder,
                                   const std::function<bool(const std::filesystem::path&)>& exists);
};

}  // namespace tessiva
