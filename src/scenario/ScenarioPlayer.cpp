#include "scenario/ScenarioPlayer.h"

#include <fmt/format.h>

#include "platform/activation/ActivationEventSource.h"
#include "platform/simulated/logic/SimulatedLogic.h"

namespace tessiva {

ScenarioPlayer::ScenarioPlayer(Queue& mainQueue, SimulatedLogic& logic, Narrator narrate)
    : mainQueue_(mainQueue), logic_(logic), narrate_(std::move(narrate)) {}

ScenarioPlayer::~ScenarioPlayer() {
    cancel();
}

void ScenarioPlayer::buildProject(SimulatedLogic& logic, const Scenario& scenario) {
    SimulatedLogicOptions options = logic.options();
    options.version = scenario.version;
    options.locale = scenario.locale;
    options.notifications = scenario.notifications;
    options.selectionSettleDelay = scenario.selectionSettleDelay;
    options.selectionSettleJitter = scenario.selectionSettleJitter;
    options.projectName = scenario.project;
    logic.setOptions(std::move(options));
    for (const auto& entry : scenario.tracks) {
        if (const auto* name = std::get_if<std::string>(&entry)) {
            logic.addTrack(*name);
        } else {
            const auto& stack = std::get<Scenario::Stack>(entry);
            logic.addStack(stack.name, stack.members);
        }
    }
}

void ScenarioPlayer::play(const Scenario& scenario, std::function<void()> onFinished) {
    cancel();
    double last = 0;
    for (const auto& step : scenario.steps) {
        scheduled_.push_back(mainQueue_.postAfter(step.at, [this, step] { perform(step); }));
        last = std::max(last, step.at);
    }
    if (onFinished) {
        scheduled_.push_back(
            mainQueue_.postAfter(scenario.endAfter.value_or(last), std::move(onFinished)));
    }
}

void ScenarioPlayer::cancel() {
    for (auto& item : scheduled_)
        item.cancel();
    scheduled_.clear();
}

void ScenarioPlayer::perform(const Scenario::Step& step) {
    using A = Scenario::Action;
    auto tell = [&](const std::string& line) {
        if (narrate_)
            narrate_(line);
    };
    switch (step.action) {
        case A::click: {
            const SimulatedClick kind = step.text == "command" ? SimulatedClick::command
                                        : step.text == "right" ? SimulatedClick::right
                                                               : SimulatedClick::plain;
            tell(fmt::format("click track {}{}", step.track,
                             kind == SimulatedClick::plain ? "" : " (" + step.text + ")"));
            logic_.clickTrack(step.track, kind);
            break;
        }
        case A::arrow:
            tell("press arrow " + step.text);
            logic_.pressArrowKey(step.text == "down");
            break;
        case A::insert:
            tell(fmt::format("insert track \"{}\" after track {}", step.text, step.other));
            logic_.insertTrack(step.other, step.text);
            break;
        case A::remove:
            if (step.text == "key") {
                tell("delete the selected tracks (Cmd-Delete)");
                logic_.pressDelete();
            } else if (step.text == "menu") {
                tell("delete the selected tracks (Edit > Delete)");
                logic_.chooseMenuItem("Delete");
            } else {
                tell(fmt::format("delete track {}", step.track));
                logic_.deleteTrack(step.track);
            }
            break;
        case A::duplicate:
            if (step.text == "key") {
                tell("duplicate the selected track (Cmd-D)");
                logic_.pressDuplicate();
            } else if (step.text == "menu") {
                tell("duplicate the selected track (Track > New Track With Duplicate Settings)");
                logic_.chooseMenuItem("New Track With Duplicate Settings");
            } else {
                tell(fmt::format("duplicate track {}", step.track));
                logic_.duplicateTrack(step.track);
            }
            break;
        case A::move:
            tell(fmt::format("move track {} to {}", step.track, step.other));
            logic_.moveTrack(step.track, step.other);
            break;
        case A::rename:
            tell(fmt::format("rename track {} to \"{}\"", step.track, step.text));
            logic_.renameTrack(step.track, step.text);
            break;
        case A::collapse:
        case A::expand:
            tell(fmt::format("{} stack {}", step.action == A::collapse ? "collapse" : "expand",
                             step.track));
            logic_.setStackCollapsed(step.track, step.action == A::collapse);
            break;
        case A::openModal:
            tell(std::string(step.modalKind == SimulatedModalKind::dialog ? "open dialog"
                                                                          : "open sheet") +
                 " \"" + step.text + "\"");
            logic_.openModal(step.text, step.modalKind);
            break;
        case A::dismissModal:
            tell("dismiss dialog");
            logic_.dismissModal();
            break;
        case A::setProject:
            tell("open project \"" + step.text + "\"");
            logic_.setProjectName(step.text);
            break;
        case A::setFrontmost:
            tell(step.flag ? "bring Logic to the front" : "switch away from Logic");
            logic_.setFrontmost(step.flag);
            break;
        case A::quit:
            tell("quit Logic");
            logic_.quit();
            break;
        case A::relaunch:
            tell("relaunch Logic");
            logic_.relaunch();
            break;
        case A::tempo:
            if (!step.text.empty()) {
                tell(fmt::format("set tempo text \"{}\"", step.text));
                logic_.setTempoText(step.text);
            } else {
                tell(fmt::format("set tempo {:g} bpm", step.number));
                logic_.setTempo(step.number);
            }
            break;
        case A::say:
            tell(step.text);
            break;
        case A::undo:
            if (step.text == "menu") {
                tell("undo (Edit > Undo)");
                logic_.chooseMenuItem("Undo");
            } else {
                tell("undo (Cmd-Z)");
                logic_.pressUndo();
            }
            break;
        case A::redo:
            if (step.text == "menu") {
                tell("redo (Edit > Redo)");
                logic_.chooseMenuItem("Redo");
            } else {
                tell("redo (Shift-Cmd-Z)");
                logic_.pressRedo();
            }
            break;
        case A::openMixer:
            tell("open the Mixer");
            logic_.openMixer();
            break;
        case A::closeMixer:
            tell("close the Mixer");
            logic_.closeMixer();
            break;
        case A::mixerClick:
            tell(fmt::format("click the Mixer strip of track {}", step.track));
            logic_.clickMixerStrip(step.track);
            break;
        case A::openPlugin:
            tell(fmt::format("open the plug-in window of track {}", step.track));
            logic_.openPluginWindow(step.track);
            break;
        case A::closePlugin:
            tell("close the plug-in window");
            logic_.closePluginWindow();
            break;
        case A::wake:
            tell("wake the Mac from sleep");
            if (activation_)
                activation_->fire(ActivationEvent::systemDidWake);
            break;
        case A::menu: {
            tell("choose menu item \"" + step.text + "\"" +
                 (step.answer ? ", answer \"" + *step.answer + "\"" : std::string()) +
                 (step.path ? ", file " + *step.path : std::string()));
            if (menuHandler_)
                tell(menuHandler_(MenuRequest{step.text, step.answer, step.path}));
            break;
        }
    }
}

}  // namespace tessiva
