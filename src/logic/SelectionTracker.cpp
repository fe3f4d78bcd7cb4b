#include "logic/SelectionTracker.h"

#include <cstdio>

#include "platform/ax/AXNames.h"
#include "runtime/DebugEvent.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

constexpr double kSlowReadThreshold = 0.25;
constexpr double kNoSelectionDebugInterval = 2.0;

std::string seconds3(double seconds) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.3f", seconds);
    return buffer;
}

std::string gestureTrigger(SelectionGesture gesture) {
    switch (gesture) {
        case SelectionGesture::click:
            return "primary-click-probe";
        case SelectionGesture::arrowDown:
            return "keyboard-down/arrange-selected-row";
        case SelectionGesture::arrowUp:
            return "keyboard-up/arrange-selected-row";
        case SelectionGesture::directSelection:
            return "direct-selection";
        case SelectionGesture::notification:
            break;
    }
    return "settled-selection";
}

}  // namespace

SelectionTracker::SelectionTracker(ObservationContext& context, const SelectionRules& rules,
                                   ListReanchored onListReanchored)
    : context_(context), rules_(rules), onListReanchored_(std::move(onListReanchored)) {}

double SelectionTracker::expectedPublishLag() const {
    std::lock_guard lock(watchMutex_);
    return watch_.expectedLag;
}

// ---- notifications ----------------------------------------------------------------------------

void SelectionTracker::handleNotification(const AXElement& element, const std::string& name,
                                          double at, bool capture) {
    if (name == ax::kFocusedUIElementChanged) {
        if (rules_.suppressesFocusedElement(at, lastFastValueChangedIndex_,
                                            lastFastValueChangedTime_))
            return;
        handleFocusedElement(element, at);
        return;
    }
    if (name == ax::kValueChanged) {
        handleValueChanged(element, at);
        return;
    }
    if (rules_.isDuplicateNotification(at, lastAXHandledTime_, capture))
        return;
    lastAXHandledTime_ = at;
    if (name == ax::kSelectedChildrenChanged || name == ax::kSelectedRowsChanged) {
        // Logic may post before it publishes the new selection: keep reading until it shows.
        bool watching = false;
        {
            std::lock_guard lock(watchMutex_);
            watching = !watch_.unanswered.empty();
        }
        if (!watching)
            openWatch(SelectionGesture::notification, at);
    }
    scheduleSelection(name, at);
}

void SelectionTracker::handleFocusedElement(const AXElement& element, double eventTime) {
    const AXElement application = context_.appElement();
    if (!application)
        return;
    context_.selectionWorkQueue->post(context_.guarded([this, element, application, eventTime] {
        if (context_.isQuarantined())
            return;
        auto& reader = context_.reader;
        const AXElement window = reader.focusedOrMainWindow(application);
        const std::string windowText =
            text::lowercased(reader.string(window, ax::kTitle).value_or("") + " " +
                             reader.string(window, ax::kDescription).value_or(""));
        if (windowText.find("mixer") != std::string::npos) {
            const auto title = text::lowercased(reader.string(element, ax::kTitle).value_or(""));
            const auto description =
                text::lowercased(reader.string(element, ax::kDescription).value_or(""));
            if (title == "tracks" || description == "tracks") {
                const TrackListAnchor anchor{element, {}};
                auto result = reader.readSelection(anchor);
                context_.mainQueue.post(context_.guarded([this, anchor, result, eventTime] {
                    if (!(context_.anchor().element == anchor.element)) {
                        context_.setAnchor(anchor);
                        onListReanchored_(anchor, false);
                        postDebugEvent(context_.notifications, "Anchored track container",
                                       "reason=AXValueChanged/mixer-fast");
                    }
                    handleSelectionResult(result, "focused-tracks-event", eventTime);
                }));
                return;
            }
        }
        if (auto resolved = reader.resolveToTrack(element, 3)) {
            context_.mainQueue.post(context_.guarded([this, resolved, eventTime] {
                handleSelectionResult(resolved, "focused-tracks-event", eventTime);
            }));
            return;
        }
        // Not a header: read the list's selection the ordinary way.
        context_.mainQueue.post(context_.guarded([this, eventTime] {
            if (rules_.isDuplicateNotification(context_.now(), lastAXHandledTime_,
                                               context_.captureRunning()))
                return;
            lastAXHandledTime_ = context_.now();
            scheduleSelection(ax::kFocusedUIElementChanged, eventTime);
        }));
    }));
}

