#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include "platform/defaults/JsonFileUserDefaults.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/DateFormat.h"
#include "runtime/Paths.h"
#include "runtime/Text.h"
#include "runtime/UUID.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

TEST(UUID, UpperCaseVersion4AndUnique) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string id = makeUUID();
        ASSERT_TRUE(isUUIDString(id)) << id;
        EXPECT_EQ(id[14], '4');
        EXPECT_NE(std::string("89AB").find(id[19]), std::string::npos);
        EXPECT_EQ(id.find_first_of("abcdef"), std::string::npos);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
    EXPECT_FALSE(isUUIDString("E621E1F8C36C495A93FC0C247A3E6E5F"));
}

TEST(Dates, ReferenceEpochIsFirstJanuary2001Utc) {
    EXPECT_DOUBLE_EQ(unixSecondsFromDate(0.0), 978307200.0);
    EXPECT_DOUBLE_EQ(dateFromUnixSeconds(978307200.0 + 86400.0), 86400.0);
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(compactLocalTimestamp(0.0), "20010101-000000");
    EXPECT_EQ(compactLocalTimestamp(86400.0 * 365 + 3661.5), "20020101-010101");
    EXPECT_EQ(displayLocalTimestamp(1.25), "2001-01-01 00:00:01.250");
}

TEST(Paths, EnvironmentOverrideAndPlatformDefault) {
    // Nothing else in this binary reads the variable.
    setenv("TESSIVA_FOCUS_HOME", "/tmp/tessiva-home", 1);
    EXPECT_EQ(applicationSupportFolder(), fs::path("/tmp/tessiva-home"));
    unsetenv("TESSIVA_FOCUS_HOME");
    EXPECT_EQ(applicationSupportFolder().filename(), "Tessiva Focus");
}

