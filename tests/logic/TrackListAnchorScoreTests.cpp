#include <gtest/gtest.h>

#include "logic/TrackListAnchorScore.h"

namespace tessiva {
namespace {

TEST(TrackListAnchorScore, ScoresTitlesAndDescriptions) {
    EXPECT_EQ(TrackListAnchorScore::forTexts(std::nullopt, "Tracks header"), 60);
    EXPECT_EQ(TrackListAnchorScore::forTexts("Tracks", std::nullopt), 50);
    EXPECT_EQ(TrackListAnchorScore::forTexts("TRACKS", "tracks header"), 100);
    EXPECT_EQ(TrackListAnchorScore::forTexts("Tracks contents", std::nullopt), 10);
    EXPECT_EQ(TrackListAnchorScore::forTexts("Library", "Patches"), 0);
    EXPECT_FALSE(TrackListAnchorScore::takesAtOnce(49));
    EXPECT_TRUE(TrackListAnchorScore::takesAtOnce(50));
}

}  // namespace
}  // namespace tessiva
