#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "repair/StructuralEditContext.h"

namespace tessiva {

// A Logic command that changes the track list, recognised from the key or menu event Logic
// received. Pure vocabulary; main queue.
enum class LogicStructuralCommand { undo, redo, duplicate, deleteBackspace, count };

inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(LogicStructuralCommand::count)>
    kLogicStructuralCommandLabels{"Logic undo command", "Logic redo command",
                                  "Logic duplicate command", "Logic delete/backspace"};
static_assert(kLogicStructuralCommandLabels.size() == 4, "one label per Logic command");

inline std::string_view label(LogicStructuralCommand command) {
    return kLogicStructuralCommandLabels[static_cast<std::size_t>(command)];
}

// The edit context a command opens.
constexpr StructuralEditContext::Kind editKindFor(LogicStructuralCommand command) {
    switch (command) {
        case LogicStructuralCommand::undo:
            return StructuralEditContext::Kind::undo;
        case LogicStructuralCommand::redo:
            return StructuralEditContext::Kind::redo;
        case LogicStructuralCommand::duplicate:
            return StructuralEditContext::Kind::duplication;
        case LogicStructuralCommand::deleteBackspace:
        case LogicStructuralCommand::count:
            break;
    }
    return StructuralEditContext::Kind::deletion;
}

// Key codes and modifier bits as the system reports them (InputEvent's values).
namespace logic_command_key {
inline constexpr int kD = 2;
inline constexpr int kZ = 6;
inline constexpr int kDelete = 51;  // backspace
inline constexpr int kForwardDelete = 117;
inline constexpr unsigned kShift = 1u << 17;
inline constexpr unsigned kCommand = 1u << 20;
}  // namespace logic_command_key

// Cmd-Z, Shift-Cmd-Z, Cmd-D, and Delete or Forward Delete with or without Cmd (Logic deletes the
// selected tracks either way once the track list has the focus). Anything else is not a
// structural command.
std::optional<LogicStructuralCommand> logicCommandForKey(int keyCode, unsigned modifiers);

// The Logic menu items that change the track list: "Undo …" (not "Undo History…"), "Redo …",
// "Delete" and "Delete … Track(s)", "New Track With Duplicate Settings" and "Duplicate Track(s)"
// (English titles; an item whose title is not recognised is not a structural command).
std::optional<LogicStructuralCommand> logicCommandForMenuTitle(std::string_view title);

}  // namespace tessiva
