#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "mapping/MappingProfileSnapshot.h"
#include "runtime/Clock.h"
#include "runtime/Status.h"

namespace tessiva {

inline constexpr const char* kDefaultProfileFileName = "Tessiva Focus Mappings.json";
// The name older builds used in the same folder; read once, then written back under the default.
inline constexpr const char* kLegacyProfileFileName = "TessivaFocus_Mappings.json";

// What reading a profile file found. A missing file is normal on first start.
enum class ProfileReadOutcome { loaded, missing, unreadable };
inline constexpr std::size_t kProfileReadOutcomeCount = 3;
inline constexpr std::array<std::string_view, kProfileReadOutcomeCount> kProfileReadOutcomeNames{
    "loaded", "missing", "unreadable"};
static_assert(kProfileReadOutcomeNames.size() ==
                  static_cast<std::size_t>(ProfileReadOutcome::unreadable) + 1,
              "one name per ProfileReadOutcome");

struct ProfileReadResult {
    ProfileReadOutcome outcome = ProfileReadOutcome::missing;
    std::optional<MappingProfileSnapshot> snapshot;  // set when loaded
    std::string error;                               // set when unreadable
};

// Where the store's profile lives and which file to read at start-up.
struct ProfileFileChoice {
    std::filesystem::path target;    // the store's own file, always written under this name
    std::filesystem::path readFrom;  // the file to read now (the legacy file during migration)
    bool fromLegacy = false;
};

// Profile files on disk: choosing the file, reading and decoding it, writing it atomically and
// setting an unreadable one aside. Stateless; MappingStore and MappingProfileLibrary call it on
// the main queue. Tests use real files in temporary folders.
class MappingProfileFile {
  public:
    // Reads the default name when present, else the legacy name when present, else the default;
    // any other requested name is read as is.
    static ProfileFileChoice choose(const std::filesystem::path& folder,
                                    const std::string& requestedName);

    static ProfileReadResult read(const std::filesystem::path& file);
    static Status write(const std::filesystem::path& file, const MappingProfileSnapshot& snapshot);

    // "<stem>.unreadable-<yyyyMMdd-HHmmss>.json" beside `file` (local time); a numeric suffix
    // keeps an earlier set-aside of the same second.
    static std::filesystem::path setAsidePath(const std::filesystem::path& file, Date now);
    // Moves a regular `file` to setAsidePath; returns where it went. Folders and other
    // non-files are never moved.
    static std::optional<std::filesystem::path> setAside(const std::filesystem::path& file,
                                                         Date now, std::string* error = nullptr);

    // The name offered by "Save Mappings As…": the current file's name or "Tessiva Mappings.json",
    // trimmed, ending in ".json".
    static std::string proposedSaveName(const std::optional<std::filesystem::path>& current);
};

}  // namespace tessiva
