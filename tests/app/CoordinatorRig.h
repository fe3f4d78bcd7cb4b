#pragma once

#include <memory>
#include <string>

#include "app/AppDelegate.h"
#include "mapping/DebugLogStore.h"
#include "platform/activation/ActivationEventSource.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "platform/simulated/net/SimulatedUdpTransport.h"
#include "platform/sound/ConnectionSoundPlayer.h"
#include "runtime/Console.h"
#include "runtime/UserDefaults.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"

namespace tessiva {

// The whole coordinator on virtual time: simulated Logic showing five tracks, in-memory MIDI with
// a network session, recorded UDP.
struct CoordinatorParts {
    explicit CoordinatorParts(const std::string& project = "Song") {
        logic.setProjectName(project);
        for (const char* name : {"Piano", "Bass", "Drums", "Strings", "Choir"})
            logic.addTrack(name);
        midi.addDestination("Network Session 1");
    }

    // Makes the coordinator, not yet launched; `alert` answers project recall prompts.
    void makeDelegate(ProjectRecallAlert& alert) {
        CoordinatorOptions options;
        options.profilesFolder = folder.path();
        options.listenPort = 0;
        options.bindHost = "127.0.0.1";
        options.localDeviceName = "Test Mac";
        delegate = std::make_unique<AppDelegate>(
            scheduler, notifications, console,
            PlatformServices{logic, logic.input(), midi, udp, defaults, *sound, activation, alert,
                             nullptr},
            options);
    }
    MenuBarController& controller() { return delegate->menuBarController(); }
    // Event-log entries whose title starts with `prefix`, as "title: detail".
    std::vector<std::string> logged(const std::string& prefix) {
        std::vector<std::string> lines;
        for (const auto& entry : controller().log().entries().value())
            if (entry.title.rfind(prefix, 0) == 0)
                lines.push_back(entry.title + ": " + entry.detail.value_or(""));
        return lines;
    }
    bool loggedWith(const std::string& title, const std::string& part) {
        for (const auto& line : logged(title))
            if (line.rfind(title + ": ", 0) == 0 && line.find(part) != std::string::npos)
                return true;
        return false;
    }

    VirtualScheduler scheduler;
    TempFolder folder{"tessiva-coordinator"};
    CapturingConsole console;
    NotificationCenter notifications{scheduler.mainQueue()};
    SimulatedLogic logic{scheduler.clock(), SimulatedLogicOptions::tableOutlineProfile()};
    SimulatedMIDIService midi;
    SimulatedUdpTransport udp;
    InMemoryUserDefaults defaults;
    std::unique_ptr<ConnectionSoundPlayer> sound = makeLoggingConnectionSoundPlayer(console);
    ActivationEventSource activation;
    std::unique_ptr<AppDelegate> delegate;
};

}  // namespace tessiva
