#include "mapping/MappingProfileLibrary.h"

#include <fmt/format.h>

#include <algorithm>

#include "mapping/DebugLogStore.h"
#include "mapping/MappingProfileFile.h"
#include "mapping/MappingStore.h"
#include "runtime/Console.h"
#include "runtime/UserDefaults.h"

namespace tessiva {

namespace fs = std::filesystem;

namespace {

std::string recentKey(const fs::path& file) {
    return file.lexically_normal().string();
}

}  // namespace

MappingProfileLibrary::MappingProfileLibrary(MappingStore& store, UserDefaults& defaults,
                                             Console& console, DebugLogStore& log,
                                             fs::path profileFolder)
    : store_(store),
      defaults_(defaults),
      console_(console),
      log_(log),
      folder_(std::move(profileFolder)) {}

std::string MappingProfileLibrary::proposedSaveName() const {
    const fs::path& current = store_.fileURL();
    return MappingProfileFile::proposedSaveName(current.empty() ? std::nullopt
                                                                : std::optional<fs::path>(current));
}

ProfileActionResult MappingProfileLibrary::save() {
    return saveAs(store_.fileURL());
}

ProfileActionResult MappingProfileLibrary::saveAs(const fs::path& file) {
    if (file.empty())
        return saveFailed(file, "no file chosen");
    const Status status = store_.saveAs(file);
    if (!status.ok())
        return saveFailed(file, status.error());
    console_.line("[MenuBar] Saved mappings to " + file.string());
    log_.log("Mappings profile saved", "Saved mappings to " + file.string());
    noteRecentPath(file);
    ProfileActionResult result;
    result.ok = true;
    result.path = file;
    return result;
}

ProfileActionResult MappingProfileLibrary::saveFailed(const fs::path& file,
                                                      const std::string& error) {
    console_.line("[MenuBar] Failed to save mappings profile: " + error);
    log_.log("Mappings profile save failed",
             fmt::format("Could not save mappings to {}. Error: {}", file.string(), error));
    ProfileActionResult result;
    result.path = file;
    result.alert = ProfileAlert{"Failed to save mappings",
                                "The mappings profile could not be written.\n\nError: " + error};
    return result;
}

ProfileActionResult MappingProfileLibrary::load(const fs::path& file) {
    ProfileActionResult result;
    result.path = file;
    const Status status = store_.load(file);
    if (!status.ok()) {
        console_.line("[MenuBar] Failed to load mappings profile: " + status.error());
        log_.log("Mappings profile load failed",
                 fmt::format("Could not load {}. Error: {}", file.string(), status.error()));
        result.alert = ProfileAlert{
            "Failed to load mappings",
            "The selected mappings profile could not be opened.\n\nError: " + status.error()};
        return result;
    }
    console_.line("[MenuBar] Mappings profile manually loaded: " + file.string());
    log_.log("Mappings profile loaded",
             "Mappings profile loaded. Refreshing live Logic track names to verify sync with the "
             "current project.");
    noteRecentPath(file);
    result.ok = true;
    result.shouldRefreshLiveTrackNames = true;
    return result;
}

std::vector<std::string> MappingProfileLibrary::recentPaths() const {
    // The list may have been edited by hand: drop blanks and repeats, keep the limit.
    std::vector<std::string> paths;
    for (const std::string& path : defaults_.stringList(kRecentMappingsProfilePathsKey)) {
        if (path.empty() || std::find(paths.begin(), paths.end(), path) != paths.end())
            continue;
        paths.push_back(path);
        if (paths.size() == kMaxRecentPaths)
            break;
    }
    return paths;
}

void MappingProfileLibrary::noteRecentPath(const fs::path& file) {
    const std::string key = recentKey(file);
    std::vector<std::string> paths{key};
    for (std::string& path : recentPaths()) {
        if (path == key)
            continue;
        if (paths.size() == kMaxRecentPaths)
            break;
        paths.push_back(std::move(path));
    }
    defaults_.setStringList(kRecentMappingsProfilePathsKey, std::move(paths));
}

}  // namespace tessiva
