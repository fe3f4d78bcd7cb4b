#pragma once

#include <algorithm>

namespace tessiva {

// How long each modal gate lasts, in seconds.
struct ModalTiming {
    double dismissalCooldown = 1.5;
    double primaryClickProbeWindow = 0.1;
    double primaryToolDetectionWindow = 0.75;
    double potentialGestureWindow = 3.0;
    double potentialConfirmationWindow = 30.0;
};

// The three modal deadlines (absolute seconds) and the rules that move them. The quarantine is in
// force while now is earlier than the later of the quarantine and confirmation deadlines. Entries
// only ever extend a deadline; only a confirmed modal clears the gesture deadlines. A pure value:
// LogicObserver keeps one under its modal-state lock.
struct ModalDeadlines {
    double quarantine = 0;
    double potentialConfirmation = 0;
    double primaryDetection = 0;

    double quarantineEnd() const { return std::max(quarantine, potentialConfirmation); }
    bool isQuarantined(double now) const { return now < quarantineEnd(); }
    // A suspect gesture was seen and a modal might be opening or waiting.
    bool suspectsModal(double now) const {
        return now < std::max(potentialConfirmation, primaryDetection);
    }
    bool awaitsConfirmation(double now) const { return now < potentialConfirmation; }

    void enterQuarantine(double now, double cooldown) {
        quarantine = std::max(quarantine, now + cooldown);
    }
    void armPrimaryDetection(double now, double window) {
        primaryDetection = std::max(primaryDetection, now + window);
    }
    void armPotentialConfirmation(double now, double window) {
        potentialConfirmation = std::max(potentialConfirmation, now + window);
    }
    // A modal opened after a suspect gesture: wait for its confirming click.
    void modalOpened(double now, double confirmationWindow) {
        potentialConfirmation = std::max(potentialConfirmation, now + confirmationWindow);
        primaryDetection = 0;
    }
    // The click or key that confirms or dismisses the open modal.
    void modalConfirmed() {
        potentialConfirmation = 0;
        primaryDetection = 0;
    }

    // When each observer route may be delivered to again.
    double selectionRouteResumeTime() const { return quarantineEnd(); }
    double windowRouteResumeTime() const { return quarantine; }
};

}  // namespace tessiva
