#pragma once

#include <string_view>
#include <vector>

#include "mapping/OSCBankFocusMapping.h"
#include "osc/OSCArgument.h"

namespace tessiva {

inline constexpr std::string_view kBankFocusAddress = "/tessiva/bank/focus";
inline constexpr std::string_view kBankFocusAbsentText = "<none>";

// The arguments of "/tessiva/bank/focus", the one place their order is decided:
//
//   0  s  target kind: "group" when the mapping targets a group, else "bank"
//   1  s  target UUID: the group's UUID for a group, else the bank's
//   2  s  Logic track name, as the selection reported it (trimmed)
//   3  s  target name: the group's name for a group (empty when it has none), else the bank's
//   4  i  Logic track index, clamped into the int32 range
//   5  s  the section that holds the bank on the iPad, "<none>" when the mapping names none
//
// The iPad finds the target by kind and UUID; the names and the section are for its display and
// for a target that moved since the mapping was saved.
std::vector<OSCArgument> bankFocusArguments(long long trackIndex, std::string_view trackName,
                                            const OSCBankFocusMapping& mapping);

}  // namespace tessiva
