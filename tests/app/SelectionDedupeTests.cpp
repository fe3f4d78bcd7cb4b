#include <gtest/gtest.h>

#include "app/SelectionDedupe.h"

namespace tessiva {
namespace {

TEST(SelectionDedupe, HalfOpenWindowOverRowAndName) {
    const TrackSelection bass{5, "Bass"};
    auto repeat = checkRepeat(bass, 1000.0, bass, 1000.499, kRouterDedupeWindowSeconds);
    EXPECT_TRUE(repeat.duplicate);
    EXPECT_EQ(repeat.detail(), "windowMs=500 ageMs=499");
    EXPECT_FALSE(checkRepeat(bass, 1000.0, bass, 1000.5, kRouterDedupeWindowSeconds).duplicate);
    EXPECT_TRUE(checkRepeat(bass, 1000.0, bass, 1003.999, kHandlerDedupeWindowSeconds).duplicate);
    EXPECT_FALSE(checkRepeat(bass, 1000.0, bass, 1004.0, kHandlerDedupeWindowSeconds).duplicate);

    EXPECT_FALSE(checkRepeat(bass, 1000.0, {5, "Bass 2"}, 1000.1, 0.5).duplicate);
    EXPECT_FALSE(checkRepeat(bass, 1000.0, {5, std::nullopt}, 1000.1, 0.5).duplicate);
    EXPECT_FALSE(checkRepeat(bass, 1000.0, {6, "Bass"}, 1000.1, 0.5).duplicate);
    const TrackSelection unnamed{3, std::nullopt};
    EXPECT_TRUE(checkRepeat(unnamed, 1000.0, unnamed, 1000.1, 0.5).duplicate);
    EXPECT_EQ(wholeMilliseconds(-0.0015), -1);  // toward zero
}

}  // namespace
}  // namespace tessiva
