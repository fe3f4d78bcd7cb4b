// The user's actions in the simulated Logic: clicks, keys, drags, structural edits, dialogs, the
// Mixer and the tempo. Each changes the project, then the tree, then posts what Logic posts.
// Part of SimulatedLogic; called from the test or demo thread.
#include <algorithm>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/Clock.h"

namespace tessiva {

void SimulatedLogic::clickTrack(int number, SimulatedClick kind) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track || isHidden(*track))
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
            focusedNode_ = track->rowNode;
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
    focusedNode_ = track->rowNode;
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
        tree_.removeSubtree(sheet_);
        sheet_ = 0;
        modalOpen_ = false;
        queueNotification(app_, ax::kFocusedWindowChanged);
    }
    deliverPending();
}

void SimulatedLogic::insertTrack(int afterNumber, std::string name) {
    std::lock_guard lock(mutex_);
    if (!running_ || afterNumber < 0 || afterNumber > static_cast<int>(tracks_.size()))
        return;
    Track track;
    track.key = nextTrackKey_++;
    track.name = std::move(name);
    if (afterNumber > 0 && afterNumber < static_cast<int>(tracks_.size())) {
        const auto& next = tracks_[static_cast<std::size_t>(afterNumber)];
        if (next.stackKey != 0)
            track.stackKey = next.stackKey;
    }
    makeTrackNodes(track);
    tracks_.insert(tracks_.begin() + afterNumber, track);
    finishTrackListEdit({track.key});
}

void SimulatedLogic::deleteTrack(int number) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track)
        return;
    const auto key = track->key;
    std::vector<std::uint64_t> removed;
    for (const auto& other : tracks_) {
        if (other.key == key || other.stackKey == key)
            removed.push_back(other.key);
    }
    for (auto removedKey : removed) {
        auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                  [&](const Track& t) { return t.key == removedKey; });
        tree_.removeSubtree(found->rowNode);
        if (found->stripNode)
            tree_.removeSubtree(found->stripNode);
        tracks_.erase(found);
        std::erase(selection_, removedKey);
    }
    // Logic selects the track that took the deleted one's place.
    std::vector<std::uint64_t> next;
    if (!tracks_.empty()) {
        const auto index =
            std::min<std::size_t>(static_cast<std::size_t>(number - 1), tracks_.size() - 1);
        next.push_back(tracks_[index].key);
    }
    finishTrackListEdit(std::move(next));
}

void SimulatedLogic::duplicateTrack(int number) {
    std::lock_guard lock(mutex_);
    Track* source = trackAt(number);
    if (!running_ || !source)
        return;
    Track copy;
    copy.key = nextTrackKey_++;
    copy.name = source->name;
    copy.stackKey = source->stackKey;
    makeTrackNodes(copy);
    tracks_.insert(tracks_.begin() + number, copy);
    finishTrackListEdit({copy.key});
}

void SimulatedLogic::moveTrack(int fromNumber, int toNumber) {
    std::lock_guard lock(mutex_);
    const int count = static_cast<int>(tracks_.size());
    if (!running_ || fromNumber < 1 || fromNumber > count || toNumber < 1 || toNumber > count ||
        fromNumber == toNumber)
        return;
    Track moved = tracks_[static_cast<std::size_t>(fromNumber - 1)];
    if (moved.isStackHeader)
        return;
    moved.stackKey = 0;
    tracks_.erase(tracks_.begin() + (fromNumber - 1));
    tracks_.insert(tracks_.begin() + (toNumber - 1), moved);
    selectOnly({moved.key});
    rebuildRows();
    queueNotification(outline_, ax::kLayoutChanged);
    selectionNotifications();
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

void SimulatedLogic::renameTrack(int number, std::string name) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track)
        return;
    track->name = std::move(name);
    rebuildRows();
    queueNotification(track->nameNode, ax::kValueChanged);
    deliverPending();
}

void SimulatedLogic::setStackCollapsed(int stackNumber, bool collapsed) {
    std::lock_guard lock(mutex_);
    Track* header = trackAt(stackNumber);
    if (!running_ || !header || !header->isStackHeader || header->collapsed == collapsed)
        return;
    header->collapsed = collapsed;
    rebuildRows();
    queueNotification(outline_, ax::kRowCountChanged);
    queueNotification(outline_, ax::kLayoutChanged);
    deliverPending();
}

void SimulatedLogic::openModal(std::string title) {
    std::lock_guard lock(mutex_);
    if (!running_ || modalOpen_)
        return;
    sheet_ = tree_.make(NodeKind::sheet, ax::kRoleSheet, mainWindow_, std::move(title));
    tree_.at(sheet_).frame = {{600, 300}, {400, 200}};
    tree_.make(NodeKind::button, ax::kRoleButton, sheet_, "OK");
    tree_.make(NodeKind::button, ax::kRoleButton, sheet_, "Cancel");
    modalOpen_ = true;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::clickModalButton() {
    std::lock_guard lock(mutex_);
    if (!running_ || !modalOpen_)
        return;
    pointerEvent(InputEventType::leftMouseDown, {800, 450});
    pointerEvent(InputEventType::leftMouseUp, {800, 450}, 0, false);
    // The tap and the monitor hear the click before the sheet goes away.
    deliverPending();
    tree_.removeSubtree(sheet_);
    sheet_ = 0;
    modalOpen_ = false;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::dismissModal() {
    std::lock_guard lock(mutex_);
    if (!running_ || !modalOpen_)
        return;
    tree_.removeSubtree(sheet_);
    sheet_ = 0;
    modalOpen_ = false;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

bool SimulatedLogic::isModalOpen() const {
    std::lock_guard lock(mutex_);
    return modalOpen_;
}

void SimulatedLogic::openMixer() {
    std::lock_guard lock(mutex_);
    if (!running_ || mixerWindow_ != 0)
        return;
    mixerOpen_ = true;
    mixerFocused_ = true;
    mixerWindow_ =
        tree_.make(NodeKind::window, ax::kRoleWindow, app_, options_.projectName + " - Mixer");
    mixerTracks_ =
        tree_.make(NodeKind::mixerTracks, ax::kRoleGroup, mixerWindow_, std::nullopt, "Tracks");
    rebuildRows();
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::closeMixer() {
    std::lock_guard lock(mutex_);
    if (!running_ || mixerWindow_ == 0)
        return;
    tree_.removeSubtree(mixerWindow_);
    mixerWindow_ = mixerTracks_ = 0;
    for (auto& track : tracks_)
        track.stripNode = 0;
    mixerOpen_ = mixerFocused_ = false;
    if (focusedNode_ != 0 && !tree_.contains(focusedNode_))
        focusedNode_ = 0;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::clickMixerStrip(int number) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || mixerTracks_ == 0 || !track || track->stripNode == 0)
        return;
    pointerEvent(InputEventType::leftMouseDown, {900, 500});
    selectOnly({track->key});
    focusedNode_ = mixerTracks_;
    queueNotification(mixerTracks_, ax::kFocusedUIElementChanged);
    queueNotification(mixerTracks_, ax::kSelectedChildrenChanged);
    pointerEvent(InputEventType::leftMouseUp, {900, 500}, 0, false);
    deliverPending();
}

void SimulatedLogic::setTempo(double bpm) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    tempo_ = bpm;
    tree_.at(slider_).value = bpm;
    queueNotification(slider_, ax::kValueChanged);
    deliverPending();
}

}  // namespace tessiva
