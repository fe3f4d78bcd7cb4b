// Kills a process 100 times while it applies and undoes a structural repair and saves the
// profile: every time the profile on disk must be the complete old or the complete new one.
#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

#include "support/ChildProcess.h"
#include "support/RepairRig.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

// The profile before and after the helper's repair, computed the same way in this process.
std::pair<MappingProfileSnapshot, MappingProfileSnapshot> expectedProfiles() {
    TempFolder folder{"tessiva-repair-crash"};
    RepairRig rig(folder.path());
    const RowMap before = RepairRig::namedRows(400);
    rig.mapAndTrust(before);
    const MappingProfileSnapshot old = rig.store.snapshot();
    rig.publish(RepairRig::inserted(before, 1, {"Audio 1", "Audio 2"}), "insert");
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
        testing::ChildProcess helper({TESSIVA_REPAIR_CRASH_HELPER, folder.path().string()});
        // Every other kill waits for the first saved repair, so that even a slow (sanitized)
        // build is killed after a repair as well as before one.
        const bool ready = helper.waitForLine(kill % 2 == 0 ? "ready" : "applied").has_value();
        std::this_thread::sleep_for(std::chrono::microseconds(delayMicros(random)));
        helper.kill(SIGKILL);
        ASSERT_TRUE(ready) << "the helper did not start";
        ASSERT_EQ(helper.wait(), 128 + SIGKILL) << "the helper ended on its own";

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
