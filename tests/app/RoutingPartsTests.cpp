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

OSCBankFocusMapping bank(int row, std::string trackName, std::string uuid) {
    OSCBankFocusMapping mapping;
    mapping.trackIndex = row;
    mapping.trackName = std::move(trackName);
    mapping.bankUUID = std::move(uuid);
    mapping.bankName = "Bank " + mapping.bankUUID;
    return mapping;
}

TEST(BankFocusResolver, NamesMatchWithoutCaseAndNeedATarget) {
    RowKeyed<OSCBankFocusMapping> mappings{
        {7, bank(7, "Cello", "")}, {8, bank(8, "Horn", "B-8")}, {9, bank(9, "horn", "B-9")}};
    // Two rows named Horn (case-insensitively): ambiguous.
    auto twice =
        resolveBankFocus(12, "Horn", mappings, BankFocusLookup::ownRowThenUniqueName, true);
    EXPECT_FALSE(twice);
    EXPECT_EQ(twice.fallbackRejectedReason, "non-unique-name-or-target");
    // A unique name without a target UUID is no target.
    EXPECT_FALSE(resolveBankFocus(12, "Cello", mappings, BankFocusLookup::uniqueNameOnly, true));

    auto mapping = bank(4, "Strings", "BANK-1");
    mapping.groupUUID = "";  // an empty group focuses the bank
    EXPECT_EQ(bankFocusSignature(4, mapping), "track:4|target:bank:BANK-1");
}

TEST(HandlerGates, NamesProjectKeysAndTheOrderOfTheGates) {
    EXPECT_EQ(usableSelectionName(std::string("   \n\t")), std::nullopt);
    EXPECT_EQ(usableSelectionName(std::string("\u00A0")), std::nullopt);
    EXPECT_EQ(usableSelectionName(std::string("  Bass \n")), "Bass");

    EXPECT_TRUE(trackNamesMatch("Violins", "violins"));
    EXPECT_TRUE(trackNamesMatch("Flöte", "FLÖTE"));
    EXPECT_TRUE(trackNamesMatch("Solo\u00A0Cello", " Solo Cello"));
    EXPECT_FALSE(trackNamesMatch("Violins 1", "Violins 2"));

    // Project keys match only when both agree, exactly; the router shows one missing key blocks.
    EXPECT_TRUE(projectKeysMatch(std::nullopt, std::nullopt));
    EXPECT_FALSE(projectKeysMatch(std::string("Song-A"), std::string("song-a")));

    // The gates close in order: name, project, structural repair.
    HandlerGateInputs inputs{std::string("Bass"), "Cello", std::string("a"), std::string("b"), 1};
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::nameMismatch);
    inputs.savedName = std::nullopt;  // no saved name: the name gate does not apply
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::projectMismatch);
    inputs.loadedProjectKey = "a";
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::structuralRepair);
    inputs.pendingStructuralDelta = std::nullopt;
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::open);
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
    EXPECT_EQ(store.mode(), LearnMode::learn);

    EXPECT_EQ(learnModeName(LearnMode::learn), "learn");
    EXPECT_EQ(learnModeFromName("off"), LearnMode::off);
    EXPECT_EQ(learnModeFromName("On"), std::nullopt);
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

    recorder.clear();
    EXPECT_TRUE(recorder.entries().empty());
    EXPECT_FALSE(recorder.last());
}

}  // namespace
}  // namespace tessiva
