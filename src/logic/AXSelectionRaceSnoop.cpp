#include "logic/AXSelectionRaceSnoop.h"

#include <algorithm>
#include <cstdio>

#include "runtime/Clock.h"
#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {
namespace {

std::string seconds3(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", seconds);
    return text;
}

std::string describe(const std::optional<TrackSelection>& selection) {
    if (!selection)
        return "none";
    return "#" + std::to_string(selection->index) + " " + selection->name.value_or("(no name)");
}

}  // namespace

namespace flight_recorder_text {

std::string armedDetail(const std::string& label, double seconds) {
    char length[32];
    std::snprintf(length, sizeof length, "%g", seconds);
    return "label=" + label + " Recording every Logic track click or up/down key for up to " +
           length + " seconds. Press Stop when finished. Recording does not alter production " +
           "selection routing.";
}

std::string stoppedDetail(int races) {
    if (races == 0)
        return kNoRace;
    return "race=" + std::to_string(races) +
           " Capture complete. Use Copy Log in the Events window.";
}

}  // namespace flight_recorder_text

AXSelectionRaceSnoop::AXSelectionRaceSnoop(Dependencies dependencies)
    : deps_(std::move(dependencies)),
      pollQueue_(deps_.dispatcher.makeSerialQueue(std::string(kQueueName))) {}

AXSelectionRaceSnoop::~AXSelectionRaceSnoop() {
    std::unique_lock guard(guard_->mutex);
    guard_->alive = false;
    std::unique_lock lock(mutex_);
    endLocked(lock, false);
}

void AXSelectionRaceSnoop::arm(const std::string& label, double seconds) {
    const double length = std::clamp(seconds, 0.0, kMaximumSeconds);
    std::unique_lock lock(mutex_);
    endLocked(lock, false);
    active_ = true;
    captureStart_ = deps_.dispatcher.clock().now();
    captureEnd_ = captureStart_ + length;
    raceID_ = 0;
    eventSequence_ = 0;
    raceReason_.reset();
    interactionPoint_.reset();
    pollDeadline_ = 0;
    armedLabel_ = label;
    const InputEventMask mask = inputEventMaskBit(InputEventType::leftMouseDown) |
                                inputEventMaskBit(InputEventType::keyDown);
    eventMonitor_ = deps_.input.addGlobalMonitor(mask, deps_.dispatcher.mainQueue(),
                                                 [guard = guard_, this](const InputEvent& event) {
                                                     std::shared_lock alive(guard->mutex);
                                                     if (guard->alive)
                                                         handleEvent(event);
                                                 });
    stopWorkItem_ = deps_.dispatcher.mainQueue().postAfter(length, [guard = guard_, this] {
        std::shared_lock alive(guard->mutex);
        if (guard->alive)
            stop();
    });
    lock.unlock();
    post(flight_recorder_text::kArmed, flight_recorder_text::armedDetail(label, length));
}

void AXSelectionRaceSnoop::stop() {
    std::unique_lock lock(mutex_);
    endLocked(lock, true);
}

void AXSelectionRaceSnoop::endLocked(std::unique_lock<std::mutex>& lock, bool announce) {
    if (!active_)
        return;
    active_ = false;
    pollTimer_.cancel();
    stopWorkItem_.cancel();
    auto monitor = std::move(eventMonitor_);
    const int races = static_cast<int>(raceID_);
    lock.unlock();
    monitor.reset();
    if (announce)
        post(flight_recorder_text::kStopped, flight_recorder_text::stoppedDetail(races));
    lock.lock();
}

bool AXSelectionRaceSnoop::isActive() const {
    std::lock_guard lock(mutex_);
    return active_;
}

bool AXSelectionRaceSnoop::refresh(double at) {
    std::lock_guard lock(mutex_);
    // Recording past the end waits for the stop work on the main queue, which announces it.
    return active_ && at < captureEnd_;
}

double AXSelectionRaceSnoop::startTime() const {
    std::lock_guard lock(mutex_);
    return captureStart_;
}

void AXSelectionRaceSnoop::handleEvent(const InputEvent& event) {
    if (!deps_.logicFrontmost || !deps_.logicFrontmost())
        return;
    if (event.type == InputEventType::leftMouseDown) {
        beginRace("leftMouseDown/click", event.location, event.timestamp);
    } else if (event.type == InputEventType::keyDown && event.keyCode == keycode::kDownArrow) {
        beginRace("keyDown/downArrow", std::nullopt, event.timestamp);
    } else if (event.type == InputEventType::keyDown && event.keyCode == keycode::kUpArrow) {
        beginRace("keyDown/upArrow", std::nullopt, event.timestamp);
    }
}

