#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/ProjectTracker.h"
#include "scenario/Scenario.h"

namespace tessiva {

class AppDelegate;
class Console;
class SimulatedLogic;
class SimulatedMIDIService;

enum class LogicChoice { automatic, system, simulated };

struct HeadlessOptions {
    std::filesystem::path homeFolder;
    std::uint16_t port = 12111;
    std::string bindHost = "::";
    bool advertiseBonjour = true;
    // "system" (RtMidi: CoreMIDI, JACK or ALSA) or "memory" (recorded, for demos and tests).
    std::string midiBackend = "system";
    ProjectRecallAnswer recallAnswer = ProjectRecallAnswer::keepCurrent;
    // Print every event-log entry as it is added.
    bool printEvents = false;
    std::string localDeviceName;
    std::optional<Scenario> scenario;
    // Quit when the scenario ends (its endAfter, else its last step).
    bool quitWhenScenarioEnds = false;
    // Read console commands ("menu …", "review", "status") from standard input.
    bool readConsoleCommands = false;
    // Which Logic Pro to watch. `system`: the real one through the system's adapters
    // (Accessibility, event tap, preferences, sound); only a Mac has them, elsewhere the program
    // says so and plays the simulated one. `automatic`: the real one where the system has it,
    // unless a scenario (which plays only in the simulated Logic) is given.
    LogicChoice logic = LogicChoice::simulated;
};

// The whole program without a menu bar: the coordinator on real queues with the platform's
// adapters. With `useSystemLogic` on a Mac it watches the real Logic Pro; otherwise Logic is the
// simulated one, driven by an optional scenario, with preferences in the home folder. Console
// lines go to `console`; Ctrl-C (SIGINT or SIGTERM) quits after saving the profile.
class HeadlessProgram {
  public:
    HeadlessProgram(HeadlessOptions options, Console& console);
    ~HeadlessProgram();
    HeadlessProgram(const HeadlessProgram&) = delete;
    HeadlessProgram& operator=(const HeadlessProgram&) = delete;

    // Starts everything; returns false when the program cannot run (reason on the console).
    bool start();
    // Runs the main loop until quit, a signal, or the scenario's end; then shuts down.
    int run();
    // Runs main-queue work for a while (the demo steps its own story).
    void runFor(double seconds);
    void requestQuit();

    // The port the iPad link listens on (known after start).
    std::uint16_t listenPort() const;
    AppDelegate& appDelegate();
    SimulatedLogic& logic();
    // The in-memory MIDI service when the backend is "memory", else nullptr.
    SimulatedMIDIService* recordedMIDI();
    void post(std::function<void()> work);
    void postAfter(double seconds, std::function<void()> work);

  private:
    void startConsoleReader();
    void stopConsoleReader();

    struct Parts;
    std::unique_ptr<Parts> parts_;
};

// "save-and-load", "load", "keep".
std::optional<ProjectRecallAnswer> recallAnswerFromName(const std::string& name);

// The small project that `run` shows when no scenario names one.
Scenario defaultHeadlessScenario();

}  // namespace tessiva
