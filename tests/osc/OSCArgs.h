#pragma once

#include <string>
#include <vector>

#include "osc/OSCArgument.h"

namespace tessiva::testing {

// Short names for OSC arguments.
inline OSCArgument s(std::string text) {
    return OSCArgument::string(std::move(text));
}
inline OSCArgument i(std::int32_t value) {
    return OSCArgument::int32(value);
}
inline OSCArgument f(float value) {
    return OSCArgument::float32(value);
}
template <typename... Arguments>
std::vector<OSCArgument> args(Arguments... arguments) {
    return {arguments...};
}

}  // namespace tessiva::testing
