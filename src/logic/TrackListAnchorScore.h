#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// Limits of a breadth-first walk of a Logic window: children are expanded only for elements at
// depth `maxExpandDepth` or shallower (the window is depth 0), and at most `maxElements` are
// visited.
struct AXSearchLimits {
    int maxExpandDepth = 0;
    std::size_t maxElements = 0;
};

// How likely an element is Logic's Arrange track list: a table or outline of header rows
// (older Logic), or the "Tracks header" group of header layout items (Logic 12). Pure scoring of
// texts the reader has already fetched.
//
// Logic 12's window holds other lists too: the Inspector's outline ("Icon:", "Channel:" rows)
// and, under "Tracks contents", an area per track that repeats the header text. So a candidate is
// adopted only with evidence of track headers among its children, never for its texts alone,
// and a group only when its own texts name the track headers.
struct TrackListAnchorScore {
    static constexpr int kTracksHeaderBonus = 50;
    static constexpr int kTitledTracksBonus = 40;
    static constexpr int kMentionsTracksBonus = 10;
    static constexpr int kHeaderChildBonus = 25;
    // A candidate scoring above this is taken at once.
    static constexpr int kTakeAtOnceAbove = 49;
    static constexpr std::size_t kChildrenExamined = 60;
    static constexpr std::size_t kGrandchildrenExamined = 6;
    static constexpr AXSearchLimits kSearchLimits{8, 2500};

    // Score from the candidate's own title and description.
    static int forTexts(const std::optional<std::string>& title,
                        const std::optional<std::string>& description);
    static bool takesAtOnce(int score) { return score > kTakeAtOnceAbove; }

    // True when the text names the track-header area in one of Logic's languages: "Tracks
    // header", "Track Headers", "트랙 헤더", "トラックヘッダ", ...
    static bool namesTrackHeaders(std::string_view text);
};

}  // namespace tessiva
