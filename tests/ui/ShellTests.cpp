#include <gtest/gtest.h>

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDropEvent>
#include <QFileDialog>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <cstdlib>
#include <fstream>

#include "ShellRig.h"
#include "app/LearnModeStore.h"
#include "autoassign/AutoAssignCoordinator.h"
#include "osc/RemoteWorkspaceStore.h"
#include "ui/BankDragDrop.h"
#include "ui/EventsWindow.h"
#include "ui/MappingsWindow.h"
#include "ui/ReviewWindow.h"
#include "ui/SetupGuideWindow.h"
#include "ui/StatusMenu.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

QAction& menuAction(ShellRig& rig, const std::string& path) {
    QAction* action = rig.shell->statusMenu().action(path);
    if (!action)
        throw std::runtime_error("no menu item " + path);
    return *action;
}

TEST(MenuBarShell, EveryMenuItemReachesItsOperation) {
    ShellRig rig;
    MenuBarController& controller = rig.start();
    bool quitRequested = false;
    controller.onQuitRequested = [&] { quitRequested = true; };
    rig.mapRow(2, 17, 3, "Bass");

    struct Case {
        std::string item;
        std::function<bool()> reached;
    };
    const std::size_t relayLines = rig.console.count("[MIDIRelay] Using legacy destination");
    const std::vector<Case> cases = {
        {"Add Tracks > On", [&] { return controller.learnStore().mode() == LearnMode::learn; }},
        {"Add Tracks > Off", [&] { return controller.learnStore().mode() == LearnMode::off; }},
        {"Show Mappings…", [&] { return rig.shell->mappingsWindow().isVisible(); }},
        {"Show Events…", [&] { return rig.shell->eventsWindow().isVisible(); }},
        {"About Tessiva Focus…", [&] { return rig.shell->aboutWindow().isVisible(); }},
        {"Setup Guide…", [&] { return rig.shell->setupGuideWindow().isVisible(); }},
        {"Check for Updates…",
         [&] { return rig.logged("Check for updates unavailable").size() == 1; }},
        {"Refresh MIDI Destinations",
         [&] {
             return rig.console.count("[MIDIRelay] Using legacy destination") == relayLines + 1;
         }},
        {"Reveal Mappings File",
         [&] { return rig.revealed == controller.mappingStore().fileURL(); }},
        {"Save Mappings",
         [&] {
             auto saved = MappingProfileFile::read(controller.mappingStore().fileURL());
             return saved.snapshot && saved.snapshot->trackIndexToPC.count(2) == 1;
         }},
        {"Advanced > Show Legacy MIDI Mode",
         [&] { return rig.defaults.boolValue(kShowLegacyMIDIControlsDefaultsKey) == true; }},
        {"Add All Logic Tracks and Attempt Auto Assign",
         [&] { return controller.mappingStore().midiMapping(5).has_value(); }},
        {"Quit Tessiva Focus", [&] { return quitRequested; }},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.item);
        EXPECT_FALSE(test.reached());
        menuAction(rig, test.item).trigger();
        rig.scheduler.advance(0.5);
        EXPECT_TRUE(test.reached());
    }
    // Windows are really there now: nothing says they "would open".
    EXPECT_EQ(rig.logged("Window not available").size(), 0u);

    // The debug items show only while the modifier is held, and then work like the others.
    EXPECT_FALSE(menuAction(rig, "Show Events / Debug Log").isVisible());
    rig.shell->eventsWindow().hide();
    rig.shell->statusMenu().setDebugItemsRevealed(true);
    EXPECT_TRUE(menuAction(rig, "Show Events / Debug Log").isVisible());
    menuAction(rig, "Show Events / Debug Log").trigger();
    EXPECT_TRUE(rig.shell->eventsWindow().isVisible());
    menuAction(rig, "Start AX Capture (1s)").trigger();
    EXPECT_EQ(rig.logged("AX capture started").size(), 1u);
}

TEST(MenuBarShell, WithoutATrayTheMenuOpensFromASmallWindow) {
    ShellRig rig;
    if (QSystemTrayIcon::isSystemTrayAvailable())
        GTEST_SKIP() << "this desktop has a tray, so the menu never needs the small window";
    rig.start(MenuBarShell::StatusItemKind::trayIcon);
    QWidget* window = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets())
        window = widget->objectName() == "statusItemWindow" ? widget : window;
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    const auto* button = window->findChild<QPushButton*>();
    ASSERT_NE(button, nullptr);
    EXPECT_EQ(button->menu(), &rig.shell->statusMenu().menu());
}

