#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ax/AXElement.h"
#include "platform/ax/AXError.h"
#include "platform/ax/AXObserver.h"
#include "platform/ax/AXValue.h"

namespace tessiva {

class Queue;

using ProcessId = int;

// What the Logic observation asks of the operating system's Accessibility interface and its
// workspace: trust, running applications, element attributes and actions, and observers. Every
// call is thread-safe; attribute reads come from the selection queue, the rest from the main
// queue. Adapters: macOS (ApplicationServices and NSWorkspace), SimulatedLogic on Linux and in
// tests.
class AccessibilityPort {
  public:
    virtual ~AccessibilityPort() = default;

    virtual bool isProcessTrusted() const = 0;
    // Process ids of the running applications with this bundle identifier, oldest first.
    virtual std::vector<ProcessId> runningApplications(std::string_view bundleIdentifier) const = 0;
    virtual std::optional<std::string> frontmostApplicationBundleIdentifier() const = 0;

    virtual AXElement applicationElement(ProcessId pid) = 0;
    // An unreadable attribute yields an error and an absent value.
    virtual AXResult<AXValue> copyAttributeValue(const AXElement& element,
                                                 std::string_view attribute) = 0;
    virtual AXResult<bool> isAttributeSettable(const AXElement& element,
                                               std::string_view attribute) = 0;
    virtual AXError setAttributeValue(const AXElement& element, std::string_view attribute,
                                      const AXValue& value) = 0;
    virtual AXResult<std::vector<std::string>> copyActionNames(const AXElement& element) = 0;
    virtual AXError performAction(const AXElement& element, std::string_view action) = 0;

    // An observer on `pid` whose notifications are delivered on `deliveryQueue`.
    virtual AXResult<std::unique_ptr<AXObserver>> createObserver(ProcessId pid,
                                                                 Queue& deliveryQueue,
                                                                 AXNotificationHandler handler) = 0;
};

}  // namespace tessiva
