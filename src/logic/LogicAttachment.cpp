#include "logic/LogicAttachment.h"

#include "logic/TrackListPublisher.h"
#include "platform/ax/AXNames.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

LogicAttachment::LogicAttachment(ObservationContext& context, TrackListPublisher& publisher,
                                 NotificationHandler onNotification)
    : context_(context), publisher_(publisher), onNotification_(std::move(onNotification)) {}

void LogicAttachment::attach() {
    const auto pids = context_.ax.runningApplications(kLogicBundleIdentifier);
    if (pids.empty())
        return;
    const ProcessId pid = pids.front();
    const AXElement application = context_.ax.applicationElement(pid);
    auto created = context_.ax.createObserver(pid, context_.mainQueue,
                                              context_.guardedCallback(onNotification_));
    if (!created.ok() || !created.value || !application) {
        context_.log("AXObserverCreate failed: " +
                     std::to_string(axErrorCode(created.ok() ? AXError::failure : created.error)));
        return;
    }
    context_.observer = std::move(created.value);
    context_.isAXObserverSourceSuspended = false;
    attachedPid_ = pid;
    context_.setAppElement(application);
    createWindowObserver(pid);
    context_.observer->addNotification(application, ax::kFocusedUIElementChanged);
    if (!context_.windowObserver)
        context_.observer->addNotification(application, ax::kFocusedWindowChanged);
    context_.observer->addNotification(application, ax::kValueChanged);
    // Edit and Track menu commands (Undo, Delete, ...) that may change the track list.
    context_.observer->addNotification(application, ax::kMenuItemSelected);

    lastNotificationRefreshTime_ = context_.now();
    publisher_.noteUserActivity(context_.now());
    // The startup capture follows the anchoring so it reads the anchored list's rows.
    anchorTrackList("Logic AX observer attached", true,
                    [this] { publisher_.requestTrackNamesSnapshot("startup"); });
    context_.log("Attached to Logic (pid=" + std::to_string(pid) + ").");
}

void LogicAttachment::createWindowObserver(ProcessId pid) {
    auto created = context_.ax.createObserver(pid, context_.mainQueue,
                                              context_.guardedCallback(onNotification_));
    if (!created.ok() || !created.value) {
        context_.log("Dedicated AX window observer creation failed: " +
                     std::to_string(axErrorCode(created.ok() ? AXError::failure : created.error)));
        return;
    }
    const AXError registered =
        created.value->addNotification(context_.appElement(), ax::kFocusedWindowChanged);
    if (registered != AXError::success) {
        context_.log("Dedicated AX window notification registration failed: " +
                     std::to_string(axErrorCode(registered)));
        return;
    }
    context_.windowObserver = std::move(created.value);
    context_.isWindowObserverSourceSuspended = false;
    postDebugEvent(context_.notifications, "Logic modal window observer ready",
                   "Focused-window changes are isolated from the main selection/value observer.");
}

void LogicAttachment::detach() {
    context_.observer.reset();
    context_.windowObserver.reset();
    context_.isAXObserverSourceSuspended = false;
    context_.isWindowObserverSourceSuspended = false;
    attachedPid_ = 0;
    registeredContainers_.clear();
    sparseArrangeTrackList_ = {};
    ++anchorRequest_;
    context_.setAppElement({});
    context_.setAnchor({});
    context_.setLastSelection(std::nullopt);
    lastNotificationRefreshTime_ = 0;
    if (onDetached)
        onDetached();
    context_.log("Detached.");
}

void LogicAttachment::rescan() {
    if (context_.isQuarantined())
        return;
    const auto pids = context_.ax.runningApplications(kLogicBundleIdentifier);
    if (pids.empty()) {
        if (context_.observer || context_.appElement())
            detach();
        return;
    }
    if (context_.observer && pids.front() != attachedPid_)
        detach();
    if (!context_.observer || !context_.appElement()) {
        attach();
        return;
    }
    if (context_.isPointerDragActive())
        return;
    const TrackListAnchor anchor = context_.anchor();
    if (anchor && context_.now() - lastNotificationRefreshTime_ <= kRegistrationRefreshAge) {
        // A list that died since (a new project window) is anchored again now, not in 30 s.
        const auto request = anchorRequest_;
        context_.selectionWorkQueue->post(context_.guarded([this, anchor, request] {
            if (context_.reader.exists(anchor.element))
                return;
            context_.mainQueue.post(context_.guarded([this, request] {
                if (request == anchorRequest_ && context_.observer)
                    anchorTrackList("anchored list gone", false);
            }));
        }));
        publisher_.pollVisibleStructure();
        return;
    }
    lastNotificationRefreshTime_ = context_.now();
    anchorTrackList("rescan", false);
    publisher_.pollVisibleStructure();
}

