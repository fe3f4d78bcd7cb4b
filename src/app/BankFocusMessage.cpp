#include "app/BankFocusMessage.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

namespace tessiva {

std::vector<OSCArgument> bankFocusArguments(long long trackIndex, std::string_view trackName,
                                            const OSCBankFocusMapping& mapping) {
    const bool group = mapping.targetsGroup();
    const long long clamped =
        std::clamp<long long>(trackIndex, std::numeric_limits<std::int32_t>::min(),
                              std::numeric_limits<std::int32_t>::max());
    std::vector<OSCArgument> arguments;
    arguments.reserve(6);
    arguments.push_back(OSCArgument::string(group ? "group" : "bank"));
    arguments.push_back(OSCArgument::string(mapping.targetUUID()));
    arguments.push_back(OSCArgument::string(std::string(trackName)));
    arguments.push_back(
        OSCArgument::string(group ? mapping.groupName.value_or(std::string()) : mapping.bankName));
    arguments.push_back(OSCArgument::int32(static_cast<std::int32_t>(clamped)));
    const bool hasSection = mapping.sectionName && !mapping.sectionName->empty();
    arguments.push_back(
        OSCArgument::string(hasSection ? *mapping.sectionName : std::string(kBankFocusAbsentText)));
    return arguments;
}

}  // namespace tessiva
