// Windows of the simulated Logic: modal sheets and dialogs, the Mixer, plug-in windows and the
// tempo in the Control Bar. Part of SimulatedLogic; test or demo thread.
#include <algorithm>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/logic/SimulatedLogicTexts.h"
#include "runtime/Clock.h"

namespace tessiva {

void SimulatedLogic::openModal(std::string title, SimulatedModalKind kind) {
    std::lock_guard lock(mutex_);
    if (!running_ || modalOpen_)
        return;
    if (kind == SimulatedModalKind::dialog) {
        sheet_ = tree_.make(NodeKind::window, ax::kRoleWindow, app_, std::move(title));
        tree_.at(sheet_).subrole = ax::kSubroleDialog;
    } else {
        sheet_ = tree_.make(NodeKind::sheet, ax::kRoleSheet, mainWindow_, std::move(title));
    }
    tree_.at(sheet_).frame = {{600, 300}, {400, 200}};
    // Logic 12 sheets hold their buttons one group deep.
    const auto buttons = isLogic12() ? tree_.make(NodeKind::group, ax::kRoleGroup, sheet_) : sheet_;
    tree_.make(NodeKind::button, ax::kRoleButton, buttons, "OK");
    tree_.make(NodeKind::button, ax::kRoleButton, buttons, "Cancel");
    modalOpen_ = true;
    modalKind_ = kind;
    if (kind == SimulatedModalKind::dialog && isLogic12())
        queueNotification(app_, ax::kMainWindowChanged);
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::closeModal() {
    const bool dialog = modalKind_ == SimulatedModalKind::dialog;
    tree_.removeSubtree(sheet_);
    sheet_ = 0;
    modalOpen_ = false;
    if (dialog && isLogic12())
        queueNotification(app_, ax::kMainWindowChanged);
    queueNotification(app_, ax::kFocusedWindowChanged);
}

void SimulatedLogic::clickModalButton() {
    std::lock_guard lock(mutex_);
    if (!running_ || !modalOpen_)
        return;
    pointerEvent(InputEventType::leftMouseDown, {800, 450});
    pointerEvent(InputEventType::leftMouseUp, {800, 450}, 0, false);
    // The tap and the monitor hear the click before the sheet goes away.
    deliverPending();
    closeModal();
    deliverPending();
}

void SimulatedLogic::dismissModal() {
    std::lock_guard lock(mutex_);
    if (!running_ || !modalOpen_)
        return;
    closeModal();
    deliverPending();
}

bool SimulatedLogic::isModalOpen() const {
    std::lock_guard lock(mutex_);
    return modalOpen_;
}

void SimulatedLogic::openMixer() {
    std::lock_guard lock(mutex_);
    if (!running_ || mixerOpen_)
        return;
    mixerOpen_ = true;
    if (isLogic12()) {
        // A pane of the main window: no window changes.
        buildLogic12MixerPane();
        publishRows();
        deliverPending();
        return;
    }
    mixerFocused_ = true;
    mixerWindow_ =
        tree_.make(NodeKind::window, ax::kRoleWindow, app_, options_.projectName + " - Mixer");
    mixerTracks_ =
        tree_.make(NodeKind::mixerTracks, ax::kRoleGroup, mixerWindow_, std::nullopt, "Tracks");
    publishRows();
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::closeMixer() {
    std::lock_guard lock(mutex_);
    if (!running_ || !mixerOpen_)
        return;
    const bool window = mixerWindow_ != 0;
    tree_.removeSubtree(window ? mixerWindow_ : mixerPane_);
    mixerWindow_ = mixerPane_ = mixerTracks_ = 0;
    for (auto& track : tracks_)
        track.stripNode = 0;
    mixerOpen_ = mixerFocused_ = false;
    if (focusedNode_ != 0 && !tree_.contains(focusedNode_))
        focusedNode_ = 0;
    if (window)
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
    // Logic 12 focuses the strip itself; the Mixer window its strips group.
    focusedNode_ = isLogic12() ? track->stripNode : mixerTracks_;
    queueNotification(focusedNode_, ax::kFocusedUIElementChanged);
    if (postsTableNotifications())
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
    tree_.at(slider_).valueDescription = simulated_logic_texts::tempoDescription(bpm);
    queueNotification(slider_, ax::kValueChanged);
    deliverPending();
}

void SimulatedLogic::setTempoText(const std::string& text) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    tree_.at(slider_).value = text;
    tree_.at(slider_).valueDescription = text;
    queueNotification(slider_, ax::kValueChanged);
    deliverPending();
}

void SimulatedLogic::openPluginWindow(int number) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track)
        return;
    const auto window = tree_.make(NodeKind::window, ax::kRoleWindow, app_, track->name);
    tree_.at(window).subrole = ax::kSubroleDialog;
    tree_.at(window).frame = {{200, 150}, {700, 450}};
    tree_.make(NodeKind::group, ax::kRoleGroup, window, std::nullopt, "Plug-in");
    pluginWindows_.push_back(window);
    if (isLogic12() && options_.pluginWindowIsMain)
        queueNotification(app_, ax::kMainWindowChanged);
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::closePluginWindow() {
    std::lock_guard lock(mutex_);
    if (!running_ || pluginWindows_.empty())
        return;
    tree_.removeSubtree(pluginWindows_.back());
    pluginWindows_.pop_back();
    if (isLogic12() && options_.pluginWindowIsMain)
        queueNotification(app_, ax::kMainWindowChanged);
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::advancePlayback() {
    std::lock_guard lock(mutex_);
    if (!running_ || playhead_ == 0)
        return;
    ++playbackTicks_;
    // Bars and beats of a 4/4 bar at one beat per tick.
    tree_.at(playhead_).value = std::to_string(1 + playbackTicks_ / 4) + " " +
                                std::to_string(1 + playbackTicks_ % 4) + " 1 1";
    tree_.at(meter_).value = static_cast<double>(playbackTicks_ % 7) / 7.0;
    queueNotification(playhead_, ax::kValueChanged);
    queueNotification(meter_, ax::kValueChanged);
    deliverPending();
}

}  // namespace tessiva