TEST(MenuBarShell, ClearingAsksFirstPanelsUseTheChosenPathAndFailuresShowTheirAlerts) {
    ShellRig rig;
    MenuBarController& controller = rig.start();
    rig.mapRow(2, 17, 3, "Bass");
    for (const char* button : {"Cancel", "Clear"}) {
        SCOPED_TRACE(button);
        const auto alert = answerAlert("clearAllMappingsAlert", button);
        menuAction(rig, "Clear All Mappings…").trigger();
        EXPECT_EQ(alert->text, "Clear all mappings?");
        EXPECT_EQ(controller.mappingStore().midiMapping(2).has_value(),
                  std::string(button) == "Cancel");
    }

    const fs::path loaded = controller.mappingStore().fileURL();
    std::ofstream(rig.folder / "Broken.json") << "{not json";
    fs::create_directories(rig.folder / "Blocked.json" / "inside");
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"Failed to load mappings",
         [&] { controller.loadMappingsFrom(rig.folder / "Broken.json"); }},
        {"Failed to save mappings",
         [&] { controller.saveMappingsAs(rig.folder / "Blocked.json"); }},
    };
    for (const auto& [expected, act] : cases) {
        const auto alert = answerAlert("profileAlert");
        act();
        EXPECT_EQ(alert->text, expected);
        EXPECT_TRUE(alert->informativeText.contains("\n\nError: "))
            << alert->informativeText.toStdString();
        EXPECT_EQ(controller.mappingStore().fileURL(), loaded);
    }

    // Save As proposes "<project>.json" in the profiles folder.
    QStringList proposed;
    QString directory;
    whenDialogShows("saveMappingsPanel", [&](QWidget* widget) {
        auto* panel = static_cast<QFileDialog*>(widget);
        proposed = panel->selectedFiles();
        directory = panel->directory().absolutePath();
        choosePathInPanel(panel, rig.folder / "Chosen.json");
    });
    menuAction(rig, "Save Mappings As…").trigger();
    ASSERT_EQ(proposed.size(), 1);
    EXPECT_EQ(fs::path(proposed.front().toStdString()).filename(), "Song.json");
    EXPECT_EQ(fs::path(directory.toStdString()), fs::canonical(rig.folder.path()));
    EXPECT_EQ(controller.mappingStore().fileURL(), rig.folder / "Chosen.json");
    EXPECT_TRUE(fs::exists(rig.folder / "Chosen.json"));

    // Choose File… loads what the panel returns; a cancelled panel changes nothing.
    rig.writeProfile("Other.json", 4, 40);
    whenDialogShows("chooseMappingsPanel",
                    [](QWidget* widget) { static_cast<QFileDialog*>(widget)->reject(); });
    menuAction(rig, "Load Mappings > Choose File…").trigger();
    EXPECT_EQ(controller.mappingStore().fileURL(), rig.folder / "Chosen.json");
    whenDialogShows("chooseMappingsPanel", [&](QWidget* widget) {
        choosePathInPanel(static_cast<QFileDialog*>(widget), rig.folder / "Other.json");
    });
    menuAction(rig, "Load Mappings > Choose File…").trigger();
    EXPECT_EQ(controller.mappingStore().fileURL(), rig.folder / "Other.json");
    EXPECT_EQ(controller.mappingStore().midiMapping(4)->programChange, 40);
    // Both profiles are now in the recent list.
    EXPECT_NE(rig.shell->statusMenu().action("Load Mappings > Chosen.json"), nullptr);
}

TEST(MenuBarShell, RecallPromptAnswersEachButton) {
    struct Case {
        const char* button;
        const char* loadedAfter;
        bool songRewritten;
    };
    for (const Case& test :
         {Case{"Save Current + Load Cue", "Cue.json", true}, Case{"Load Cue", "Cue.json", false},
          Case{"Keep Current Mappings", "Song.json", false}}) {
        SCOPED_TRACE(test.button);
        ShellRig rig;
        rig.writeProfile("Song.json", 2, 20);
        rig.writeProfile("Cue.json", 3, 30);
        MenuBarController& controller = rig.start();
        rig.mapRow(4, 44, 1, "Drums");
        const auto alert = answerAlert("recallAlert", test.button);
        rig.logic.setProjectName("Cue");
        rig.scheduler.advance(5.0);
        EXPECT_EQ(alert->text, "Saved mappings found for Cue");
        EXPECT_EQ(controller.mappingStore().fileURL().filename(), test.loadedAfter);
        EXPECT_EQ(readProfile(rig.folder / "Song.json").trackIndexToPC.count(4) == 1,
                  test.songRewritten);
    }
}

