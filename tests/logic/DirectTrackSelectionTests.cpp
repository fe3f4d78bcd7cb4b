// Selecting a Logic track on request: the pure checks and row placement, then the whole
// operation through the observer against both simulated Logic profiles on virtual time.
#include <gtest/gtest.h>

#include "LogicObserverHarness.h"
#include "logic/DirectTrackSelection.h"

namespace tessiva {
namespace {

using Placement = DirectSelectionRules::Placement;

// A found, hidden or trailing number is placed in the profile runs below, which need its row.
TEST(DirectSelectionRules, RepeatedOrAbsentNumbersAreNotPlaced) {
    auto rows = [](std::vector<int> numbers) {
        std::vector<ParsedTrackHeader> parsed;
        for (int n : numbers)
            parsed.push_back({n, "T" + std::to_string(n)});
        return parsed;
    };
    struct Case {
        std::vector<int> visible;
        int number;
        Placement placement;
    };
    for (const auto& c : std::vector<Case>{
             {{1, 2, 2, 3}, 2, Placement::notUnique},
             {{5, 6}, 2, Placement::missing},
             {{}, 1, Placement::missing},
         }) {
        SCOPED_TRACE(c.number);
        EXPECT_EQ(DirectSelectionRules::locate(rows(c.visible), c.number).placement, c.placement);
    }
}

TEST(DirectSelectionRules, MessagesNameTheTrack) {
    EXPECT_EQ(direct_selection_message::notUnique(7),
              "Focus could not uniquely verify visible Logic track 7");
    EXPECT_EQ(direct_selection_message::nameDiffers(5, "Bass", "Cello"),
              "Mapped track 5 “Bass” but Logic currently exposes “Cello”. Reconcile mappings "
              "first.");
    EXPECT_EQ(direct_selection_message::collapsedStack(7, std::string("Violas")),
              "Logic track 7 “Violas” is hidden inside a collapsed Track Stack. Expand that Logic "
              "stack or navigate to its visible stack header.");
    EXPECT_TRUE(DirectSelectionRules::namesMatch("Bass\u00a0 ", "bass"));
    EXPECT_FALSE(DirectSelectionRules::namesMatch("Bass", "Bass 2"));
}

struct Outcome {
    std::optional<DirectSelectionResult> result;
    double at = 0;
};

class DirectTrackSelectionProfile : public ::testing::TestWithParam<bool> {
  protected:
    bool logic12() const { return GetParam(); }
    SimulatedLogicOptions options() const { return bothShapesOptions(logic12()); }
    // Tracks 1-4, the stack "Strings" at 5 with 6-8, tracks 9-10; track 2 selected.
    LogicObserverHarness& start(std::optional<SimulatedLogicOptions> opts = std::nullopt) {
        h_ = std::make_unique<LogicObserverHarness>(opts.value_or(options()), 4);
        h_->addStringsStackAndTracksUpTo(10);
        h_->start();
        h_->click(2, 1.5);
        h_->clearRecords();
        return *h_;
    }
    Outcome select(int number, std::optional<std::string> name, double wait = 3.0) {
        Outcome outcome;
        const double began = h_->scheduler.now();
        h_->observer->selectTrack(number, std::move(name),
                                  [&outcome, began, this](const DirectSelectionResult& r) {
                                      outcome.result = r;
                                      outcome.at = h_->scheduler.now() - began;
                                  });
        h_->scheduler.advance(wait);
        return outcome;
    }

