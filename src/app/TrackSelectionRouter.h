#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/BankFocusResolver.h"
#include "app/SelectionStage.h"
#include "logic/TrackSelection.h"
#include "mapping/MappingEventType.h"
#include "mapping/RowMap.h"
#include "osc/InboundRequests.h"
#include "runtime/Queue.h"

namespace tessiva {

class Clock;
class Console;
class DebugLogStore;
class LearnModeStore;
class MIDIRelay;
class MappingStore;
class NotificationCenter;
class OSCManager;
class PeerEndpointProvider;
class ProjectKeyProvider;
class SelectionStageRecorder;
class StructuralRepairState;

inline constexpr const char* kFocusEventSentNotification = "tessivaFocusEventSent";
// Arguments: s request ID, s bank UUID, s outcome ("success" or "failure"), i Logic track index
// (0 when no track was chosen), s the message for the user.
inline constexpr std::string_view kDirectNavigationResultAddress =
    "/tessiva/navigation/direct/result";
// How long Logic has to select and report a requested track before the iPad is told it failed:
// room for three selection attempts of 0.8 s each and Logic's 0.35 s publishing lag.
inline constexpr double kDirectNavigationTimeoutSeconds = 4.0;

// Decides, for each Logic track selection, whether it may drive output, and sends it: the
// row's "/tessiva/bank/focus" to the active iPad and the row's Program Change or Note through the
// legacy MIDI relay. Holds the selection path's state (dedupe, last bank focus, pending direct
// navigation and its echo window); captures rows in learn mode; plays a row on demand. Every
// decision is recorded as a stage and, where the user should know, in the event log. Owned by
// the coordinator, main queue only, times from the injected clock. Tests use the real class with
// a VirtualScheduler, a real MappingStore in a temporary folder, the in-memory MIDI service and a
// loopback UDP socket standing in for the iPad.
class TrackSelectionRouter {
  public:
    struct Dependencies {
        Queue& mainQueue;
        const Clock& clock;
        Console& console;
        NotificationCenter& notifications;
        DebugLogStore& log;
        MappingStore& mappingStore;
        LearnModeStore& learnStore;
        MIDIRelay& midiRelay;
        OSCManager& osc;
        const PeerEndpointProvider& peers;
        const ProjectKeyProvider& projectKeys;
        StructuralRepairState& repairState;
        SelectionStageRecorder& stages;
    };

    // What a learned row starts with; the user edits it in the mappings window.
    static constexpr int kLearnedChannel = 1;
    static constexpr MappingEventType kLearnedEventType = MappingEventType::programChange;
    // Row n gets Program Change n-1 (clamped into 0...127), so new rows are told apart at once.
    static int learnedProgramChange(int row);

    // A mapped Note goes out as Note On at this velocity, released after this long.
    static constexpr int kMappedNoteVelocity = 100;
    static constexpr double kMappedNoteLengthSeconds = 0.1;

    explicit TrackSelectionRouter(Dependencies dependencies);
    ~TrackSelectionRouter();
    TrackSelectionRouter(const TrackSelectionRouter&) = delete;
    TrackSelectionRouter& operator=(const TrackSelectionRouter&) = delete;

    // Each selection the Logic observer delivers: the direct-navigation check, then the router.
    void routeSelection(const TrackSelection& selection);
    // The short-window router; true when the selection went on to the handler.
    bool route(const TrackSelection& selection);

    // The latest Logic track names, handed to structural repair with each handled selection.
    void updateTrackSnapshot(RowMap snapshot);

    // The iPad asked for `row` to be selected in Logic; the caller has started the selection.
    // A still-pending earlier request fails as superseded.
    // Returns the request's number, for isCurrentDirectNavigation.
    std::uint64_t beginDirectNavigation(DirectNavigationRequest request, int row,
                                        std::optional<std::string> trackName);
    bool isCurrentDirectNavigation(std::uint64_t number) const {
        return pendingDirectNavigationRequest_ && number == directNavigationRequestNumber_;
    }
    // Answers a request that never became pending (no mapped track, another project's profile).
    void refuseDirectNavigation(const DirectNavigationRequest& request, const std::string& message);
    // Completes the pending navigation (no-op when none is pending). `observed` is the selection
    // that confirmed it, when one did.
    void completeDirectNavigation(bool success, const std::string& message,
                                  const std::optional<TrackSelection>& observed = std::nullopt);

