#include "logic/LogicObserver.h"

#include <cmath>
#include <cstdio>

#include "platform/ax/AXNames.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

constexpr const char* kLogPrefix = "[LogicObserver] ";
constexpr double kTolerance = 1e-9;

std::string seconds3(double seconds) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.3f", seconds);
    return buffer;
}

long long wholeMilliseconds(double seconds) {
    return std::llround(seconds * 1000.0);
}

bool containsText(const std::string& haystack, std::string_view needle) {
    return haystack.find(needle) != std::string::npos;
}

}  // namespace

// Work posted by the observer holds this; destruction waits for running work and disarms the
// rest, so queues that outlive the observer never touch it.
struct LogicObserver::LifeGuard {
    std::shared_mutex mutex;
    bool alive = true;
};

template <typename Work>
Queue::Work LogicObserver::guarded(Work work) {
    return [guard = guard_, work = std::move(work)]() mutable {
        std::shared_lock lock(guard->mutex);
        if (!guard->alive)
            return;
        work();
    };
}

LogicObserver::LogicObserver(Dependencies dependencies)
    : dispatcher_(dependencies.dispatcher),
      ax_(dependencies.accessibility),
      input_(dependencies.input),
      notifications_(dependencies.notifications),
      console_(dependencies.console),
      mainQueue_(dependencies.dispatcher.mainQueue()),
      reader_(dependencies.accessibility),
      guard_(std::make_shared<LifeGuard>()),
      selectionWorkQueue_(dependencies.dispatcher.makeSerialQueue("tessiva.logic.selection")),
      selectionStateQueue_(
          dependencies.dispatcher.makeSerialQueue("tessiva.logic.selection.state")),
      structureQueue_(dependencies.dispatcher.makeSerialQueue("tessiva.logic.structure")) {}

LogicObserver::~LogicObserver() {
    {
        std::unique_lock lock(guard_->mutex);
        guard_->alive = false;
    }
    stop();
}

double LogicObserver::now() const {
    return dispatcher_.clock().now();
}

AXElement LogicObserver::appElement() const {
    std::lock_guard lock(sharedMutex_);
    return appElement_;
}

AXElement LogicObserver::trackHeaderContainer() const {
    std::lock_guard lock(sharedMutex_);
    return trackHeaderContainer_;
}

std::optional<TrackSelection> LogicObserver::lastSelection() const {
    std::lock_guard lock(sharedMutex_);
    return lastSelection_;
}

bool LogicObserver::isLogicPointerDragActive() const {
    std::lock_guard lock(sharedMutex_);
    return isLogicPointerDragActive_;
}

bool LogicObserver::captureRunning() const {
    std::lock_guard lock(sharedMutex_);
    return captureActive_;
}

bool LogicObserver::isAttached() const {
    return observer_ != nullptr && bool(appElement());
}

bool LogicObserver::isQuarantined() const {
    std::lock_guard lock(logicModalStateLock_);
    return deadlines_.isQuarantined(now());
}

ModalDeadlines LogicObserver::modalDeadlines() const {
    std::lock_guard lock(logicModalStateLock_);
    return deadlines_;
}

bool LogicObserver::logicFrontmost() const {
    return ax_.frontmostApplicationBundleIdentifier() == kLogicBundleIdentifier;
}

// ---- lifecycle --------------------------------------------------------------------------------

void LogicObserver::start() {
    if (!modalGestureEventTap_) {
        modalGestureEventTap_ = input_.createPreDispatchMouseTap(
            mainQueue_, [this, guard = guard_](const InputEvent& event) {
                std::shared_lock lock(guard->mutex);
                if (guard->alive)
                    handleTapEvent(event);
            });
        if (!modalGestureEventTap_) {
            console_.line(std::string(kLogPrefix) +
                          "Could not create pre-dispatch modal gesture event tap; using NSEvent "
                          "fallback.");
        }
    }
    attach();
    if (!globalMouseDownMonitor_) {
        globalMouseDownMonitor_ = input_.addGlobalMonitor(
            kLogicGestureEventMask, mainQueue_, [this, guard = guard_](const InputEvent& event) {
                std::shared_lock lock(guard->mutex);
                if (guard->alive)
                    handleMonitorEvent(event);
            });
    }
    rescanTimer_.start(mainQueue_, kRescanPeriod, kRescanPeriod, guarded([this] { rescan(); }));
}

void LogicObserver::stop() {
    rescanTimer_.stop();
    modalGestureEventTap_.reset();
    globalMouseDownMonitor_.reset();
    pendingAXObserverResumeWorkItem_.cancel();
    pendingPrimaryClickSelectionWorkItem_.cancel();
    pendingStructuralSnapshotWorkItem_.cancel();
    {
        std::lock_guard lock(selectionStateMutex_);
        pendingSelectionWorkItem_.cancel();
        ++pendingSelectionToken_;
    }
    {
        std::lock_guard lock(keyboardMutex_);
        pendingKeyboardSelectionWorkItem_.cancel();
        ++keyboardGeneration_;
    }
    observer_.reset();
    windowObserver_.reset();
}

