#include "scenario/Scenario.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "app/MenuCommandTable.h"

namespace tessiva {

namespace {

using Json = nlohmann::json;

constexpr std::array<std::string_view, 26> kActionNames = {
    "click",        "arrow",     "insert",     "delete",     "duplicate",    "move",
    "rename",       "collapse",  "expand",     "openModal",  "dismissModal", "setProject",
    "setFrontmost", "quit",      "relaunch",   "tempo",      "say",          "undo",
    "redo",         "openMixer", "closeMixer", "mixerClick", "openPlugin",   "closePlugin",
    "wake",         "menu"};
static_assert(kActionNames.size() == static_cast<std::size_t>(Scenario::Action::menu) + 1,
              "one name per scenario action");

struct Failure {
    std::string message;
};

const Json& require(const Json& object, const char* key, const std::string& where) {
    if (!object.contains(key))
        throw Failure{where + ": missing \"" + key + "\""};
    return object.at(key);
}

int requireInt(const Json& object, const char* key, const std::string& where) {
    const Json& value = require(object, key, where);
    if (!value.is_number_integer())
        throw Failure{where + ": \"" + key + "\" must be an integer"};
    return value.get<int>();
}

std::string requireString(const Json& object, const char* key, const std::string& where) {
    const Json& value = require(object, key, where);
    if (!value.is_string())
        throw Failure{where + ": \"" + key + "\" must be a string"};
    return value.get<std::string>();
}

double requireNumber(const Json& object, const char* key, const std::string& where) {
    const Json& value = require(object, key, where);
    if (!value.is_number())
        throw Failure{where + ": \"" + key + "\" must be a number"};
    return value.get<double>();
}

// One of the names in `names`, given as a string (or, with `numbers`, as the number it spells).
template <typename Enum, std::size_t N>
Enum requireChoice(const Json& object, const char* key,
                   const std::array<std::string_view, N>& names, bool numbers,
                   const std::string& allowed) {
    const Json& value = object.at(key);
    std::string text;
    if (value.is_string()) {
        text = value.get<std::string>();
    } else if (numbers && value.is_number_integer()) {
        text = std::to_string(value.get<int>());
    }
    if (auto found = simulatedEnumFromName<Enum>(names, text))
        return *found;
    throw Failure{std::string("logic: \"") + key + "\" must be " + allowed};
}

Scenario::Step parseStep(const Json& json, std::size_t index) {
    const std::string where = "steps[" + std::to_string(index) + "]";
    if (!json.is_object())
        throw Failure{where + ": must be an object"};
    Scenario::Step step;
    step.at = requireNumber(json, "at", where);
    if (step.at < 0)
        throw Failure{where + ": \"at\" must not be negative"};
    const std::string name = requireString(json, "do", where);
    const auto found = std::find(kActionNames.begin(), kActionNames.end(), name);
    if (found == kActionNames.end())
        throw Failure{where + ": unknown action \"" + name + "\""};
    step.action = static_cast<Scenario::Action>(found - kActionNames.begin());
    using A = Scenario::Action;
    switch (step.action) {
        case A::click:
            step.track = requireInt(json, "track", where);
            step.text = json.value("modifier", "plain");
            if (step.text != "plain" && step.text != "command" && step.text != "right") {
                throw Failure{where + ": \"modifier\" must be plain, command or right"};
            }
            break;
        case A::arrow:
            step.text = requireString(json, "direction", where);
            if (step.text != "up" && step.text != "down") {
                throw Failure{where + ": \"direction\" must be up or down"};
            }
            break;
        case A::insert:
            step.other = requireInt(json, "after", where);
            step.text = requireString(json, "name", where);
            break;
        case A::remove:
        case A::duplicate:
            // With "via" the command acts on Logic's selected tracks, as a key or menu command.
            if (json.contains("via")) {
                step.text = requireString(json, "via", where);
                if (step.text != "key" && step.text != "menu")
                    throw Failure{where + ": \"via\" must be key or menu"};
                if (json.contains("track"))
                    throw Failure{where + ": \"track\" cannot be given with \"via\""};
                break;
            }
            step.track = requireInt(json, "track", where);
            break;
        case A::mixerClick:
        case A::openPlugin:
            step.track = requireInt(json, "track", where);
            break;
        case A::move:
            step.track = requireInt(json, "from", where);
            step.other = requireInt(json, "to", where);
            break;
        case A::rename:
            step.track = requireInt(json, "track", where);
            step.text = requireString(json, "name", where);
            break;
        case A::collapse:
        case A::expand:
            step.track = requireInt(json, "stack", where);
            break;
        case A::openModal: {
            step.text = requireString(json, "title", where);
            const auto kind = simulatedEnumFromName<SimulatedModalKind>(
                kSimulatedModalKindNames, json.value("kind", "sheet"));
            if (!kind)
                throw Failure{where + ": \"kind\" must be sheet or dialog"};
            step.modalKind = *kind;
            break;
        }
        case A::setProject:
            step.text = requireString(json, "name", where);
            break;
        case A::setFrontmost: {
            const Json& value = require(json, "value", where);
            if (!value.is_boolean())
                throw Failure{where + ": \"value\" must be true or false"};
            step.flag = value.get<bool>();
            break;
        }
        case A::tempo:
            // Text stands for a slider Logic shows as text, such as "120 " or garbage.
            if (const auto bpm = json.find("bpm"); bpm != json.end() && bpm->is_string())
                step.text = bpm->get<std::string>();
            else
                step.number = requireNumber(json, "bpm", where);
            break;
        case A::say:
            step.text = requireString(json, "text", where);
            break;
        case A::menu:
            step.text = requireString(json, "item", where);
            if (!menuCommandForTitle(step.text))
                throw Failure{where + ": unknown menu item \"" + step.text + "\""};
            if (json.contains("answer"))
                step.answer = requireString(json, "answer", where);
            if (json.contains("path"))
                step.path = requireString(json, "path", where);
            break;
        case A::dismissModal:
        case A::quit:
        case A::relaunch:
        case A::undo:
        case A::redo:
            step.text = json.value("via", "key");
            if (step.text != "key" && step.text != "menu")
                throw Failure{where + ": \"via\" must be key or menu"};
            break;
        case A::openMixer:
        case A::closeMixer:
        case A::closePlugin:
        case A::wake:
            break;
    }
    return step;
}

}  // namespace

std::variant<Scenario, std::string> Scenario::parse(std::string_view text) {
    const Json json = Json::parse(text, nullptr, false);
    if (json.is_discarded())
        return std::string("scenario is not valid JSON");
    if (!json.is_object())
        return std::string("scenario must be a JSON object");
    try {
        Scenario scenario;
        if (json.contains("logic")) {
            const Json& logic = json.at("logic");
            if (!logic.is_object())
                throw Failure{"\"logic\" must be an object"};
            if (logic.contains("project"))
                scenario.project = requireString(logic, "project", "logic");
            if (logic.contains("version")) {
                scenario.version = requireChoice<SimulatedLogicVersion>(
                    logic, "version", kSimulatedLogicVersionNames, true, "12 or 10");
            }
            if (logic.contains("locale")) {
                scenario.locale = requireChoice<SimulatedLogicLocale>(
                    logic, "locale", kSimulatedLogicLocaleNames, false, "en, de, ja or ko");
            }
            if (logic.contains("notifications")) {
                scenario.notifications = requireChoice<SimulatedLogicNotifications>(
                    logic, "notifications", kSimulatedLogicNotificationsNames, false,
                    "none or table");
            }
            if (logic.contains("selectionSettleDelay")) {
                scenario.selectionSettleDelay =
                    requireNumber(logic, "selectionSettleDelay", "logic");
                if (scenario.selectionSettleDelay < 0)
                    throw Failure{"logic: \"selectionSettleDelay\" must not be negative"};
            }
            if (logic.contains("selectionSettleJitter")) {
                scenario.selectionSettleJitter =
                    requireNumber(logic, "selectionSettleJitter", "logic");
                if (scenario.selectionSettleJitter < 0)
                    throw Failure{"logic: \"selectionSettleJitter\" must not be negative"};
            }
            if (logic.contains("tracks")) {
                const Json& tracks = logic.at("tracks");
                if (!tracks.is_array())
                    throw Failure{"logic.tracks must be an array"};
                for (std::size_t i = 0; i < tracks.size(); ++i) {
                    const Json& entry = tracks[i];
                    const std::string where = "logic.tracks[" + std::to_string(i) + "]";
                    if (entry.is_string()) {
                        scenario.tracks.emplace_back(entry.get<std::string>());
                    } else if (entry.is_object()) {
                        Stack stack{requireString(entry, "stack", where), {}};
                        const Json& members = require(entry, "tracks", where);
                        if (!members.is_array())
                            throw Failure{where + ": \"tracks\" must be an array"};
                        for (const Json& member : members) {
                            if (!member.is_string())
                                throw Failure{where + ": track names must be strings"};
                            stack.members.push_back(member.get<std::string>());
                        }
                        scenario.tracks.emplace_back(std::move(stack));
                    } else {
                        throw Failure{where + ": must be a name or a stack object"};
                    }
                }
            }
        }
        if (json.contains("steps")) {
            const Json& steps = json.at("steps");
            if (!steps.is_array())
                throw Failure{"\"steps\" must be an array"};
            for (std::size_t i = 0; i < steps.size(); ++i)
                scenario.steps.push_back(parseStep(steps[i], i));
        }
        std::stable_sort(scenario.steps.begin(), scenario.steps.end(),
                         [](const Step& a, const Step& b) { return a.at < b.at; });
        if (json.contains("endAfter"))
            scenario.endAfter = requireNumber(json, "endAfter", "scenario");
        return scenario;
    } catch (const Failure& failure) {
        return failure.message;
    }
}

}  // namespace tessiva