    // Sends the row's MIDI mapping now, without gates (the mappings window's play command).
    void playMapping(int row);

    // The active Logic project changed: forget dedupe and the last bank focus.
    void resetSelectionState(const std::string& reason);

    // The menu's "Add All Logic Tracks" mode, which logs each newly captured row.
    void setAddTracksModeActive(bool active) { addTracksModeActive_ = active; }

    const std::optional<TrackSelection>& lastLogicSelection() const { return lastLogicSelection_; }
    const std::optional<std::string>& lastSentBankFocusSignature() const {
        return lastSentBankFocusSignature_;
    }
    std::optional<int> lastSentBankFocusTrackIndex() const { return lastSentBankFocusTrackIndex_; }
    const std::optional<TrackSelection>& lastHandledSelection() const {
        return lastHandledSelection_;
    }
    const std::optional<DirectNavigationRequest>& pendingDirectNavigationRequest() const {
        return pendingDirectNavigationRequest_;
    }
    std::optional<int> pendingDirectNavigationTrackIndex() const {
        return pendingDirectNavigationTrackIndex_;
    }
    std::optional<int> directNavigationEchoSuppressionTrackIndex() const {
        return directNavigationEchoSuppressionTrackIndex_;
    }
    double directNavigationEchoSuppressionDeadline() const {
        return directNavigationEchoSuppressionDeadline_;
    }

  private:
    enum class BankFocusOutcome { notResolved, sent, deduplicated, skippedNoPeer };
    struct BankFocusAttempt {
        BankFocusOutcome outcome = BankFocusOutcome::notResolved;
        BankFocusResolution resolution;
        bool reachedIPad() const {
            return outcome == BankFocusOutcome::sent || outcome == BankFocusOutcome::deduplicated;
        }
    };

    void handle(const TrackSelection& selection);
    BankFocusAttempt focusBank(const TrackSelection& selection, const std::string& name,
                               BankFocusLookup lookup, bool projectMatches);
    void captureLearnedRow(int row, const std::string& name);
    // The saved track name the name gate compares with: the MIDI mapping's, else the bank
    // mapping's.
    std::optional<std::string> savedTrackName(int row) const;
    void sendMappedOutput(int row, const std::string& name);
    void sendDirectNavigationResult(const DirectNavigationRequest& request, int row, bool success,
                                    const std::string& message);
    void sendMIDI(MappingEventType type, int value, int channel);
    void postFocusEventSent(int row, MappingEventType type, int value, int channel);
    // An event-log entry, echoed to the console.
    void note(const std::string& title, const std::string& detail);
    void stage(SelectionStage stage, const TrackSelection& selection, std::string detail = {});

    Dependencies deps_;

    std::optional<TrackSelection> lastLogicSelection_;
    double lastLogicSelectionTime_ = 0;
    std::optional<RowMap> mostRecentLogicTrackSnapshot_;
    std::optional<std::string> lastSentBankFocusSignature_;
    std::optional<int> lastSentBankFocusTrackIndex_;
    std::optional<TrackSelection> lastHandledSelection_;
    double lastHandledSelectionTime_ = 0;
    std::optional<DirectNavigationRequest> pendingDirectNavigationRequest_;
    std::optional<int> pendingDirectNavigationTrackIndex_;
    std::optional<std::string> pendingDirectNavigationTrackName_;
    std::optional<WorkItem> pendingDirectNavigationTimeoutWorkItem_;
    std::optional<int> directNavigationEchoSuppressionTrackIndex_;
    double directNavigationEchoSuppressionDeadline_ = 0;

    bool addTracksModeActive_ = false;
    std::vector<WorkItem> pendingNoteOffs_;
    // Carried into each time-out so a completion for an older request does nothing.
    std::uint64_t directNavigationRequestNumber_ = 0;
};

}  // namespace tessiva