void LogicObserver::attach() {
    const auto pids = ax_.runningApplications(kLogicBundleIdentifier);
    if (pids.empty())
        return;
    const ProcessId pid = pids.front();
    const AXElement application = ax_.applicationElement(pid);
    auto created = ax_.createObserver(
        pid, mainQueue_, [this, guard = guard_](const AXElement& element, const std::string& name) {
            std::shared_lock lock(guard->mutex);
            if (guard->alive)
                handleNotification(element, name);
        });
    if (!created.ok() || !created.value || !application) {
        console_.line(std::string(kLogPrefix) + "AXObserverCreate failed: " +
                      std::to_string(axErrorCode(created.ok() ? AXError::failure : created.error)));
        return;
    }
    observer_ = std::move(created.value);
    isAXObserverSourceSuspended_ = false;
    attachedPid_ = pid;
    {
        std::lock_guard lock(sharedMutex_);
        appElement_ = application;
    }
    createWindowObserver(pid);
    observer_->addNotification(application, ax::kFocusedUIElementChanged);
    if (!windowObserver_)
        observer_->addNotification(application, ax::kFocusedWindowChanged);
    observer_->addNotification(application, ax::kValueChanged);

    lastNotificationRefreshTime_ = now();
    // The startup capture follows the anchoring so it reads the anchored list's rows.
    anchorTrackList("Logic AX observer attached", true,
                    [this] { requestTrackNamesSnapshot("startup"); });
    console_.line(std::string(kLogPrefix) + "Attached to Logic (pid=" + std::to_string(pid) + ").");
}

void LogicObserver::createWindowObserver(ProcessId pid) {
    auto created = ax_.createObserver(
        pid, mainQueue_, [this, guard = guard_](const AXElement& element, const std::string& name) {
            std::shared_lock lock(guard->mutex);
            if (guard->alive)
                handleNotification(element, name);
        });
    if (!created.ok() || !created.value) {
        console_.line(std::string(kLogPrefix) + "Dedicated AX window observer creation failed: " +
                      std::to_string(axErrorCode(created.ok() ? AXError::failure : created.error)));
        return;
    }
    const AXError registered =
        created.value->addNotification(appElement(), ax::kFocusedWindowChanged);
    if (registered != AXError::success) {
        console_.line(std::string(kLogPrefix) +
                      "Dedicated AX window notification registration failed: " +
                      std::to_string(axErrorCode(registered)));
        return;
    }
    windowObserver_ = std::move(created.value);
    isWindowObserverSourceSuspended_ = false;
    postDebugEvent(notifications_, "Logic modal window observer ready",
                   "Focused-window changes are isolated from the main selection/value observer.");
}

void LogicObserver::detach() {
    pendingAXObserverResumeWorkItem_.cancel();
    observer_.reset();
    windowObserver_.reset();
    isAXObserverSourceSuspended_ = false;
    isWindowObserverSourceSuspended_ = false;
    attachedPid_ = 0;
    registeredContainers_.clear();
    sparseArrangeTrackList_ = {};
    ++anchorRequest_;
    {
        std::lock_guard lock(sharedMutex_);
        appElement_ = {};
        trackHeaderContainer_ = {};
        lastSelection_.reset();
    }
    lastPolledTrackSnapshotSignature_.reset();
    lastObservedArrangeVisibleRowCount_.reset();
    lastNotificationRefreshTime_ = 0;
    console_.line(std::string(kLogPrefix) + "Detached.");
}

void LogicObserver::rescan() {
    if (isQuarantined())
        return;
    const auto pids = ax_.runningApplications(kLogicBundleIdentifier);
    if (pids.empty()) {
        if (observer_ || appElement())
            detach();
        return;
    }
    if (observer_ && pids.front() != attachedPid_)
        detach();
    if (!observer_ || !appElement()) {
        attach();
        return;
    }
    if (isLogicPointerDragActive())
        return;
    if (trackHeaderContainer() && now() - lastNotificationRefreshTime_ <= kRegistrationRefreshAge) {
        pollVisibleStructure();
        return;
    }
    lastNotificationRefreshTime_ = now();
    anchorTrackList("rescan", false);
    pollVisibleStructure();
}

// ---- anchoring --------------------------------------------------------------------------------

void LogicObserver::anchorTrackList(std::string reason, bool verifyLists,
                                    std::function<void()> then) {
    const AXElement application = appElement();
    if (!application)
        return;
    const auto request = ++anchorRequest_;
    selectionWorkQueue_->post(guarded([this, application, request, reason, verifyLists,
                                       then = std::move(then)] {
        const AXElement window = reader_.mainOrFocusedWindow(application);
        const auto search = reader_.findTrackList(window);
        std::vector<std::pair<AXElement, LogicAXReader::Rows>> lists;
        if (verifyLists) {
            for (const auto& list :
                 reader_.findListsNamed(window, {"tracks header", "tracks contents"},
                                        LogicAXReader::kListVerificationLimits)) {
                lists.emplace_back(list, reader_.readRows(list));
            }
        }
        mainQueue_.post(guarded([this, request, search, lists, reason, verifyLists, then] {
            if (request != anchorRequest_ || !observer_)
                return;
            if (search.element) {
                adoptContainer(search.element);
                postDebugEvent(notifications_, "Anchored track list container (table/outline)",
                               "Cached table/outline for fast AXSelectedChildren selection reads.");
            }
            if (verifyLists)
                applyListVerification(lists, reason);
            if (then)
                then();
        }));
    }));
}

