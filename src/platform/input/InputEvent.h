#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/ax/AXValue.h"

namespace tessiva {

// The kinds of user input the Logic observation classifies. The values are the system's event
// type numbers, so a mask of them is the system's event mask (1102 for all five).
enum class InputEventType : std::uint8_t {
    leftMouseDown = 1,
    leftMouseUp = 2,
    rightMouseDown = 3,
    leftMouseDragged = 6,
    keyDown = 10,
};

struct InputEventTypeName {
    InputEventType type;
    std::string_view name;
};
inline constexpr std::array<InputEventTypeName, 5> kInputEventTypeNames = {{
    {InputEventType::leftMouseDown, "leftMouseDown"},
    {InputEventType::leftMouseUp, "leftMouseUp"},
    {InputEventType::rightMouseDown, "rightMouseDown"},
    {InputEventType::leftMouseDragged, "leftMouseDragged"},
    {InputEventType::keyDown, "keyDown"},
}};
static_assert(kInputEventTypeNames.size() == 5, "one name per input event type");

constexpr std::string_view inputEventTypeName(InputEventType type) {
    for (const auto& entry : kInputEventTypeNames) {
        if (entry.type == type)
            return entry.name;
    }
    return "unknown";
}

using InputEventMask = std::uint64_t;
constexpr InputEventMask inputEventMaskBit(InputEventType type) {
    return InputEventMask{1} << static_cast<unsigned>(type);
}
inline constexpr InputEventMask kLogicGestureEventMask =
    inputEventMaskBit(InputEventType::leftMouseDown) |
    inputEventMaskBit(InputEventType::leftMouseUp) |
    inputEventMaskBit(InputEventType::rightMouseDown) |
    inputEventMaskBit(InputEventType::leftMouseDragged) |
    inputEventMaskBit(InputEventType::keyDown);
static_assert(kLogicGestureEventMask == 1102);

// Modifier flags carried by an event.
enum class InputModifier : std::uint32_t {
    shift = 1u << 17,
    control = 1u << 18,
    option = 1u << 19,
    command = 1u << 20,
};

// Key codes the observer reacts to.
namespace keycode {
inline constexpr int kReturn = 36;
inline constexpr int kSpace = 49;
inline constexpr int kEscape = 53;
inline constexpr int kEnter = 76;
inline constexpr int kDownArrow = 125;
inline constexpr int kUpArrow = 126;
}  // namespace keycode

// One mouse or key event as the monitors see it. `location` is in screen coordinates with the
// origin at the top left (the Accessibility convention); `timestamp` is on the Clock's `now`.
struct InputEvent {
    InputEventType type = InputEventType::leftMouseDown;
    std::uint32_t modifiers = 0;
    int keyCode = -1;
    AXPoint location;
    double timestamp = 0;

    bool has(InputModifier modifier) const {
        return (modifiers & static_cast<std::uint32_t>(modifier)) != 0;
    }
};

}  // namespace tessiva
