#pragma once

#include <memory>

#include "platform/sound/ConnectionSoundPlayer.h"

namespace tessiva {

class Console;
class Queue;

// Plays "connected.wav" from the app bundle's resources with NSSound, after the delay the link
// asks for, on the main queue. Without the resource (a bare command-line build) it says so in one
// console line and stays silent. The logging player stands in for it elsewhere.
std::unique_ptr<ConnectionSoundPlayer> makeMacConnectionSoundPlayer(Queue& mainQueue,
                                                                    Console& console);

}  // namespace tessiva