void SelectionTracker::handleValueChanged(const AXElement& element, double eventTime) {
    const TrackListAnchor anchor = context_.anchor();
    if (!anchor)
        return;
    const bool learn = learnAwaitsTrackName;
    context_.selectionWorkQueue->post(context_.guarded([this, element, anchor, eventTime, learn] {
        if (context_.isQuarantined())
            return;
        auto& reader = context_.reader;
        AXElement row;
        auto resolved = reader.resolveToTrack(element, 2, &row);
        if (learn)
            resolveLearnRow(element, row, resolved);
        // A renamed row that is not selected is not a selection.
        if (resolved && reader.boolean(row, ax::kSelected) == true) {
            context_.mainQueue.post(context_.guarded([this, resolved, eventTime] {
                handleSelectionResult(resolved, "AXValueChanged/arrange-name-fast", eventTime);
            }));
            return;
        }
        auto fallback = reader.readSelection(anchor);
        context_.mainQueue.post(context_.guarded([this, fallback, eventTime] {
            handleSelectionResult(fallback, "AXValueChanged/selected-state-fallback", eventTime);
        }));
    }));
}

void SelectionTracker::resolveLearnRow(const AXElement& element, const AXElement& row,
                                       const std::optional<TrackSelection>& resolved) {
    if (resolved) {
        const bool authoritative = context_.reader.boolean(row, ax::kSelected) == true;
        context_.mainQueue.post(context_.guarded([this, resolved, authoritative] {
            if (!learnAwaitsTrackName || !onLearnRowResolved)
                return;
            onLearnRowResolved(*resolved, authoritative
                                              ? "AXValueChanged/arrange-row-learn-authoritative"
                                              : "AXValueChanged/arrange-row-learn");
        }));
        return;
    }
    // A name without a track number could belong to any of several rows: never guess.
    const auto name = context_.reader.string(element, ax::kValue);
    if (!name || name->empty())
        return;
    context_.mainQueue.post(context_.guarded([this, name] {
        context_.flightDecision("selection/learn-row-unresolved",
                                "name=" + *name + "; refused ambiguous name-only fallback");
    }));
}

// ---- notification-triggered reads -------------------------------------------------------------

void SelectionTracker::refreshSelection(std::string trigger) {
    if (context_.isQuarantined())
        return;
    scheduleSelection(std::move(trigger), context_.now());
}

void SelectionTracker::scheduleSelection(std::string trigger, double eventTime) {
    if (!context_.logicFrontmost() && !context_.captureRunning())
        return;
    if (trigger == ax::kValueChanged && !context_.anchor())
        return;
    context_.selectionStateQueue->post(context_.guarded([this, trigger, eventTime] {
        std::lock_guard lock(selectionStateMutex_);
        pendingSelectionTrigger_ = trigger;
        const auto token = ++pendingSelectionToken_;
        pendingSelectionWorkItem_.cancel();
        // Only the focused-window trigger waits for Logic to settle.
        const bool settling = trigger == ax::kFocusedWindowChanged;
        pendingSelectionWorkItem_ = context_.selectionWorkQueue->postAfter(
            settling ? selectionSettleDelay : 0.0,
            context_.guarded([this, token, trigger, settling, eventTime] {
                runSelectionRead(token, trigger, settling, 0, eventTime);
            }));
    }));
}

