#pragma once

#include <optional>

#include "platform/macos/portable/CFValueView.h"
#include "runtime/UserDefaults.h"

namespace tessiva {

// How a value read back from CFPreferences becomes a user-defaults value: booleans, integer
// numbers, strings and arrays made only of strings. A floating-point number, a dictionary, or an
// array holding anything but strings (written by hand with `defaults write`) reads as missing, as
// a key holding another type does on every adapter. Pure, tested on every platform.
std::optional<UserDefaults::Value> preferenceValueFromCF(const CFValueView& value);

}  // namespace tessiva
