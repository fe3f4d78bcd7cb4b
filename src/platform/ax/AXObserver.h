#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/ax/AXElement.h"
#include "platform/ax/AXError.h"

namespace tessiva {

// Called for each delivered notification with the element that posted it and the notification
// name. Runs on the queue the observer was created for (the main queue).
using AXNotificationHandler =
    std::function<void(const AXElement& element, const std::string& notification)>;

// One Accessibility observer on one process (an AXObserver and its run-loop source on macOS).
// Registrations are per element and notification. Suspending delivery takes the source off the
// run loop without touching the registrations; notifications posted meanwhile are lost.
// Destroying the observer ends every registration and any delivery not yet made. Main queue.
// SimulatedLogic's observers stand in for it in tests.
class AXObserver {
  public:
    virtual ~AXObserver() = default;

    virtual AXError addNotification(const AXElement& element, std::string_view notification) = 0;
    virtual AXError removeNotification(const AXElement& element, std::string_view notification) = 0;
    virtual void suspendDelivery() = 0;
    virtual void resumeDelivery() = 0;
    virtual bool isDeliverySuspended() const = 0;
};

}  // namespace tessiva
