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

// Which attribute of a row carries its header text. Older Logic puts `Track 7 “Bass”` in the
// row's title; Logic 12 leaves the title empty and puts it in the description. Learning it when
// the list is anchored lets every later read ask for that attribute first, halving the reads a
// click and a structure poll cost Logic.
struct HeaderSource {
    const char* attribute = nullptr;  // nullptr: title, else description, else value
};

// The anchored Arrange track list: the table/outline of older Logic or Logic 12's header rail.
struct TrackListAnchor {
    TrackListAnchor() = default;
    // A list read with the default header order.
    TrackListAnchor(AXElement list,
                    HeaderSource source = {})  // NOLINT(google-explicit-constructor)
        : element(std::move(list)), headers(source) {}

    AXElement element;
    HeaderSource headers;
    // Logic 12 answers reads through an element held from before a change with the old value
    // for about a second, so selection reads go through a handle fetched anew from the list's
    // parent (two reads more) instead of the anchored one.
    bool refetchBeforeRead = false;

    explicit operator bool() const { return bool(element); }
};

// The reads Logic observation makes through the Accessibility port: header texts, the anchoring
// search, the selection, the rows of a list and the bounded window walk. Holds no state beyond
// the port, so any queue may use it (the selection queue does). Tests run it against
// SimulatedLogic in both of its Logic profiles.
class LogicAXReader {
  public:
    static constexpr AXSearchLimits kSnapshotWalkLimits{11, 4000};
    static constexpr AXSearchLimits kListVerificationLimits{11, 3500};
    // A row whose own texts carry no header is read through this many of its children.
    static constexpr std::size_t kRowChildrenExamined = 6;

    struct AnchorSearch {
        AXElement element;
        HeaderSource headers;
        int score = 0;
        std::size_t visited = 0;
        bool stoppedEarly = false;

        bool isRail = false;

        TrackListAnchor anchor() const {
            TrackListAnchor found{element, headers};
            found.refetchBeforeRead = isRail;
            return found;
        }
    };
    struct Rows {
        TrackListSnapshot snapshot;
        std::size_t rowCount = 0;
    };
    // One read of a list's selection, with what a caller needs to tell a changed selection from
    // an unchanged one cheaply, and a dead list from an empty one.
    struct SelectionRead {
        std::optional<TrackSelection> selection;
        // The first selected element; its identity follows the selected position.
        AXElement firstSelected;
        // The list element no longer exists (a new window, the Arrange area rebuilt).
        bool listGone = false;
        // The first selected element is the one the caller already knew: nothing was parsed.
        bool unchanged = false;
    };

    explicit LogicAXReader(AccessibilityPort& port) : port_(port) {}

    std::optional<std::string> string(const AXElement& element, const char* attribute) const;
    AXElement element(const AXElement& element, const char* attribute) const;
    std::vector<AXElement> elements(const AXElement& element, const char* attribute) const;
    std::optional<bool> boolean(const AXElement& element, const char* attribute) const;
    std::optional<AXFrame> frame(const AXElement& element) const;

    // The first of "AXTitle", "AXDescription", "AXValue" that reads as a track header; the
    // source's attribute is tried first.
    std::optional<std::string> headerText(const AXElement& element, HeaderSource source = {}) const;
    std::optional<ParsedTrackHeader> header(const AXElement& element,
                                            HeaderSource source = {}) const;
    std::optional<TrackSelection> selectionFromHeader(const AXElement& element,
                                                      HeaderSource source = {}) const;
    // A row's header: its own texts, else those of its first few children.
    std::optional<ParsedTrackHeader> rowHeader(const AXElement& row,
                                               HeaderSource source = {}) const;

    // "AXMainWindow", else "AXFocusedWindow".
    AXElement mainOrFocusedWindow(const AXElement& application) const;
    // "AXFocusedWindow", else "AXMainWindow".
    AXElement focusedOrMainWindow(const AXElement& application) const;
    // The project's Arrange window. While a dialog or plug-in window is open Logic reports it as
    // the main window, so a main window whose subrole is not a standard window is passed over for
    // the first standard window in "AXWindows".
    AXElement arrangeWindow(const AXElement& application) const;
    std::optional<std::string> windowTitle(const AXElement& application) const;

    AnchorSearch findTrackList(const AXElement& window,
                               AXSearchLimits limits = TrackListAnchorScore::kSearchLimits) const;
    // Lists named as the Arrange header or contents lists, in any of Logic's languages.
    std::vector<AXElement> findArrangeLists(const AXElement& window, AXSearchLimits limits) const;

    // The selected track of a list: its selected children, else selected rows, else the first
    // child marked selected. The first listed wins.
    std::optional<TrackSelection> readSelection(const TrackListAnchor& list) const;
    // With `unchangedIf`, a first selected element equal to it ends the read at one attribute
    // read: element identity follows the selected position, so the selection has not moved.
    SelectionRead readSelectionDetailed(const TrackListAnchor& list,
                                        const AXElement& unchangedIf = {}) const;
    // Without a list: the focused element, its ancestors, else a search of the window.
    std::optional<TrackSelection> readSelectionWithoutList(const AXElement& application) const;
    // The element or one of its `maxAncestors` nearest ancestors that carries a header.
    std::optional<TrackSelection> resolveToTrack(const AXElement& element, int maxAncestors,
                                                 AXElement* row = nullptr) const;

    Rows readRows(const TrackListAnchor& list) const;
    TrackListSnapshot walkWindow(const AXElement& window,
                                 AXSearchLimits limits = kSnapshotWalkLimits) const;
    // False when the element is gone (the port reports it invalid).
    bool exists(const AXElement& element) const;
    // The list through a handle fetched now when it needs one (Logic 12's rail), else the
    // anchored element; empty and `gone` set when the list has left its window.
    AXElement freshListHandle(const TrackListAnchor& list, bool* gone) const;

  private:
    // A handle on the list fetched now; empty when the list is gone.
    AXElement freshHandle(const TrackListAnchor& list, bool* gone) const;
    struct CandidateScore {
        int score = 0;
        bool hasHeaderChildren = false;
        HeaderSource headers;
    };

    // Visits `window` and its descendants breadth first, at most limits.maxElements of them and
    // expanding down to limits.maxExpandDepth; `visit` returns false to stop. Returns how many
    // elements were visited.
    template <typename Visit>
    std::size_t walkBreadthFirst(const AXElement& window, AXSearchLimits limits,
                                 Visit&& visit) const;
    // Tables and outlines, and groups whose texts name the track headers.
    bool isListCandidate(const AXElement& element, std::optional<std::string>* title,
                         std::optional<std::string>* description) const;
    CandidateScore scoreCandidate(const AXElement& candidate,
                                  const std::optional<std::string>& title,
                                  const std::optional<std::string>& description) const;
    std::optional<TrackSelection> firstParsed(const std::vector<AXElement>& elements,
                                              HeaderSource source) const;

    AccessibilityPort& port_;
};

}  // namespace tessiva
