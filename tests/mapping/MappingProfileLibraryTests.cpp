#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mapping/MappingProfileLibrary.h"
#include "runtime/AtomicFile.h"
#include "runtime/UserDefaults.h"
#include "support/StoreHarness.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

struct LibraryHarness : StoreHarness {
    TempFolder folder;
    InMemoryUserDefaults defaults;
    MappingProfileLibrary library{store, defaults, console, log, folder.path()};
};

TEST(MappingProfileLibrary, RecentPathsMostRecentFirstAtMostTenNoRepeats) {
    LibraryHarness h;
    EXPECT_TRUE(h.library.recentPaths().empty());
    for (int i = 1; i <= 12; ++i)
        h.library.noteRecentPath("/profiles/p" + std::to_string(i) + ".json");
    std::vector<std::string> expected;
    for (int i = 12; i >= 3; --i)
        expected.push_back("/profiles/p" + std::to_string(i) + ".json");
    EXPECT_EQ(h.library.recentPaths(), expected);
    EXPECT_EQ(h.defaults.stringList(kRecentMappingsProfilePathsKey), expected);

    // Using an older one moves it to the front; the same file spelled differently is one entry.
    h.library.noteRecentPath("/profiles/./p5.json");
    std::erase(expected, "/profiles/p5.json");
    expected.insert(expected.begin(), "/profiles/p5.json");
    EXPECT_EQ(h.library.recentPaths(), expected);

    // A hand-edited list with blanks and repeats reads cleanly.
    h.defaults.setStringList(kRecentMappingsProfilePathsKey, {"/a.json", "", "/a.json", "/b.json"});
    EXPECT_EQ(h.library.recentPaths(), (std::vector<std::string>{"/a.json", "/b.json"}));
}

TEST(MappingProfileLibrary, SaveAsAndLoadReportInTheirOwnWords) {
    LibraryHarness h;
    EXPECT_EQ(h.library.proposedSaveName(), "Tessiva Mappings.json");
    h.store.open(h.folder.path());
    EXPECT_EQ(h.library.proposedSaveName(), "Tessiva Focus Mappings.json");
    EXPECT_EQ(MappingProfileFile::proposedSaveName(fs::path("/x/ Song ")), "Song.json");
    EXPECT_EQ(MappingProfileFile::proposedSaveName(fs::path("/x/Song.JSON")), "Song.JSON");

    MIDIMapping m;
    m.programChange = 4;
    m.trackName = "Oboe";
    ASSERT_TRUE(h.store.setMIDIMapping(2, m).ok());

    {
        SCOPED_TRACE("save as: written, becomes the current file, remembered");
        const fs::path target = h.folder / "Song.json";
        const ProfileActionResult saved = h.library.saveAs(target);
        ASSERT_TRUE(saved.ok);
        EXPECT_FALSE(saved.alert.has_value());
        EXPECT_TRUE(h.console.contains("[MenuBar] Saved mappings to " + target.string()));
        EXPECT_TRUE(h.logged("Mappings profile saved"));
        EXPECT_EQ(h.library.recentPaths().front(), target.string());
        EXPECT_EQ(h.library.proposedSaveName(), "Song.json");
    }
    {
        SCOPED_TRACE("save as onto a folder: refused with the alert texts, current file kept");
        const fs::path folderTarget = h.folder / "folder.json";
        fs::create_directories(folderTarget);
        const ProfileActionResult failed = h.library.saveAs(folderTarget);
        ASSERT_FALSE(failed.ok);
        ASSERT_TRUE(failed.alert.has_value());
        EXPECT_EQ(failed.alert->title, "Failed to save mappings");
        EXPECT_TRUE(failed.alert->text.starts_with(
            "The mappings profile could not be written.\n\nError: "));
        EXPECT_TRUE(h.console.contains("[MenuBar] Failed to save mappings profile: "));
        EXPECT_TRUE(h.logged("Mappings profile save failed"));
        EXPECT_EQ(h.store.fileURL(), h.folder / "Song.json");
        EXPECT_NE(h.library.recentPaths().front(), folderTarget.string());
    }
    {
        SCOPED_TRACE("load: replaces the maps and asks for a live refresh");
        MappingProfileSnapshot other;
        other.trackIndexToPC = {{0, 1}, {5, 2}, {40, 3}};
        const fs::path source = h.folder / "Other.json";
        ASSERT_TRUE(MappingProfileFile::write(source, other).ok());
        const ProfileActionResult loaded = h.library.load(source);
        ASSERT_TRUE(loaded.ok);
        EXPECT_TRUE(loaded.shouldRefreshLiveTrackNames);
        EXPECT_EQ(h.store.snapshot(), other);
        EXPECT_TRUE(
            h.console.contains("[MenuBar] Mappings profile manually loaded: " + source.string()));
        const auto* entry = h.entry("Mappings profile loaded");
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->detail,
                  "Mappings profile loaded. Refreshing live Logic track names to verify sync with "
                  "the current project.");
        EXPECT_EQ(h.library.recentPaths().front(), source.string());
    }
    {
        // The store's own tests show a failed load changes nothing.
        SCOPED_TRACE("load of a broken file: alert");
        const fs::path broken = h.folder / "Broken.json";
        ASSERT_TRUE(writeFileAtomically(broken, "{\"version\":1,").ok());
        const ProfileActionResult failed = h.library.load(broken);
        ASSERT_FALSE(failed.ok);
        EXPECT_FALSE(failed.shouldRefreshLiveTrackNames);
        ASSERT_TRUE(failed.alert.has_value());
        EXPECT_EQ(failed.alert->title, "Failed to load mappings");
        EXPECT_TRUE(
            failed.alert->text.starts_with("The selected mappings profile could not be "
                                           "opened.\n\nError: invalid JSON at byte offset"));
        EXPECT_TRUE(h.console.contains("[MenuBar] Failed to load mappings profile: invalid JSON"));
        EXPECT_NE(h.library.recentPaths().front(), broken.string());
    }
    {
        SCOPED_TRACE("menu save writes the current file");
        const ProfileActionResult saved = h.library.save();
        ASSERT_TRUE(saved.ok);
        EXPECT_EQ(saved.path, h.folder / "Other.json");
    }
}

}  // namespace
}  // namespace tessiva
