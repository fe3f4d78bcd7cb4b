#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/simulated/logic/SimulatedLogicOptions.h"

namespace tessiva {

// A timeline of user actions in the simulated Logic Pro, read from JSON, for
// `tessiva-focus run --scenario FILE` and the demo. The format is documented in the README:
//
//   {"logic": {"project": "Song", "version": 12, "locale": "en", "notifications": "none",
//              "selectionSettleDelay": 0.35,
//              "tracks": ["Piano", {"stack": "Strings", "tracks": ["Violins I", "Cellos"]}]},
//    "steps": [{"at": 1.0, "do": "click", "track": 2}, ...],
//    "endAfter": 12.0}
//
// "at" is seconds from the start. Pure: parsing does no I/O and names the step and key at fault.
struct Scenario {
    struct Stack {
        std::string name;
        std::vector<std::string> members;
    };
    using TrackEntry = std::variant<std::string, Stack>;

    enum class Action {
        click,      // track, modifier: "plain" | "command" | "right"
        arrow,      // direction: "up" | "down"
        insert,     // after, name
        remove,     // track ("delete" in JSON)
        duplicate,  // track
        move,       // from, to
        rename,     // track, name
        collapse,   // stack (its header's track number)
        expand,     // stack
        openModal,  // title, kind: "sheet" | "dialog"
        dismissModal,
        setProject,    // name
        setFrontmost,  // value (bool)
        quit,
        relaunch,
        tempo,  // bpm (number), or the slider's text (text)
        say,    // text: a line for the transcript
        undo,
        redo,
        openMixer,
        closeMixer,
        mixerClick,   // track: a click on its Mixer strip
        openPlugin,   // track: its plug-in window
        closePlugin,  // the front plug-in window
        wake,         // the Mac wakes from sleep (the iPad link pings at once)
        menu,         // item: a menu title; answer: a prompt's button; path: a file panel's file
    };

    struct Step {
        double at = 0;
        Action action = Action::say;
        int track = 0;
        int other = 0;     // insert: after; move: to
        std::string text;  // name, title, modifier, direction or narration
        SimulatedModalKind modalKind = SimulatedModalKind::sheet;
        double number = 0;                  // bpm
        bool flag = false;                  // setFrontmost
        std::optional<std::string> answer;  // menu
        std::optional<std::string> path;    // menu
    };

    std::string project = "Song";
    // Which Logic plays the scenario (see SimulatedLogicOptions).
    SimulatedLogicVersion version = SimulatedLogicVersion::logic12;
    SimulatedLogicLocale locale = SimulatedLogicLocale::en;
    SimulatedLogicNotifications notifications = SimulatedLogicNotifications::none;
    double selectionSettleDelay = 0.35;
    // Each selection's lag varies within ± this (seeded, so runs repeat).
    double selectionSettleJitter = 0.0;
    std::vector<TrackEntry> tracks;
    std::vector<Step> steps;  // in time order
    std::optional<double> endAfter;

    static std::variant<Scenario, std::string> parse(std::string_view json);
};

}  // namespace tessiva
