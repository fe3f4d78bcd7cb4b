// Kills a process 100 times while it applies and undoes a structural repair and saves the
// profile: every time the profile on disk must be the complete old or the complete new one.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "support/RepairRig.h"
#include "support/TempFolder.h"

extern char** environ;

namespace tessiva {
namespace {

// The profile before and after the helper's repair, computed the same way in this process.
std::pair<MappingProfileSnapshot, MappingProfileSnapshot> expectedProfiles() {
    TempFolder folder{"tessiva-repair-crash"};
    RepairRig rig(folder.path());
    const RowMap before = RepairRig::namedRows(400);
    rig.mapRows(before);
    rig.trust(before);
    const MappingProfileSnapshot old = rig.store.snapshot();
    RowMap after{{1, "Audio 1"}, {2, "Audio 2"}};
    for (const auto& [row, name] : before)
        after[row + 2] = name;
    rig.captures.rows = after;
    rig.repair.snapshotPublished(after, "insert");
    rig.scheduler.advance(3.0);
    return {old, rig.store.snapshot()};
}

TEST(RepairCrash, EveryKillLeavesTheOldOrTheNewCompleteProfile) {
    const auto [oldProfile, newProfile] = expectedProfiles();
    ASSERT_NE(oldProfile, newProfile);
    ASSERT_EQ(newProfile.trackIndexToName.at(3), "Track 1");

    std::mt19937 random(14);
    std::uniform_int_distribution<int> delayMicros(0, 40000);
    int sawOld = 0, sawNew = 0;
    for (int kill = 0; kill < 100; ++kill) {
        TempFolder folder{"tessiva-repair-crash"};
        int out[2];
        ASSERT_EQ(pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        std::string helper = TESSIVA_REPAIR_CRASH_HELPER;
        std::string where = folder.path().string();
        char* args[] = {helper.data(), where.data(), nullptr};
        pid_t pid = 0;
        ASSERT_EQ(posix_spawn(&pid, helper.c_str(), &actions, nullptr, args, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        char ready[6] = {};
        ASSERT_EQ(read(out[0], ready, 5), 5) << "the helper did not start";
        std::this_thread::sleep_for(std::chrono::microseconds(delayMicros(random)));
        ::kill(pid, SIGKILL);
        int status = 0;
        waitpid(pid, &status, 0);
        close(out[0]);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the helper ended on its own";

        RepairRig reader(folder.path());
        const MappingProfileSnapshot onDisk = reader.store.snapshot();
        if (onDisk == oldProfile) {
            ++sawOld;
        } else if (onDisk == newProfile) {
            ++sawNew;
        } else {
            FAIL() << "kill " << kill << " left a profile that is neither old nor new ("
                   << onDisk.trackIndexToName.size() << " names)";
        }
    }
    std::cout << "[RepairCrash] 100 kills: old profile " << sawOld << ", new profile " << sawNew
              << "\n";
    EXPECT_GT(sawNew, 0) << "no kill came after a repair was saved";
}

}  // namespace
}  // namespace tessiva
