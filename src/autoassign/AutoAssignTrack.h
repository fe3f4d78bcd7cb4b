#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "autoassign/PrincipalInstrument.h"

namespace tessiva {

// One Logic row's name as the matching rules see it. A plain value; any thread.
struct AutoAssignTrack {
    int index = 0;
    std::string name;
    std::vector<std::string> tokens;
    std::string normalizedName;
    std::optional<InstrumentFamily> principal;

    static AutoAssignTrack make(int index, std::string_view name);
};

}  // namespace tessiva
