#include <gtest/gtest.h>

#include <QAction>
#include <QFileDialog>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <fstream>

#include "ShellRig.h"
#include "app/LearnModeStore.h"
#include "ui/EventsWindow.h"
#include "ui/MappingsWindow.h"
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

}  // namespace
}  // namespace tessiva
