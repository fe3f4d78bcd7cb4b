#pragma once

#include <QWidget>
#include <functional>

#include "app/MenuModel.h"

class QLabel;
class QPushButton;

namespace tessiva {

class MenuBarController;

// The setup guide: the four things Tessiva Focus needs (Accessibility permission, the iPad on
// the same network, a MIDI destination, a profile for the open Logic project), each with its
// state from the coordinator and, for the profile, the first-run action that creates it.
// "Done" records "tessivaFocus.hasCompletedInitialSetup". GUI thread (the main queue) only.
class SetupGuideWindow final : public QWidget {
    Q_OBJECT
  public:
    static constexpr const char* kAccessibilityExplanation =
        "Focus needs macOS Accessibility permission so it can read Logic Pro’s selected track "
        "for bank focus, the current project to auto-load mappings, and tempo info for the Runs "
        "composer.";

    explicit SetupGuideWindow(MenuBarController& controller);
    void refresh();

    QLabel& profileStep() { return *profile_; }
    QPushButton& createProfileButton() { return *createProfile_; }
    QPushButton& doneButton() { return *done_; }
    // The guide's buttons ask the shell for menu commands (the create-profile action).
    std::function<void(MenuCommand)> onCommand;

  private:
    MenuBarController& controller_;
    QLabel* accessibility_;
    QLabel* ipad_;
    QLabel* midi_;
    QLabel* profile_;
    QPushButton* createProfile_;
    QPushButton* done_;
};

// The About window: name, version and what the program is for. GUI thread only.
class AboutWindow final : public QWidget {
    Q_OBJECT
  public:
    AboutWindow();
};

}  // namespace tessiva
