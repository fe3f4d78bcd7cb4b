#include "logic/ObservationContext.h"

#include <cstdio>

#include "runtime/Console.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

namespace {

std::string seconds3(double seconds) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.3f", seconds);
    return buffer;
}

}  // namespace

ObservationContext::ObservationContext(Dependencies dependencies)
    : dispatcher(dependencies.dispatcher),
      ax(dependencies.accessibility),
      input(dependencies.input),
      notifications(dependencies.notifications),
      console(dependencies.console),
      mainQueue(dependencies.dispatcher.mainQueue()),
      reader(dependencies.accessibility),
      selectionWorkQueue(dependencies.dispatcher.makeSerialQueue("tessiva.logic.selection")),
      selectionStateQueue(dependencies.dispatcher.makeSerialQueue("tessiva.logic.selection.state")),
      structureQueue(dependencies.dispatcher.makeSerialQueue("tessiva.logic.structure")) {}

void ObservationContext::retire() {
    std::unique_lock lock(guard_->mutex);
    guard_->alive = false;
}

bool ObservationContext::logicFrontmost() const {
    return ax.frontmostApplicationBundleIdentifier() == kLogicBundleIdentifier;
}

void ObservationContext::log(const std::string& line) const {
    console.line("[LogicObserver] " + line);
}

AXElement ObservationContext::appElement() const {
    std::lock_guard lock(mutex_);
    return appElement_;
}

TrackListAnchor ObservationContext::anchor() const {
    std::lock_guard lock(mutex_);
    return anchor_;
}

std::optional<TrackSelection> ObservationContext::lastSelection() const {
    std::lock_guard lock(mutex_);
    return lastSelection_;
}

bool ObservationContext::isPointerDragActive() const {
    std::lock_guard lock(mutex_);
    return pointerDragActive_;
}

bool ObservationContext::captureRunning() const {
    std::lock_guard lock(mutex_);
    return captureActive_;
}

bool ObservationContext::isQuarantined() const {
    std::lock_guard lock(modalStateLock_);
    return deadlines_.isQuarantined(now());
}

ModalDeadlines ObservationContext::modalDeadlines() const {
    std::lock_guard lock(modalStateLock_);
    return deadlines_;
}

void ObservationContext::setAppElement(AXElement element) {
    std::lock_guard lock(mutex_);
    appElement_ = std::move(element);
}

void ObservationContext::setAnchor(TrackListAnchor anchor) {
    std::lock_guard lock(mutex_);
    anchor_ = std::move(anchor);
}

void ObservationContext::setLastSelection(std::optional<TrackSelection> selection) {
    std::lock_guard lock(mutex_);
    lastSelection_ = std::move(selection);
}

void ObservationContext::setPointerDragActive(bool active) {
    std::lock_guard lock(mutex_);
    pointerDragActive_ = active;
}

void ObservationContext::beginCapture(double seconds) {
    std::lock_guard lock(mutex_);
    captureActive_ = true;
    captureStartTime_ = now();
    captureEndTime_ = captureStartTime_ + seconds;
    captureEventCounter_ = 0;
}

void ObservationContext::endCapture() {
    std::lock_guard lock(mutex_);
    captureActive_ = false;
}

bool ObservationContext::refreshCapture(double at) {
    std::lock_guard lock(mutex_);
    if (captureActive_ && at >= captureEndTime_)
        captureActive_ = false;
    return captureActive_;
}

double ObservationContext::captureStartTime() const {
    std::lock_guard lock(mutex_);
    return captureStartTime_;
}

void ObservationContext::flightDecision(const std::string& stage, const std::string& detail) {
    std::uint64_t sequence = 0;
    {
        std::lock_guard lock(mutex_);
        if (!captureActive_)
            return;
        sequence = ++captureEventCounter_;
    }
    postDebugEvent(notifications, "AX flight decision #" + std::to_string(sequence),
                   "race=0 stage=" + stage + " name=" + detail);
}

void ObservationContext::flightNotification(const std::string& signal, double at) {
    std::uint64_t sequence = 0;
    double start = 0;
    {
        std::lock_guard lock(mutex_);
        if (!captureActive_)
            return;
        sequence = ++captureEventCounter_;
        start = captureStartTime_;
    }
    postDebugEvent(notifications, "AX flight notification #" + std::to_string(sequence),
                   "race=0 signal=" + signal + " elapsed=+" + seconds3(at - start) + "s");
}

}  // namespace tessiva
