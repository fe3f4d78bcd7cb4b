#pragma once

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/MenuModel.h"
#include "runtime/NotificationCenter.h"

class QSystemTrayIcon;
class QWidget;

namespace tessiva {

class AboutWindow;
class EstimatedAutoAssignReview;
class EventsWindow;
class MappingsWindow;
class MenuBarController;
class ReviewWindow;
class SetupGuideWindow;
class ShellDialogs;
class StatusMenu;

// The desktop shell around the coordinator: the status item with its menu, the windows, the
// alerts and the file panels. It renders the coordinator's models and hands every choice back
// to it; which command does what is decided in the app layer. The status item is a
// QSystemTrayIcon (an NSStatusItem with a template icon on macOS); where no tray exists a small
// window holds the same menu. GUI thread only. UI tests build it over a coordinator on a
// VirtualScheduler and drive the real widgets.
class MenuBarShell final : public QObject {
    Q_OBJECT
  public:
    enum class StatusItemKind { trayIcon, fallbackWindow, none };

    MenuBarShell(MenuBarController& controller, ShellDialogs& dialogs,
                 StatusItemKind statusItem = StatusItemKind::trayIcon);
    ~MenuBarShell() override;

    // What a click on the menu item does, with its panel or prompt first.
    void perform(MenuCommand command, const std::string& path = {});
    // First launch: the menu-bar hint and, until the guide was finished, the setup guide.
    void showFirstRunHints();

    StatusMenu& statusMenu() { return *statusMenu_; }
    QWidget* fallbackWindow() const { return fallbackWindow_.get(); }
    MappingsWindow& mappingsWindow();
    EventsWindow& eventsWindow();
    ReviewWindow& reviewWindow();
    SetupGuideWindow& setupGuideWindow();
    AboutWindow& aboutWindow();
    EstimatedAutoAssignReview& review() { return *review_; }

    void showMappingsWindow();
    void showEventsWindow();
    void showSetupGuide();
    void showAboutWindow();
    // "Review Suggested Matches": the review window, or "No estimated matches".
    void openReview();

    // Shows the file in the file manager; tests replace it.
    std::function<void(const std::filesystem::path&)> revealInFileManager;

  private:
    void buildStatusItem(StatusItemKind kind);
    void observeWindowNotifications();

    MenuBarController& controller_;
    ShellDialogs& dialogs_;
    std::unique_ptr<StatusMenu> statusMenu_;
    std::unique_ptr<QSystemTrayIcon> trayIcon_;
    std::unique_ptr<QWidget> fallbackWindow_;
    std::unique_ptr<EstimatedAutoAssignReview> review_;
    std::unique_ptr<MappingsWindow> mappingsWindow_;
    std::unique_ptr<EventsWindow> eventsWindow_;
    std::unique_ptr<ReviewWindow> reviewWindow_;
    std::unique_ptr<SetupGuideWindow> setupGuideWindow_;
    std::unique_ptr<AboutWindow> aboutWindow_;
    std::vector<ObserverToken> observerTokens_;
};

}  // namespace tessiva
