#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "logic/LogicAXReader.h"
#include "logic/ObservationContext.h"

namespace tessiva {

class TrackListPublisher;

// Finds the running Logic Pro, creates the observers on it (the main one and the dedicated
// focused-window one), anchors the Arrange track list and keeps it anchored: the 5 s rescan
// attaches, detaches, re-anchors a list that has died and refreshes the registrations every
// 30 s. Main queue; the anchoring search runs on the selection queue. Part of LogicObserver;
// tests drive it through the observer against SimulatedLogic.
class LogicAttachment {
  public:
    using NotificationHandler =
        std::function<void(const AXElement& element, const std::string& name)>;

    static constexpr double kRescanPeriod = 5.0;
    static constexpr double kRegistrationRefreshAge = 30.0;

    LogicAttachment(ObservationContext& context, TrackListPublisher& publisher,
                    NotificationHandler onNotification);
    LogicAttachment(const LogicAttachment&) = delete;
    LogicAttachment& operator=(const LogicAttachment&) = delete;

    // Called when Logic goes away, after the attachment's own state is cleared.
    std::function<void()> onDetached;

    void attach();
    void detach();
    // One tick of the rescan timer.
    void rescan();
    // Registers the list's notifications; `announce` posts the anchoring debug event.
    void adoptList(const TrackListAnchor& anchor, bool announce);
    // The first capture knew the project's size: tie the Arrange lists to absolute numbers.
    void verifyArrangeListsIfWaiting();

    bool isAttached() const { return context_.observer != nullptr && bool(context_.appElement()); }
    bool hasWindowObserver() const { return context_.windowObserver != nullptr; }
    AXElement sparseArrangeTrackList() const { return sparseArrangeTrackList_; }

  private:
    using VerifiedLists = std::vector<std::pair<AXElement, LogicAXReader::Rows>>;

    void createWindowObserver(ProcessId pid);
    void anchorTrackList(std::string reason, bool verifyLists, std::function<void()> then = {});
    void verifyArrangeLists(std::string reason);
    VerifiedLists readArrangeLists(const AXElement& window) const;
    void applyListVerification(const VerifiedLists& lists, const std::string& reason);

    ObservationContext& context_;
    TrackListPublisher& publisher_;
    NotificationHandler onNotification_;

    ProcessId attachedPid_ = 0;
    std::unordered_set<std::uint64_t> registeredContainers_;
    AXElement sparseArrangeTrackList_;
    bool verificationWaitsForMaximum_ = false;
    std::uint64_t anchorRequest_ = 0;
    double lastNotificationRefreshTime_ = 0;
};

}  // namespace tessiva