void LogicObserver::adoptContainer(const AXElement& container) {
    {
        std::lock_guard lock(sharedMutex_);
        trackHeaderContainer_ = container;
    }
    // A re-anchor refreshes the registrations; the observer keeps older ones harmlessly.
    if (!observer_)
        return;
    for (const char* name : {ax::kSelectedChildrenChanged, ax::kSelectedRowsChanged,
                             ax::kRowCountChanged, ax::kLayoutChanged, ax::kValueChanged}) {
        observer_->addNotification(container, name);
    }
    registeredContainers_.insert(AXUIElementKey(container));
}

void LogicObserver::verifyArrangeLists(std::string reason) {
    const AXElement application = appElement();
    if (!application)
        return;
    selectionWorkQueue_->post(guarded([this, application, reason] {
        const AXElement window = reader_.mainOrFocusedWindow(application);
        std::vector<std::pair<AXElement, LogicAXReader::Rows>> lists;
        for (const auto& list : reader_.findListsNamed(window, {"tracks header", "tracks contents"},
                                                       LogicAXReader::kListVerificationLimits)) {
            lists.emplace_back(list, reader_.readRows(list));
        }
        mainQueue_.post(guarded([this, lists, reason] {
            if (observer_)
                applyListVerification(lists, reason);
        }));
    }));
}

void LogicObserver::applyListVerification(
    const std::vector<std::pair<AXElement, LogicAXReader::Rows>>& lists,
    const std::string& reason) {
    if (!trustedAbsoluteTrackMaximum_) {
        // Without a known track count a list cannot be tied to absolute numbers yet; the first
        // snapshot supplies one.
        verificationWaitsForMaximum_ = true;
        return;
    }
    verificationWaitsForMaximum_ = false;
    for (const auto& [list, rows] : lists) {
        if (rows.snapshot.empty())
            continue;
        if (rows.snapshot.coversUpTo(*trustedAbsoluteTrackMaximum_)) {
            if (!(trackHeaderContainer() == list))
                adoptContainer(list);
            sparseArrangeTrackList_ = {};
            postDebugEvent(
                notifications_, "Dense Arrange track list verified",
                "Adopted " + std::to_string(rows.snapshot.size()) +
                    " direct Logic rows for absolute click/keyboard resolution. reason=" + reason);
        } else {
            sparseArrangeTrackList_ = list;
            postDebugEvent(notifications_, "Sparse Arrange track list adopted",
                           "Adopted " + std::to_string(rows.snapshot.size()) +
                               " visible Logic row(s) for direct navigation while Track Stacks "
                               "are collapsed.");
        }
        return;
    }
}

// ---- notifications ----------------------------------------------------------------------------

void LogicObserver::handleNotification(const AXElement& element, const std::string& name) {
    const double at = now();
    if (name == ax::kFocusedWindowChanged) {
        handleFocusedWindowChanged();
        return;
    }
    if (isQuarantined())
        return;
    bool capture = false;
    {
        std::lock_guard lock(sharedMutex_);
        if (captureActive_ && at >= captureEndTime_)
            captureActive_ = false;
        capture = captureActive_;
    }
    if (capture) {
        ++captureEventCounter_;
        postDebugEvent(
            notifications_, "AX flight notification #" + std::to_string(captureEventCounter_),
            "race=0 signal=" + name + " elapsed=+" + seconds3(at - captureStartTime_) + "s");
    }
    const bool frontmost = logicFrontmost();
    if (frontmost && isLogicPointerDragActive() && !capture)
        return;
    if (name == ax::kLayoutChanged) {
        scheduleStructuralSnapshot(ax::kLayoutChanged);
        return;
    }
    if (!frontmost && !capture)
        return;
    if (name == ax::kFocusedUIElementChanged) {
        if (selectionRules.suppressesFocusedElement(at, lastFastValueChangedIndex_,
                                                    lastFastValueChangedTime_))
            return;
        handleFocusedElement(element, at);
        return;
    }
    if (name == ax::kValueChanged) {
        handleValueChanged(element, at);
        return;
    }
    if (selectionRules.isDuplicateNotification(at, lastAXHandledTime_, capture))
        return;
    lastAXHandledTime_ = at;
    scheduleSelection(name, at);
}

void LogicObserver::handleFocusedElement(const AXElement& element, double eventTime) {
    const AXElement application = appElement();
    if (!application)
        return;
    selectionWorkQueue_->post(guarded([this, element, application, eventTime] {
        if (isQuarantined())
            return;
        const AXElement window = reader_.focusedOrMainWindow(application);
        const std::string windowText =
            text::lowercased(reader_.string(window, ax::kTitle).value_or("") + " " +
                             reader_.string(window, ax::kDescription).value_or(""));
        if (containsText(windowText, "mixer")) {
            const auto title = text::lowercased(reader_.string(element, ax::kTitle).value_or(""));
            const auto description =
                text::lowercased(reader_.string(element, ax::kDescription).value_or(""));
            if (title == "tracks" || description == "tracks") {
                auto result = reader_.readSelection(element);
                mainQueue_.post(guarded([this, element, result, eventTime] {
                    if (!(trackHeaderContainer() == element)) {
                        adoptContainer(element);
                        postDebugEvent(notifications_, "Anchored track container",
                                       "reason=AXValueChanged/mixer-fast");
                    }
                    handleSelectionResult(result, "focused-tracks-event", eventTime);
                }));
                return;
            }
        }
        if (auto resolved = reader_.resolveToTrack(element, 3)) {
            mainQueue_.post(guarded([this, resolved, eventTime] {
                handleSelectionResult(resolved, "focused-tracks-event", eventTime);
            }));
            return;
        }
        // Not a header: read the list's selection the ordinary way.
        mainQueue_.post(guarded([this, eventTime] {
            if (selectionRules.isDuplicateNotification(now(), lastAXHandledTime_, captureRunning()))
                return;
            lastAXHandledTime_ = now();
            scheduleSelection(ax::kFocusedUIElementChanged, eventTime);
        }));
    }));
}

