#pragma once

#include <memory>

namespace tessiva {

class Console;

// Plays the "connected.wav" resource when the iPad link comes up. macOS plays the file; on Linux
// the adapter writes a console line. Called on the discovery queue; tests record calls.
class ConnectionSoundPlayer {
  public:
    virtual ~ConnectionSoundPlayer() = default;
    virtual void playConnectedSound(double delaySeconds) = 0;
};

// The Linux adapter: "[ConnectionSound] Playing connected.wav in 120 ms".
std::unique_ptr<ConnectionSoundPlayer> makeLoggingConnectionSoundPlayer(Console& console);

}  // namespace tessiva
