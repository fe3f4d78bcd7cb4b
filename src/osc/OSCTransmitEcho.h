#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "osc/OSCArgument.h"

namespace tessiva {

// Articulation-set import messages, Mac to iPad. Their payload text is never echoed; the console
// gets a summary of the fields at these argument positions instead:
//   ".../import"        s file name, s transfer ID, s payload text (the whole file)
//   ".../import/begin"  s file name, s transfer ID, i payload bytes, i chunk count
//   ".../import/chunk"  s transfer ID, i chunk index (from 0), i chunk count, s chunk text
//   ".../import/end"    s transfer ID, i chunk count
inline constexpr std::string_view kArticulationSetImportAddress = "/tessiva/articulationset/import";
inline constexpr std::string_view kArticulationSetImportBeginAddress =
    "/tessiva/articulationset/import/begin";
inline constexpr std::string_view kArticulationSetImportChunkAddress =
    "/tessiva/articulationset/import/chunk";
inline constexpr std::string_view kArticulationSetImportEndAddress =
    "/tessiva/articulationset/import/end";

// The console line for one outgoing message, or nullopt when it stays silent (heartbeat traffic
// while `logHeartbeatTraffic` is false). Pure; OSCManager prints what it returns.
std::optional<std::string> transmitEchoLine(std::string_view address,
                                            std::span<const OSCArgument> arguments,
                                            bool logHeartbeatTraffic);

}  // namespace tessiva