void LogicObserver::handleValueChanged(const AXElement& element, double eventTime) {
    const AXElement container = trackHeaderContainer();
    if (!container)
        return;
    const bool learn = learnAwaitsTrackName;
    selectionWorkQueue_->post(guarded([this, element, container, eventTime, learn] {
        if (isQuarantined())
            return;
        AXElement row;
        auto resolved = reader_.resolveToTrack(element, 2, &row);
        if (learn)
            resolveLearnRow(element, row, resolved);
        // A renamed row that is not selected is not a selection.
        if (resolved && reader_.boolean(row, ax::kSelected) == true) {
            mainQueue_.post(guarded([this, resolved, eventTime] {
                handleSelectionResult(resolved, "AXValueChanged/arrange-name-fast", eventTime);
            }));
            return;
        }
        auto fallback = reader_.readSelection(container);
        mainQueue_.post(guarded([this, fallback, eventTime] {
            handleSelectionResult(fallback, "AXValueChanged/selected-state-fallback", eventTime);
        }));
    }));
}

void LogicObserver::resolveLearnRow(const AXElement& element, const AXElement& row,
                                    const std::optional<TrackSelection>& resolved) {
    if (resolved) {
        const bool authoritative = reader_.boolean(row, ax::kSelected) == true;
        mainQueue_.post(guarded([this, resolved, authoritative] {
            if (!learnAwaitsTrackName || !onLearnRowResolved)
                return;
            onLearnRowResolved(*resolved, authoritative
                                              ? "AXValueChanged/arrange-row-learn-authoritative"
                                              : "AXValueChanged/arrange-row-learn");
        }));
        return;
    }
    // A name without a track number could belong to any of several rows: never guess.
    const auto name = reader_.string(element, ax::kValue);
    if (!name || name->empty())
        return;
    mainQueue_.post(guarded([this, name] {
        flightDecision("selection/learn-row-unresolved",
                       "name=" + *name + "; refused ambiguous name-only fallback");
    }));
}

// ---- selection reads --------------------------------------------------------------------------

void LogicObserver::refreshSelection(std::string trigger) {
    if (isQuarantined())
        return;
    scheduleSelection(std::move(trigger), now());
}

void LogicObserver::scheduleSelection(std::string trigger, double eventTime) {
    if (!logicFrontmost() && !captureRunning())
        return;
    if (trigger == ax::kValueChanged && !trackHeaderContainer())
        return;
    selectionStateQueue_->post(guarded([this, trigger, eventTime] {
        std::lock_guard lock(selectionStateMutex_);
        pendingSelectionTrigger_ = trigger;
        const auto token = ++pendingSelectionToken_;
        pendingSelectionWorkItem_.cancel();
        // Only the focused-window trigger waits for Logic to settle.
        const bool settling = trigger == ax::kFocusedWindowChanged;
        pendingSelectionWorkItem_ = selectionWorkQueue_->postAfter(
            settling ? selectionSettleDelay : 0.0,
            guarded([this, token, trigger, settling, eventTime] {
                runSelectionRead(token, trigger, settling, 0, eventTime);
            }));
    }));
}

std::optional<TrackSelection> LogicObserver::readCurrentSelection() const {
    if (isQuarantined())
        return std::nullopt;
    AXElement container;
    AXElement application;
    {
        std::lock_guard lock(sharedMutex_);
        container = trackHeaderContainer_;
        application = appElement_;
    }
    if (container)
        return reader_.readSelection(container);
    if (!application)
        return std::nullopt;
    return reader_.readSelectionWithoutList(application);
}

void LogicObserver::runSelectionRead(std::uint64_t token, std::string trigger, bool settling,
                                     int attempt, double eventTime) {
    {
        std::lock_guard lock(selectionStateMutex_);
        if (token != pendingSelectionToken_)
            return;
    }
    if (isQuarantined())
        return;
    const double started = now();
    auto result = readCurrentSelection();
    const double duration = now() - started;
    const bool slow = duration > kSlowReadThreshold;
    if (settling && !slow && attempt + 1 < selectionPollMaxAttempts &&
        !SelectionRules::isFreshRead(result, lastSelection())) {
        std::lock_guard lock(selectionStateMutex_);
        if (token != pendingSelectionToken_)
            return;
        pendingSelectionWorkItem_ = selectionWorkQueue_->postAfter(
            selectionPollInterval, guarded([this, token, trigger, attempt, eventTime] {
                runSelectionRead(token, trigger, true, attempt + 1, eventTime);
            }));
        return;
    }
    if (slow && captureRunning()) {
        postDebugEvent(notifications_, "AX selection fetch slow",
                       "durationSeconds=" + seconds3(duration) + " trigger=" + trigger);
    }
    mainQueue_.post(guarded(
        [this, result, trigger, eventTime] { handleSelectionResult(result, trigger, eventTime); }));
}

