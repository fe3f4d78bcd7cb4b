#include <gtest/gtest.h>

#include "logic/StructuralSnapshotDebounce.h"

namespace tessiva {
namespace {

TEST(StructuralSnapshotDebounce, DelaysAndFireDecisions) {
    const StructuralSnapshotDebounce debounce;
    using A = StructuralSnapshotAction;
    EXPECT_DOUBLE_EQ(debounce.delayFor("AXLayoutChanged"), 1.0);
    EXPECT_DOUBLE_EQ(debounce.delayFor("pointer-drag-ended/arrange-track"), 0.15);
    EXPECT_DOUBLE_EQ(debounce.delayFor("pointer-drag-active"), 1.0);

    const std::optional<std::string> layout = "AXLayoutChanged";
    EXPECT_EQ(debounce.onFire(10, true, true, false, 0, layout).action, A::skip);
    EXPECT_EQ(debounce.onFire(10, false, false, false, 0, layout).action, A::skip);
    // A drag postpones with its own reason.
    const auto drag = debounce.onFire(10, false, true, true, 0, layout);
    EXPECT_EQ(drag.action, A::rescheduleForDrag);
    EXPECT_EQ(drag.reason, "pointer-drag-active");
    // A selection 0.5 s ago postpones until 2.0 s after it.
    const auto decision = debounce.onFire(10.0, false, true, false, 9.5, layout);
    EXPECT_EQ(decision.action, A::rescheduleForQuiet);
    EXPECT_NEAR(decision.delay, 1.5, 1e-12);
    EXPECT_EQ(decision.reason, "AXLayoutChanged");
    EXPECT_EQ(debounce.onFire(10.0, false, true, false, 9.5, std::nullopt).reason,
              "debounced-structural");
    EXPECT_EQ(debounce.onFire(11.5, false, true, false, 9.5, layout).action, A::capture);
    EXPECT_EQ(debounce.onFire(10.0, false, true, false, 0, layout).action, A::capture);
}

}  // namespace
}  // namespace tessiva
