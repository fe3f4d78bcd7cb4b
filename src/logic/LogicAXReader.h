#pragma once

#include <optional>
#include <string>
#include <vector>

#include "logic/TrackHeader.h"
#include "logic/TrackListAnchorScore.h"
#include "logic/TrackListSnapshot.h"
#include "logic/TrackSelection.h"
#include "platform/ax/AccessibilityPort.h"

namespace tessiva {

// The reads Logic observation makes through the Accessibility port: header texts, the anchoring
// search, the selection, the rows of a list and the bounded window walk. Holds no state beyond
// the port, so any queue may use it (the selection queue does). Tests run it against
// SimulatedLogic.
class LogicAXReader {
  public:
    static constexpr AXSearchLimits kSnapshotWalkLimits{11, 4000};
    static constexpr AXSearchLimits kListVerificationLimits{11, 3500};

    struct AnchorSearch {
        AXElement element;
        int score = 0;
        std::size_t visited = 0;
        bool stoppedEarly = false;
    };
    struct Rows {
        TrackListSnapshot snapshot;
        std::size_t rowCount = 0;
    };

    explicit LogicAXReader(AccessibilityPort& port) : port_(port) {}

    std::optional<std::string> string(const AXElement& element, const char* attribute) const;
    AXElement element(const AXElement& element, const char* attribute) const;
    std::vector<AXElement> elements(const AXElement& element, const char* attribute) const;
    std::optional<bool> boolean(const AXElement& element, const char* attribute) const;
    std::optional<AXFrame> frame(const AXElement& element) const;

    // The first of "AXTitle", "AXDescription", "AXValue" that begins with "Track ".
    std::optional<std::string> headerText(const AXElement& element) const;
    std::optional<ParsedTrackHeader> header(const AXElement& element) const;
    std::optional<TrackSelection> selectionFromHeader(const AXElement& element) const;

    // "AXMainWindow", else "AXFocusedWindow".
    AXElement mainOrFocusedWindow(const AXElement& application) const;
    // "AXFocusedWindow", else "AXMainWindow".
    AXElement focusedOrMainWindow(const AXElement& application) const;
    std::optional<std::string> windowTitle(const AXElement& application) const;

    int scoreCandidate(const AXElement& candidate) const;
    AnchorSearch findTrackList(const AXElement& window,
                               AXSearchLimits limits = TrackListAnchorScore::kSearchLimits) const;
    // Tables and outlines whose lower-cased title or description is one of `names`.
    std::vector<AXElement> findListsNamed(const AXElement& window,
                                          const std::vector<std::string>& names,
                                          AXSearchLimits limits) const;

    // The selected track of a list: its selected children, else selected rows, else the first
    // child marked selected. The first listed wins.
    std::optional<TrackSelection> readSelection(const AXElement& container) const;
    // Without a list: the focused element, its ancestors, else a search of the window.
    std::optional<TrackSelection> readSelectionWithoutList(const AXElement& application) const;
    // The element or one of its `maxAncestors` nearest ancestors that carries a header.
    std::optional<TrackSelection> resolveToTrack(const AXElement& element, int maxAncestors,
                                                 AXElement* row = nullptr) const;

    Rows readRows(const AXElement& container) const;
    TrackListSnapshot walkWindow(const AXElement& window,
                                 AXSearchLimits limits = kSnapshotWalkLimits) const;

  private:
    // Visits `window` and its descendants breadth first, at most limits.maxElements of them and
    // expanding down to limits.maxExpandDepth; `visit` returns false to stop. Returns how many
    // elements were visited.
    template <typename Visit>
    std::size_t walkBreadthFirst(const AXElement& window, AXSearchLimits limits,
                                 Visit&& visit) const;
    bool isListRole(const AXElement& element) const;
    std::optional<TrackSelection> firstParsed(const std::vector<AXElement>& elements) const;

    AccessibilityPort& port_;
};

}  // namespace tessiva
