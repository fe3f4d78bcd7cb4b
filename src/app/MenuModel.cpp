#include "app/MenuModel.h"

#include <filesystem>

#include "app/ProjectTitle.h"

namespace tessiva {

namespace {

MenuItem command(std::string title, MenuCommand command, bool enabled = true) {
    MenuItem item;
    item.title = std::move(title);
    item.command = command;
    item.enabled = enabled;
    return item;
}

MenuItem statusLine(std::string title) {
    MenuItem item;
    item.title = std::move(title);
    item.enabled = false;
    return item;
}

MenuItem learnSubmenu(LearnMode mode) {
    MenuItem learn;
    learn.title = "Add Tracks";
    MenuItem off = command("Off", MenuCommand::selectLearnModeOff);
    off.checked = mode == LearnMode::off;
    MenuItem on = command("On", MenuCommand::selectLearnModeOn);
    on.checked = mode == LearnMode::learn;
    learn.submenu = {off, on, MenuItem::separator(),
                     statusLine("Off: Logic track selection triggers existing mappings only."),
                     statusLine("On: Click a Logic track to add or update a row for manual bank "
                                "assignment.")};
    return learn;
}

MenuItem loadSubmenu(const std::vector<std::string>& recentPaths) {
    MenuItem load;
    load.title = "Load Mappings";
    for (const auto& path : recentPaths) {
        MenuItem recent = command(std::filesystem::path(path).filename().string(),
                                  MenuCommand::loadRecentMappings);
        recent.path = path;
        load.submenu.push_back(std::move(recent));
    }
    if (!recentPaths.empty())
        load.submenu.push_back(MenuItem::separator());
    load.submenu.push_back(command("Choose File…", MenuCommand::chooseMappingsFile));
    return load;
}

// The transfers with the iPad: both need a connected iPad; one import at a time.
MenuItem transfersSubmenu(const MenuState& state) {
    MenuItem transfers;
    transfers.title = std::string(kIPadTransfersSubmenuTitle);
    MenuItem autoAssign = command("Add Logic Tracks and Auto Assign After Import",
                                  MenuCommand::toggleAutoAssignAfterImport);
    autoAssign.checked = state.autoAssignAfterArticulationSetImport;
    transfers.submenu = {
        command("Import Articulation Sets…", MenuCommand::importArticulationSets,
                state.isIpadHandshakeConnected && !state.isArticulationSetImportRunning),
        autoAssign,
        statusLine(state.articulationSetsStatus),
        MenuItem::separator(),
        command("Export Navigation Assignments…", MenuCommand::exportNavigation,
                state.isIpadHandshakeConnected),
        statusLine(state.navigationExportStatus)};
    return transfers;
}

}  // namespace

std::string MenuModel::ipadStatusLine(const MenuState& state) {
    if (!state.isIpadHandshakeConnected)
        return "Tessiva: iPad disconnected";
    if (state.connectedIpadDeviceName && !state.connectedIpadDeviceName->empty()) {
        return "Tessiva: iPad connected (" + *state.connectedIpadDeviceName + ")";
    }
    return "Tessiva: iPad connected";
}

std::string MenuModel::logicStatusLine(const MenuState& state) {
    if (!state.isLogicRunning)
        return "Logic: Not detected • Project: No Logic project detected";
    const std::string logic =
        state.isAccessibilityTrusted ? "Logic: Running" : "Logic: Accessibility permission needed";
    if (!state.projectTitle)
        return logic + " • Project: No Logic project detected";
    return logic + " • Project: " + ProjectTitle::baseName(*state.projectTitle);
}

std::string MenuModel::mappingsStatusLine(const MenuState& state) {
    if (!state.mappingsFileName || state.mappingsFileName->empty())
        return "Mappings: No file loaded";
    if (state.missingProjectProfileName && state.projectTitle) {
        return "Mappings: " + *state.mappingsFileName + " • No profile for " +
               ProjectTitle::baseName(*state.projectTitle) + " yet";
    }
    return "Mappings: " + *state.mappingsFileName;
}

std::string MenuModel::createProjectProfileTitle(const std::string& fileName) {
    return "Create " + fileName + " from Current Mappings";
}

std::vector<MenuItem> MenuModel::build(const MenuState& state) {
    MenuItem advanced;
    advanced.title = "Advanced";
    MenuItem legacy = command("Show Legacy MIDI Mode", MenuCommand::toggleLegacyMIDIControls);
    legacy.checked = state.showLegacyMIDIControls;
    advanced.submenu = {legacy};

    MenuItem debugLog = command("Show Events / Debug Log", MenuCommand::showEventsDebugLog);
    debugLog.isDebugItem = true;
    MenuItem capture =
        command("Start AX Capture (1s)", MenuCommand::startAXCapture, state.isLogicRunning);
    capture.isDebugItem = true;

    std::vector<MenuItem> items = {
        command("Setup Guide…", MenuCommand::showSetupGuide),
        statusLine(ipadStatusLine(state)),
        command("Add All Logic Tracks and Attempt Auto Assign",
                MenuCommand::addAllLogicTracksAndAutoAssign, state.isLogicRunning),
        debugLog,
        capture,
        MenuItem::separator(),
        statusLine(logicStatusLine(state)),
        statusLine(mappingsStatusLine(state)),
    };
    if (state.missingProjectProfileName) {
        items.push_back(command(createProjectProfileTitle(*state.missingProjectProfileName),
                                MenuCommand::createProjectProfile));
    }
    const std::vector<MenuItem> rest = {
        MenuItem::separator(),
        learnSubmenu(state.learnMode),
        command("Show Mappings…", MenuCommand::showMappings),
        command("Show Events…", MenuCommand::showEvents),
        command("About Tessiva Focus…", MenuCommand::showAbout),
        command("Check for Updates…", MenuCommand::checkForUpdates),
        MenuItem::separator(),
        command("Refresh MIDI Destinations", MenuCommand::refreshMIDIDestinations),
        command("Reveal Mappings File", MenuCommand::revealMappingsFile,
                state.mappingsFileName.has_value()),
        command("Clear All Mappings…", MenuCommand::clearAllMappings),
        command("Save Mappings", MenuCommand::saveMappings),
        command("Save Mappings As…", MenuCommand::saveMappingsAs),
        loadSubmenu(state.recentMappingsProfilePaths),
        transfersSubmenu(state),
        MenuItem::separator(),
        advanced,
        MenuItem::separator(),
        command("Quit Tessiva Focus", MenuCommand::quit),
    };
    items.insert(items.end(), rest.begin(), rest.end());
    return items;
}

const MenuItem* MenuModel::find(const std::vector<MenuItem>& items, MenuCommand wanted) {
    for (const auto& item : items) {
        if (item.command == wanted)
            return &item;
        if (const MenuItem* inner = find(item.submenu, wanted))
            return inner;
    }
    return nullptr;
}

}  // namespace tessiva
