#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "mapping/MappingProfileFile.h"
#include "runtime/AtomicFile.h"
#include "support/TempFolder.h"

// Runs the built program the way a user would and checks what it prints and returns.
namespace tessiva {
namespace {

namespace fs = std::filesystem;

struct CheckRun {
    int exitCode = -1;
    std::string out;
    std::string err;
};

CheckRun runCheck(const TempFolder& folder, const fs::path& file) {
    const fs::path out = folder / "stdout.txt";
    const fs::path err = folder / "stderr.txt";
    const std::string command = "'" TESSIVA_FOCUS_BINARY "' profile check '" + file.string() +
                                "' >'" + out.string() + "' 2>'" + err.string() + "'";
    const int status = std::system(command.c_str());
    CheckRun run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = readWholeFile(out).value_or("");
    run.err = readWholeFile(err).value_or("");
    return run;
}

TEST(ProfileCheckCommand, SummarisesGoodFilesAndNamesFaultsWithoutTouchingThem) {
    TempFolder folder;
    {
        SCOPED_TRACE("a good profile");
        MappingProfileSnapshot s;
        s.version = 1;
        s.trackIndexToPC = {{0, 1}, {5, 2}};
        s.trackIndexToNote = {{40, 60}};
        OSCBankFocusMapping m;
        m.id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
        m.bankUUID = "B";
        m.bankName = "Bank";
        s.oscBankFocusMappingsByTrackIndex = {{5, m}, {41, m}};
        const fs::path file = folder / "good profile.json";
        ASSERT_TRUE(MappingProfileFile::write(file, s).ok());
        const auto modified = fs::last_write_time(file);

        const CheckRun run = runCheck(folder, file);
        EXPECT_EQ(run.exitCode, 0) << run.err;
        EXPECT_EQ(run.out, file.string() +
                               ": 3 rows with MIDI mappings, 2 rows with bank-focus mappings, "
                               "version 1\n");
        EXPECT_EQ(fs::last_write_time(file), modified);
    }
    // Every fault takes the same path out: one line naming the file and the fault, the file
    // untouched.
    const std::string truncated = R"({"version":1,"trackIndexToPC":{"1":5,})";
    ASSERT_TRUE(writeFileAtomically(folder / "truncated.json", truncated).ok());
    const struct {
        const char* file;
        const char* fault;
    } faults[] = {{"truncated.json", ": invalid JSON at byte offset 37: "},
                  {"absent.json", ": No such file"}};
    for (const auto& f : faults) {
        SCOPED_TRACE(f.file);
        const CheckRun run = runCheck(folder, folder / f.file);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_TRUE(run.out.empty()) << run.out;
        EXPECT_TRUE(run.err.starts_with("error: ")) << run.err;
        EXPECT_NE(run.err.find((folder / f.file).string() + f.fault), std::string::npos) << run.err;
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << "one line";
    }
    EXPECT_EQ(readWholeFile(folder / "truncated.json").value(), truncated);
    EXPECT_FALSE(fs::exists(folder / "absent.json"));
}

}  // namespace
}  // namespace tessiva
