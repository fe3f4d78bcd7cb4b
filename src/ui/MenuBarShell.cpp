#include "ui/MenuBarShell.h"

#include <QCursor>
#include <QDesktopServices>
#include <QLabel>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QUrl>
#include <QVBoxLayout>

#include "app/AppNotifications.h"
#include "app/MenuBarController.h"
#include "autoassign/EstimatedAutoAssignReview.h"
#include "mapping/MappingStore.h"
#include "runtime/UserDefaults.h"
#include "ui/EventsWindow.h"
#include "ui/MappingsWindow.h"
#include "ui/ReviewWindow.h"
#include "ui/SetupGuideWindow.h"
#include "ui/ShellDialogs.h"
#include "ui/ShellIcons.h"
#include "ui/StatusMenu.h"

namespace tessiva {

namespace {

void revealWithSystemFileManager(const std::filesystem::path& file) {
#ifdef Q_OS_MACOS
    // Finder selects the file itself.
    QProcess::startDetached("/usr/bin/open", {"-R", QString::fromStdString(file.string())});
#else
    QDesktopServices::openUrl(
        QUrl::fromLocalFile(QString::fromStdString(file.parent_path().string())));
#endif
}

}  // namespace

MenuBarShell::MenuBarShell(MenuBarController& controller, ShellDialogs& dialogs,
                           StatusItemKind statusItem)
    : controller_(controller),
      dialogs_(dialogs),
      statusMenu_(std::make_unique<StatusMenu>()),
      review_(std::make_unique<EstimatedAutoAssignReview>(controller.autoAssign())) {
    revealInFileManager = revealWithSystemFileManager;
    controller_.setWindowsAvailable(true);
    controller_.onProfileAlert = [this](const ProfileAlert& alert) {
        dialogs_.showProfileAlert(alert);
    };
    statusMenu_->onCommand = [this](MenuCommand command, const std::string& path) {
        perform(command, path);
    };
    statusMenu_->render(controller_.menu());
    controller_.onMenuChanged = [this](const std::vector<MenuItem>& items) {
        statusMenu_->render(items);
        if (mappingsWindow_)
            mappingsWindow_->showLegacyMIDIColumns(controller_.menuState().showLegacyMIDIControls);
    };
    buildStatusItem(statusItem);
    observeWindowNotifications();
}

MenuBarShell::~MenuBarShell() {
    controller_.onMenuChanged = nullptr;
    controller_.onProfileAlert = nullptr;
    controller_.setWindowsAvailable(false);
    observerTokens_.clear();
}

void MenuBarShell::buildStatusItem(StatusItemKind kind) {
    if (kind == StatusItemKind::trayIcon && !QSystemTrayIcon::isSystemTrayAvailable())
        kind = StatusItemKind::fallbackWindow;
    if (kind == StatusItemKind::trayIcon) {
        trayIcon_ = std::make_unique<QSystemTrayIcon>(statusItemIcon());
        trayIcon_->setToolTip("Tessiva Focus");
        trayIcon_->setContextMenu(&statusMenu_->menu());
#ifndef Q_OS_MACOS
        // A plain click opens the menu too, as a menu-bar item does (Linux trays only send the
        // context menu on a right click; macOS already opens it on any click).
        connect(trayIcon_.get(), &QSystemTrayIcon::activated, this,
                [this](QSystemTrayIcon::ActivationReason reason) {
                    if (reason == QSystemTrayIcon::Trigger)
                        statusMenu_->menu().popup(QCursor::pos());
                });
#endif
        trayIcon_->show();
        return;
    }
    if (kind == StatusItemKind::none)
        return;
    // No tray on this desktop: a small window with the same menu behind one button.
    fallbackWindow_ = std::make_unique<QWidget>();
    fallbackWindow_->setObjectName("statusItemWindow");
    fallbackWindow_->setWindowTitle("Tessiva Focus");
    auto* layout = new QVBoxLayout(fallbackWindow_.get());
    auto* label = new QLabel("This desktop has no menu bar tray; the Tessiva Focus menu is here.");
    label->setWordWrap(true);
    auto* button = new QPushButton(statusItemIcon(), "Tessiva Focus");
    button->setMenu(&statusMenu_->menu());
    layout->addWidget(label);
    layout->addWidget(button);
    fallbackWindow_->resize(320, 100);
    fallbackWindow_->show();
}

void MenuBarShell::observeWindowNotifications() {
    NotificationCenter& center = controller_.notifications();
    auto observe = [&](const char* name, void (MenuBarShell::*show)()) {
        observerTokens_.push_back(
            center.addObserver(name, [this, show](const Notification&) { (this->*show)(); }));
    };
    observe(kShowMappingsWindowNotification, &MenuBarShell::showMappingsWindow);
    observe(kShowEventsWindowNotification, &MenuBarShell::showEventsWindow);
    observe(kShowAboutWindowNotification, &MenuBarShell::showAboutWindow);
    observe(kShowSetupGuideNotification, &MenuBarShell::showSetupGuide);
}

void MenuBarShell::perform(MenuCommand command, const std::string& path) {
    switch (command) {
        case MenuCommand::clearAllMappings:
            if (dialogs_.confirmClearAllMappings())
                controller_.perform(command);
            return;
        case MenuCommand::saveMappingsAs:
            if (auto file = dialogs_.chooseSavePath(controller_.profilesFolder(),
                                                    controller_.proposedSaveAsName())) {
                controller_.saveMappingsAs(*file);
            }
            return;
        case MenuCommand::chooseMappingsFile:
            if (auto file = dialogs_.chooseProfileToLoad(controller_.profilesFolder()))
                controller_.loadMappingsFrom(*file);
            return;
        case MenuCommand::revealMappingsFile:
            controller_.perform(command);
            if (revealInFileManager)
                revealInFileManager(controller_.mappingStore().fileURL());
            return;
        default:
            controller_.perform(command, path);
            return;
    }
}

void MenuBarShell::showFirstRunHints() {
    UserDefaults& defaults = controller_.defaults();
    if (!defaults.boolValue(kHasSeenMenuBarHintDefaultsKey).value_or(false)) {
        if (trayIcon_) {
            trayIcon_->showMessage("Tessiva Focus is in the menu bar",
                                   "Click the Tessiva Focus icon to load mappings, open the "
                                   "Mappings window or run the setup guide.",
                                   QSystemTrayIcon::Information, 8000);
        }
        defaults.setBool(kHasSeenMenuBarHintDefaultsKey, true);
    }
    if (!defaults.boolValue(kInitialSetupCompletionDefaultsKey).value_or(false))
        showSetupGuide();
}

MappingsWindow& MenuBarShell::mappingsWindow() {
    if (!mappingsWindow_) {
        mappingsWindow_ = std::make_unique<MappingsWindow>(controller_);
        mappingsWindow_->onReviewSuggestedMatches = [this] { openReview(); };
    }
    return *mappingsWindow_;
}

EventsWindow& MenuBarShell::eventsWindow() {
    if (!eventsWindow_)
        eventsWindow_ = std::make_unique<EventsWindow>(controller_);
    return *eventsWindow_;
}

ReviewWindow& MenuBarShell::reviewWindow() {
    if (!reviewWindow_)
        reviewWindow_ = std::make_unique<ReviewWindow>(*review_);
    return *reviewWindow_;
}

SetupGuideWindow& MenuBarShell::setupGuideWindow() {
    if (!setupGuideWindow_) {
        setupGuideWindow_ = std::make_unique<SetupGuideWindow>(controller_);
        setupGuideWindow_->onCommand = [this](MenuCommand command) { perform(command); };
    }
    return *setupGuideWindow_;
}

AboutWindow& MenuBarShell::aboutWindow() {
    if (!aboutWindow_)
        aboutWindow_ = std::make_unique<AboutWindow>();
    return *aboutWindow_;
}

namespace {
void present(QWidget& window) {
    window.show();
    window.raise();
    window.activateWindow();
}
}  // namespace

void MenuBarShell::showMappingsWindow() {
    present(mappingsWindow());
}
void MenuBarShell::showEventsWindow() {
    present(eventsWindow());
}
void MenuBarShell::showSetupGuide() {
    setupGuideWindow().refresh();
    present(setupGuideWindow());
}
void MenuBarShell::showAboutWindow() {
    present(aboutWindow());
}

void MenuBarShell::openReview() {
    if (auto answer = review_->open()) {
        dialogs_.inform(answer->title, answer->message);
        return;
    }
    present(reviewWindow());
}

}  // namespace tessiva
