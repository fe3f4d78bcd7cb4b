// The simulated Logic as the Accessibility port sees it: workspace queries, attribute reads and
// sets, actions and observer creation, with Logic's errors (the first window-list read of a
// launch, busy Logic, failing child reads) and the lag and staleness of published selections.
// Part of SimulatedLogic; thread-safe.
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

std::uint64_t SimulatedLogic::mainWindowForReads() const {
    if (isLogic12()) {
        // Logic 12 answers AXMainWindow with an open modal dialog, and (see the option) with
        // the front plug-in window.
        if (modalOpen_ && modalKind_ == SimulatedModalKind::dialog)
            return sheet_;
        if (options_.pluginWindowIsMain && !pluginWindows_.empty())
            return pluginWindows_.back();
    }
    return mainWindow_;
}

std::uint64_t SimulatedLogic::focusedWindow() const {
    if (modalOpen_)
        return sheet_;
    if (!pluginWindows_.empty())
        return pluginWindows_.back();
    return mixerFocused_ ? mixerWindow_ : mainWindow_;
}

AXResult<AXValue> SimulatedLogic::copyAttributeValue(const AXElement& element,
                                                     std::string_view attribute) {
    ++attributeReads_;
    std::function<void(std::string_view)> hook;
    std::function<void(double)> sleep;
    double delay = 0;
    {
        std::lock_guard lock(mutex_);
        hook = readHook_;
        if (busy_ == SimulatedLogicBusy::slow) {
            sleep = sleep_;
            delay = options_.busyReadDelay;
        }
    }
    // A busy Logic answers late; the wait holds no lock, so the user can act meanwhile.
    if (sleep)
        sleep(delay);
    AXResult<AXValue> result;
    {
        std::lock_guard lock(mutex_);
        result = read(element, attribute);
    }
    if (hook)
        hook(attribute);
    return result;
}