void SelectionTracker::runSelectionRead(std::uint64_t token, std::string trigger, bool settling,
                                        int attempt, double eventTime) {
    {
        std::lock_guard lock(selectionStateMutex_);
        if (token != pendingSelectionToken_)
            return;
    }
    if (context_.isQuarantined())
        return;
    const double started = context_.now();
    auto read = readNow();
    const double duration = context_.now() - started;
    const bool slow = duration > kSlowReadThreshold;
    if (settling && !slow && attempt + 1 < selectionPollMaxAttempts &&
        !SelectionRules::isFreshRead(read.selection, context_.lastSelection())) {
        std::lock_guard lock(selectionStateMutex_);
        if (token != pendingSelectionToken_)
            return;
        pendingSelectionWorkItem_ = context_.selectionWorkQueue->postAfter(
            selectionPollInterval, context_.guarded([this, token, trigger, attempt, eventTime] {
                runSelectionRead(token, trigger, true, attempt + 1, eventTime);
            }));
        return;
    }
    if (slow && context_.captureRunning()) {
        postDebugEvent(context_.notifications, "AX selection fetch slow",
                       "durationSeconds=" + seconds3(duration) + " trigger=" + trigger);
    }
    context_.mainQueue.post(context_.guarded([this, read, trigger, eventTime] {
        handleSelectionResult(read.selection, trigger, eventTime, read.firstSelected);
    }));
}

LogicAXReader::SelectionRead SelectionTracker::readNow(const AXElement& unchangedIf) {
    if (context_.isQuarantined())
        return {};
    auto& reader = context_.reader;
    const TrackListAnchor anchor = context_.anchor();
    const AXElement application = context_.appElement();
    if (!anchor) {
        if (!application)
            return {};
        return {reader.readSelectionWithoutList(application), {}, false, false};
    }
    auto read = reader.readSelectionDetailed(anchor, unchangedIf);
    const bool looksDead =
        read.listGone || (!read.unchanged && !read.firstSelected && !read.selection &&
                          reader.elements(anchor.element, ax::kChildren).empty());
    if (!looksDead || !application)
        return read;
    // The list died under us (a project switch opened a new window, the Mixer rebuilt the
    // Arrange area): anchor again now rather than at the next rescan, and read the new list.
    const auto search = reader.findTrackList(reader.arrangeWindow(application));
    if (search.element == anchor.element)
        return read;
    const TrackListAnchor fresh = search.anchor();
    context_.setAnchor(fresh);
    context_.mainQueue.post(context_.guarded([this, fresh] { onListReanchored_(fresh, true); }));
    if (!fresh)
        return {reader.readSelectionWithoutList(application), {}, false, false};
    return reader.readSelectionDetailed(fresh);
}

// ---- the watch after a gesture ----------------------------------------------------------------

void SelectionTracker::gestureStarted(SelectionGesture gesture, double at) {
    if (context_.isQuarantined())
        return;
    openWatch(gesture, at);
}

void SelectionTracker::openWatch(SelectionGesture gesture, double at) {
    std::lock_guard lock(watchMutex_);
    const bool idle = watch_.unanswered.empty();
    if (idle) {
        if (watch_.knownTrusted)
            watch_.known = context_.lastSelection();
        watch_.reemitTrigger.clear();
    }
    watch_.unanswered.push_back({at, gestureTrigger(gesture)});
    watch_.lastGestureTime = at;
    if (!idle && watch_.pendingRead.isPending())
        return;
    if (needsBaselineRead()) {
        // Logic may have changed its selection while we were not looking (a modal, the Mixer):
        // read what it shows now, before it can have published this gesture.
        scheduleWatchRead(++watch_.generation, 0);
        return;
    }
    double delay = settle.nextReadDelay(0, watch_.expectedLag);
    // A click's first read is the probe of the gesture guard; a notification's own read goes
    // first.
    if (gesture == SelectionGesture::click || gesture == SelectionGesture::notification ||
        gesture == SelectionGesture::directSelection)
        delay = std::max(delay, settle.firstClickRead);
    else if (watch_.expectedLag - settle.denseLead <= 0)
        delay = 0;  // arrow keys in a Logic that answers at once: read now
    scheduleWatchRead(++watch_.generation, delay);
}

void SelectionTracker::scheduleWatchRead(std::uint64_t generation, double delay) {
    watch_.pendingRead.cancel();
    watch_.pendingRead = context_.selectionWorkQueue->postAfter(
        delay, context_.guarded([this, generation] { runWatchRead(generation); }));
}

