#include "logic/TrackListAnchorScore.h"

#include "runtime/Text.h"

namespace tessiva {

int TrackListAnchorScore::forTexts(const std::optional<std::string>& title,
                                   const std::optional<std::string>& description) {
    const std::string lowerTitle = text::lowercased(title.value_or(""));
    const std::string joined = lowerTitle + " " + text::lowercased(description.value_or(""));
    int score = 0;
    if (joined.find("tracks header") != std::string::npos)
        score += kTracksHeaderBonus;
    if (lowerTitle == "tracks")
        score += kTitledTracksBonus;
    if (joined.find("tracks") != std::string::npos)
        score += kMentionsTracksBonus;
    return score;
}

}  // namespace tessiva