void LogicAttachment::anchorTrackList(std::string reason, bool verifyLists,
                                      std::function<void()> then) {
    const AXElement application = context_.appElement();
    if (!application)
        return;
    const auto request = ++anchorRequest_;
    context_.selectionWorkQueue->post(
        context_.guarded([this, application, request, reason, verifyLists, then = std::move(then)] {
            auto& reader = context_.reader;
            const AXElement window = reader.arrangeWindow(application);
            const auto search = reader.findTrackList(window);
            VerifiedLists lists;
            if (verifyLists)
                lists = readArrangeLists(window);
            context_.mainQueue.post(
                context_.guarded([this, request, search, lists, reason, verifyLists, then] {
                    if (request != anchorRequest_ || !context_.observer)
                        return;
                    if (search.element) {
                        context_.setAnchor(search.anchor());
                        adoptList(search.anchor(), true);
                    }
                    if (verifyLists)
                        applyListVerification(lists, reason);
                    if (then)
                        then();
                }));
        }));
}

void LogicAttachment::adoptList(const TrackListAnchor& anchor, bool announce) {
    if (!anchor || !context_.observer)
        return;
    // A re-anchor refreshes the registrations; the observer keeps older ones harmlessly.
    for (const char* name : {ax::kSelectedChildrenChanged, ax::kSelectedRowsChanged,
                             ax::kRowCountChanged, ax::kLayoutChanged, ax::kValueChanged}) {
        context_.observer->addNotification(anchor.element, name);
    }
    registeredContainers_.insert(anchor.element.identity());
    if (!announce)
        return;
    postDebugEvent(context_.notifications, "Anchored track list container (table/outline)",
                   "Cached table/outline for fast AXSelectedChildren selection reads.");
}

LogicAttachment::VerifiedLists LogicAttachment::readArrangeLists(const AXElement& window) const {
    VerifiedLists lists;
    for (const auto& list :
         context_.reader.findArrangeLists(window, LogicAXReader::kListVerificationLimits)) {
        lists.emplace_back(list, context_.reader.readRows(TrackListAnchor{list, {}}));
    }
    return lists;
}

void LogicAttachment::verifyArrangeListsIfWaiting() {
    if (!verificationWaitsForMaximum_)
        return;
    verificationWaitsForMaximum_ = false;
    verifyArrangeLists("Logic AX observer attached");
}

void LogicAttachment::verifyArrangeLists(std::string reason) {
    const AXElement application = context_.appElement();
    if (!application)
        return;
    context_.selectionWorkQueue->post(context_.guarded([this, application, reason] {
        const auto lists = readArrangeLists(context_.reader.arrangeWindow(application));
        context_.mainQueue.post(context_.guarded([this, lists, reason] {
            if (context_.observer)
                applyListVerification(lists, reason);
        }));
    }));
}

void LogicAttachment::applyListVerification(const VerifiedLists& lists, const std::string& reason) {
    const auto maximum = publisher_.trustedAbsoluteTrackMaximum();
    if (!maximum) {
        // Without a known track count a list cannot be tied to absolute numbers yet; the first
        // snapshot supplies one.
        verificationWaitsForMaximum_ = true;
        return;
    }
    verificationWaitsForMaximum_ = false;
    for (const auto& [list, rows] : lists) {
        if (rows.snapshot.empty())
            continue;
        if (rows.snapshot.coversUpTo(*maximum)) {
            if (!(context_.anchor().element == list)) {
                const TrackListAnchor anchor{list, {}};
                context_.setAnchor(anchor);
                adoptList(anchor, false);
            }
            sparseArrangeTrackList_ = {};
            postDebugEvent(
                context_.notifications, "Dense Arrange track list verified",
                "Adopted " + std::to_string(rows.snapshot.size()) +
                    " direct Logic rows for absolute click/keyboard resolution. reason=" + reason);
        } else {
            sparseArrangeTrackList_ = list;
            postDebugEvent(context_.notifications, "Sparse Arrange track list adopted",
                           "Adopted " + std::to_string(rows.snapshot.size()) +
                               " visible Logic row(s) for direct navigation while Track Stacks "
                               "are collapsed.");
        }
        return;
    }
}

}  // namespace tessiva
