#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tessiva {

// A timeline of user actions in the simulated Logic Pro, read from JSON, for
// `tessiva-focus run --scenario FILE` and the demo. The format is documented in the README:
//
//   {"logic": {"project": "Song", "selectionSettleDelay": 0.05,
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
        openModal,  // title
        dismissModal,
        setProject,    // name
        setFrontmost,  // value (bool)
        quit,
        relaunch,
        tempo,  // bpm
        say,    // text: a line for the transcript
        wake,   // the Mac wakes from sleep (the iPad link pings at once)
    };

    struct Step {
        double at = 0;
        Action action = Action::say;
        int track = 0;
        int other = 0;      // insert: after; move: to
        std::string text;   // name, title, modifier, direction or narration
        double number = 0;  // bpm
        bool flag = false;  // setFrontmost
    };

    std::string project = "Song";
    double selectionSettleDelay = 0.0;
    std::vector<TrackEntry> tracks;
    std::vector<Step> steps;  // in time order
    std::optional<double> endAfter;

    static std::variant<Scenario, std::string> parse(std::string_view json);
    static std::string_view actionName(Action action);
};

}  // namespace tessiva
