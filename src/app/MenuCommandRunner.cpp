#include "app/MenuCommandRunner.h"

#include <filesystem>

#include "app/IPadTransfers.h"
#include "app/MenuBarController.h"
#include "mapping/MappingStore.h"

namespace tessiva {

namespace {

std::string inQuotes(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

const MenuItem* findRecent(const std::vector<MenuItem>& menu, const std::string& name) {
    for (const auto& item : menu) {
        if (item.title == kLoadMappingsSubmenuTitle) {
            for (const auto& recent : item.submenu) {
                if (recent.command == MenuCommand::loadRecentMappings && recent.title == name)
                    return &recent;
            }
        }
    }
    return nullptr;
}

}  // namespace

// What a load or save-as left behind: the profile now in use, or why the wanted one is not.
std::string MenuCommandRunner::profileOutcome(const std::filesystem::path& wanted,
                                              std::string_view done) const {
    const std::filesystem::path& current = controller_.mappingStore().fileURL();
    std::error_code error;
    if (std::filesystem::equivalent(current, wanted, error))
        return std::string(done) + " " + current.string();
    return "could not use " + wanted.string() +
           " (see the event log); the mappings file is still " + current.string();
}

std::string MenuCommandRunner::run(const MenuRequest& request) {
    const auto match = menuCommandForTitle(request.item);
    if (!match) {
        return "Unknown menu item " + inQuotes(request.item) +
               " (menu items are named by their exact titles, e.g. \"Save Mappings\" or \"Add "
               "Tracks > On\")";
    }
    const MenuCommandInput input = match->entry ? match->entry->input : MenuCommandInput::none;
    std::string title =
        match->entry ? std::string(match->entry->path)
                     : std::string(kLoadMappingsSubmenuTitle) + " > " + match->recentProfileName;
    if (match->command == MenuCommand::createProjectProfile)
        title = MenuModel::createProjectProfileTitle(match->recentProfileName);
    if (request.answer && input != MenuCommandInput::answer)
        return inQuotes(title) + " asks nothing; the answer " + inQuotes(*request.answer) +
               " was not used and nothing was done";
    if (request.path && input != MenuCommandInput::optionalPath &&
        input != MenuCommandInput::requiredPath)
        return inQuotes(title) + " opens no file panel; the path was not used and nothing was done";
    if (match->command != MenuCommand::loadRecentMappings) {
        const std::vector<MenuItem> menu = controller_.menu();
        const MenuItem* item = MenuModel::find(menu, match->command);
        if (item && !item->enabled)
            return inQuotes(title) + " is disabled right now; nothing was done";
        if (match->command == MenuCommand::createProjectProfile && (!item || item->title != title))
            return inQuotes(title) + " is not in the menu right now; nothing was done";
    }
    return inQuotes(title) + ": " + perform(*match, request);
}

std::string MenuCommandRunner::perform(const MenuTitleMatch& match, const MenuRequest& request) {
    auto wouldOpen = [&](std::string_view window) {
        controller_.perform(match.command);
        return std::string(window) + " would open here (the headless program has no windows)";
    };
    switch (match.command) {
        case MenuCommand::showSetupGuide:
            return wouldOpen("the setup guide");
        case MenuCommand::showEventsDebugLog:
        case MenuCommand::showEvents:
            return wouldOpen("the Events window");
        case MenuCommand::showMappings:
            return wouldOpen("the Mappings window");
        case MenuCommand::showAbout:
            return wouldOpen("the About window");
        case MenuCommand::addAllLogicTracksAndAutoAssign:
            controller_.perform(match.command);
            return "adding a row for every named Logic track, then auto assign after the iPad "
                   "workspace refresh (its summary follows)";
        case MenuCommand::startAXCapture:
            controller_.perform(match.command);
            return "AX capture started for 1 second";
        case MenuCommand::selectLearnModeOff:
        case MenuCommand::selectLearnModeOn:
            controller_.perform(match.command);
            return std::string("Add Tracks is ") +
                   (match.command == MenuCommand::selectLearnModeOn ? "On" : "Off");
        case MenuCommand::checkForUpdates:
            controller_.perform(match.command);
            return "this build has no updater (logged)";
        case MenuCommand::refreshMIDIDestinations:
            controller_.perform(match.command);
            return "MIDI destinations rescanned";
        case MenuCommand::revealMappingsFile:
            controller_.perform(match.command);
            return "the mappings file is " + controller_.mappingStore().fileURL().string();
        case MenuCommand::clearAllMappings:
            if (!request.answer) {
                return "asks \"Clear all mappings?\"; answer " +
                       inQuotes(kClearAllMappingsConfirmButton) + " or " +
                       inQuotes(kClearAllMappingsCancelButton) + "; nothing was done";
            }
            if (*request.answer == kClearAllMappingsCancelButton)
                return "cancelled; the mappings are unchanged";
            if (*request.answer != kClearAllMappingsConfirmButton) {
                return "the answer " + inQuotes(*request.answer) + " is not a button (" +
                       inQuotes(kClearAllMappingsConfirmButton) + " or " +
                       inQuotes(kClearAllMappingsCancelButton) + "); nothing was done";
            }
            controller_.perform(match.command);
            return "every mapping was cleared and saved";
        case MenuCommand::saveMappings:
            controller_.perform(match.command);
            return "saved to " + controller_.mappingStore().fileURL().string();
        case MenuCommand::saveMappingsAs: {
            if (!request.path) {
                controller_.perform(match.command);
                return "the proposed name was accepted; the mappings file is now " +
                       controller_.mappingStore().fileURL().string();
            }
            std::filesystem::path file(*request.path);
            if (file.is_relative())
                file = controller_.mappingStore().fileURL().parent_path() / file;
            controller_.saveMappingsAs(file);
            return profileOutcome(file, "saved to");
        }
        case MenuCommand::chooseMappingsFile:
            if (!request.path) {
                return wouldOpen("the file chooser") + "; give a path to load a profile";
            }
            controller_.loadMappingsFrom(*request.path);
            return profileOutcome(*request.path, "loaded");
        case MenuCommand::loadRecentMappings: {
            const std::vector<MenuItem> menu = controller_.menu();
            const MenuItem* recent = findRecent(menu, match.recentProfileName);
            if (!recent)
                return "no recent profile is named " + inQuotes(match.recentProfileName) +
                       "; nothing was done";
            const std::string path = recent->path;
            controller_.perform(match.command, path);
            return profileOutcome(path, "loaded");
        }
        case MenuCommand::importArticulationSets: {
            IPadTransfers& transfers = controller_.transfers();
            const std::filesystem::path folder = request.path ? std::filesystem::path(*request.path)
                                                              : transfers.articulationSetsFolder();
            if (auto refusal = transfers.importArticulationSets(folder))
                return "not started: " + *refusal;
            return "sending " + std::to_string(transfers.importProgress().fileCount) +
                   " articulation set(s) from " + folder.string() +
                   " (progress and results follow in the event log)";
        }
        case MenuCommand::toggleAutoAssignAfterImport:
            controller_.perform(match.command);
            return std::string("Logic tracks are ") +
                   (controller_.transfers().autoAssignAfterImport() ? "" : "not ") +
                   "added and auto-assigned after an import";
        case MenuCommand::exportNavigation: {
            IPadTransfers& transfers = controller_.transfers();
            const std::filesystem::path folder = request.path ? std::filesystem::path(*request.path)
                                                              : transfers.navigationExportFolder();
            const std::string requestID = transfers.exportNavigation(folder);
            return "asked the iPad for its navigation export (request " + requestID +
                   "); it will be saved in " + folder.string();
        }
        case MenuCommand::toggleLegacyMIDIControls: {
            controller_.perform(match.command);
            const std::vector<MenuItem> menu = controller_.menu();
            const MenuItem* item = MenuModel::find(menu, match.command);
            return std::string("legacy MIDI controls are ") +
                   (item && item->checked ? "shown" : "hidden");
        }
        case MenuCommand::createProjectProfile: {
            const std::filesystem::path before = controller_.mappingStore().fileURL();
            controller_.perform(match.command);
            const std::filesystem::path& after = controller_.mappingStore().fileURL();
            if (after == before)
                return "nothing was created (see the event log)";
            return "created " + after.string() + " from the current mappings";
        }
        case MenuCommand::quit:
            controller_.perform(match.command);
            return "quitting (the profile is saved)";
    }
    return "nothing was done";
}

}  // namespace tessiva
