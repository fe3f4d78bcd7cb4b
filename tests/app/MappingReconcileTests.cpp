#include <gtest/gtest.h>

#include <filesystem>

#include "app/MappingReconcile.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "runtime/Console.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

// The flow with a real store; each capture request is answered by posting `captures` in turn.
class ReconcileRig {
  public:
    ReconcileRig()
        : notifications(scheduler.mainQueue()),
          log(scheduler.mainQueue(), scheduler.clock()),
          store({scheduler.mainQueue(), scheduler.clock(), console, log}),
          reconcile({scheduler.mainQueue(), notifications, console, log, store,
                     [this](const std::string&) {
                         if (next < captures.size())
                             shown = captures[next++];
                     },
                     [this] { return shown; }}) {
        store.open(folder.path());
        // Saved rows 1-4; Logic now shows two new tracks above them.
        const char* names[] = {"Flute", "Oboe", "Clarinet", "Bassoon"};
        for (int row = 1; row <= 4; ++row) {
            EXPECT_TRUE(
                store
                    .setMIDIMapping(row, MIDIMapping{MappingEventType::programChange, row * 10,
                                                     std::nullopt, 1, names[row - 1]})
                    .ok());
        }
    }
    std::map<int, std::string> shifted() {
        return {{1, "Click"}, {2, "Piccolo"},  {3, "Flute"},
                {4, "Oboe"},  {5, "Clarinet"}, {6, "Bassoon"}};
    }

    VirtualScheduler scheduler;
    TempFolder folder{"tessiva-reconcile"};
    CapturingConsole console;
    NotificationCenter notifications;
    DebugLogStore log;
    MappingStore store;
    std::vector<std::map<int, std::string>> captures;
    std::size_t next = 0;
    // What Logic's list reads as now: the latest capture answered.
    std::map<int, std::string> shown;
    MappingReconcile reconcile;
};

TEST(MappingReconcile, TwoAgreeingCapturesApplyAndUndo) {
    ReconcileRig rig;
    rig.captures = {rig.shifted(), rig.shifted()};
    const MappingProfileSnapshot before = rig.store.snapshot();
    rig.reconcile.begin();
    rig.scheduler.advance(3.0);
    ASSERT_EQ(rig.reconcile.state(), MappingReconcile::State::ready);
    EXPECT_EQ(rig.reconcile.summary().rfind("Two settled captures agreed on", 0), 0u);
    ASSERT_TRUE(rig.reconcile.apply());
    EXPECT_EQ(rig.store.midiMapping(3)->trackName, "Flute");
    EXPECT_EQ(rig.store.midiMapping(3)->programChange, 10);
    EXPECT_EQ(rig.store.midiMapping(6)->programChange, 40);
    EXPECT_FALSE(rig.store.midiMapping(1).has_value());
    EXPECT_TRUE(rig.console.contains("Mapping reconcile applied"));

    ASSERT_TRUE(rig.reconcile.undo());
    EXPECT_EQ(rig.store.snapshot(), before);
    EXPECT_FALSE(rig.reconcile.canUndo());
    EXPECT_FALSE(rig.reconcile.apply());
}

TEST(MappingReconcile, DisagreeingCapturesOrSilenceChangeNothing) {
    {
        ReconcileRig rig;
        auto moved = rig.shifted();
        moved[7] = "Horn";  // a track appeared between the captures
        rig.captures = {rig.shifted(), moved};
        rig.reconcile.begin();
        rig.scheduler.advance(3.0);
        EXPECT_EQ(rig.reconcile.state(), MappingReconcile::State::unstable);
        EXPECT_FALSE(rig.reconcile.apply());
        EXPECT_EQ(rig.store.midiMapping(1)->trackName, "Flute");
    }
    {
        ReconcileRig rig;  // Logic shows the saved rows: ready, but nothing to move
        const std::map<int, std::string> same{
            {1, "Flute"}, {2, "Oboe"}, {3, "Clarinet"}, {4, "Bassoon"}};
        rig.captures = {same, same};
        rig.reconcile.begin();
        rig.scheduler.advance(3.0);
        ASSERT_EQ(rig.reconcile.state(), MappingReconcile::State::ready);
        EXPECT_FALSE(rig.reconcile.apply());
        EXPECT_FALSE(rig.reconcile.canUndo());
    }
    {
        ReconcileRig rig;  // Logic never answers
        rig.reconcile.begin();
        rig.scheduler.advance(MappingReconcile::kCaptureSettle + 0.1);
        EXPECT_EQ(rig.reconcile.state(), MappingReconcile::State::failed);
        EXPECT_TRUE(rig.console.contains("Reconcile could not complete"));
    }
}

TEST(MappingReconcile, RemapNeverOverwritesARowThatStays) {
    MappingProfileSnapshot snapshot;
    snapshot.trackIndexToPC = {{1, 10}, {2, 20}};
    snapshot.trackIndexToName = {{1, "A"}, {2, "B"}};
    EXPECT_FALSE(remappedSnapshot(snapshot, {{1, 2}}).has_value());
    const auto swapped = remappedSnapshot(snapshot, {{1, 2}, {2, 1}});
    ASSERT_TRUE(swapped.has_value());
    EXPECT_EQ(swapped->trackIndexToName.at(1), "B");
    EXPECT_EQ(swapped->trackIndexToPC.at(2), 10);
}

}  // namespace
}  // namespace tessiva
