#include "repair/LogicStructuralCommand.h"

#include <string>

namespace tessiva {

namespace {

bool startsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

}  // namespace

std::optional<LogicStructuralCommand> logicCommandForKey(int keyCode, unsigned modifiers) {
    using namespace logic_command_key;
    const bool command = (modifiers & kCommand) != 0;
    const bool shift = (modifiers & kShift) != 0;
    if (keyCode == kZ && command)
        return shift ? LogicStructuralCommand::redo : LogicStructuralCommand::undo;
    if (keyCode == kD && command && !shift)
        return LogicStructuralCommand::duplicate;
    if (keyCode == kDelete || keyCode == kForwardDelete)
        return LogicStructuralCommand::deleteBackspace;
    return std::nullopt;
}

std::optional<LogicStructuralCommand> logicCommandForMenuTitle(std::string_view title) {
    // "Undo History…" only opens a window.
    if (startsWith(title, "Undo History"))
        return std::nullopt;
    // Logic names the step: "Undo Delete Track", "Redo Move Track".
    if (title == "Undo" || startsWith(title, "Undo "))
        return LogicStructuralCommand::undo;
    if (title == "Redo" || startsWith(title, "Redo "))
        return LogicStructuralCommand::redo;
    if (startsWith(title, "New Track With Duplicate Settings") ||
        startsWith(title, "Duplicate Track"))
        return LogicStructuralCommand::duplicate;
    // "Delete", "Delete Track", "Delete Unused Tracks".
    if (title == "Delete" ||
        (startsWith(title, "Delete ") && title.find("Track") != std::string_view::npos))
        return LogicStructuralCommand::deleteBackspace;
    return std::nullopt;
}

}  // namespace tessiva
