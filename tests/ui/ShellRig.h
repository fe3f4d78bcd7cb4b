#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "app/CoordinatorRig.h"
#include "app/RoutingRig.h"
#include "ui/MenuBarShell.h"
#include "ui/ShellDialogs.h"

namespace tessiva {

// One QApplication for the whole binary, on the offscreen platform unless told otherwise.
inline QApplication& testApplication() {
    static int argc = 1;
    static char name[] = "tessiva_ui_tests";
    static char* argv[] = {name, nullptr};
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static QApplication* application = new QApplication(argc, argv);
    return *application;
}

// Answers the next application-modal dialog with this object name as soon as it shows (a
// dialog's exec() runs its own loop, in which this timer fires). Gives up after two seconds.
inline void whenDialogShows(const QString& objectName, std::function<void(QWidget*)> answer) {
    auto* timer = new QTimer;
    auto ticks = std::make_shared<int>(0);
    QObject::connect(timer, &QTimer::timeout, [timer, ticks, objectName, answer] {
        QWidget* modal = QApplication::activeModalWidget();
        const bool shown = modal && modal->objectName() == objectName;
        if (!shown && ++*ticks <= 400)
            return;
        timer->stop();
        timer->deleteLater();
        if (shown) {
            answer(modal);
        } else if (auto* other = qobject_cast<QDialog*>(modal)) {
            // Another dialog waits for an answer nobody will give: close it so the test fails
            // instead of hanging.
            ADD_FAILURE() << "expected dialog " << objectName.toStdString() << ", got "
                          << other->objectName().toStdString();
            other->reject();
        }
    });
    timer->start(5);
}

// Types the path into the panel's name field and presses its default button. Typing, because
// selectFile() leaves the name field alone once it has focus, and the panel then opens the folder
// instead of accepting. A panel that stays open fails the test instead of hanging it.
inline void choosePathInPanel(QFileDialog* panel, const std::filesystem::path& path) {
    panel->setDirectory(QString::fromStdString(path.parent_path().string()));
    auto* name = panel->findChild<QLineEdit*>("fileNameEdit");
    ASSERT_NE(name, nullptr);
    name->setText(QString::fromStdString(path.filename().string()));
    // accept() is protected; it is the slot the panel's Save/Open button calls.
    QMetaObject::invokeMethod(panel, "accept", Qt::DirectConnection);
    if (panel->isVisible()) {
        ADD_FAILURE() << "the panel stayed open for " << path;
        panel->reject();
    }
}

inline QAbstractButton* buttonNamed(QWidget* dialog, const QString& text) {
    for (QAbstractButton* button : dialog->findChildren<QAbstractButton*>()) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

// What the next message box with this object name showed before `button` answered it (its
// default button when none is given).
struct AlertSeen {
    QString text;
    QString informativeText;
};
inline std::shared_ptr<AlertSeen> answerAlert(const QString& objectName,
                                              const QString& button = {}) {
    auto seen = std::make_shared<AlertSeen>();
    whenDialogShows(objectName, [seen, button](QWidget* dialog) {
        auto* box = static_cast<QMessageBox*>(dialog);
        *seen = {box->text(), box->informativeText()};
        if (button.isEmpty())
            box->accept();
        else
            buttonNamed(box, button)->click();
    });
    return seen;
}

// The coordinator with the real Qt shell and dialogs around it.
class ShellRig : public CoordinatorParts {
  public:
    explicit ShellRig(const std::string& project = "Song") : CoordinatorParts(project) {
        testApplication();
    }
    // The shell and the coordinator go before the dialogs they use.
    ~ShellRig() {
        shell.reset();
        delegate.reset();
    }

    // A profile whose row `row` "Bass" sends a Program Change on channel 1.
    void writeProfile(const std::string& name, int row, int programChange) {
        writePCProfile(folder / name, row, programChange, "Bass");
    }

    MenuBarController& start(
        MenuBarShell::StatusItemKind statusItem = MenuBarShell::StatusItemKind::none) {
        makeDelegate(dialogs);
        shell = std::make_unique<MenuBarShell>(controller(), dialogs, statusItem);
        shell->revealInFileManager = [this](const std::filesystem::path& file) { revealed = file; };
        delegate->applicationDidFinishLaunching();
        scheduler.advance(2.0);
        return controller();
    }

    // A Program Change row, as the Mappings window or Add Tracks would make it.
    void mapRow(int row, int programChange, int channel, const std::string& name) {
        mapPC(controller().mappingStore(), row, name, programChange, channel);
    }

    ShellDialogs dialogs;
    std::unique_ptr<MenuBarShell> shell;
    std::filesystem::path revealed;
};

}  // namespace tessiva