void SelectionTracker::runWatchRead(std::uint64_t generation) {
    AXElement known;
    {
        std::lock_guard lock(watchMutex_);
        if (generation != watch_.generation || watch_.unanswered.empty())
            return;
        known = watch_.knownElement;
    }
    if (context_.isQuarantined())
        return;
    if (context_.isPointerDragActive()) {
        // Nothing is read while the user drags in Logic; look again after it.
        std::lock_guard lock(watchMutex_);
        if (generation == watch_.generation)
            scheduleWatchRead(generation, settle.sparseInterval);
        return;
    }
    const auto read = readNow(known);
    const double at = context_.now();
    std::lock_guard lock(watchMutex_);
    if (generation != watch_.generation || watch_.unanswered.empty())
        return;
    bool fresh = false;
    // An unchanged read carries no selection of its own: the known element still shows the
    // known track, and that is the baseline.
    const std::optional<TrackSelection> shown = read.unchanged ? watch_.known : read.selection;
    if (takesAsBaseline(shown, at)) {
        if (!read.unchanged)
            watch_.knownElement = read.firstSelected;
    } else if (!read.unchanged && read.selection &&
               (!watch_.known || watch_.known->index != read.selection->index)) {
        fresh = true;
    }
    if (fresh) {
        const Gesture answered = watch_.unanswered.front();
        watch_.unanswered.pop_front();
        watch_.known = read.selection;
        watch_.knownElement = read.firstSelected;
        watch_.knownTrusted = true;
        watch_.reemitTrigger.clear();
        learnLag(at - answered.time);
        const bool click = answered.trigger == gestureTrigger(SelectionGesture::click);
        context_.mainQueue.post(context_.guarded(
            [this, selection = *read.selection, answered, click, element = read.firstSelected] {
                if (click)
                    lastAuthoritativeArrangeTrackIndex_ = selection.index;
                handleSelectionResult(selection, answered.trigger, answered.time, element, true);
            }));
    } else if (read.selection && !watch_.knownElement && read.firstSelected) {
        // Learn the element that shows the known selection so later reads stop at one read.
        watch_.knownElement = read.firstSelected;
    }
    while (!watch_.unanswered.empty() &&
           at - watch_.unanswered.front().time >= settle.window - 1e-9) {
        watch_.unanswered.pop_front();
    }
    if (watch_.unanswered.empty()) {
        // The gestures changed nothing: a click on the selected track, or on empty space.
        if (!watch_.reemitTrigger.empty() && watch_.known) {
            context_.mainQueue.post(context_.guarded(
                [this, selection = *watch_.known, trigger = watch_.reemitTrigger,
                 time = watch_.reemitTime] { handleSelectionResult(selection, trigger, time); }));
        }
        watch_.reemitTrigger.clear();
        return;
    }
    const double elapsed = at - watch_.unanswered.front().time;
    scheduleWatchRead(watch_.generation, settle.nextReadDelay(elapsed, watch_.expectedLag));
}

bool SelectionTracker::isStaleDuringWatch(const std::optional<TrackSelection>& read,
                                          const std::string& trigger, double eventTime) {
    std::lock_guard lock(watchMutex_);
    if (watch_.unanswered.empty() || !read)
        return false;
    if (takesAsBaseline(read, context_.now())) {
        watch_.knownElement = {};
        return true;
    }
    const bool unchanged = watch_.known && watch_.known->index == read->index;
    if (unchanged) {
        if (SelectionRules::reemitsSameTrack(trigger)) {
            watch_.reemitTrigger = trigger;
            watch_.reemitTime = eventTime;
        }
        return true;
    }
    // Another route saw the new selection first: it answers the oldest gesture.
    const Gesture answered = watch_.unanswered.front();
    watch_.unanswered.pop_front();
    if (answered.trigger == gestureTrigger(SelectionGesture::click))
        lastAuthoritativeArrangeTrackIndex_ = read->index;
    learnLag(context_.now() - answered.time);
    watch_.known = read;
    watch_.knownElement = {};
    watch_.reemitTrigger.clear();
    if (watch_.unanswered.empty())
        watch_.pendingRead.cancel();
    return false;
}

