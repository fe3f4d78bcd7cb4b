#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "logic/LogicAXReader.h"
#include "logic/ModalDeadlines.h"
#include "logic/ObservationContext.h"
#include "logic/TrackSelection.h"

namespace tessiva {

// How a track was selected in Logic on request, in the order they are tried.
enum class DirectSelectionMethod { rowSelected, containerSelectedChildren, rowPress, count };
inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(DirectSelectionMethod::count)>
    kDirectSelectionMethodLabels = {"AXSelected on Arrange row",
                                    "AXSelectedChildren on Arrange container",
                                    "AXPress on Arrange row"};
static_assert(kDirectSelectionMethodLabels.size() ==
              static_cast<std::size_t>(DirectSelectionMethod::count));

// The messages a refused or failed selection reports to the user.
namespace direct_selection_message {
inline constexpr const char* kNoAccessibility =
    "Tessiva Focus does not have Accessibility permission.";
inline constexpr const char* kNotFrontmost =
    "Logic Pro must be the frontmost Mac app for direct navigation.";
inline constexpr const char* kBusy =
    "Logic Pro is temporarily busy with a modal or structural edit.";
inline constexpr const char* kNoTrackList = "Focus could not find Logic’s Arrange track list.";
inline constexpr const char* kNoSafeAction =
    "Logic's verified Arrange row exposes no safe selection action.";
std::string notUnique(int number);
std::string collapsedStack(int number, const std::optional<std::string>& expectedName);
std::string nameDiffers(int number, const std::string& expectedName, const std::string& found);
std::string notVerified(int number);
}  // namespace direct_selection_message

struct DirectSelectionResult {
    bool success = false;
    std::optional<DirectSelectionMethod> method;
    // For the user on failure; the method's label on success.
    std::string message;
};

// The pure decisions of a direct selection: the checks before any read, and where the requested
// number stands among the rows the list shows.
struct DirectSelectionRules {
    // The first failed check's message, in order: permission, frontmost, quarantine.
    static std::optional<std::string> refusal(bool trusted, bool logicFrontmost,
                                              const ModalDeadlines& deadlines, double now);

    enum class Placement { found, notUnique, hiddenInGap, missingAfterLast, missing };
    struct Location {
        Placement placement = Placement::missing;
        // found: the row; missingAfterLast: the last visible row below the number.
        std::size_t row = 0;
    };
    // Rows in list order. A number missing between two visible rows lies in a collapsed stack
    // (only stacks make Logic's numbering skip); one past the last visible row may, when that
    // row is a collapsed stack's header.
    static Location locate(const std::vector<ParsedTrackHeader>& rows, int number);
    static bool namesMatch(const std::string& expected, const std::string& found);
};

// Selects a Logic track on request, for the iPad's direct navigation: checks, finds the one row
// that shows the number (and the expected name), then tries the row's AXSelected, the list's
// AXSelectedChildren and the row's AXPress in turn, each followed by reading the selection back
// until Logic shows the track or the verification window ends (Logic 12 publishes a selection
// about 0.35 s late, and through a fresh handle only). Changes nothing on failure. The checks
// run on the main queue, reads and attempts on "tessiva.logic.selection"; the result comes back
// on the main queue. Part of LogicObserver; tests drive it through the observer against both
// SimulatedLogic profiles.
class DirectTrackSelection {
  public:
    using Completion = std::function<void(const DirectSelectionResult&)>;
    // Called on the main queue right after an attempt was made, so the selection watch reads
    // what Logic publishes.
    using AttemptMade = std::function<void(double at)>;
    using ListAdopted = std::function<void(const TrackListAnchor& anchor)>;

    static constexpr double kVerificationWindow = 0.8;
    static constexpr double kVerificationPollInterval = 0.05;

    DirectTrackSelection(ObservationContext& context, AttemptMade onAttempt,
                         ListAdopted onListAdopted);
    DirectTrackSelection(const DirectTrackSelection&) = delete;
    DirectTrackSelection& operator=(const DirectTrackSelection&) = delete;

    // Main queue. A newer request ends an older one still running without a result.
    void select(int number, std::optional<std::string> expectedName, Completion completion);

  private:
    struct Request {
        std::uint64_t generation = 0;
        int number = 0;
        std::optional<std::string> expectedName;
        Completion completion;
        TrackListAnchor list;
        AXElement row;
        std::vector<DirectSelectionMethod> methods;
        std::size_t nextMethod = 0;
    };
    using RequestPtr = std::shared_ptr<Request>;

    // Selection queue.
    void locateAndAttempt(RequestPtr request);
    TrackListAnchor currentList();
    void attemptNext(RequestPtr request);
    bool perform(const Request& request, DirectSelectionMethod method);
    void verify(RequestPtr request, DirectSelectionMethod method, double deadline);
    bool isCurrent(const Request& request) const;
    void finish(const RequestPtr& request, DirectSelectionResult result);

    ObservationContext& context_;
    AttemptMade onAttempt_;
    ListAdopted onListAdopted_;
    mutable std::mutex mutex_;
    std::uint64_t generation_ = 0;
};

}  // namespace tessiva