    std::unique_ptr<LogicObserverHarness> h_;
};

TEST_P(DirectTrackSelectionProfile, RefusalsSelectNothing) {
    struct Case {
        const char* what;
        int number;
        std::optional<std::string> name;
        std::function<void(LogicObserverHarness&)> setUp;
        std::string message;
    };
    const std::vector<Case> cases = {
        {"collapsed stack", 7, "Violas",
         [](auto& h) {
             h.logic.setStackCollapsed(5, true);
             h.scheduler.advance(0.6);
         },
         direct_selection_message::collapsedStack(7, std::string("Violas"))},
        {"collapsed stack at the end", 7, std::nullopt,
         [](auto& h) {
             h.logic.deleteTrack(10);
             h.logic.deleteTrack(9);
             h.logic.setStackCollapsed(5, true);
             h.scheduler.advance(0.6);
         },
         // Only Logic 12 shows a stack header's disclosure triangle; the table/outline Logic
         // cannot tell a collapsed last stack from a missing track.
         logic12() ? direct_selection_message::collapsedStack(7, std::nullopt)
                   : direct_selection_message::notUnique(7)},
        {"name differs", 3, "Bass", [](auto&) {},
         direct_selection_message::nameDiffers(3, "Bass", "Track Name 3")},
        {"no such track", 42, std::nullopt, [](auto&) {}, direct_selection_message::notUnique(42)},
        {"not frontmost", 3, std::nullopt, [](auto& h) { h.logic.setFrontmost(false); },
         direct_selection_message::kNotFrontmost},
        // Permission is checked first.
        {"no permission", 3, std::nullopt,
         [](auto& h) {
             h.logic.setTrusted(false);
             h.logic.setFrontmost(false);
         },
         direct_selection_message::kNoAccessibility},
        {"just after a modal closed", 3, std::nullopt,
         [](auto& h) {
             h.logic.openModal("Rename Track");
             h.scheduler.advance(0.5);
             h.logic.dismissModal();
             h.scheduler.advance(1.4);
         },
         direct_selection_message::kBusy},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        auto& h = start();
        c.setUp(h);
        const auto before = h.logic.selectedTrackNumbers();
        h.clearRecords();
        const auto outcome = select(c.number, c.name);
        ASSERT_TRUE(outcome.result);
        EXPECT_FALSE(outcome.result->success);
        EXPECT_EQ(outcome.result->message, c.message);
        EXPECT_EQ(h.logic.selectedTrackNumbers(), before);
        EXPECT_TRUE(h.emitted.empty());
    }
}

// Selects through the first method Logic offers, verifies it once Logic published it, and the
// observer reports the track.
TEST_P(DirectTrackSelectionProfile, SelectsThroughTheFirstMethodLogicOffers) {
    struct Case {
        const char* what;
        bool rowSettable, rowSetSelects, containerSettable, pressable;
        std::string method;  // empty: nothing safe to use
    };
    const Case cases[] = {
        {"as this Logic ships", true, true, true, true,
         logic12() ? "AXSelectedChildren on Arrange container" : "AXSelected on Arrange row"},
        {"row not settable", false, true, true, true, "AXSelectedChildren on Arrange container"},
        {"row settable but ignored", true, false, true, true,
         "AXSelectedChildren on Arrange container"},
        {"only the press", false, true, false, true, "AXPress on Arrange row"},
        {"nothing settable nor pressable", false, true, false, false, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        // The first row runs this Logic as it ships, and names the track, which must match.
        const bool asShipped = &c == cases;
        auto opts = options();
        if (!asShipped) {
            opts.rowSelectedSettable = c.rowSettable;
            opts.rowSelectedSetSelects = c.rowSetSelects;
            opts.containerSelectedChildrenSettable = c.containerSettable;
            opts.rowPressable = c.pressable;
        }
        auto& h = start(opts);
        const auto outcome =
            select(4, asShipped ? std::optional<std::string>("Track Name 4") : std::nullopt);
        ASSERT_TRUE(outcome.result);
        // Logic 12 headers offer no AXPress: the press-only Logic 12 has nothing safe to use.
        const bool pressOnly12 = logic12() && c.method == "AXPress on Arrange row";
        if (c.method.empty() || pressOnly12) {
            EXPECT_FALSE(outcome.result->success);
            EXPECT_EQ(outcome.result->message, direct_selection_message::kNoSafeAction);
            EXPECT_EQ(h.logic.selectedTrackNumbers(), (std::vector<int>{2}));
            continue;
        }
        EXPECT_TRUE(outcome.result->success) << outcome.result->message;
        EXPECT_EQ(outcome.result->message, c.method);
        EXPECT_GE(outcome.at, logic12() ? 0.35 : 0.0);
        EXPECT_EQ(h.logic.selectedTrackNumbers(), (std::vector<int>{4}));
        EXPECT_EQ(h.emittedIndices(), (std::vector<int>{4}));
    }
}

INSTANTIATE_TEST_SUITE_P(Profiles, DirectTrackSelectionProfile, ::testing::Bool(), bothShapesName);

}  // namespace
}  // namespace tessiva
