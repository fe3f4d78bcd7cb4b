#include "logic/TrackListAnchorScore.h"

#include <array>

#include "runtime/Text.h"

namespace tessiva {

namespace {

bool containsAny(std::string_view text, std::initializer_list<std::string_view> needles) {
    for (auto needle : needles) {
        if (text.find(needle) != std::string_view::npos)
            return true;
    }
    return false;
}

}  // namespace

bool TrackListAnchorScore::namesTrackHeaders(std::string_view text) {
    // Logic translates its area names unevenly and spells the English one several ways, so look
    // for a word for "track" beside a word for "header" rather than for one fixed phrase.
    const std::string lower = text::replacingNoBreakSpaces(text::lowercased(text));
    return containsAny(lower,
                       {"track", "spur", "piste", "\u30C8\u30E9\u30C3\u30AF", "\uD2B8\uB799"}) &&
           containsAny(lower,
                       {"header", "kopf", "en-t\u00EAte", "\u30D8\u30C3\u30C0", "\uD5E4\uB354"});
}

int TrackListAnchorScore::forTexts(const std::optional<std::string>& title,
                                   const std::optional<std::string>& description) {
    const std::string lowerTitle = text::lowercased(title.value_or(""));
    const std::string joined = lowerTitle + " " + text::lowercased(description.value_or(""));
    int score = 0;
    if (namesTrackHeaders(joined))
        score += kTracksHeaderBonus;
    if (lowerTitle == "tracks")
        score += kTitledTracksBonus;
    if (joined.find("tracks") != std::string::npos)
        score += kMentionsTracksBonus;
    return score;
}

}  // namespace tessiva
