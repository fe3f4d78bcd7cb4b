#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// Whether a file is a readable XML property list, as Logic writes its articulation sets: a
// <plist> root holding one value, elements nested properly, dictionaries alternating <key> and a
// value, numbers that read as numbers, valid UTF-8 and no NUL (the text travels as OSC strings).
// A binary property list is refused with the advice to save it as XML. Returns the reason a
// file is refused, in words for the event log, or nothing when it is fine. Pure.
std::optional<std::string> propertyListRefusal(std::string_view text);

}  // namespace tessiva
