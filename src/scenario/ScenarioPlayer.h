#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/MenuCommandTable.h"
#include "runtime/Queue.h"
#include "scenario/Scenario.h"

namespace tessiva {

class ActivationEventSource;
class SimulatedLogic;

// Plays a Scenario against the simulated Logic Pro: builds its project, then performs each step
// at its time on the main queue, as a user at the Mac would. Each step is announced through
// `narrate` ("click track 7") so transcripts show what the user did beside what the program did.
class ScenarioPlayer {
  public:
    using Narrator = std::function<void(const std::string& line)>;

    ScenarioPlayer(Queue& mainQueue, SimulatedLogic& logic, Narrator narrate);
    ~ScenarioPlayer();
    ScenarioPlayer(const ScenarioPlayer&) = delete;
    ScenarioPlayer& operator=(const ScenarioPlayer&) = delete;

    // Adds the scenario's tracks and stacks and names the project; Logic is launched after.
    static void buildProject(SimulatedLogic& logic, const Scenario& scenario);
    // Schedules every step relative to now; `onFinished` runs after the last step (or at
    // endAfter when the scenario sets it).
    void play(const Scenario& scenario, std::function<void()> onFinished = nullptr);
    void cancel();
    void perform(const Scenario::Step& step);
    // Where "wake" steps go: the program's activation events (absent: the step is only told).
    void setActivationEvents(ActivationEventSource* activation) { activation_ = activation; }
    // Where "menu" steps go: performs the item and says what happened (absent: only told).
    using MenuHandler = std::function<std::string(const MenuRequest& request)>;
    void setMenuHandler(MenuHandler handler) { menuHandler_ = std::move(handler); }

  private:
    Queue& mainQueue_;
    SimulatedLogic& logic_;
    Narrator narrate_;
    ActivationEventSource* activation_ = nullptr;
    MenuHandler menuHandler_;
    std::vector<WorkItem> scheduled_;
};

}  // namespace tessiva
