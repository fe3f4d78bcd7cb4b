#include "autoassign/AutoAssignTrack.h"

#include "autoassign/AutoAssignName.h"

namespace tessiva {

AutoAssignTrack AutoAssignTrack::make(int index, std::string_view name) {
    AutoAssignTrack track;
    track.index = index;
    track.name = std::string(name);
    track.tokens = autoAssignTokens(name);
    track.normalizedName = joinAutoAssignTokens(track.tokens);
    track.principal = principalInstrument(track.tokens);
    return track;
}

}  // namespace tessiva