void LogicObserver::startKeyboardRead(bool down) {
    const double eventTime = now();
    std::lock_guard lock(keyboardMutex_);
    pendingKeyboardSelectionWorkItem_.cancel();
    const auto generation = ++keyboardGeneration_;
    pendingKeyboardSelectionWorkItem_ =
        selectionWorkQueue_->postAfter(0.0, guarded([this, generation, down, eventTime] {
                                           runKeyboardRead(generation, down, 0, eventTime);
                                       }));
}

void LogicObserver::runKeyboardRead(std::uint64_t generation, bool down, int attempt,
                                    double eventTime) {
    {
        std::lock_guard lock(keyboardMutex_);
        if (generation != keyboardGeneration_)
            return;
    }
    if (isQuarantined())
        return;
    auto result = readCurrentSelection();
    if (SelectionRules::isFreshRead(result, lastSelection())) {
        mainQueue_.post(guarded([this, result, down, eventTime] {
            const auto last = lastSelection();
            if (!logicFrontmost() || (last && last->index == result->index))
                return;
            emit(*result,
                 std::string("keyboard-") + (down ? "down" : "up") + "/arrange-selected-row",
                 eventTime);
        }));
        return;
    }
    if (attempt + 1 >= kKeyboardReadAttempts)
        return;
    std::lock_guard lock(keyboardMutex_);
    if (generation != keyboardGeneration_)
        return;
    pendingKeyboardSelectionWorkItem_ = selectionWorkQueue_->postAfter(
        kKeyboardReadInterval, guarded([this, generation, down, attempt, eventTime] {
            runKeyboardRead(generation, down, attempt + 1, eventTime);
        }));
}

// ---- result handling and emission -------------------------------------------------------------

void LogicObserver::handleSelectionResult(std::optional<TrackSelection> result,
                                          const std::string& trigger, double eventTime) {
    const bool capture = captureRunning();
    const auto decision =
        SelectionRules::decide(result, lastSelection(), trigger, logicFrontmost(), capture);
    switch (decision) {
        case SelectionResultDecision::noTrack:
            if (capture && trigger != ax::kValueChanged &&
                now() - lastNoSelectionDebugTime_ > kNoSelectionDebugInterval) {
                lastNoSelectionDebugTime_ = now();
                postDebugEvent(notifications_, "No track selection extracted",
                               "trigger=" + trigger);
            }
            return;
        case SelectionResultDecision::sameTrackDropped:
        case SelectionResultDecision::backgroundDropped:
            return;
        case SelectionResultDecision::emit:
        case SelectionResultDecision::count:
            break;
    }
    emit(*result, trigger, eventTime);
}

void LogicObserver::flightDecision(const std::string& stage, const std::string& detail) {
    if (!captureRunning())
        return;
    ++captureEventCounter_;
    postDebugEvent(notifications_, "AX flight decision #" + std::to_string(captureEventCounter_),
                   "race=0 stage=" + stage + " name=" + detail);
}

void LogicObserver::emit(const TrackSelection& selection, const std::string& trigger,
                         double eventTime) {
    if (selection.index < 1 || isQuarantined())
        return;
    const bool capture = captureRunning();
    flightDecision("selection/emission-candidate", selection.name.value_or(""));
    lastFastSelectionTime_ = eventTime;
    if (!logicFrontmost() && !capture) {
        flightDecision("selection/emission-blocked",
                       "reason=Logic-not-frontmost trigger=" + trigger);
        return;
    }
    {
        std::lock_guard lock(sharedMutex_);
        lastSelection_ = selection;
    }
    std::string detail = selection.name.value_or("(no name)") + "\ntrigger=" + trigger;
    if (capture)
        detail += "\nAX capture elapsed=+" + seconds3(now() - captureStartTime_) + "s";
    postDebugEvent(notifications_, "Logic track detected: #" + std::to_string(selection.index),
                   detail);
    if (onTrackSelection)
        onTrackSelection(selection);
    flightDecision("selection/emitted-to-coordinator", selection.name.value_or(""));
    lastFastValueChangedTime_ = now();
    lastFastValueChangedIndex_ = selection.index;
}

void LogicObserver::beginAXCapture(double seconds) {
    std::lock_guard lock(sharedMutex_);
    captureActive_ = true;
    captureStartTime_ = now();
    captureEndTime_ = captureStartTime_ + seconds;
    captureEventCounter_ = 0;
}

void LogicObserver::endAXCapture() {
    std::lock_guard lock(sharedMutex_);
    captureActive_ = false;
}

std::optional<std::string> LogicObserver::readLogicWindowTitle() {
    if (isQuarantined())
        return std::nullopt;
    const AXElement application = appElement();
    if (!application)
        return std::nullopt;
    return reader_.windowTitle(application);
}

// ---- input ------------------------------------------------------------------------------------

void LogicObserver::handleTapEvent(const InputEvent& event) {
    if (!logicFrontmost())
        return;
    handleMouseDownGesture(event, false);
}

