#include "logic/ObservationContext.h"

#include <cstdio>

#include "platform/ax/AXNames.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

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

AXSelectionRaceSnoop* ObservationContext::snoop() const {
    std::lock_guard lock(mutex_);
    return snoop_.get();
}

void ObservationContext::beginCapture(const std::string& label, double seconds) {
    AXSelectionRaceSnoop* recorder = snoop();
    if (!recorder) {
        auto made = std::make_unique<AXSelectionRaceSnoop>(AXSelectionRaceSnoop::Dependencies{
            dispatcher, input, notifications, [this] { return logicFrontmost(); }});
        made->appElementProvider = [this] { return appElement(); };
        // By identity: reading it would cost Logic a read per notification and delay the
        // observer's own reads; the polls say what the elements resolve to.
        made->describeElement = [](const AXElement& element) {
            char identity[24];
            std::snprintf(identity, sizeof identity, "0x%llx",
                          static_cast<unsigned long long>(element.identity()));
            return std::string(identity);
        };
        made->resolveElement = [this](const AXElement& application) {
            return reader.resolveToTrack(reader.element(application, ax::kFocusedUIElement),
                                         kFocusedAncestorsResolved);
        };
        made->readListSelection = [this]() -> std::optional<TrackSelection> {
            const TrackListAnchor list = anchor();
            if (!list)
                return std::nullopt;
            return reader.readSelection(list);
        };
        made->resolvePoint = [this](AXPoint point) -> std::optional<TrackSelection> {
            const TrackListAnchor list = anchor();
            bool gone = false;
            const AXElement handle = list ? reader.freshListHandle(list, &gone) : AXElement();
            for (const AXElement& row : reader.elements(handle, ax::kChildren)) {
                const auto frame = reader.frame(row);
                if (frame && frame->contains(point))
                    return reader.selectionFromHeader(row, list.headers);
            }
            return std::nullopt;
        };
        std::lock_guard lock(mutex_);
        snoop_ = std::move(made);
        recorder = snoop_.get();
    }
    recorder->arm(label, seconds);
}

void ObservationContext::endCapture() {
    if (AXSelectionRaceSnoop* recorder = snoop())
        recorder->stop();
}

bool ObservationContext::refreshCapture(double at) const {
    AXSelectionRaceSnoop* recorder = snoop();
    return recorder && recorder->refresh(at);
}

bool ObservationContext::captureRunning() const {
    AXSelectionRaceSnoop* recorder = snoop();
    return recorder && recorder->refresh(now());
}

double ObservationContext::captureStartTime() const {
    AXSelectionRaceSnoop* recorder = snoop();
    return recorder ? recorder->startTime() : 0;
}

void ObservationContext::flightDecision(const std::string& stage, const std::string& detail) {
    if (AXSelectionRaceSnoop* recorder = snoop())
        recorder->recordDecision(stage, detail);
}

void ObservationContext::flightNotification(const std::string& signal, const AXElement& element,
                                            double at) {
    if (AXSelectionRaceSnoop* recorder = snoop())
        recorder->recordNotification(signal, element, at);
}

void ObservationContext::flightNotificationDetail(const std::string& detail) {
    if (AXSelectionRaceSnoop* recorder = snoop())
        recorder->recordNotificationDetail(detail);
}

}  // namespace tessiva
