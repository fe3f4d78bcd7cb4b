// The simulated Logic as the Accessibility port sees it: workspace queries, attribute reads and
// sets, actions and observer creation. Part of SimulatedLogic; thread-safe.
#include <algorithm>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/Clock.h"

namespace tessiva {

bool SimulatedLogic::isProcessTrusted() const {
    std::lock_guard lock(mutex_);
    return trusted_;
}

std::vector<ProcessId> SimulatedLogic::runningApplications(
    std::string_view bundleIdentifier) const {
    std::lock_guard lock(mutex_);
    if (!running_ || bundleIdentifier != kBundleIdentifier)
        return {};
    return {pid_};
}

std::optional<std::string> SimulatedLogic::frontmostApplicationBundleIdentifier() const {
    std::lock_guard lock(mutex_);
    if (running_ && frontmost_)
        return std::string(kBundleIdentifier);
    return std::string("com.apple.finder");
}

AXElement SimulatedLogic::applicationElement(ProcessId pid) {
    std::lock_guard lock(mutex_);
    if (!running_ || pid != pid_)
        return {};
    return elementFor(app_);
}

AXResult<AXValue> SimulatedLogic::copyAttributeValue(const AXElement& element,
                                                     std::string_view attribute) {
    ++attributeReads_;
    std::function<void(std::string_view)> hook;
    AXResult<AXValue> result;
    {
        std::lock_guard lock(mutex_);
        hook = readHook_;
        result = [&]() -> AXResult<AXValue> {
            if (!trusted_)
                return {AXError::apiDisabled, {}};
            const Node* node = nodeFor(element);
            if (!node)
                return {AXError::invalidUIElement, {}};
            auto optionalText = [](const std::optional<std::string>& text) -> AXResult<AXValue> {
                if (!text)
                    return {AXError::noValue, {}};
                return {AXError::success, *text};
            };
            auto elements = [this](const std::vector<std::uint64_t>& ids) {
                std::vector<AXElement> list;
                list.reserve(ids.size());
                for (auto id : ids)
                    list.push_back(elementFor(id));
                return list;
            };
            const std::string_view name = attribute;
            if (name == ax::kRole)
                return {AXError::success, node->role};
            if (name == ax::kTitle)
                return optionalText(node->title);
            if (name == ax::kDescription)
                return optionalText(node->description);
            if (name == ax::kValue) {
                if (axIsAbsent(node->value))
                    return {AXError::noValue, {}};
                return {AXError::success, node->value};
            }
            if (name == ax::kChildren)
                return {AXError::success, elements(node->children)};
            if (name == ax::kParent) {
                if (node->parent == 0)
                    return {AXError::noValue, {}};
                return {AXError::success, elementFor(node->parent)};
            }
            if (name == ax::kPosition)
                return {AXError::success, node->frame.origin};
            if (name == ax::kSize)
                return {AXError::success, node->frame.size};
            const auto settled = settledSelection();
            auto isSelected = [&](std::uint64_t key) {
                return std::find(settled.begin(), settled.end(), key) != settled.end();
            };
            if (node->kind == NodeKind::header && name == ax::kSelected) {
                return {AXError::success, isSelected(node->trackKey)};
            }
            if ((node->kind == NodeKind::trackList || node->kind == NodeKind::mixerTracks) &&
                (name == ax::kSelectedChildren || name == ax::kSelectedRows)) {
                std::vector<std::uint64_t> rows;
                for (const auto& track : tracks_) {
                    if (isHidden(track) || !isSelected(track.key))
                        continue;
                    rows.push_back(node->kind == NodeKind::trackList ? track.rowNode
                                                                     : track.stripNode);
                }
                return {AXError::success, elements(rows)};
            }
            if (node->kind == NodeKind::application) {
                if (name == ax::kMainWindow)
                    return {AXError::success, elementFor(mainWindow_)};
                if (name == ax::kFocusedWindow) {
                    const auto focused =
                        modalOpen_ ? sheet_ : (mixerFocused_ ? mixerWindow_ : mainWindow_);
                    return {AXError::success, elementFor(focused)};
                }
                if (name == ax::kFocusedUIElement) {
                    if (focusedNode_ == 0 || !tree_.contains(focusedNode_))
                        return {AXError::noValue, {}};
                    return {AXError::success, elementFor(focusedNode_)};
                }
            }
            return {AXError::attributeUnsupported, {}};
        }();
    }
    if (hook)
        hook(attribute);
    return result;
}

AXResult<bool> SimulatedLogic::isAttributeSettable(const AXElement& element,
                                                   std::string_view attribute) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return {AXError::invalidUIElement, false};
    if (node->kind == NodeKind::header && attribute == ax::kSelected)
        return {AXError::success, options_.rowSelectedSettable};
    if (node->kind == NodeKind::trackList && attribute == ax::kSelectedChildren)
        return {AXError::success, options_.containerSelectedChildrenSettable};
    if (node->kind == NodeKind::nameField && attribute == ax::kValue)
        return {AXError::success, true};
    return {AXError::success, false};
}

AXError SimulatedLogic::setAttributeValue(const AXElement& element, std::string_view attribute,
                                          const AXValue& value) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return AXError::invalidUIElement;
    if (node->kind == NodeKind::header && attribute == ax::kSelected &&
        options_.rowSelectedSettable) {
        if (axBool(value) != true)
            return AXError::illegalArgument;
        selectOnly({node->trackKey});
        selectionNotifications();
        deliverPending();
        return AXError::success;
    }
    if (node->kind == NodeKind::trackList && attribute == ax::kSelectedChildren &&
        options_.containerSelectedChildrenSettable) {
        std::vector<std::uint64_t> keys;
        for (const auto& row : axElements(value)) {
            const Node* rowNode = nodeFor(row);
            if (!rowNode || rowNode->kind != NodeKind::header)
                return AXError::illegalArgument;
            keys.push_back(rowNode->trackKey);
        }
        selectOnly(std::move(keys));
        selectionNotifications();
        deliverPending();
        return AXError::success;
    }
    return AXError::attributeUnsupported;
}

AXResult<std::vector<std::string>> SimulatedLogic::copyActionNames(const AXElement& element) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return {AXError::invalidUIElement, {}};
    if (node->kind == NodeKind::header && options_.rowPressable)
        return {AXError::success, {ax::kActionPress, "AXShowMenu"}};
    if (node->kind == NodeKind::button)
        return {AXError::success, {ax::kActionPress}};
    return {AXError::success, {}};
}

AXError SimulatedLogic::performAction(const AXElement& element, std::string_view action) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return AXError::invalidUIElement;
    if (node->kind == NodeKind::header && options_.rowPressable && action == ax::kActionPress) {
        selectOnly({node->trackKey});
        selectionNotifications();
        deliverPending();
        return AXError::success;
    }
    return AXError::actionUnsupported;
}

AXResult<std::unique_ptr<AXObserver>> SimulatedLogic::createObserver(
    ProcessId pid, Queue& deliveryQueue, AXNotificationHandler handler) {
    std::lock_guard lock(mutex_);
    if (!trusted_)
        return {AXError::apiDisabled, nullptr};
    if (failObserverCreations_ > 0 && observerCreationsBeforeFailure_-- <= 0) {
        --failObserverCreations_;
        return {AXError::cannotComplete, nullptr};
    }
    if (!running_ || pid != pid_)
        return {AXError::illegalArgument, nullptr};
    return {AXError::success,
            notifications_.createObserver(pid, deliveryQueue, std::move(handler))};
}

}  // namespace tessiva
