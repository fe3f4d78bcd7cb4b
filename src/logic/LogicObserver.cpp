#include "logic/LogicObserver.h"

#include "platform/ax/AXNames.h"

namespace tessiva {

LogicObserver::LogicObserver(Dependencies dependencies)
    : onTrackSelection(selection_.onTrackSelection),
      onAXAccessibilityResumed(quarantine_.onAXAccessibilityResumed),
      learnAwaitsTrackName(selection_.learnAwaitsTrackName),
      onLearnRowResolved(selection_.onLearnRowResolved),
      selectionSettle(selection_.settle),
      modalTiming(quarantine_.modalTiming),
      structuralDebounce(publisher_.structuralDebounce),
      context_(dependencies),
      publisher_(context_),
      selection_(context_, selectionRules,
                 [this](const TrackListAnchor& anchor, bool announce) {
                     attachment_.adoptList(anchor, announce);
                 }),
      quarantine_(context_, selection_, publisher_),
      attachment_(context_, publisher_,
                  [this](const AXElement& element, const std::string& name) {
                      handleNotification(element, name);
                  }),
      direct_(
          context_,
          [this](double at) {
              // Logic 12 posts nothing for it: watch for the selection as after a click.
              if (!context_.isQuarantined())
                  selection_.gestureStarted(SelectionGesture::directSelection, at);
          },
          [this](const TrackListAnchor& anchor) { attachment_.adoptList(anchor, true); }),
      selectionSettleDelay(selection_.selectionSettleDelay),
      selectionPollInterval(selection_.selectionPollInterval),
      selectionPollMaxAttempts(selection_.selectionPollMaxAttempts) {
    publisher_.onTrustedMaximumKnown = [this] { attachment_.verifyArrangeListsIfWaiting(); };
    attachment_.onDetached = [this] {
        quarantine_.cancelResume();
        selection_.reset();
        publisher_.reset();
    };
}

LogicObserver::~LogicObserver() {
    context_.retire();
    stop();
}

void LogicObserver::start() {
    quarantine_.install();
    attachment_.attach();
    rescanTimer_.start(context_.mainQueue, kRescanPeriod, kRescanPeriod,
                       context_.guarded([this] { rescan(); }));
}

void LogicObserver::stop() {
    rescanTimer_.stop();
    quarantine_.uninstall();
    publisher_.cancelStructuralSnapshot();
    selection_.cancelDeferredWork();
    context_.observer.reset();
    context_.windowObserver.reset();
}

void LogicObserver::rescan() {
    attachment_.rescan();
}

void LogicObserver::handleNotification(const AXElement& element, const std::string& name) {
    const double at = context_.now();
    if (name == ax::kFocusedWindowChanged) {
        quarantine_.handleFocusedWindowChanged();
        return;
    }
    if (context_.isQuarantined())
        return;
    const bool capture = context_.refreshCapture(at);
    context_.flightNotification(name, element, at);
    const bool frontmost = context_.logicFrontmost();
    if (frontmost && context_.isPointerDragActive() && !capture)
        return;
    if (name == ax::kLayoutChanged) {
        context_.flightNotificationDetail("route=structural-snapshot");
        publisher_.scheduleStructuralSnapshot(ax::kLayoutChanged);
        return;
    }
    if (!frontmost && !capture)
        return;
    context_.flightNotificationDetail(std::string("route=selection frontmost=") +
                                      (frontmost ? "yes" : "no"));
    selection_.handleNotification(element, name, at, capture);
}

std::optional<std::string> LogicObserver::readLogicWindowTitle() {
    if (context_.isQuarantined())
        return std::nullopt;
    const AXElement application = context_.appElement();
    if (!application)
        return std::nullopt;
    return context_.reader.windowTitle(application);
}

void LogicObserver::requestTrackNamesSnapshot(std::string reason) {
    publisher_.requestTrackNamesSnapshot(std::move(reason));
}

void LogicObserver::scheduleStructuralSnapshot(std::string reason) {
    publisher_.scheduleStructuralSnapshot(std::move(reason));
}

void LogicObserver::refreshSelection(std::string trigger) {
    selection_.refreshSelection(std::move(trigger));
}

void LogicObserver::selectTrack(int number, std::optional<std::string> expectedName,
                                DirectTrackSelection::Completion completion) {
    direct_.select(number, std::move(expectedName), std::move(completion));
}

void LogicObserver::beginAXCapture(double seconds, const std::string& label) {
    context_.beginCapture(label, seconds);
}

void LogicObserver::endAXCapture() {
    context_.endCapture();
}

}  // namespace tessiva
