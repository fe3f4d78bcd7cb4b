#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "osc/InboundRequests.h"

namespace tessiva {

class AccessibilityPort;
class Console;
class DebugLogStore;
class LogicObserver;
class MappingStore;
class OSCDiscoveryManager;
class ProjectKeyProvider;
class TrackSelectionRouter;

// Of the rows mapped to the requested bank, the one to navigate to: the lowest-numbered row that
// Logic shows now (so a track hidden in a collapsed stack does not win over a visible one), else
// the lowest-numbered row, whose failure then says why. Pure.
std::optional<int> chooseDirectNavigationRow(const std::vector<int>& mappedRows,
                                             const std::map<int, std::string>& visibleRows);

// The iPad's "/tessiva/navigation/direct/select": gates the request on the project, finds the
// mapped row, has the Logic observer select it, and leaves the confirmation to the selection
// routing (the observer's own report of the row), which answers the iPad on
// "/tessiva/navigation/direct/result"; every refusal and failure is answered there too. Also
// tells the iPad whether direct navigation is available ("/tessiva/navigation/direct/mode"):
// while the Mac has Accessibility permission. Owned by the coordinator; main queue. Tests run it
// inside MenuBarController on a VirtualScheduler against SimulatedLogic.
class DirectNavigation {
  public:
    struct Dependencies {
        AccessibilityPort& accessibility;
        Console& console;
        DebugLogStore& log;
        MappingStore& mappingStore;
        const ProjectKeyProvider& projectKeys;
        LogicObserver& observer;
        TrackSelectionRouter& router;
        OSCDiscoveryManager& discovery;
    };

    explicit DirectNavigation(Dependencies dependencies) : deps_(dependencies) {}

    void handle(const DirectNavigationRequest& request);
    // Sends the availability when it changed (called at start and with each status refresh).
    void refreshMode();

  private:
    void note(const std::string& title, const std::string& detail);

    Dependencies deps_;
    std::optional<bool> lastAvailable_;
};

}  // namespace tessiva