void LogicObserver::handleMouseDownGesture(const InputEvent& event, bool fallback) {
    const double at = now();
    const bool command = event.has(InputModifier::command);
    if (event.type == InputEventType::leftMouseDown && !command) {
        bool confirms = false;
        {
            std::lock_guard lock(logicModalStateLock_);
            confirms = deadlines_.awaitsConfirmation(at);
            if (confirms) {
                deadlines_.modalConfirmed();
            } else {
                deadlines_.armPrimaryDetection(at, modalTiming.primaryToolDetectionWindow);
            }
        }
        if (confirms) {
            confirmModal(fallback ? "modal-confirmation-left-mouse-down/fallback"
                                  : "pre-dispatch-modal-confirmation-left-mouse-down");
            return;
        }
        pendingPrimaryClickSelectionWorkItem_.cancel();
        pendingPrimaryClickSelectionWorkItem_ = mainQueue_.postAfter(
            modalTiming.primaryClickProbeWindow, guarded([this, at] { runPrimaryClickProbe(at); }));
        mainQueue_.postAfter(0.02, guarded([this] { checkPointerGesture(); }));
        return;
    }
    if (event.type != InputEventType::leftMouseDown && event.type != InputEventType::rightMouseDown)
        return;
    std::string reason;
    if (event.type == InputEventType::rightMouseDown) {
        reason = fallback ? "right-mouse-down/fallback" : "pre-dispatch-right-mouse-down";
    } else {
        reason =
            fallback ? "command-left-mouse-down/fallback" : "pre-dispatch-command-left-mouse-down";
    }
    {
        std::lock_guard lock(logicModalStateLock_);
        deadlines_.armPotentialConfirmation(at, modalTiming.potentialGestureWindow);
    }
    suspendObserver(ObserverRoute::selection, "preemptive-scissors/" + reason);
    enterQuarantine(reason);
}

void LogicObserver::confirmModal(const std::string& reason) {
    suspendObserver(ObserverRoute::selection, reason);
    suspendObserver(ObserverRoute::window, reason);
    enterQuarantine(reason);
}

void LogicObserver::handleMonitorEvent(const InputEvent& event) {
    const bool frontmost = logicFrontmost();
    const double at = now();
    switch (event.type) {
        case InputEventType::keyDown: {
            if (!frontmost)
                return;
            const int key = event.keyCode;
            const bool confirmationKey = key == keycode::kReturn || key == keycode::kEnter ||
                                         key == keycode::kEscape || key == keycode::kSpace;
            bool confirms = false;
            if (confirmationKey) {
                std::lock_guard lock(logicModalStateLock_);
                confirms = deadlines_.awaitsConfirmation(at);
                if (confirms)
                    deadlines_.modalConfirmed();
            }
            if (confirms) {
                confirmModal("modal-confirmation-key-down");
                return;
            }
            if ((key == keycode::kDownArrow || key == keycode::kUpArrow) && !isQuarantined()) {
                startKeyboardRead(key == keycode::kDownArrow);
            }
            return;
        }
        case InputEventType::leftMouseDown:
        case InputEventType::rightMouseDown:
            lastGlobalMouseDownTime_ = at;
            if (!frontmost)
                return;
            if (event.type == InputEventType::leftMouseDown) {
                pointerTracking_ = true;
                pointerDownPoint_ = event.location;
                logicPointerDragSawMovement_ = false;
                logicPointerGestureIsPotentialScissors_ = false;
            }
            if (!modalGestureEventTap_)
                handleMouseDownGesture(event, true);
            return;
        case InputEventType::leftMouseDragged: {
            if (!pointerTracking_)
                return;
            const double dx = event.location.x - pointerDownPoint_.x;
            const double dy = event.location.y - pointerDownPoint_.y;
            if (std::hypot(dx, dy) > kDragMovementThreshold) {
                logicPointerDragSawMovement_ = true;
                std::lock_guard lock(sharedMutex_);
                isLogicPointerDragActive_ = true;
            }
            return;
        }
        case InputEventType::leftMouseUp: {
            const bool wasTracking = pointerTracking_;
            pointerTracking_ = false;
            bool wasDragging = false;
            {
                std::lock_guard lock(sharedMutex_);
                wasDragging = isLogicPointerDragActive_;
                isLogicPointerDragActive_ = false;
            }
            if (wasTracking && logicPointerGestureIsPotentialScissors_) {
                // A cut happens on release; a modal may follow it.
                std::lock_guard lock(logicModalStateLock_);
                deadlines_.armPrimaryDetection(at, modalTiming.primaryToolDetectionWindow);
            }
            logicPointerGestureIsPotentialScissors_ = false;
            if (wasDragging && logicPointerDragSawMovement_ &&
                pointLiesOnTrackList(event.location)) {
                scheduleStructuralSnapshot("pointer-drag-ended/arrange-track");
            }
            logicPointerDragSawMovement_ = false;
            return;
        }
    }
}

bool LogicObserver::pointLiesOnTrackList(AXPoint point) const {
    const auto frame = reader_.frame(trackHeaderContainer());
    return frame && frame->contains(point);
}

void LogicObserver::checkPointerGesture() {
    // Still held after 0.02 s outside the track headers: a tool gesture in the regions area,
    // which may cut and open a dialog on release.
    if (!pointerTracking_)
        return;
    logicPointerGestureIsPotentialScissors_ = !pointLiesOnTrackList(pointerDownPoint_);
}

void LogicObserver::runPrimaryClickProbe(double clickTime) {
    if (isQuarantined() || isLogicPointerDragActive() || lastFastSelectionTime_ > clickTime)
        return;
    selectionWorkQueue_->post(guarded([this, clickTime] {
        auto result = readCurrentSelection();
        if (!result)
            return;
        mainQueue_.post(guarded([this, result, clickTime] {
            if (isQuarantined() || lastFastSelectionTime_ > clickTime)
                return;
            lastAuthoritativeArrangeTrackIndex_ = result->index;
            handleSelectionResult(result, "primary-click-probe", clickTime);
        }));
    }));
}

