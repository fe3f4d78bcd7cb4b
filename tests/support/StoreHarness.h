#pragma once

#include <string>

#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "runtime/Console.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {

// A mapping store with its event log on virtual time, its console captured.
struct StoreHarness {
    VirtualScheduler scheduler;
    CapturingConsole console;
    DebugLogStore log{scheduler.mainQueue(), scheduler.clock()};
    MappingStore store{{scheduler.mainQueue(), scheduler.clock(), console, log}};

    const DebugLogStore::Entry* entry(const std::string& title) const {
        for (const auto& e : log.entries().value()) {
            if (e.title == title)
                return &e;
        }
        return nullptr;
    }
    bool logged(const std::string& title) const { return entry(title) != nullptr; }
};

}  // namespace tessiva
