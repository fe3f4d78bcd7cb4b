#include "app/DirectNavigation.h"

#include <algorithm>

#include "app/HandlerGates.h"
#include "app/ProjectKeyProvider.h"
#include "app/TrackSelectionRouter.h"
#include "logic/LogicObserver.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "osc/OSCDiscoveryManager.h"
#include "platform/ax/AccessibilityPort.h"
#include "runtime/Console.h"

namespace tessiva {

std::optional<int> chooseDirectNavigationRow(const std::vector<int>& mappedRows,
                                             const std::map<int, std::string>& visibleRows) {
    if (mappedRows.empty())
        return std::nullopt;
    std::vector<int> rows = mappedRows;
    std::sort(rows.begin(), rows.end());
    for (int row : rows) {
        if (visibleRows.count(row) != 0)
            return row;
    }
    return rows.front();
}

void DirectNavigation::note(const std::string& title, const std::string& detail) {
    deps_.console.line("[MenuBar] " + title + ": " + detail);
    deps_.log.log(title, detail);
}

void DirectNavigation::refreshMode() {
    const bool available = deps_.accessibility.isProcessTrusted();
    if (lastAvailable_ == available)
        return;
    lastAvailable_ = available;
    deps_.discovery.setDirectNavigationMode(
        {available,
         available ? std::string() : std::string(direct_selection_message::kNoAccessibility)});
}

void DirectNavigation::handle(const DirectNavigationRequest& request) {
    // Another project's profile says nothing about this project's rows.
    const auto current = deps_.projectKeys.currentProjectKey();
    const auto loaded = deps_.projectKeys.loadedProfileProjectKey();
    if (!projectKeysMatch(current, loaded)) {
        deps_.router.refuseDirectNavigation(
            request, "Logic project " + current.value_or("<unknown>") +
                         " does not match the loaded mappings profile key " +
                         loaded.value_or("<none>") +
                         ". Load/save mappings for the current project before navigating.");
        return;
    }
    const auto row = chooseDirectNavigationRow(deps_.mappingStore.rowsMappedTo(request.bankUUID),
                                               deps_.observer.lastTrackNamesSnapshot());
    if (!row) {
        deps_.router.refuseDirectNavigation(request,
                                            "No Logic track is mapped to bank " +
                                                request.bankName.value_or(request.bankUUID) + ".");
        return;
    }
    std::optional<std::string> expectedName;
    if (const auto mapping = deps_.mappingStore.bankMapping(*row);
        mapping && !mapping->trackName.empty()) {
        expectedName = mapping->trackName;
    }
    const auto number = deps_.router.beginDirectNavigation(request, *row, expectedName);
    deps_.observer.selectTrack(
        *row, expectedName, [this, number, row = *row](const DirectSelectionResult& result) {
            if (!deps_.router.isCurrentDirectNavigation(number))
                return;  // confirmed, timed out or superseded meanwhile
            if (!result.success) {
                deps_.router.completeDirectNavigation(false, result.message);
                return;
            }
            note("Direct track selection applied",
                 "method=" + result.message + " -> track " + std::to_string(row));
            // Logic already showed the row: its observer has nothing new to report.
            const auto shown = deps_.observer.lastSelection();
            if (shown && shown->index == row) {
                deps_.router.completeDirectNavigation(
                    true, "Logic already showed the mapped track.", shown);
            }
        });
}

}  // namespace tessiva
