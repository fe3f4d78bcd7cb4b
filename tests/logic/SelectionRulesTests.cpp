#include <gtest/gtest.h>

#include "logic/SelectionRules.h"

namespace tessiva {
namespace {

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
    EXPECT_TRUE(SelectionRules::isFreshRead(TrackSelection{2, {}}, TrackSelection{3, {}}));
    EXPECT_FALSE(SelectionRules::isFreshRead(TrackSelection{3, "x"}, TrackSelection{3, "y"}));
    EXPECT_FALSE(SelectionRules::isFreshRead(std::nullopt, std::nullopt));
}

}  // namespace
}  // namespace tessiva
