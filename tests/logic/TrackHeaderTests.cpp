#include <gtest/gtest.h>

#include "logic/TrackHeader.h"

namespace tessiva {
namespace {

TEST(TrackHeader, ParsesNumberAndQuotedName) {
    {
        SCOPED_TRACE("typographic quotes");
        const auto parsed = parseTrackHeader("Track 7 \u201CBass\u201D");
        ASSERT_TRUE(parsed);
        EXPECT_EQ(parsed->index, 7);
        EXPECT_EQ(parsed->name, "Bass");
    }
    {
        SCOPED_TRACE("ASCII quotes and multi-digit numbers");
        EXPECT_EQ(parseTrackHeader("Track 124 \"Solo Violin\""),
                  (ParsedTrackHeader{124, "Solo Violin"}));
    }
    {
        SCOPED_TRACE("names keep inner quotes, spaces and non-ASCII text");
        EXPECT_EQ(parseTrackHeader("Track 3 \u201C Fl\u00F6te \"a2\" \u201D"),
                  (ParsedTrackHeader{3, " Fl\u00F6te \"a2\" "}));
    }
    {
        SCOPED_TRACE("a number alone yields no name");
        EXPECT_EQ(parseTrackHeader("Track 7"), (ParsedTrackHeader{7, std::nullopt}));
        EXPECT_EQ(parseTrackHeader("Track 7 \u201C\u201D"), (ParsedTrackHeader{7, std::nullopt}));
        EXPECT_EQ(parseTrackHeader("Track 7 \u201CUnclosed"), (ParsedTrackHeader{7, std::nullopt}));
    }
}

TEST(TrackHeader, ReadsEveryLocalisedForm) {
    struct Case {
        const char* text;
        ParsedTrackHeader expected;
    };
    const Case cases[] = {
        {"Spur 3 \u201EBass\u201C", {3, "Bass"}},
        {"\u30C8\u30E9\u30C3\u30AF3\u306E\u201CBass\u201D", {3, "Bass"}},
        {"3\uAC1C\uC758 \u2018Bass\u2019 \uD2B8\uB799", {3, "Bass"}},
        {"Piste 3 \u00AB\u00A0Bass\u00A0\u00BB", {3, "Bass"}},
        {"Track\u00A012 \u201CAbsolute Zero\u201D", {12, "Absolute Zero"}},
        // Contents rows append live state after the closing quote.
        {"Track 4 \u201CPads\u201D, muted", {4, "Pads"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_TRUE(isTrackHeaderText(c.text));
        EXPECT_EQ(parseTrackHeader(c.text), c.expected);
    }
    EXPECT_FALSE(parseTrackHeader("\uAC1C\uC758 \u2018Bass\u2019").has_value());
    EXPECT_FALSE(parseTrackHeader("Spuren").has_value());
}

TEST(TrackHeader, RejectsTextsThatAreNotHeaders) {
    for (const char* text : {"Tracks", "Tracks header", "Track", "Track ", "Track \u201CBass\u201D",
                             "track 7 \u201CBass\u201D", " Track 7", "Audio 1", "",
                             "Track 12345678901 \u201CHuge\u201D"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(parseTrackHeader(text).has_value());
    }
    EXPECT_TRUE(isTrackHeaderText("Track x"));
    EXPECT_FALSE(isTrackHeaderText("Tracks"));
    EXPECT_EQ(parseTrackHeader("Track 0 \u201CZero\u201D"), (ParsedTrackHeader{0, "Zero"}));
}

}  // namespace
}  // namespace tessiva
