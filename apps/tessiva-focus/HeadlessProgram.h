#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/ProjectTracker.h"
#include "app/Scenario.h"

namespace tessiva {

class AppDelegate;
class Console;
class SimulatedLogic;
class SimulatedMIDIService;

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
};

// The whole program without a menu bar: the coordinator on real queues with the platform's
// adapters. On Linux Logic Pro is the simulated one, driven by an optional scenario. Console
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