// ---- modal quarantine -------------------------------------------------------------------------

void LogicObserver::handleFocusedWindowChanged() {
    const double at = now();
    bool afterGesture = false;
    {
        std::lock_guard lock(logicModalStateLock_);
        afterGesture = deadlines_.suspectsModal(at);
        if (afterGesture)
            deadlines_.modalOpened(at, modalTiming.potentialConfirmationWindow);
    }
    if (afterGesture) {
        suspendObserver(ObserverRoute::selection,
                        "notification/AXFocusedWindowChanged/modal-opened");
    }
    enterQuarantine("notification/AXFocusedWindowChanged");
}

void LogicObserver::suspendObserver(ObserverRoute route, const std::string& reason) {
    if (route == ObserverRoute::selection) {
        if (!observer_ || isAXObserverSourceSuspended_)
            return;
        observer_->suspendDelivery();
        isAXObserverSourceSuspended_ = true;
        pendingModalRecoveryNotification_ = true;
        postDebugEvent(notifications_, "Logic selection AX observer suspended",
                       "reason=" + reason +
                           "; paused focus/value/selection notification delivery without "
                           "changing registrations.");
        return;
    }
    if (!windowObserver_ || isWindowObserverSourceSuspended_)
        return;
    windowObserver_->suspendDelivery();
    isWindowObserverSourceSuspended_ = true;
    pendingModalRecoveryNotification_ = true;
    postDebugEvent(notifications_, "Logic window AX observer suspended",
                   "reason=" + reason +
                       "; paused the final read-free window notification route before modal "
                       "dismissal.");
}

void LogicObserver::enterQuarantine(const std::string& reason) {
    const double cooldown = modalTiming.dismissalCooldown;
    {
        std::lock_guard lock(logicModalStateLock_);
        deadlines_.enterQuarantine(now(), cooldown);
    }
    pendingPrimaryClickSelectionWorkItem_.cancel();
    {
        std::lock_guard lock(keyboardMutex_);
        pendingKeyboardSelectionWorkItem_.cancel();
        ++keyboardGeneration_;
    }
    pendingStructuralSnapshotWorkItem_.cancel();
    endAXCapture();
    postDebugEvent(notifications_, "Logic modal AX quarantine entered",
                   "reason=" + reason +
                       " cooldownMs=" + std::to_string(wholeMilliseconds(cooldown)) +
                       "; cancelled deferred selection and structural AX work.");
    scheduleResume();
}

void LogicObserver::scheduleResume() {
    pendingAXObserverResumeWorkItem_.cancel();
    if (!isAXObserverSourceSuspended_ && !isWindowObserverSourceSuspended_)
        return;
    const ModalDeadlines deadlines = modalDeadlines();
    double target = 0;
    if (isAXObserverSourceSuspended_)
        target = std::max(target, deadlines.selectionRouteResumeTime());
    if (isWindowObserverSourceSuspended_)
        target = std::max(target, deadlines.windowRouteResumeTime());
    pendingAXObserverResumeWorkItem_ =
        mainQueue_.postAfter(std::max(0.0, target - now()), guarded([this] { runResume(); }));
}

void LogicObserver::runResume() {
    const double at = now() + kTolerance;
    const ModalDeadlines deadlines = modalDeadlines();
    std::vector<std::string> routes;
    if (isAXObserverSourceSuspended_ && at >= deadlines.selectionRouteResumeTime()) {
        if (observer_) {
            observer_->resumeDelivery();
            routes.emplace_back("selection");
        }
        isAXObserverSourceSuspended_ = false;
    }
    if (isWindowObserverSourceSuspended_ && at >= deadlines.windowRouteResumeTime()) {
        if (windowObserver_) {
            windowObserver_->resumeDelivery();
            routes.emplace_back("window");
        }
        isWindowObserverSourceSuspended_ = false;
    }
    if (isAXObserverSourceSuspended_ || isWindowObserverSourceSuspended_)
        scheduleResume();
    if (routes.empty())
        return;
    std::string joined;
    for (const auto& route : routes)
        joined += (joined.empty() ? "" : ",") + route;
    postDebugEvent(notifications_, "Logic AX observer delivery resumed",
                   "routes=" + joined + "; applicable modal/detection deadlines elapsed.");
    if (pendingModalRecoveryNotification_ && !isAXObserverSourceSuspended_ &&
        !isWindowObserverSourceSuspended_) {
        pendingModalRecoveryNotification_ = false;
        if (onAXAccessibilityResumed)
            onAXAccessibilityResumed();
    }
}

// ---- snapshots --------------------------------------------------------------------------------

std::optional<LogicAXReader::Rows> LogicObserver::captureVisibleStructure() const {
    if (isQuarantined() || isLogicPointerDragActive())
        return std::nullopt;
    AXElement container;
    AXElement application;
    {
        std::lock_guard lock(sharedMutex_);
        container = trackHeaderContainer_;
        application = appElement_;
    }
    LogicAXReader::Rows rows;
    if (container)
        rows = reader_.readRows(container);
    if (rows.snapshot.empty() && application) {
        rows.snapshot = reader_.walkWindow(reader_.mainOrFocusedWindow(application));
        rows.rowCount = rows.snapshot.size();
        if (!container)
            return rows.snapshot.empty() ? std::nullopt : std::optional(rows);
    }
    if (rows.snapshot.empty())
        return std::nullopt;
    return rows;
}

