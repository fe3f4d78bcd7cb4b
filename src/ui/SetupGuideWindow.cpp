#include "ui/SetupGuideWindow.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/MenuBarController.h"
#include "app/ProjectTitle.h"
#include "midi/MIDIRelay.h"
#include "runtime/UserDefaults.h"
#include "ui/ShellIcons.h"

namespace tessiva {

namespace {

QLabel* stepLabel() {
    auto* label = new QLabel;
    label->setWordWrap(true);
    label->setTextFormat(Qt::RichText);
    return label;
}

QString step(bool done, const QString& title, const QString& text) {
    return QString("<p><b>%1 %2</b><br>%3</p>")
        .arg(done ? "✓" : "○", title.toHtmlEscaped(), text.toHtmlEscaped());
}

}  // namespace

SetupGuideWindow::SetupGuideWindow(MenuBarController& controller)
    : controller_(controller),
      accessibility_(stepLabel()),
      ipad_(stepLabel()),
      midi_(stepLabel()),
      profile_(stepLabel()),
      createProfile_(new QPushButton),
      done_(new QPushButton("Done")) {
    setObjectName("setupGuideWindow");
    setWindowTitle("Tessiva Focus Setup");
    profile_->setObjectName("profileStep");
    createProfile_->setObjectName("createProfileButton");
    auto* heading = new QLabel("<h2>Set up Tessiva Focus</h2>");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(heading);
    layout->addWidget(accessibility_);
    layout->addWidget(ipad_);
    layout->addWidget(midi_);
    layout->addWidget(profile_);
    layout->addWidget(createProfile_, 0, Qt::AlignLeft);
    layout->addStretch(1);
    layout->addWidget(done_, 0, Qt::AlignRight);
    resize(560, 480);

    connect(createProfile_, &QPushButton::clicked, this, [this] {
        if (onCommand)
            onCommand(MenuCommand::createProjectProfile);
        refresh();
    });
    connect(done_, &QPushButton::clicked, this, [this] {
        controller_.defaults().setBool(kInitialSetupCompletionDefaultsKey, true);
        close();
    });
    refresh();
}

void SetupGuideWindow::refresh() {
    const MenuState state = controller_.menuState();
    accessibility_->setText(step(
        state.isAccessibilityTrusted, "Accessibility permission",
        QString(kAccessibilityExplanation) + (state.isAccessibilityTrusted
                                                  ? " Permission is granted."
                                                  : " Open System Settings › Privacy & Security › "
                                                    "Accessibility and turn Tessiva Focus on.")));
    ipad_->setText(step(state.isIpadHandshakeConnected, "The iPad on the same network",
                        "Open Tessiva on an iPad on this Mac's network; it finds this Mac by "
                        "itself. Now: " +
                            QString::fromStdString(MenuModel::ipadStatusLine(state)) + "."));
    const auto& destination = controller_.midiRelay().cachedDestination();
    midi_->setText(step(destination.has_value(), "MIDI destination",
                        destination ? "Program Changes and Notes go to “" +
                                          QString::fromStdString(destination->name) + "”."
                                    : "No MIDI destination was found. Enable the iPad's network "
                                      "MIDI session, then choose Refresh MIDI Destinations."));
    if (!state.projectTitle) {
        profile_->setText(step(false, "A profile for the open Logic project",
                               "Open your project in Logic Pro; its mappings profile is loaded "
                               "by itself when one is saved."));
        createProfile_->hide();
    } else if (state.missingProjectProfileName) {
        const QString project = QString::fromStdString(ProjectTitle::baseName(*state.projectTitle));
        const QString file = QString::fromStdString(*state.missingProjectProfileName);
        profile_->setText(step(
            false, "A profile for the open Logic project",
            "“" + project + "” has no profile yet, so track selections send nothing for it. " +
                "Create " + file + " from the current mappings; it is loaded by itself whenever " +
                project + " is open."));
        createProfile_->setText(QString::fromStdString(
            MenuModel::createProjectProfileTitle(*state.missingProjectProfileName)));
        createProfile_->show();
    } else {
        profile_->setText(step(
            true, "A profile for the open Logic project",
            "“" + QString::fromStdString(state.mappingsFileName.value_or("")) + "” belongs to " +
                QString::fromStdString(ProjectTitle::baseName(*state.projectTitle)) +
                " and is loaded."));
        createProfile_->hide();
    }
}

AboutWindow::AboutWindow() {
    setObjectName("aboutWindow");
    setWindowTitle("About Tessiva Focus");
    auto* icon = new QLabel;
    icon->setPixmap(bankIcon().pixmap(64, 64));
    auto* text = new QLabel(
        "<h2>Tessiva Focus</h2><p>Version " TESSIVA_FOCUS_VERSION
        "</p>"
        "<p>Follows the track you select in Logic Pro and shows its articulation bank on the "
        "Tessiva iPad app; in legacy mode it also sends the track's MIDI Program Change or "
        "Note.</p>");
    text->setWordWrap(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(icon, 0, Qt::AlignHCenter);
    layout->addWidget(text);
    resize(380, 260);
}

}  // namespace tessiva
