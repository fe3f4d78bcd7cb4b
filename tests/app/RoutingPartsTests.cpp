#include <gtest/gtest.h>

#include "app/BankFocusResolver.h"
#include "app/HandlerGates.h"
#include "app/LearnModeStore.h"
#include "app/SelectionDedupe.h"
#include "app/SelectionStageRecorder.h"

// The pure parts of the selection routing. Their paths through the router are in
// TrackSelectionRouterTests; what the router cannot reach easily stays here.
namespace tessiva {
namespace {

TEST(BankFocusResolver, AUniqueNameNeedsATargetAndAnEmptyGroupFocusesTheBank) {
    // Ambiguous names are shown through the router.
    OSCBankFocusMapping cello;
    cello.trackName = "Cello";  // and no target UUID
    const auto noTarget =
        resolveBankFocus(12, "Cello", {{7, cello}}, BankFocusLookup::uniqueNameOnly, true);
    EXPECT_FALSE(noTarget);
    EXPECT_EQ(noTarget.fallbackRejectedReason, "non-unique-name-or-target");
    OSCBankFocusMapping strings;
    strings.bankUUID = "BANK-1";
    strings.groupUUID = "";
    EXPECT_EQ(bankFocusSignature(4, strings), "track:4|target:bank:BANK-1");
}

TEST(HandlerGates, NamesAndProjectKeys) {
    EXPECT_EQ(usableSelectionName(std::string("\u00A0")), std::nullopt);

    EXPECT_TRUE(trackNamesMatch("Flöte", "FLÖTE"));
    EXPECT_TRUE(trackNamesMatch("Solo\u00A0Cello", " Solo Cello"));

    // Project keys match only when both agree, exactly; the router shows one missing key blocks.
    EXPECT_TRUE(projectKeysMatch(std::nullopt, std::nullopt));
    EXPECT_FALSE(projectKeysMatch(std::string("Song-A"), std::string("song-a")));
}

TEST(LearnModeStore, PublishesCurrentModeThenChangesOnly) {
    LearnModeStore store;
    std::vector<LearnMode> seen;
    auto token = store.observe([&](LearnMode mode) { seen.push_back(mode); });
    store.setMode(LearnMode::learn);
    store.setMode(LearnMode::learn);  // no change, no notice
    store.setMode(LearnMode::off);
    EXPECT_EQ(seen, (std::vector<LearnMode>{LearnMode::off, LearnMode::learn, LearnMode::off}));

    token.reset();
    store.setMode(LearnMode::learn);
    EXPECT_EQ(seen.size(), 3u);
}

// The window edges are checked through the router; here, what makes two selections the same.
TEST(SelectionDedupe, TheSameRowAndName) {
    const TrackSelection bass{5, "Bass"};
    EXPECT_FALSE(checkRepeat(bass, 1000.0, {5, "Bass 2"}, 1000.1, 0.5).duplicate);
    EXPECT_FALSE(checkRepeat(bass, 1000.0, {5, std::nullopt}, 1000.1, 0.5).duplicate);
    EXPECT_FALSE(checkRepeat(bass, 1000.0, {6, "Bass"}, 1000.1, 0.5).duplicate);
    const TrackSelection unnamed{3, std::nullopt};
    EXPECT_TRUE(checkRepeat(unnamed, 1000.0, unnamed, 1000.1, 0.5).duplicate);
    EXPECT_EQ(wholeMilliseconds(-0.0015), -1);  // toward zero
}

TEST(SelectionStageRecorder, RecordsTitleRowNameDetailAndTimeInABoundedRing) {
    ManualClock clock(50.0, 700'000'000.0);
    SelectionStageRecorder recorder(clock, 3);
    recorder.record(SelectionStage::routerAccepted, 5, std::string("Bass"));
    clock.advance(0.25);
    recorder.record(SelectionStage::routerDeduplicated, 5, std::nullopt, "windowMs=500 ageMs=250");

    auto entries = recorder.entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].line(), "router/accepted row=5 name=Bass");
    EXPECT_DOUBLE_EQ(entries[1].time, 50.25);
    EXPECT_DOUBLE_EQ(entries[1].date, 700'000'000.25);

    // Past capacity the oldest go first; sequence numbers keep counting.
    recorder.record(SelectionStage::handlerStarted, 6, std::string("Cello"));
    recorder.record(SelectionStage::bankSendAttempted, 6, std::string("Cello"), "signature=x");
    entries = recorder.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries.front().stage, SelectionStage::routerDeduplicated);
    EXPECT_EQ(entries.back().stage, SelectionStage::bankSendAttempted);
    EXPECT_EQ(entries.back().sequence, 3u);
    EXPECT_EQ(recorder.totalRecorded(), 4u);
    EXPECT_EQ(recorder.last()->detail, "signature=x");

    recorder.clear();  // the routing rig's takeStages() shows the entries go
    EXPECT_FALSE(recorder.last());
}

}  // namespace
}  // namespace tessiva