bool SelectionTracker::needsBaselineRead() const {
    return !watch_.knownTrusted && watch_.expectedLag >= kBaselineLag;
}

bool SelectionTracker::takesAsBaseline(const std::optional<TrackSelection>& read, double at) {
    if (!needsBaselineRead() || watch_.unanswered.empty())
        return false;
    // Earlier than half the lag Logic has shown, it cannot have published the gesture yet.
    if (at - watch_.unanswered.front().time >= watch_.expectedLag / 2)
        return false;
    watch_.known = read;
    watch_.knownTrusted = true;
    return true;
}

void SelectionTracker::learnLag(double observed) {
    watch_.expectedLag =
        watch_.lagSamples == 0
            ? std::clamp(observed - settle.denseInterval / 2, 0.0, settle.maxLag)
            : settle.learnedLag(watch_.expectedLag, observed, settle.denseInterval);
    ++watch_.lagSamples;
}

void SelectionTracker::cancelDeferredWork() {
    std::lock_guard lock(watchMutex_);
    // Logic may change its selection during what interrupts us (a modal, a drag).
    watch_.knownTrusted = false;
    watch_.pendingRead.cancel();
    ++watch_.generation;
    watch_.unanswered.clear();
    watch_.reemitTrigger.clear();
}

void SelectionTracker::reset() {
    cancelDeferredWork();
    std::lock_guard lock(watchMutex_);
    watch_.known.reset();
    watch_.knownElement = {};
}

// ---- result handling and emission -------------------------------------------------------------

void SelectionTracker::handleSelectionResult(std::optional<TrackSelection> result,
                                             const std::string& trigger, double eventTime,
                                             AXElement element, bool answersWatch) {
    const bool capture = context_.captureRunning();
    if (!answersWatch && isStaleDuringWatch(result, trigger, eventTime))
        return;
    const auto decision = SelectionRules::decide(result, context_.lastSelection(), trigger,
                                                 context_.logicFrontmost(), capture);
    switch (decision) {
        case SelectionResultDecision::noTrack:
            if (capture && trigger != ax::kValueChanged &&
                context_.now() - lastNoSelectionDebugTime_ > kNoSelectionDebugInterval) {
                lastNoSelectionDebugTime_ = context_.now();
                postDebugEvent(context_.notifications, "No track selection extracted",
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
    emit(*result, trigger, eventTime, element);
}

void SelectionTracker::emit(const TrackSelection& selection, const std::string& trigger,
                            double eventTime, const AXElement& element) {
    if (selection.index < 1 || context_.isQuarantined())
        return;
    const bool capture = context_.captureRunning();
    context_.flightDecision("selection/emission-candidate", selection.name.value_or(""));
    context_.lastFastSelectionTime = eventTime;
    if (!context_.logicFrontmost() && !capture) {
        context_.flightDecision("selection/emission-blocked",
                                "reason=Logic-not-frontmost trigger=" + trigger);
        return;
    }
    context_.setLastSelection(selection);
    {
        std::lock_guard lock(watchMutex_);
        if (watch_.unanswered.empty()) {
            watch_.known = selection;
            watch_.knownElement = element;
            watch_.knownTrusted = true;
        }
    }
    std::string detail = selection.name.value_or("(no name)") + "\ntrigger=" + trigger;
    if (capture)
        detail +=
            "\nAX capture elapsed=+" + seconds3(context_.now() - context_.captureStartTime()) + "s";
    postDebugEvent(context_.notifications,
                   "Logic track detected: #" + std::to_string(selection.index), detail);
    if (onTrackSelection)
        onTrackSelection(selection);
    context_.flightDecision("selection/emitted-to-coordinator", selection.name.value_or(""));
    lastFastValueChangedTime_ = context_.now();
    lastFastValueChangedIndex_ = selection.index;
}

}  // namespace tessiva