void AXSelectionRaceSnoop::beginRace(std::string reason, std::optional<AXPoint> point, double at) {
    std::uint64_t race = 0;
    {
        std::lock_guard lock(mutex_);
        if (!active_ || at >= captureEnd_)
            return;
        race = ++raceID_;
        raceStart_ = at;
        raceReason_ = reason;
        interactionPoint_ = point;
        pollDeadline_ = at + kPollWindow;
        pollTimer_.cancel();
    }
    std::string detail = "race=" + std::to_string(race) + " reason=" + reason;
    if (point)
        detail += " point=(" + std::to_string(static_cast<int>(point->x)) + "," +
                  std::to_string(static_cast<int>(point->y)) + ")";
    post(flight_recorder_text::kInteractionStarted, detail);
    schedulePoll(race, 0.0);
}

void AXSelectionRaceSnoop::schedulePoll(std::uint64_t race, double delay) {
    WorkItem item = pollQueue_->postAfter(delay, [guard = guard_, this, race] {
        std::shared_lock alive(guard->mutex);
        if (guard->alive)
            poll(race);
    });
    std::lock_guard lock(mutex_);
    if (active_ && raceID_ == race)
        pollTimer_ = item;
    else
        item.cancel();
}

void AXSelectionRaceSnoop::poll(std::uint64_t race) {
    std::optional<AXPoint> point;
    double raceStart = 0;
    double deadline = 0;
    std::uint64_t sequence = 0;
    {
        std::lock_guard lock(mutex_);
        if (!active_ || raceID_ != race)
            return;
        point = interactionPoint_;
        raceStart = raceStart_;
        deadline = pollDeadline_;
    }
    const double now = deps_.dispatcher.clock().now();
    std::optional<TrackSelection> focused;
    if (appElementProvider && resolveElement) {
        if (const AXElement application = appElementProvider())
            focused = resolveElement(application);
    }
    std::string detail = "race=" + std::to_string(race) + " elapsed=+" + seconds3(now - raceStart) +
                         "s focused=" + describe(focused) + " selected=" +
                         describe(readListSelection ? readListSelection() : std::nullopt);
    if (point && resolvePoint)
        detail += " pointed=" + describe(resolvePoint(*point));
    {
        std::lock_guard lock(mutex_);
        if (!active_ || raceID_ != race)
            return;
        sequence = ++eventSequence_;
    }
    post("AX flight poll #" + std::to_string(sequence), detail);
    if (now + kPollInterval <= deadline)
        schedulePoll(race, kPollInterval);
}

void AXSelectionRaceSnoop::recordNotification(const std::string& signal, const AXElement& element,
                                              double at) {
    if (!refresh(at))
        return;
    // The element is read on the recorder's queue: the observer's own path stays as fast.
    onRecorderQueue([this, signal, element, at] {
        const std::string described = describeElement ? describeElement(element) : "?";
        record("AX flight notification #", [&](std::uint64_t race, double raceStart) {
            const double since = race != 0 ? raceStart : startTime();
            return "race=" + std::to_string(race) + " signal=" + signal + " element=" + described +
                   " elapsed=+" + seconds3(at - since) + "s";
        });
    });
}

void AXSelectionRaceSnoop::recordNotificationDetail(const std::string& detail) {
    if (!isActive())
        return;
    onRecorderQueue([this, detail] {
        record("AX flight notification detail #", [&](std::uint64_t race, double) {
            return "race=" + std::to_string(race) + " " + detail;
        });
    });
}

void AXSelectionRaceSnoop::recordDecision(const std::string& stage, const std::string& name) {
    if (!isActive())
        return;
    onRecorderQueue([this, stage, name] {
        record("AX flight decision #", [&](std::uint64_t race, double) {
            return "race=" + std::to_string(race) + " stage=" + stage + " name=" + name;
        });
    });
}

void AXSelectionRaceSnoop::onRecorderQueue(std::function<void()> work) {
    pollQueue_->post([guard = guard_, work = std::move(work)] {
        std::shared_lock alive(guard->mutex);
        if (guard->alive)
            work();
    });
}

template <typename Detail>
void AXSelectionRaceSnoop::record(const std::string& title, Detail detail) {
    std::uint64_t sequence = 0;
    std::uint64_t race = 0;
    double raceStart = 0;
    {
        std::lock_guard lock(mutex_);
        if (!active_)
            return;
        sequence = ++eventSequence_;
        race = raceID_;
        raceStart = raceStart_;
    }
    post(title + std::to_string(sequence), detail(race, raceStart));
}

void AXSelectionRaceSnoop::post(const std::string& title, const std::string& detail) {
    postDebugEvent(deps_.notifications, title, detail);
}

}  // namespace tessiva
