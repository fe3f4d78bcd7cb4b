// Structural edits in the simulated Logic: insert, delete, duplicate, move, rename, stack
// collapse, and Logic's undo/redo, duplicate and delete commands from the keyboard. An edit
// changes the project, republishes the tree and posts what the notification profile posts.
// Part of SimulatedLogic; test or demo thread.
#include <algorithm>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/logic/SimulatedLogicTexts.h"
#include "runtime/Clock.h"

namespace tessiva {

void SimulatedLogic::insertTrack(int afterNumber, std::string name) {
    std::lock_guard lock(mutex_);
    insertTrackLocked(afterNumber, std::move(name));
}

void SimulatedLogic::insertTrackLocked(int afterNumber, std::string name) {
    if (!running_ || afterNumber < 0 || afterNumber > static_cast<int>(tracks_.size()))
        return;
    rememberEdit();
    Track track;
    track.key = nextTrackKey_++;
    track.channelName = name;
    track.name = std::move(name);
    if (afterNumber > 0 && afterNumber < static_cast<int>(tracks_.size())) {
        const auto& next = tracks_[static_cast<std::size_t>(afterNumber)];
        if (next.stackKey != 0)
            track.stackKey = next.stackKey;
    }
    tracks_.insert(tracks_.begin() + afterNumber, track);
    finishTrackListEdit({track.key});
}

void SimulatedLogic::deleteTrack(int number) {
    std::lock_guard lock(mutex_);
    deleteTrackLocked(number);
}

void SimulatedLogic::deleteTrackLocked(int number) {
    Track* track = trackAt(number);
    if (!running_ || !track)
        return;
    rememberEdit();
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
    duplicateTrackLocked(number);
}

void SimulatedLogic::duplicateTrackLocked(int number) {
    Track* source = trackAt(number);
    if (!running_ || !source)
        return;
    rememberEdit();
    Track copy;
    copy.key = nextTrackKey_++;
    copy.name = source->name;
    copy.channelName = source->name;
    copy.stackKey = source->stackKey;
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
    rememberEdit();
    moved.stackKey = 0;
    tracks_.erase(tracks_.begin() + (fromNumber - 1));
    tracks_.insert(tracks_.begin() + (toNumber - 1), moved);
    selectOnly({moved.key});
    publishRows();
    if (postsTableNotifications())
        queueNotification(outline_, ax::kLayoutChanged);
    selectionNotifications();
    deliverPending();
}

void SimulatedLogic::renameTrack(int number, std::string name) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track)
        return;
    track->name = std::move(name);
    publishRows();
    if (postsTableNotifications())
        queueNotification(nameFieldNodeOf(track->key), ax::kValueChanged);
    deliverPending();
}

void SimulatedLogic::setStackCollapsed(int stackNumber, bool collapsed) {
    std::lock_guard lock(mutex_);
    Track* header = trackAt(stackNumber);
    if (!running_ || !header || !header->isStackHeader || header->collapsed == collapsed)
        return;
    header->collapsed = collapsed;
    publishRows();
    if (postsTableNotifications()) {
        queueNotification(outline_, ax::kRowCountChanged);
        queueNotification(outline_, ax::kLayoutChanged);
    }
    deliverPending();
}

void SimulatedLogic::commandKey(int keyCode, std::uint32_t modifiers) {
    InputEvent event;
    event.type = InputEventType::keyDown;
    event.keyCode = keyCode;
    event.modifiers = modifiers | static_cast<std::uint32_t>(InputModifier::command);
    event.timestamp = clock_.now();
    pendingEvents_.push_back(event);
}

void SimulatedLogic::pressUndo() {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    commandKey(simulated_keycode::kZ, 0);
    undoLocked();
}

void SimulatedLogic::undoLocked() {
    if (modalOpen_ || undo_.empty()) {
        deliverPending();
        return;
    }
    redo_.push_back({tracks_, selection_});
    auto edit = std::move(undo_.back());
    undo_.pop_back();
    restoreEdit(std::move(edit));
}

void SimulatedLogic::pressRedo() {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    commandKey(simulated_keycode::kZ, static_cast<std::uint32_t>(InputModifier::shift));
    redoLocked();
}

void SimulatedLogic::redoLocked() {
    if (modalOpen_ || redo_.empty()) {
        deliverPending();
        return;
    }
    undo_.push_back({tracks_, selection_});
    auto edit = std::move(redo_.back());
    redo_.pop_back();
    restoreEdit(std::move(edit));
}

void SimulatedLogic::pressDuplicate() {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    commandKey(simulated_keycode::kD, 0);
    if (modalOpen_ || selection_.empty()) {
        deliverPending();
        return;
    }
    duplicateTrackLocked(numberOf(selection_.back()));
}

void SimulatedLogic::pressDelete() {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    commandKey(simulated_keycode::kDelete, 0);
    deleteSelectionLocked();
}

void SimulatedLogic::deleteSelectionLocked() {
    if (modalOpen_ || selection_.empty()) {
        deliverPending();
        return;
    }
    // From the bottom up, so the numbers above stay valid; one undo step for the lot.
    std::vector<int> numbers;
    for (auto key : selection_)
        numbers.push_back(numberOf(key));
    std::sort(numbers.rbegin(), numbers.rend());
    auto before = Edit{tracks_, selection_};
    for (int number : numbers)
        deleteTrackLocked(number);
    undo_.resize(undo_.size() - std::min(undo_.size(), numbers.size()));
    undo_.push_back(std::move(before));
}

void SimulatedLogic::chooseMenuItem(const std::string& title) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    // Menu items live outside the windows' trees; Logic posts the selection on the item.
    const auto item = tree_.make(NodeKind::item, ax::kRoleMenuItem, 0, title);
    queueNotification(item, ax::kMenuItemSelected);
    if (title.rfind("Undo", 0) == 0) {
        undoLocked();
    } else if (title.rfind("Redo", 0) == 0) {
        redoLocked();
    } else if (title == "Delete" || title.rfind("Delete Track", 0) == 0) {
        deleteSelectionLocked();
    } else if (title.rfind("New Track With Duplicate Settings", 0) == 0 && !modalOpen_ &&
               !selection_.empty()) {
        duplicateTrackLocked(numberOf(selection_.back()));
    } else {
        deliverPending();
    }
}

}  // namespace tessiva
