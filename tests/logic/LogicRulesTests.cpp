// The logic layer's pure decisions: header parsing, track lists, selection, modal and
// structural timing.
#include <gtest/gtest.h>

#include "logic/ModalDeadlines.h"
#include "logic/SelectionRules.h"
#include "logic/StructuralSnapshotDebounce.h"
#include "logic/TrackHeader.h"
#include "logic/TrackListAnchorScore.h"
#include "logic/TrackListSnapshot.h"

namespace tessiva {
namespace {

TEST(TrackHeader, ParsesEveryLocalisedFormAndNothingElse) {
    struct Case {
        const char* text;
        std::optional<ParsedTrackHeader> expected;
    };
    const Case cases[] = {
        {"Track 7 \u201CBass\u201D", ParsedTrackHeader{7, "Bass"}},
        {"Track 124 \"Solo Violin\"", ParsedTrackHeader{124, "Solo Violin"}},
        // Names keep inner quotes, spaces and non-ASCII text.
        {"Track 3 \u201C Fl\u00F6te \"a2\" \u201D", ParsedTrackHeader{3, " Fl\u00F6te \"a2\" "}},
        {"Track 0 \u201CZero\u201D", ParsedTrackHeader{0, "Zero"}},
        // A number alone yields no name.
        {"Track 7", ParsedTrackHeader{7, std::nullopt}},
        {"Track 7 \u201C\u201D", ParsedTrackHeader{7, std::nullopt}},
        {"Track 7 \u201CUnclosed", ParsedTrackHeader{7, std::nullopt}},
        // German, Japanese and Korean headers are read in the observer's profile runs.
        {"Piste 3 \u00AB\u00A0Bass\u00A0\u00BB", ParsedTrackHeader{3, "Bass"}},
        {"Track\u00A012 \u201CAbsolute Zero\u201D", ParsedTrackHeader{12, "Absolute Zero"}},
        // Contents rows append live state after the closing quote.
        {"Track 4 \u201CPads\u201D, muted", ParsedTrackHeader{4, "Pads"}},
        {"\uAC1C\uC758 \u2018Bass\u2019", std::nullopt},
        {"Spuren", std::nullopt},
        {"Tracks", std::nullopt},
        {"Tracks header", std::nullopt},
        {"Track", std::nullopt},
        {"Track ", std::nullopt},
        {"Track \u201CBass\u201D", std::nullopt},
        {"track 7 \u201CBass\u201D", std::nullopt},
        {" Track 7", std::nullopt},
        {"Audio 1", std::nullopt},
        {"", std::nullopt},
        {"Track 123456789 \u201CNine\u201D", ParsedTrackHeader{123456789, "Nine"}},
        {"Track 1234567890 \u201CTen\u201D", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(parseTrackHeader(c.text), c.expected);
        if (c.expected && c.expected->name) {
            EXPECT_TRUE(isTrackHeaderText(c.text));
        }
    }
    EXPECT_TRUE(isTrackHeaderText("Track x"));
    EXPECT_FALSE(isTrackHeaderText("Tracks"));
}

TrackListSnapshot make(std::initializer_list<std::pair<const int, std::string>> entries) {
    TrackListSnapshot snapshot;
    snapshot.namesByIndex = entries;
    return snapshot;
}

TEST(TrackListSnapshot, AddsOnlyNamedHeadersAndKeepsTheFirstOfANumber) {
    TrackListSnapshot snapshot;
    EXPECT_TRUE(snapshot.add({2, "Bass"}));
    EXPECT_FALSE(snapshot.add({2, "Other"}));
    EXPECT_FALSE(snapshot.add({3, std::nullopt}));
    EXPECT_FALSE(snapshot.add({4, ""}));
    EXPECT_FALSE(snapshot.add({0, "Zero"}));
    EXPECT_EQ(snapshot.namesByIndex, (std::map<int, std::string>{{2, "Bass"}}));
}

// The name index is checked through the observer's snapshots.
TEST(TrackListSnapshot, Signature) {
    const auto snapshot = make({{10, "Horn"}, {2, "Violins"}, {5, "Violins"}, {1, "Horn"}});
    EXPECT_EQ(snapshot.signature(), "1:Horn|2:Violins|5:Violins|10:Horn");
    EXPECT_EQ(TrackListSnapshot{}.signature(), "");
}

TEST(TrackListSnapshot, TrustedMaximumComesFromCompleteLists) {
    const auto complete = make({{1, "A"}, {2, "B"}, {3, "C"}});
    const auto gapped = make({{1, "A"}, {2, "Stack"}, {6, "F"}});
    // A complete list sets the maximum, also downwards.
    EXPECT_TRUE(complete.isContiguousFromOne());
    EXPECT_EQ(complete.nextTrustedMaximum(std::nullopt), 3);
    EXPECT_EQ(complete.nextTrustedMaximum(9), 3);
    EXPECT_TRUE(complete.coversUpTo(3));
    EXPECT_FALSE(complete.coversUpTo(4));
    // A list with gaps can only raise it.
    EXPECT_FALSE(gapped.isContiguousFromOne());
    EXPECT_EQ(gapped.nextTrustedMaximum(std::nullopt), 6);
    EXPECT_EQ(gapped.nextTrustedMaximum(9), 9);
    EXPECT_FALSE(gapped.coversUpTo(6));
    EXPECT_EQ(TrackListSnapshot{}.nextTrustedMaximum(4), 4);
    EXPECT_FALSE(make({{2, "B"}, {3, "C"}}).isContiguousFromOne());
}

TEST(TrackListAnchorScore, ScoresTitlesAndDescriptions) {
    EXPECT_EQ(TrackListAnchorScore::forTexts(std::nullopt, "Tracks header"), 60);
    EXPECT_EQ(TrackListAnchorScore::forTexts("Tracks", std::nullopt), 50);
    EXPECT_EQ(TrackListAnchorScore::forTexts("TRACKS", "tracks header"), 100);
    EXPECT_EQ(TrackListAnchorScore::forTexts("Tracks contents", std::nullopt), 10);
    EXPECT_EQ(TrackListAnchorScore::forTexts("Library", "Patches"), 0);
    EXPECT_FALSE(TrackListAnchorScore::takesAtOnce(49));
    EXPECT_TRUE(TrackListAnchorScore::takesAtOnce(50));
}

TEST(SelectionRules, DedupeAndFocusedSuppressionBoundaries) {
    const SelectionRules rules;
    const double t = 1234.56;
    // 0.02 s dedupe; exactly 0.02 s apart and a running capture are the observer test's.
    EXPECT_TRUE(rules.isDuplicateNotification(t + 0.01, t, false));
    EXPECT_TRUE(rules.isDuplicateNotification(t + 0.0199, t, false));
    // Focused-element suppression needs an emission; its 0.3 s edge is the observer test's.
    EXPECT_FALSE(rules.suppressesFocusedElement(t + 0.1, -1, t));
    EXPECT_TRUE(rules.suppressesFocusedElement(t + 0.1, 0, t));
}

TEST(SelectionRules, ResultDecisions) {
    const TrackSelection three{3, "Bass"};
    const TrackSelection four{4, "Cello"};
    using D = SelectionResultDecision;
    EXPECT_EQ(SelectionRules::decide(std::nullopt, three, "AXSelectedRowsChanged", true, false),
              D::noTrack);
    EXPECT_EQ(SelectionRules::decide(four, three, "AXRowCountChanged", true, false), D::emit);
    EXPECT_EQ(SelectionRules::decide(four, std::nullopt, "AXRowCountChanged", true, false),
              D::emit);
    for (const char* trigger :
         {"AXFocusedUIElementChanged", "AXSelectedChildrenChanged", "AXSelectedRowsChanged"}) {
        SCOPED_TRACE(trigger);
        EXPECT_EQ(SelectionRules::decide(three, three, trigger, true, false), D::emit);
    }
    for (const char* trigger : {"AXValueChanged/arrange-name-fast", "AXRowCountChanged",
                                "primary-click-probe", "focused-tracks-event"}) {
        SCOPED_TRACE(trigger);
        EXPECT_EQ(SelectionRules::decide(three, three, trigger, true, false), D::sameTrackDropped);
    }
    EXPECT_EQ(SelectionRules::decide(four, three, "AXSelectedRowsChanged", false, false),
              D::backgroundDropped);
    EXPECT_EQ(SelectionRules::decide(four, three, "AXSelectedRowsChanged", false, true), D::emit);
}

TEST(SelectionRules, FreshReads) {
    EXPECT_TRUE(SelectionRules::isFreshRead(TrackSelection{2, {}}, std::nullopt));
    EXPECT_FALSE(SelectionRules::isFreshRead(TrackSelection{3, "x"}, TrackSelection{3, "y"}));
    EXPECT_FALSE(SelectionRules::isFreshRead(std::nullopt, std::nullopt));
}

// When the quarantine ends and what confirms a modal are the observer's modal tests'.
TEST(ModalDeadlines, EntriesNeverShortenADeadlineAndTheWindowRouteWaitsOnlyForTheCooldown) {
    ModalDeadlines deadlines;
    deadlines.enterQuarantine(100.0, 1.5);
    deadlines.enterQuarantine(99.0, 1.5);
    EXPECT_DOUBLE_EQ(deadlines.quarantine, 101.5);
    deadlines.armPotentialConfirmation(100.0, 30.0);
    deadlines.armPotentialConfirmation(101.0, 3.0);
    EXPECT_DOUBLE_EQ(deadlines.potentialConfirmation, 130.0);
    EXPECT_DOUBLE_EQ(deadlines.selectionRouteResumeTime(), 130.0);
    EXPECT_DOUBLE_EQ(deadlines.windowRouteResumeTime(), 101.5);
    deadlines.armPrimaryDetection(100.0, 0.75);
    deadlines.armPrimaryDetection(99.5, 0.75);
    EXPECT_DOUBLE_EQ(deadlines.primaryDetection, 100.75);
    deadlines.modalOpened(90.0, 30.0);
    EXPECT_DOUBLE_EQ(deadlines.potentialConfirmation, 130.0);
}

TEST(ModalDeadlines, GestureDetectionEndsAtItsDeadlineWithoutQuarantine) {
    ModalDeadlines deadlines;
    deadlines.armPrimaryDetection(10.0, 0.75);
    EXPECT_TRUE(deadlines.suspectsModal(10.74));
    EXPECT_FALSE(deadlines.suspectsModal(10.75));
    EXPECT_FALSE(deadlines.awaitsConfirmation(10.1));
    EXPECT_FALSE(deadlines.isQuarantined(10.1));
    deadlines.modalOpened(10.5, 30.0);
    EXPECT_TRUE(deadlines.awaitsConfirmation(40.49));
    EXPECT_FALSE(deadlines.awaitsConfirmation(40.5));
    // A confirmed modal ends the gesture detection too.
    deadlines.armPrimaryDetection(41.0, 0.75);
    deadlines.modalConfirmed();
    EXPECT_FALSE(deadlines.suspectsModal(41.1));
}

TEST(StructuralSnapshotDebounce, DelaysAndFireDecisions) {
    const StructuralSnapshotDebounce debounce;
    using A = StructuralSnapshotAction;
    // The delays after a layout change, a drag's end and a selection are timed in the observer's
    // snapshot tests; a drag still going is no drag's end.
    EXPECT_DOUBLE_EQ(debounce.delayFor("pointer-drag-active"), 1.0);

    const std::optional<std::string> layout = "AXLayoutChanged";
    EXPECT_EQ(debounce.onFire(10, true, true, false, 0, layout).action, A::skip);
    EXPECT_EQ(debounce.onFire(10, false, false, false, 0, layout).action, A::skip);
    // A drag postpones with its own reason.
    const auto drag = debounce.onFire(10, false, true, true, 0, layout);
    EXPECT_EQ(drag.action, A::rescheduleForDrag);
    EXPECT_EQ(drag.reason, "pointer-drag-active");
    // A selection 0.5 s ago postpones.
    const auto decision = debounce.onFire(10.0, false, true, false, 9.5, layout);
    EXPECT_EQ(decision.action, A::rescheduleForQuiet);
    EXPECT_EQ(decision.reason, "AXLayoutChanged");
    EXPECT_EQ(debounce.onFire(10.0, false, true, false, 9.5, std::nullopt).reason,
              "debounced-structural");
    EXPECT_EQ(debounce.onFire(11.5, false, true, false, 9.5, layout).action, A::capture);
    EXPECT_EQ(debounce.onFire(10.0, false, true, false, 0, layout).action, A::capture);
}

}  // namespace
}  // namespace tessiva
