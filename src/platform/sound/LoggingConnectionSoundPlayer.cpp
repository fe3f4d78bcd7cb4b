#include <cmath>

#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/Console.h"

namespace tessiva {

namespace {

class LoggingConnectionSoundPlayer final : public ConnectionSoundPlayer {
  public:
    explicit LoggingConnectionSoundPlayer(Console& console) : console_(console) {}
    void playConnectedSound(double delaySeconds) override {
        console_.line("[ConnectionSound] Playing connected.wav in " +
                      std::to_string(std::lround(delaySeconds * 1000.0)) + " ms");
    }

  private:
    Console& console_;
};

}  // namespace

std::unique_ptr<ConnectionSoundPlayer> makeLoggingConnectionSoundPlayer(Console& console) {
    return std::make_unique<LoggingConnectionSoundPlayer>(console);
}

}  // namespace tessiva
