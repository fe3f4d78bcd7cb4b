#include <filesystem>

#include "app/AppNotifications.h"
#include "app/IPadTransfers.h"
#include "app/LearnModeStore.h"
#include "app/MenuBarController.h"
#include "app/ProjectProfileSetup.h"
#include "app/ProjectTitle.h"
#include "app/TrackSelectionRouter.h"
#include "autoassign/AutoAssignCoordinator.h"
#include "logic/LogicObserver.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingProfileLibrary.h"
#include "mapping/MappingStore.h"
#include "midi/MIDIRelay.h"
#include "repair/StructuralRepairOrchestrator.h"
#include "runtime/Console.h"
#include "runtime/UserDefaults.h"

// The coordinator's menu side: building the menu, each command, and the profile
// commands that panels and alerts finish.
namespace tessiva {

namespace {

// "Start AX Capture (1s)": a burst around one click; the events window's recorder runs until
// stopped, at most the recorder's limit.
constexpr double kMenuAXCaptureSeconds = 1.0;

}  // namespace

std::vector<MenuItem> MenuBarController::menu() const {
    return MenuModel::build(menuState());
}

void MenuBarController::refreshMenu() {
    const MenuState state = menuState();
    std::vector<MenuItem> current = MenuModel::build(state);
    if (current == lastMenu_)
        return;
    const std::string lines = MenuModel::ipadStatusLine(state) + " | " +
                              MenuModel::logicStatusLine(state) + " | " +
                              MenuModel::mappingsStatusLine(state);
    if (lines != lastStatusLines_) {
        console_.line("[MenuBar] Status: " + lines);
        lastStatusLines_ = lines;
    }
    lastMenu_ = std::move(current);
    if (onMenuChanged)
        onMenuChanged(lastMenu_);
}

void MenuBarController::logMenu(const std::string& title, const std::string& detail) {
    console_.line("[MenuBar] " + title + ": " + detail);
    log_->log(title, detail);
}

void MenuBarController::wouldOpen(const std::string& what) {
    if (windowsAvailable_)
        return;
    logMenu(
        "Window not available",
        what +
            " would open here; the headless program has no windows (tessiva-focus-app has them).");
}

void MenuBarController::showAlertIfFailed(const ProfileActionResult& result) {
    if (!result.ok && result.alert && onProfileAlert)
        onProfileAlert(*result.alert);
}

void MenuBarController::perform(MenuCommand command, const std::string& path) {
    switch (command) {
        case MenuCommand::showSetupGuide:
            notifications_.post(kShowSetupGuideNotification);
            wouldOpen("The setup guide");
            break;
        case MenuCommand::addAllLogicTracksAndAutoAssign:
            addAllLogicTracksAndAttemptAutoAssign();
            break;
        case MenuCommand::showEventsDebugLog:
        case MenuCommand::showEvents:
            notifications_.post(kShowEventsWindowNotification);
            wouldOpen("The Events window");
            break;
        case MenuCommand::startAXCapture:
            logicObserver_->beginAXCapture(kMenuAXCaptureSeconds, "menu-1s");
            logMenu("AX capture started", "Capturing Logic Accessibility traffic for 1 second.");
            break;
        case MenuCommand::selectLearnModeOff:
            learnStore_->setMode(LearnMode::off);
            router_->setAddTracksModeActive(false);
            break;
        case MenuCommand::selectLearnModeOn:
            learnStore_->setMode(LearnMode::learn);
            router_->setAddTracksModeActive(true);
            break;
        case MenuCommand::showMappings:
            notifications_.post(kShowMappingsWindowNotification);
            wouldOpen("The Mappings window");
            break;
        case MenuCommand::showAbout:
            notifications_.post(kShowAboutWindowNotification);
            wouldOpen("The About window");
            break;
        case MenuCommand::checkForUpdates:
            logMenu("Check for updates unavailable", "This build has no updater.");
            break;
        case MenuCommand::refreshMIDIDestinations:
            midiRelay_->refreshDestinations();
            break;
        case MenuCommand::revealMappingsFile:
            logMenu("Reveal mappings file", mappingStore_->fileURL().string());
            break;
        case MenuCommand::clearAllMappings:
            mappingStore_->clearAllMappings();
            (void)mappingStore_->save();
            logMenu("All mappings cleared", "Every MIDI and bank mapping was removed and saved.");
            break;
        case MenuCommand::saveMappings: {
            ProfileActionResult result = profileLibrary_->save();
            if (result.ok)
                structuralRepair_->profileSaved();
            showAlertIfFailed(result);
            break;
        }
        case MenuCommand::saveMappingsAs:
            saveMappingsAs(profileLibrary_->profileFolder() / proposedSaveAsName());
            break;
        case MenuCommand::loadRecentMappings:
            loadMappingsFrom(path);
            break;
        case MenuCommand::chooseMappingsFile:
            wouldOpen("The file chooser for mappings profiles");
            break;
        case MenuCommand::importArticulationSets:
            (void)transfers_->importArticulationSets(
                path.empty() ? std::nullopt : std::optional<std::filesystem::path>(path));
            break;
        case MenuCommand::toggleAutoAssignAfterImport:
            transfers_->setAutoAssignAfterImport(!transfers_->autoAssignAfterImport());
            break;
        case MenuCommand::exportNavigation:
            (void)transfers_->exportNavigation(
                path.empty() ? std::nullopt : std::optional<std::filesystem::path>(path));
            break;
        case MenuCommand::toggleLegacyMIDIControls: {
            const bool shown =
                services_.defaults.boolValue(kShowLegacyMIDIControlsDefaultsKey).value_or(false);
            services_.defaults.setBool(kShowLegacyMIDIControlsDefaultsKey, !shown);
            break;
        }
        case MenuCommand::createProjectProfile:
            createProjectProfile();
            break;
        case MenuCommand::quit:
            if (onQuitRequested)
                onQuitRequested();
            break;
    }
    refreshMenu();
}

void MenuBarController::addAllLogicTracksAndAttemptAutoAssign() {
    autoAssign_->addAllLogicTracksAndAttemptAutoAssign(
        mappingStore_->liveLogicTrackNames(),
        [this](const std::optional<AutoAssignSummary>&) { refreshMenu(); });
}

void MenuBarController::loadMappingsFrom(const std::filesystem::path& file) {
    ProfileActionResult result = profileLibrary_->load(file);
    showAlertIfFailed(result);
    if (result.ok && result.shouldRefreshLiveTrackNames) {
        logicObserver_->requestTrackNamesSnapshot("mappings-profile-loaded");
    }
    if (result.ok)
        postManualMappingSync("profile loaded: " + file.filename().string());
    refreshMenu();
}

void MenuBarController::saveMappingsAs(const std::filesystem::path& file) {
    showAlertIfFailed(profileLibrary_->saveAs(file));
    refreshMenu();
}

std::string MenuBarController::proposedSaveAsName() const {
    return ProjectProfileSetup::proposedSaveAsName(projectTracker_->lastObservedLogicProjectTitle(),
                                                   profileLibrary_->proposedSaveName());
}

void MenuBarController::createProjectProfile() {
    const MenuState state = menuState();
    if (!state.missingProjectProfileName) {
        logMenu("Project profile not created",
                "The open Logic project already has its own profile, or no project is open.");
        return;
    }
    const std::filesystem::path file = options_.profilesFolder / *state.missingProjectProfileName;
    ProfileActionResult result = profileLibrary_->saveAs(file);
    showAlertIfFailed(result);
    if (!result.ok)
        return;
    logMenu("Project profile created",
            "Saved the current mappings as " + file.string() + " for Logic project " +
                ProjectTitle::baseName(state.projectTitle.value_or("")) +
                ". Mapped output for this project is no longer blocked.");
    logicObserver_->requestTrackNamesSnapshot("project-profile-created");
}

}  // namespace tessiva