// "Bass" names two banks exactly, so auto assign leaves that row for the review.
RemoteWorkspaceSnapshot workspace() {
    RemoteWorkspaceSnapshot snapshot;
    snapshot.workspaceUUID = "W1";
    for (const auto& [uuid, name, section] : {std::tuple{"B-PIANO", "Grand Piano", "Keys"},
                                              {"B-BASS", "Bass", "Rhythm"},
                                              {"B-BASS2", "Bass", "Low"}}) {
        snapshot.sections.push_back(
            {section, {{uuid, name, std::nullopt, std::nullopt, section, 4, {}, std::nullopt}}});
    }
    return snapshot;
}

void publish(ShellRig& rig, const RemoteWorkspaceSnapshot& snapshot) {
    rig.controller().workspaceStore().publish(snapshot);
    rig.scheduler.advance(0.1);
}

TEST(ShellWindows, MappingsWindowAssignsEditsPlaysAndFollowsTheFocusedRow) {
    ShellRig rig;
    rig.writeProfile("Song.json", 2, 20);
    MenuBarController& controller = rig.start();
    publish(rig, workspace());
    MappingsWindow& window = rig.shell->mappingsWindow();
    window.show();
    const int tableRow = window.tableRowFor(1);
    ASSERT_GE(tableRow, 0);

    QTreeWidgetItem* card = window.bankCards().itemForBank("B-PIANO");
    ASSERT_NE(card, nullptr);
    std::unique_ptr<QMimeData> dragged(window.bankCards().mimeDataFor(card));
    ASSERT_NE(dragged, nullptr);
    QTableWidget& table = window.table();
    const QPoint onRow = table.visualItemRect(table.item(tableRow, 1)).center();
    QDragEnterEvent enter(onRow, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table.viewport(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(onRow, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(table.viewport(), &drop);

    const auto mapping = controller.mappingStore().bankMapping(1);
    ASSERT_TRUE(mapping.has_value());
    EXPECT_EQ(mapping->bankUUID, "B-PIANO");
    EXPECT_EQ(mapping->sectionName, "Keys");
    EXPECT_EQ(mapping->workspaceUUID, "W1");
    EXPECT_EQ(readProfile(rig.folder / "Song.json").oscBankFocusMappingsByTrackIndex.at(1).bankUUID,
              "B-PIANO");
    EXPECT_EQ(table.item(tableRow, MappingsWindow::bankColumn)->text(), "Grand Piano");

    // The picker assigns the same way, to the selected row.
    table.selectRow(window.tableRowFor(2));
    window.bankPicker().setCurrentIndex(window.bankPicker().findData("B-BASS"));
    window.assignButton().click();
    EXPECT_EQ(controller.mappingStore().bankMapping(2)->bankUUID, "B-BASS");

    // A MIDI value typed into the table is stored and saved; an impossible one is refused.
    const int bassRow = window.tableRowFor(2);
    table.item(bassRow, MappingsWindow::valueColumn)->setText("33");
    EXPECT_EQ(controller.mappingStore().midiMapping(2)->programChange, 33);
    table.item(window.tableRowFor(2), MappingsWindow::valueColumn)->setText("300");
    EXPECT_EQ(controller.mappingStore().midiMapping(2)->programChange, 33);
    EXPECT_EQ(table.item(window.tableRowFor(2), MappingsWindow::valueColumn)->text(), "33");

    // The MIDI columns follow "Show Legacy MIDI Mode".
    EXPECT_TRUE(window.table().isColumnHidden(MappingsWindow::valueColumn));
    controller.perform(MenuCommand::toggleLegacyMIDIControls);
    EXPECT_FALSE(window.table().isColumnHidden(MappingsWindow::valueColumn));
    EXPECT_FALSE(window.table().isColumnHidden(MappingsWindow::channelColumn));
    window.table().selectRow(window.tableRowFor(1));
    rig.logic.clickTrack(2);
    rig.scheduler.advance(1.0);
    EXPECT_EQ(window.table().currentRow(), window.tableRowFor(2));

    const std::size_t sent = rig.midi.sentMessages().size();
    window.playButton().click();
    rig.scheduler.advance(0.1);
    ASSERT_EQ(rig.midi.sentMessages().size(), sent + 1);
    EXPECT_EQ(rig.midi.sentMessages().back().bytes, (std::vector<std::uint8_t>{0xC0, 33}));

    // Unchecked, a new selection in Logic leaves the table's row alone.
    window.followCheckBox().setChecked(false);
    rig.logic.clickTrack(1);
    rig.scheduler.advance(1.0);
    window.table().selectRow(window.tableRowFor(1));
    rig.logic.clickTrack(2);
    rig.scheduler.advance(5.0);
    EXPECT_EQ(window.table().currentRow(), window.tableRowFor(1));
    // The top row plays too.
    ASSERT_EQ(window.tableRowFor(1), 0);
    table.item(0, MappingsWindow::valueColumn)->setText("7");
    window.playButton().click();
    rig.scheduler.advance(0.1);
    EXPECT_EQ(rig.midi.sentMessages().back().bytes, (std::vector<std::uint8_t>{0xC0, 7}));
}

TEST(ShellWindows, ReconcileMovesMappingsAfterTracksWereInsertedAndUndoes) {
    ShellRig rig;
    MenuBarController& controller = rig.start();
    // The track was inserted before these mappings were set, as when a profile saved earlier is
    // loaded: the automatic repair never saw the insertion, so only a reconcile can move them.
    rig.logic.insertTrack(0, "Click");
    rig.scheduler.advance(3.0);
    rig.mapRow(2, 2, 1, "Bass");
    rig.mapRow(3, 3, 1, "Drums");
    rig.mapRow(4, 4, 1, "Strings");
    MappingsWindow& window = rig.shell->mappingsWindow();
    window.show();
    window.reconcileButton().click();
    rig.scheduler.advance(3.0);
    EXPECT_TRUE(window.reconcileStatus().text().startsWith("Two settled captures agreed on"));
    ASSERT_TRUE(window.applyReconcileButton().isVisible());
    window.applyReconcileButton().click();
    EXPECT_EQ(controller.mappingStore().midiMapping(3)->trackName, "Bass");
    EXPECT_EQ(controller.mappingStore().midiMapping(5)->trackName, "Strings");
    EXPECT_FALSE(window.syncWarning().isVisible());
    ASSERT_TRUE(window.undoReconcileButton().isVisible());
    window.undoReconcileButton().click();
    EXPECT_EQ(controller.mappingStore().midiMapping(2)->trackName, "Bass");
    EXPECT_EQ(rig.logged("Mapping reconcile undone").size(), 1u);
}

TEST(ShellWindows, ReviewEventsAndSetupGuideWindowsOnTheFirstRun) {
    ShellRig rig;
    MenuBarController& controller = rig.start();
    rig.mapRow(2, 1, 1, "Bass");
    publish(rig, workspace());
    controller.autoAssign().runAutoAssign();
    ASSERT_EQ(controller.autoAssign().pendingEstimatedAutoAssignMatches()->size(), 1u);

    rig.shell->openReview();
    ReviewWindow& review = rig.shell->reviewWindow();
    ASSERT_TRUE(review.isVisible());
    ASSERT_EQ(review.list().count(), 1);
    EXPECT_TRUE(review.list().item(0)->text().contains("candidate 1 of 2"));
    EXPECT_FALSE(review.previousButton().isEnabled());
    review.nextButton().click();
    EXPECT_TRUE(review.list().item(0)->text().contains("candidate 2 of 2"));
    EXPECT_FALSE(review.nextButton().isEnabled());
    review.applyButton().click();
    EXPECT_EQ(controller.mappingStore().bankMapping(2)->bankUUID, "B-BASS2");  // the one shown
    EXPECT_EQ(review.list().count(), 0);
    EXPECT_FALSE(review.applyAllButton().isEnabled());
    EXPECT_EQ(rig.logged("Estimated Auto Assign applied").size(), 1u);

    // With nothing to review the command answers instead of opening.
    review.hide();
    const auto answer = answerAlert("informationAlert");
    rig.shell->openReview();
    EXPECT_EQ(answer->text, "No estimated matches");
    EXPECT_FALSE(review.isVisible());

    controller.log().log("Alpha event", "first detail");
    controller.log().log("Beta event", "second detail");
    EventsWindow& events = rig.shell->eventsWindow();
    const int all = events.table().rowCount();
    EXPECT_EQ(events.table().item(all - 1, 1)->text(), "Beta event");  // newest last
    events.filter().setText("second");
    ASSERT_EQ(events.table().rowCount(), 1);
    events.copyLog();
    EXPECT_TRUE(QApplication::clipboard()->text().endsWith("Beta event — second detail"));
    events.filter().clear();
    events.findChild<QPushButton*>("clearEventsButton")->click();
    EXPECT_EQ(events.table().rowCount(), 0);
    EXPECT_TRUE(controller.log().entries()->empty());

    SCOPED_TRACE("the first run creates the project profile");
    ASSERT_EQ(controller.mappingStore().fileURL().filename(), kDefaultProfileFileName);
    rig.mapRow(2, 17, 3, "Bass");
    // The status line and the guide say what to do.
    EXPECT_NE(rig.shell->statusMenu().action("Mappings: Tessiva Focus Mappings.json • No "
                                             "profile for Song yet"),
              nullptr);
    rig.shell->showSetupGuide();
    SetupGuideWindow& guide = rig.shell->setupGuideWindow();
    EXPECT_TRUE(guide.profileStep().text().contains("has no profile yet"));
    ASSERT_FALSE(guide.createProfileButton().isHidden());
    EXPECT_EQ(guide.createProfileButton().text(), "Create Song.json from Current Mappings");

    guide.createProfileButton().click();
    rig.scheduler.advance(1.0);
    EXPECT_EQ(controller.mappingStore().fileURL(), rig.folder / "Song.json");
    EXPECT_EQ(readProfile(rig.folder / "Song.json").trackIndexToPC.at(2), 17);
    EXPECT_TRUE(guide.createProfileButton().isHidden());
    EXPECT_EQ(rig.shell->statusMenu().action("Create Song.json from Current Mappings"), nullptr);

    // Clicks for the project now go out.
    rig.logic.clickTrack(2);
    rig.scheduler.advance(1.0);
    ASSERT_FALSE(rig.midi.sentMessages().empty());
    EXPECT_EQ(rig.midi.sentMessages().back().bytes, (std::vector<std::uint8_t>{0xC2, 17}));

    guide.doneButton().click();
    EXPECT_EQ(rig.defaults.boolValue(kInitialSetupCompletionDefaultsKey), true);
}

TEST(ShellWindows, ScreenshotsRenderEveryWindow) {
    const TempFolder folder("tessiva-screens");
    auto screenshotsInto = [](const std::filesystem::path& target) {
        const std::string command = std::string("QT_QPA_PLATFORM=offscreen \"") +
                                    TESSIVA_FOCUS_APP_PATH + "\" --screenshots \"" +
                                    target.string() + "\" > /dev/null 2>&1";
        return std::system(command.c_str());
    };
    ASSERT_EQ(screenshotsInto(folder.path()), 0);
    // A folder that cannot be made: no file is written, and the run says so.
    EXPECT_NE(screenshotsInto(folder / "menu.png" / "inside"), 0);
    for (const char* name : {"menu.png", "menu-debug-items.png", "mappings.png", "events.png",
                             "review.png", "setup-guide.png", "about.png"}) {
        SCOPED_TRACE(name);
        QImage image(QString::fromStdString((folder / name).string()));
        ASSERT_FALSE(image.isNull());
        EXPECT_GT(image.width(), 150);
        EXPECT_GT(image.height(), 80);
        // Something was drawn: the darkest pixel is text, the lightest is background.
        int darkest = 255;
        int lightest = 0;
        for (int y = 0; y < image.height(); y += 2) {
            for (int x = 0; x < image.width(); x += 2) {
                const int gray = qGray(image.pixel(x, y));
                darkest = std::min(darkest, gray);
                lightest = std::max(lightest, gray);
            }
        }
        EXPECT_LT(darkest, 90);
        EXPECT_GT(lightest, 180);
    }
    // The debug items make the menu taller.
    EXPECT_GT(QImage(QString::fromStdString((folder / "menu-debug-items.png").string())).height(),
              QImage(QString::fromStdString((folder / "menu.png").string())).height());
}

}  // namespace
}  // namespace tessiva
