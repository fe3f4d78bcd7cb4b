#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "logic/TrackSelection.h"
#include "platform/ax/AXElement.h"
#include "platform/ax/AXValue.h"
#include "platform/input/InputEventPort.h"
#include "runtime/Queue.h"

namespace tessiva {

class Clock;
class NotificationCenter;

// The debug-event titles and texts of the flight recorder.
namespace flight_recorder_text {
inline constexpr const char* kArmed = "AX flight recorder armed";
inline constexpr const char* kStopped = "AX flight recorder stopped";
inline constexpr const char* kInteractionStarted = "AX flight interaction started";
inline constexpr const char* kNoRace = "Stopped before a Logic selection interaction was observed.";
std::string armedDetail(const std::string& label, double seconds);
std::string stoppedDetail(int races);
}  // namespace flight_recorder_text

// The flight recorder: while armed (for at most 45 s), every Logic track click and up/down arrow
// key starts a "race", and what follows is written to the event log as debug events: the polls
// of what the focused element, the element under the click and the list's selection resolve
// to, each AX notification that reaches the observer, and each routing decision. It only
// records, so the selections emitted are the same with or without it. Arming, stopping and the
// monitor live on the main queue, the polls' reads on "tessiva.logic.flight-recorder"; records
// may come from any queue. Owned by the Logic observer's shared context, created on first use;
// tests arm it through LogicObserver against SimulatedLogic on a VirtualScheduler.
class AXSelectionRaceSnoop {
  public:
    struct Dependencies {
        Dispatcher& dispatcher;
        InputEventPort& input;
        NotificationCenter& notifications;
        // Whether Logic is the frontmost application (interactions count only then).
        std::function<bool()> logicFrontmost;
    };

    static constexpr double kMaximumSeconds = 45.0;
    static constexpr double kPollInterval = 0.1;
    // Long enough for Logic 12's 0.35 s publishing lag and a held element's 1.1 s staleness.
    static constexpr double kPollWindow = 1.5;
    static constexpr std::string_view kQueueName = "tessiva.logic.flight-recorder";

    explicit AXSelectionRaceSnoop(Dependencies dependencies);
    ~AXSelectionRaceSnoop();
    AXSelectionRaceSnoop(const AXSelectionRaceSnoop&) = delete;
    AXSelectionRaceSnoop& operator=(const AXSelectionRaceSnoop&) = delete;

    // Set by the observer before arming. Called on the flight-recorder queue.
    std::function<AXElement()> appElementProvider;
    // The focused element, resolved to a track (its header, text field or Mixer strip).
    std::function<std::optional<TrackSelection>(const AXElement&)> resolveElement;
    // The anchored list's row under a screen point, and the list's selection.
    std::function<std::optional<TrackSelection>(AXPoint)> resolvePoint;
    std::function<std::optional<TrackSelection>()> readListSelection;
    // How a notification's element is named in its record.
    std::function<std::string(const AXElement&)> describeElement;

    // Main queue. Arming again stops a running capture silently first.
    void arm(const std::string& label, double seconds = kMaximumSeconds);
    // By the user, at the time limit or when a modal quarantine begins; silent when not armed.
    void stop();

    // Any queue.
    bool isActive() const;
    // Ends a capture whose time has passed (its stop work may not have run yet).
    bool refresh(double at);
    double startTime() const;
    // Records are written in order on the recorder's queue.
    void recordNotification(const std::string& signal, const AXElement& element, double at);
    void recordNotificationDetail(const std::string& detail);
    void recordDecision(const std::string& stage, const std::string& name);

  private:
    void handleEvent(const InputEvent& event);
    void beginRace(std::string reason, std::optional<AXPoint> point, double at);
    void schedulePoll(std::uint64_t race, double delay);
    void poll(std::uint64_t race);
    void post(const std::string& title, const std::string& detail);
    void onRecorderQueue(std::function<void()> work);
    // Numbers a record and writes it; `detail` gets the race and its start.
    template <typename Detail>
    void record(const std::string& title, Detail detail);
    void endLocked(std::unique_lock<std::mutex>& lock, bool announce);

    Dependencies deps_;
    std::shared_ptr<Queue> pollQueue_;

    mutable std::mutex mutex_;
    std::unique_ptr<InputEventSubscription> eventMonitor_;
    WorkItem pollTimer_;
    WorkItem stopWorkItem_;
    bool active_ = false;
    std::uint64_t raceID_ = 0;
    std::uint64_t eventSequence_ = 0;
    double captureStart_ = 0;
    double captureEnd_ = 0;
    double raceStart_ = 0;
    std::optional<std::string> raceReason_;
    double pollDeadline_ = 0;
    std::optional<AXPoint> interactionPoint_;
    std::string armedLabel_;
    // Queued polls check it, so they never run once the recorder is gone.
    struct LifeGuard {
        std::shared_mutex mutex;
        bool alive = true;
    };
    std::shared_ptr<LifeGuard> guard_ = std::make_shared<LifeGuard>();
};

}  // namespace tessiva
