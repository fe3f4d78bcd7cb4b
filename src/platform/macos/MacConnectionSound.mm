#include "platform/macos/MacConnectionSound.h"

#import <AppKit/AppKit.h>

#include "runtime/Console.h"
#include "runtime/Queue.h"

namespace tessiva {

namespace {

// Owned by the player and by each pending delayed play, so a play due after the player is gone
// does nothing.
struct SoundState {
    Console& console;
    NSSound* sound = nil;
    bool missingReported = false;
    bool alive = true;

    explicit SoundState(Console& out) : console(out) {}

    void play() {
        if (!alive)
            return;
        if (sound == nil) {
            NSString* path = [[NSBundle mainBundle] pathForResource:@"connected" ofType:@"wav"];
            if (path != nil)
                sound = [[NSSound alloc] initWithContentsOfFile:path byReference:YES];
        }
        if (sound == nil) {
            if (!missingReported)
                console.line("[ConnectionSound] connected.wav is not in the app bundle; no sound");
            missingReported = true;
            return;
        }
        [sound stop];
        [sound play];
    }
};

class MacConnectionSoundPlayer final : public ConnectionSoundPlayer {
  public:
    MacConnectionSoundPlayer(Queue& mainQueue, Console& console)
        : mainQueue_(mainQueue), state_(std::make_shared<SoundState>(console)) {}

    ~MacConnectionSoundPlayer() override {
        mainQueue_.post([state = state_] { state->alive = false; });
    }

    void playConnectedSound(double delaySeconds) override {
        mainQueue_.postAfter(delaySeconds, [state = state_] { state->play(); });
    }

  private:
    Queue& mainQueue_;
    std::shared_ptr<SoundState> state_;
};

}  // namespace

std::unique_ptr<ConnectionSoundPlayer> makeMacConnectionSoundPlayer(Queue& mainQueue,
                                                                    Console& console) {
    return std::make_unique<MacConnectionSoundPlayer>(mainQueue, console);
}

}  // namespace tessiva