AXResult<AXValue> SimulatedLogic::read(const AXElement& element, std::string_view name) {
    if (!trusted_)
        return {AXError::apiDisabled, {}};
    const SimulatedAXTree::Handle* handle = tree_.handle(element);
    if (!handle)
        return {AXError::invalidUIElement, {}};
    if (busy_ == SimulatedLogicBusy::failing)
        return {AXError::cannotComplete, {}};
    const Node& node = tree_.at(handle->node);
    auto optionalText = [](const std::optional<std::string>& text) -> AXResult<AXValue> {
        if (!text)
            return {AXError::noValue, {}};
        return {AXError::success, *text};
    };
    auto elements = [this](const std::vector<std::uint64_t>& ids) -> AXResult<AXValue> {
        return {AXError::success, tree_.elements(ids, clock_.now())};
    };
    auto one = [this](std::uint64_t id) -> AXResult<AXValue> {
        if (!tree_.contains(id))
            return {AXError::noValue, {}};
        return {AXError::success, elementFor(id)};
    };
    if (name == ax::kRole)
        return {AXError::success, node.role};
    if (name == ax::kSubrole)
        return optionalText(node.subrole);
    if (name == ax::kRoleDescription)
        return {AXError::success, node.role.substr(2)};
    if (name == ax::kTitle)
        return optionalText(node.title);
    if (name == ax::kDescription)
        return optionalText(node.description);
    if (name == ax::kValueDescription)
        return optionalText(node.valueDescription);
    if (name == ax::kDocument)
        return optionalText(node.document);
    if (name == ax::kValue) {
        if (axIsAbsent(node.value))
            return {AXError::noValue, {}};
        return {AXError::success, node.value};
    }
    if (name == ax::kChildren) {
        if (options_.childrenReadFailureShare > 0) {
            std::uniform_real_distribution<double> draw(0.0, 1.0);
            if (draw(random_) < options_.childrenReadFailureShare)
                return {AXError::failure, {}};
        }
        if ((node.id == outline_ || node.id == contents_) && isLogic12() &&
            options_.exposedRailRows > 0) {
            // Only the rows in view are listed.
            std::vector<std::uint64_t> shown;
            for (std::size_t i = 0; i < node.children.size(); ++i) {
                if (!isScrolledOut(static_cast<int>(i)))
                    shown.push_back(node.children[i]);
            }
            return elements(shown);
        }
        return elements(node.children);
    }
    if (name == ax::kParent)
        return one(node.parent);
    if (name == ax::kPosition)
        return {AXError::success, node.frame.origin};
    if (name == ax::kSize)
        return {AXError::success, node.frame.size};
    if (name == ax::kFrame)
        return {AXError::success, node.frame};
    if (name == ax::kFocused)
        return {AXError::success, node.id == focusedNode_};
    if (name == ax::kWindow || name == ax::kTopLevelUIElement) {
        auto up = node.id;
        while (tree_.contains(up) && tree_.at(up).kind != NodeKind::window)
            up = tree_.at(up).parent;
        return one(up);
    }
    if (node.kind == NodeKind::window && name == ax::kModal)
        return {AXError::success, modalOpen_ && node.id == sheet_};

    // Selection: what Logic has published, as seen through this handle.
    const auto selected = readableSelection(handle->fetchedAt);
    auto isSelected = [&](std::uint64_t key) {
        return std::find(selected.begin(), selected.end(), key) != selected.end();
    };
    if (node.kind == NodeKind::header && name == ax::kSelected)
        return {AXError::success, isSelected(node.trackKey)};
    const bool rows = name == ax::kSelectedRows && !isLogic12();
    if ((node.kind == NodeKind::trackList || node.kind == NodeKind::mixerTracks) &&
        (name == ax::kSelectedChildren || rows)) {
        std::vector<std::uint64_t> ids;
        for (const auto& track : tracks_) {
            if (isHidden(track) || !isSelected(track.key))
                continue;
            ids.push_back(node.kind == NodeKind::trackList ? headerNodeOf(track.key)
                                                           : track.stripNode);
        }
        return elements(ids);
    }
    if (node.kind == NodeKind::itemContainer && name == ax::kSelectedChildren) {
        // The Library keeps its first patch selected.
        std::vector<std::uint64_t> first(node.children.begin(),
                                         node.children.begin() + (node.children.empty() ? 0 : 1));
        return elements(first);
    }
    if (node.kind == NodeKind::application) {
        if (name == ax::kMainWindow)
            return one(mainWindowForReads());
        if (name == ax::kFocusedWindow)
            return one(focusedWindow());
        if (name == ax::kFocusedUIElement)
            return one(focusedNode_);
        if (name == ax::kWindows) {
            if (failNextWindowsRead_) {
                failNextWindowsRead_ = false;
                return {AXError::cannotComplete, {}};
            }
            std::vector<std::uint64_t> windows;
            if (modalOpen_ && modalKind_ == SimulatedModalKind::dialog)
                windows.push_back(sheet_);
            windows.insert(windows.end(), pluginWindows_.rbegin(), pluginWindows_.rend());
            if (utilityWindow_ != 0)
                windows.insert(windows.begin(), utilityWindow_);
            windows.push_back(mainWindow_);
            if (mixerWindow_ != 0)
                windows.push_back(mixerWindow_);
            return elements(windows);
        }
    }
    return {AXError::attributeUnsupported, {}};
}

AXResult<bool> SimulatedLogic::isAttributeSettable(const AXElement& element,
                                                   std::string_view attribute) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return {AXError::invalidUIElement, false};
    if (node->kind == NodeKind::header && attribute == ax::kSelected)
        return {AXError::success, options_.rowSelectedSettable.value_or(!isLogic12())};
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
        options_.rowSelectedSettable.value_or(!isLogic12())) {
        if (axBool(value) != true)
            return AXError::illegalArgument;
        if (!options_.rowSelectedSetSelects)
            return AXError::success;
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
    if (node->kind == NodeKind::header && isLogic12())
        return {AXError::success, {ax::kActionShowMenu}};
    if (node->kind == NodeKind::header && options_.rowPressable)
        return {AXError::success, {ax::kActionPress, ax::kActionShowMenu}};
    if (node->kind == NodeKind::button)
        return {AXError::success, {ax::kActionPress}};
    return {AXError::success, {}};
}

AXError SimulatedLogic::performAction(const AXElement& element, std::string_view action) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return AXError::invalidUIElement;
    // A Logic 12 header "succeeds" at AXPress and selects nothing.
    if (node->kind == NodeKind::header && isLogic12() && action == ax::kActionPress)
        return AXError::success;
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
