#pragma once

#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>

#include "platform/ax/AccessibilityPort.h"
#include "runtime/Queue.h"
#include "runtime/RepeatingTimer.h"

namespace tessiva {

// The pure decisions of the tempo bridge: what a slider value means and when a tempo is news.
struct TempoRules {
    // Smaller differences from the last sent tempo are repeats of it.
    static constexpr double kChangeThreshold = 0.0001;

    // A number, or text holding one (white space around it is ignored); nothing for a missing,
    // non-numeric, non-finite, zero or negative value.
    static std::optional<double> parse(const AXValue& value);
    // The slider's description: "Tempo" in any case, or the Korean "템포".
    static bool isTempoDescription(std::string_view description);
    static constexpr std::string_view kKoreanTempo = "\uD15C\uD3EC";
    static bool isNews(std::optional<double> stored, double tempo) {
        return !stored || !(std::abs(tempo - *stored) < kChangeThreshold);
    }
};

// Keeps the iPad told of Logic's tempo: reads the control bar's Tempo slider through its own
// Accessibility observer, independently of LogicObserver, and hands every changed value to
// `publish` (the coordinator sends it to a connected iPad). Attaches at start and re-checks every
// 5 s; a burst of value changes is read once, 0.25 s after the first. All AX work and its timers
// run on the serial queue "Tessiva Focus Logic Tempo"; `storedTempo` is guarded by a lock.
// Destroying it detaches and waits for work already running on that queue. Tests drive it with
// SimulatedLogic on a VirtualScheduler.
class LogicTempoBridge {
  public:
    struct Dependencies {
        Dispatcher& dispatcher;
        AccessibilityPort& accessibility;
        // Called on the bridge's queue with each changed tempo, in beats per minute.
        std::function<void(double bpm)> publish;
    };

    static constexpr std::string_view kQueueName = "Tessiva Focus Logic Tempo";
    static constexpr double kReadDelay = 0.25;
    static constexpr double kRetryInterval = 5.0;
    // The slider search from the focused window: at most this many elements, and children only
    // of elements shallower than this depth.
    static constexpr int kSearchVisitLimit = 180;
    static constexpr int kSearchExpandDepth = 6;

    explicit LogicTempoBridge(Dependencies dependencies);
    ~LogicTempoBridge();
    LogicTempoBridge(const LogicTempoBridge&) = delete;
    LogicTempoBridge& operator=(const LogicTempoBridge&) = delete;

    // Starts the worker once; later calls do nothing. Any thread.
    void start();

    // For the coordinator and tests; any thread.
    std::optional<double> storedTempo() const;
    bool isAttached() const { return attached_.load(); }

  private:
    void attachStep();
    void detach();
    AXElement findTempoElement(const AXElement& application);
    void handleNotification(const std::string& name);
    void readAndPublish();
    template <typename Work>
    Queue::Work guarded(Work work);

    struct LifeGuard {
        std::shared_mutex mutex;
        bool alive = true;
    };

    Dependencies deps_;
    std::shared_ptr<LifeGuard> guard_ = std::make_shared<LifeGuard>();
    mutable std::mutex stateLock_;
    bool didStart_ = false;
    std::optional<double> storedTempo_;
    std::shared_ptr<Queue> worker_;

    // The worker's queue only.
    std::unique_ptr<AXObserver> observer_;
    AXElement tempoElement_;
    ProcessId attachedPID_ = 0;
    RepeatingTimer retryTimer_;
    WorkItem pendingRead_;
    std::atomic<bool> attached_{false};
};

}  // namespace tessiva