TEST(AtomicFile, ReplacesWholeFilesKeepsTheOldOneOnFailureAndRemovesOnlyItsOwnLeftovers) {
    TempFolder folder;
    const fs::path target = folder.path() / "sub" / "profile.json";
    ASSERT_TRUE(writeFileAtomically(target, "first").ok());
    ASSERT_TRUE(writeFileAtomically(target, "second").ok());
    EXPECT_EQ(readWholeFile(target).value(), "second");

    if (geteuid() != 0) {  // root ignores folder permissions
        fs::permissions(target.parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
        Status failed = writeFileAtomically(target, "third");
        EXPECT_FALSE(failed.ok());
        EXPECT_NE(failed.error().find("could not create"), std::string::npos);
        fs::permissions(target.parent_path(), fs::perms::owner_all);
    }
    // A target that is a folder cannot be replaced: the write fails and leaves nothing behind.
    fs::create_directories(folder.path() / "busy.json" / "inside");
    EXPECT_FALSE(writeFileAtomically(folder.path() / "busy.json", "x").ok());
    EXPECT_EQ(readWholeFile(target).value(), "second");
    for (const auto& entry : fs::directory_iterator(target.parent_path())) {
        EXPECT_EQ(entry.path().extension(), ".json") << "temporary left: " << entry.path();
    }
    std::string error;
    EXPECT_FALSE(readWholeFile(folder.path() / "missing.json", &error).has_value());
    EXPECT_NE(error.find("missing.json"), std::string::npos);

    SCOPED_TRACE("only its own old leftovers of interrupted saves are removed");
    const auto make = [&](const std::string& name, std::chrono::seconds age) {
        const fs::path path = folder.path() / name;
        std::ofstream(path) << "x";
        fs::last_write_time(path, fs::file_time_type::clock::now() - age);
        return path;
    };
    using std::chrono::seconds;
    const fs::path oldLeftover = make(".profile.json.0A1b2C3d.tmp", seconds(120));
    const std::vector<fs::path> kept = {
        make(".profile.json.0A1B2C3D.tmp", seconds(10)),  // a save may still be writing it
        make(".profile.json.0A1B2C3.tmp", seconds(120)),  // seven digits
        make(".profile.json.0A1B2C3G.tmp", seconds(120)),
        make("profile.json.0A1B2C3D.tmp", seconds(120)),  // not hidden
        make(".0A1B2C3D.tmp", seconds(120)),              // no target name
        make(".profile.json.0A1B2C3D.tmpx", seconds(120)),
        make("profile.json", seconds(120)),
    };
    EXPECT_EQ(removeInterruptedSaveLeftovers(folder.path()), 1);
    EXPECT_FALSE(fs::exists(oldLeftover));
    for (const fs::path& path : kept)
        EXPECT_TRUE(fs::exists(path)) << path;
    EXPECT_EQ(removeInterruptedSaveLeftovers(folder.path() / "missing"), 0);
}

TEST(JsonFileUserDefaults, PersistsEveryTypeAndSurvivesACorruptFile) {
    TempFolder folder;
    CapturingConsole console;
    const fs::path file = folder.path() / "Preferences.json";
    {
        JsonFileUserDefaults defaults(file, console);
        defaults.setBool("tessivaFocus.hasCompletedInitialSetup", true);
        defaults.setInteger("port", 12111);
        defaults.setString("host", "192.0.2.1");
        defaults.setStringList("tessiva.recentMappingsProfilePaths", {"/a.json", "/b.json"});
        defaults.setString("gone", "x");
        defaults.remove("gone");
    }
    JsonFileUserDefaults reopened(file, console);
    EXPECT_EQ(reopened.boolValue("tessivaFocus.hasCompletedInitialSetup"), true);
    EXPECT_EQ(reopened.integer("port"), 12111);
    EXPECT_EQ(reopened.string("host"), "192.0.2.1");
    EXPECT_EQ(reopened.stringList("tessiva.recentMappingsProfilePaths"),
              (std::vector<std::string>{"/a.json", "/b.json"}));
    EXPECT_FALSE(reopened.string("gone").has_value());
    EXPECT_FALSE(reopened.boolValue("port").has_value());

    ASSERT_TRUE(writeFileAtomically(file, "{not json").ok());
    JsonFileUserDefaults corrupt(file, console);
    EXPECT_FALSE(corrupt.integer("port").has_value());
    EXPECT_TRUE(console.contains("Ignoring unreadable preferences file"));
    corrupt.setInteger("port", 1);
    JsonFileUserDefaults repaired(file, console);
    EXPECT_EQ(repaired.integer("port"), 1);
}

TEST(Text, TrimsAndLowercasesEveryScriptKeepingMalformedBytes) {
    EXPECT_EQ(text::trimmed("\u00A0Violins\u00A0"), "Violins");
    EXPECT_EQ(text::trimmed(" \t\r\n First Violins \u2028\u3000"), "First Violins");
    EXPECT_EQ(text::trimmed("\u0085"), "");
    EXPECT_EQ(text::trimmed(""), "");
    EXPECT_EQ(text::trimmed("Horn"), "Horn");
    // Malformed bytes are content, not white space.
    EXPECT_EQ(text::trimmed(" \xFF "), "\xFF");
    EXPECT_EQ(text::lowercased("Flöte"), "flöte");
    EXPECT_EQ(text::lowercased("ÉTUDE Ω"), "étude ω");
    EXPECT_EQ(text::lowercased("CELLO\xC3"), "cello\xC3");
    EXPECT_EQ(text::replacingNoBreakSpaces("A\u00A0B"), "A B");
    EXPECT_EQ(text::lightNormalizedTrackName("\u00A0 Solo\u00A0Cello \n"), "Solo Cello");
    EXPECT_TRUE(text::isAlphanumeric(U'é'));
    EXPECT_TRUE(text::isAlphanumeric(U'7'));
    EXPECT_FALSE(text::isAlphanumeric(U'-'));
}

}  // namespace
}  // namespace tessiva
