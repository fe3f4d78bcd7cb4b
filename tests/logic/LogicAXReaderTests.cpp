#include <gtest/gtest.h>

#include "logic/LogicAXReader.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/Clock.h"

namespace tessiva {
namespace {

struct Fixture {
    explicit Fixture(SimulatedLogicOptions options = SimulatedLogicOptions::tableOutlineProfile(),
                     int tracks = 12)
        : logic(clock, std::move(options)), reader(logic) {
        for (int i = 1; i <= tracks; ++i)
            logic.addTrack("T" + std::to_string(i));
    }
    ManualClock clock;
    SimulatedLogic logic;
    LogicAXReader reader;
};

// The Arrange outline scores 60 plus 25 for its rows and ends the search; a shallower list
// named like the headers but without header rows is passed over.
TEST(LogicAXReader, AnchoringScoresAndRespectsDepthAndElementLimits) {
    struct Case {
        int nesting;  // the list sits one level deeper
        int filler;
        bool decoy;
        bool found;
    };
    for (const auto& c : {Case{4, 0, true, true}, Case{8, 0, false, true}, Case{9, 0, false, false},
                          Case{4, 2000, false, true}, Case{4, 2600, false, false}}) {
        SCOPED_TRACE(::testing::Message() << "nesting " << c.nesting << " filler " << c.filler);
        SimulatedLogicOptions options = SimulatedLogicOptions::tableOutlineProfile();
        options.arrangeNestingDepth = c.nesting;
        options.fillerElementCount = c.filler;
        options.decoyTracksHeaderTable = c.decoy;
        Fixture f(options);
        const auto search = f.reader.findTrackList(f.logic.mainWindowElement());
        EXPECT_EQ(search.element, c.found ? f.logic.trackListElement() : AXElement{});
        // Only a search cut short by the element limit has visited exactly that many.
        EXPECT_EQ(search.visited == 2500u, c.filler > 0 && !c.found);
        if (c.found) {
            EXPECT_LT(search.visited, 2500u);
            EXPECT_EQ(search.score, 85);
            EXPECT_TRUE(search.stoppedEarly);
        }
    }
}

TEST(LogicAXReader, SelectionReads) {
    Fixture f;
    const auto list = f.logic.trackListElement();
    // Nothing selected.
    EXPECT_FALSE(f.reader.readSelection(list).has_value());
    // An anchored read costs three attribute reads.
    f.logic.clickTrack(5);
    f.logic.resetAttributeReadCount();
    EXPECT_EQ(f.reader.readSelection(list), (TrackSelection{5, "T5"}));
    EXPECT_EQ(f.logic.attributeReadCount(), 3u);
    // With several rows selected the first listed wins.
    f.logic.clickTrack(9, SimulatedClick::command);
    f.logic.clickTrack(2, SimulatedClick::command);
    EXPECT_EQ(f.logic.selectedTrackNumbers(), (std::vector<int>{2, 5, 9}));
    EXPECT_EQ(f.reader.readSelection(list), (TrackSelection{2, "T2"}));
    // Without a list the focused row is used.
    f.logic.focusTrack(11);
    EXPECT_EQ(f.reader.readSelectionWithoutList(f.logic.applicationElementNow()),
              (TrackSelection{11, "T11"}));
}

// The rows read and the window walk's finds are checked where the observer publishes them;
// here only that the walk stops at its depth limit.
TEST(LogicAXReader, WindowWalkStopsAtItsDepthLimit) {
    SimulatedLogicOptions deep = SimulatedLogicOptions::tableOutlineProfile();
    deep.arrangeNestingDepth = 11;  // rows at depth 13
    Fixture f(deep, 1);
    EXPECT_TRUE(f.reader.walkWindow(f.logic.mainWindowElement()).empty());
}

}  // namespace
}  // namespace tessiva