void LogicObserver::requestTrackNamesSnapshot(std::string reason) {
    selectionWorkQueue_->post(guarded([this, reason] {
        auto rows = captureVisibleStructure();
        if (!rows)
            return;
        mainQueue_.post(guarded(
            [this, rows, reason] { publishSnapshot(rows->snapshot, reason, rows->rowCount); }));
    }));
}

void LogicObserver::storeSnapshot(const TrackListSnapshot& snapshot,
                                  std::optional<std::size_t> rowCount) {
    lastTrackNamesSnapshot_ = snapshot;
    indicesByTrackName_ = snapshot.indicesByTrackName();
    lastPolledTrackSnapshotSignature_ = snapshot.signature();
    if (rowCount)
        lastObservedArrangeVisibleRowCount_ = static_cast<int>(*rowCount);
    trustedAbsoluteTrackMaximum_ = snapshot.nextTrustedMaximum(trustedAbsoluteTrackMaximum_);
    if (verificationWaitsForMaximum_ && trustedAbsoluteTrackMaximum_) {
        verificationWaitsForMaximum_ = false;
        verifyArrangeLists("Logic AX observer attached");
    }
}

void LogicObserver::postSnapshotNotification(const TrackListSnapshot& snapshot,
                                             const std::string& reason) {
    UserInfo info;
    info.set(kSnapshotNamesByIndexKey, snapshot.namesByIndex);
    info.set(kSnapshotReasonKey, reason);
    notifications_.post(kTrackListSnapshotUpdatedNotification, std::move(info));
}

void LogicObserver::publishSnapshot(const TrackListSnapshot& snapshot, const std::string& reason,
                                    std::optional<std::size_t> rowCount) {
    if (snapshot == lastTrackNamesSnapshot_)
        return;
    storeSnapshot(snapshot, rowCount);
    postSnapshotNotification(snapshot, reason);
}

void LogicObserver::pollVisibleStructure() {
    structureQueue_->post(guarded([this] {
        auto rows = captureVisibleStructure();
        if (!rows)
            return;
        mainQueue_.post(guarded([this, rows] {
            lastMaxTrackIndex_ = rows->snapshot.highestIndex();
            const auto signature = rows->snapshot.signature();
            if (!lastPolledTrackSnapshotSignature_) {
                lastPolledTrackSnapshotSignature_ = signature;
                return;
            }
            if (*lastPolledTrackSnapshotSignature_ == signature)
                return;
            lastPolledTrackSnapshotSignature_ = signature;
            requestTrackNamesSnapshot("poll/visible-structure-changed");
        }));
    }));
}

void LogicObserver::scheduleStructuralSnapshot(std::string reason) {
    if (isQuarantined())
        return;
    pendingStructuralSnapshotWorkItem_.cancel();
    const double delay = structuralDebounce.delayFor(reason);
    pendingStructuralSnapshotReason_ = std::move(reason);
    pendingStructuralSnapshotWorkItem_ =
        mainQueue_.postAfter(delay, guarded([this] { fireStructuralSnapshot(); }));
}

void LogicObserver::fireStructuralSnapshot() {
    const auto decision = structuralDebounce.onFire(
        now(), isQuarantined(), logicFrontmost(), isLogicPointerDragActive(),
        lastFastSelectionTime_, pendingStructuralSnapshotReason_);
    switch (decision.action) {
        case StructuralSnapshotAction::skip:
        case StructuralSnapshotAction::count:
            return;
        case StructuralSnapshotAction::rescheduleForDrag:
            scheduleStructuralSnapshot(decision.reason);
            return;
        case StructuralSnapshotAction::rescheduleForQuiet:
            pendingStructuralSnapshotReason_ = decision.reason;
            pendingStructuralSnapshotWorkItem_ =
                mainQueue_.postAfter(decision.delay, guarded([this] { fireStructuralSnapshot(); }));
            return;
        case StructuralSnapshotAction::capture:
            break;
    }
    pendingStructuralSnapshotReason_.reset();
    structureQueue_->post(guarded([this, reason = decision.reason] {
        auto rows = captureVisibleStructure();
        if (!rows)
            return;
        mainQueue_.post(guarded([this, snapshot = rows->snapshot, reason] {
            finishStructuralSnapshot(snapshot, reason);
        }));
    }));
}

void LogicObserver::finishStructuralSnapshot(const TrackListSnapshot& snapshot,
                                             const std::string& reason) {
    if (isQuarantined() || !logicFrontmost())
        return;
    const auto signature = snapshot.signature();
    if (lastPublishedStructuralSnapshotSignature_ == signature) {
        if (captureRunning()) {
            postDebugEvent(notifications_, "Debounced structural snapshot skipped",
                           "No snapshot change after " + reason +
                               ". count=" + std::to_string(snapshot.size()));
        }
        return;
    }
    lastPublishedStructuralSnapshotSignature_ = signature;
    storeSnapshot(snapshot, std::nullopt);
    postSnapshotNotification(snapshot, "debounced " + reason);
    const double quiet = lastFastSelectionTime_ > 0 ? now() - lastFastSelectionTime_ : 0.0;
    postDebugEvent(notifications_, "Debounced structural snapshot published",
                   "reason=" + reason + " count=" + std::to_string(snapshot.size()) +
                       " quietMs=" + std::to_string(wholeMilliseconds(quiet)));
}

}  // namespace tessiva
