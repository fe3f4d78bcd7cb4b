#include <gtest/gtest.h>

#include "logic/TrackHeader.h"

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

}  // namespace
}  // namespace tessiva
