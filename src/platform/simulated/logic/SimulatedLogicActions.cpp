// The user's pointer and key gestures in the simulated Logic: clicks on headers and the regions
// area, arrow and other keys, header drags. Each sends its input events, changes the selection
// and posts what the notification profile posts. Part of SimulatedLogic; test or demo thread.
#include <algorithm>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/logic/SimulatedLogicTexts.h"
#include "runtime/Clock.h"

namespace tessiva {

void SimulatedLogic::clickTrack(int number, SimulatedClick kind) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track || isHidden(*track) || isScrolledOut(visiblePositionOf(track->key)))
        return;
    const auto key = track->key;
    const auto at = rowCenter(key);
    const bool right = kind == SimulatedClick::right;
    const std::uint32_t modifiers =
        kind == SimulatedClick::command ? static_cast<std::uint32_t>(InputModifier::command) : 0;
    pointerEvent(right ? InputEventType::rightMouseDown : InputEventType::leftMouseDown, at,
                 modifiers);
    if (!modalOpen_ && !right) {
        if (kind == SimulatedClick::command) {
            auto next = selection_;
            if (auto found = std::find(next.begin(), next.end(), key); found != next.end()) {
                next.erase(found);
            } else {
                next.push_back(key);
            }
            std::sort(next.begin(), next.end(),
                      [this](auto a, auto b) { return numberOf(a) < numberOf(b); });
            selectOnly(std::move(next));
        } else {
            selectOnly({key});
        }
        selectionNotifications();
        if (options_.postFocusedElementOnClick) {
            focusedNode_ = headerNodeOf(key);
            queueNotification(focusedNode_, ax::kFocusedUIElementChanged);
        }
    }
    if (!right)
        pointerEvent(InputEventType::leftMouseUp, at, modifiers, false);
    deliverPending();
}

void SimulatedLogic::clickArrangeBackground(SimulatedClick kind) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    const auto& frame = tree_.at(contents_).frame;
    const AXPoint at{frame.origin.x + 500, frame.origin.y + 10};
    const bool right = kind == SimulatedClick::right;
    const std::uint32_t modifiers =
        kind == SimulatedClick::command ? static_cast<std::uint32_t>(InputModifier::command) : 0;
    pointerEvent(right ? InputEventType::rightMouseDown : InputEventType::leftMouseDown, at,
                 modifiers);
    if (!right)
        pointerEvent(InputEventType::leftMouseUp, at, modifiers, false);
    deliverPending();
}

void SimulatedLogic::pressArrowKey(bool down) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    InputEvent event;
    event.type = InputEventType::keyDown;
    event.keyCode = down ? keycode::kDownArrow : keycode::kUpArrow;
    event.timestamp = clock_.now();
    pendingEvents_.push_back(event);
    const auto visible = visibleTrackKeys();
    if (!modalOpen_ && !visible.empty()) {
        std::ptrdiff_t position = down ? -1 : static_cast<std::ptrdiff_t>(visible.size());
        if (!selection_.empty()) {
            const auto anchor = down ? selection_.back() : selection_.front();
            auto found = std::find(visible.begin(), visible.end(), anchor);
            if (found != visible.end())
                position = found - visible.begin();
        }
        position += down ? 1 : -1;
        position = std::clamp<std::ptrdiff_t>(position, 0,
                                              static_cast<std::ptrdiff_t>(visible.size()) - 1);
        selectOnly({visible[static_cast<std::size_t>(position)]});
        revealSelection();
        if (options_.postSelectionNotificationsOnArrowKeys)
            selectionNotifications();
    }
    deliverPending();
}

void SimulatedLogic::focusTrack(int number) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track || isHidden(*track))
        return;
    focusedNode_ = headerNodeOf(track->key);
    publishRows();  // the "Has Focus" radios follow
    queueNotification(focusedNode_, ax::kFocusedUIElementChanged);
    deliverPending();
}

void SimulatedLogic::pressKey(int keyCode) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    InputEvent event;
    event.type = InputEventType::keyDown;
    event.keyCode = keyCode;
    event.timestamp = clock_.now();
    pendingEvents_.push_back(event);
    const bool confirms = keyCode == keycode::kReturn || keyCode == keycode::kEnter ||
                          keyCode == keycode::kEscape || keyCode == keycode::kSpace;
    if (modalOpen_ && confirms) {
        // The monitor hears the key before the sheet's window change arrives.
        deliverPending();
        closeModal();
    }
    deliverPending();
}

void SimulatedLogic::pressRegionArea() {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    const auto& frame = tree_.at(contents_).frame;
    dragPoint_ = {frame.origin.x + 400, frame.origin.y + 30};
    pointerEvent(InputEventType::leftMouseDown, dragPoint_);
    deliverPending();
}

void SimulatedLogic::releasePointer() {
    std::lock_guard lock(mutex_);
    dragFrom_ = 0;
    pointerEvent(InputEventType::leftMouseUp, dragPoint_, 0, false);
    deliverPending();
}

void SimulatedLogic::beginTrackDrag(int fromNumber) {
    std::lock_guard lock(mutex_);
    Track* from = trackAt(fromNumber);
    if (!running_ || !from || isHidden(*from))
        return;
    dragFrom_ = fromNumber;
    dragPoint_ = rowCenter(from->key);
    pointerEvent(InputEventType::leftMouseDown, dragPoint_);
    // Pressing an already selected header changes nothing Logic reports.
    if (selection_ != std::vector<std::uint64_t>{from->key}) {
        selectOnly({from->key});
        selectionNotifications();
    }
    deliverPending();
}

void SimulatedLogic::dragPointerTo(int overNumber) {
    std::lock_guard lock(mutex_);
    Track* over = trackAt(overNumber);
    if (!running_ || dragFrom_ == 0 || !over || isHidden(*over))
        return;
    const auto start = dragPoint_;
    const auto end = rowCenter(over->key);
    for (int step = 1; step <= 4; ++step) {
        dragPoint_ = {start.x + (end.x - start.x) * step / 4.0,
                      start.y + (end.y - start.y) * step / 4.0};
        pointerEvent(InputEventType::leftMouseDragged, dragPoint_, 0, false);
    }
    deliverPending();
}

void SimulatedLogic::endTrackDrag(int toNumber) {
    int from = 0;
    {
        std::lock_guard lock(mutex_);
        from = dragFrom_;
        dragFrom_ = 0;
    }
    if (from == 0)
        return;
    moveTrack(from, toNumber);
    std::lock_guard lock(mutex_);
    pointerEvent(InputEventType::leftMouseUp, dragPoint_, 0, false);
    deliverPending();
}

void SimulatedLogic::scrollRailTo(int firstPosition) {
    std::lock_guard lock(mutex_);
    railScrollTop_ = std::max(0, firstPosition);
}

}  // namespace tessiva
