#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "scenario/Scenario.h"

namespace tessiva {

class AppDelegate;
class Console;
class MenuBarShell;

struct DesktopOptions {
    std::filesystem::path homeFolder;
    std::uint16_t port = 12111;
    std::string bindHost = "::";
    bool advertiseBonjour = true;
    // "system" (RtMidi) or "memory" (recorded).
    std::string midiBackend = "system";
    std::optional<Scenario> scenario;
    // Screenshots: no tray icon and no first-run hints.
    bool headlessShell = false;
    // Watch the real Logic Pro through the system's adapters where the system has them (a
    // Mac); otherwise, and always with a scenario, the simulated one.
    bool preferSystemLogic = false;
};

// The menu-bar program: the coordinator on Qt's event loop with the platform's adapters and the
// Qt shell around it. On a Mac it watches the real Logic Pro; on Linux, with a scenario or for
// screenshots Logic Pro is the simulated one, built from the scenario (or the small default
// project) and driven by its steps. Needs a QApplication; GUI thread only.
class DesktopProgram {
  public:
    DesktopProgram(DesktopOptions options, Console& console);
    ~DesktopProgram();
    DesktopProgram(const DesktopProgram&) = delete;
    DesktopProgram& operator=(const DesktopProgram&) = delete;

    void start();
    AppDelegate& appDelegate();
    MenuBarShell& shell();
    // The screenshots' demo state: a workspace as an iPad would send it, learned rows for the
    // project's tracks and one auto-assign run, so every window has something to show.
    void loadDemoState();

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace tessiva
