#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tessiva {

class Console;
class DebugLogStore;
class MappingStore;
class UserDefaults;

inline constexpr const char* kRecentMappingsProfilePathsKey = "tessiva.recentMappingsProfilePaths";

// The texts of an alert the menu shows after a failed file action.
struct ProfileAlert {
    std::string title;
    std::string text;
};

struct ProfileActionResult {
    bool ok = false;
    std::filesystem::path path;
    std::optional<ProfileAlert> alert;  // set on failure
    // A loaded profile must be checked against the live Logic track names.
    bool shouldRefreshLiveTrackNames = false;
};

// The profile file actions of the menu: "Save Mappings", "Save Mappings As…", "Load Mappings"
// and its recent-files submenu. Each action is logged to the console and the event log; failures
// come back with the alert to show, since the windows belong to the shell. Main queue only.
// Tests use the real class with InMemoryUserDefaults and a temporary folder.
class MappingProfileLibrary {
  public:
    static constexpr std::size_t kMaxRecentPaths = 10;

    MappingProfileLibrary(MappingStore& store, UserDefaults& defaults, Console& console,
                          DebugLogStore& log, std::filesystem::path profileFolder);
    MappingProfileLibrary(const MappingProfileLibrary&) = delete;
    MappingProfileLibrary& operator=(const MappingProfileLibrary&) = delete;

    // Where the save and open panels start.
    const std::filesystem::path& profileFolder() const { return folder_; }
    // The save panel's proposal: the current profile's name or "Tessiva Mappings.json".
    std::string proposedSaveName() const;

    ProfileActionResult save();
    ProfileActionResult saveAs(const std::filesystem::path& file);
    ProfileActionResult load(const std::filesystem::path& file);

    // Most recent first, at most kMaxRecentPaths, no duplicates.
    std::vector<std::string> recentPaths() const;
    void noteRecentPath(const std::filesystem::path& file);

  private:
    ProfileActionResult saveFailed(const std::filesystem::path& file, const std::string& error);

    MappingStore& store_;
    UserDefaults& defaults_;
    Console& console_;
    DebugLogStore& log_;
    std::filesystem::path folder_;
};

}  // namespace tessiva
