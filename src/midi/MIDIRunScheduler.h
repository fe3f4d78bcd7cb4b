#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "midi/MIDIRunPlan.h"
#include "runtime/Queue.h"

namespace tessiva {

class Console;
class NotificationCenter;
class VirtualMIDIBridge;

// Plays the runs the iPad schedules ("/tessiva/midi/run/schedule") from the virtual source
// "Tessiva MIDI", on its own serial queue "tessiva.focus.precision-run" so that nothing else the
// program does delays a note. Each run is timed against the monotonic clock from the moment its
// datagram was received plus its start delay; each wake-up plays every event already due, then
// arms one timer for the next. It remembers which notes each run has sounding, so that a cancel,
// a replaced run, a lost iPad and quitting all release them: no note is left hanging.
// `schedule`, `cancel` and `stopAll` may be called from any thread (the link calls the first two
// on its discovery queue; the coordinator calls stopAll on the main queue, and it returns once
// the note-offs are sent). Tests run it on a VirtualScheduler with SimulatedMIDIService.
class MIDIRunScheduler {
  public:
    static constexpr std::string_view kQueueName = "tessiva.focus.precision-run";
    // More would mean the iPad lost track of its runs; refusing keeps the timers few.
    static constexpr std::size_t kMaxConcurrentRuns = 16;

    MIDIRunScheduler(Dispatcher& dispatcher, VirtualMIDIBridge& bridge,
                     NotificationCenter& notifications, Console& console);
    ~MIDIRunScheduler();
    MIDIRunScheduler(const MIDIRunScheduler&) = delete;
    MIDIRunScheduler& operator=(const MIDIRunScheduler&) = delete;

    // `json` is the payload, `receivedAt` the clock's `now()` when the datagram arrived, `sender`
    // the iPad's "host:port" for the log. A refused payload is logged and plays nothing. A run
    // whose ID is already playing replaces it (its sounding notes are released first).
    void schedule(std::string_view json, double receivedAt, std::string_view sender);
    void cancel(std::string_view json, std::string_view sender);
    // Stops every run and releases its sounding notes before returning. `reason` ends the log.
    void stopAll(std::string_view reason);

    std::size_t activeRunCount() const;

  private:
    struct Run {
        MIDIRunPlan plan;
        double startTime = 0;  // clock seconds of offset 0
        std::size_t nextEvent = 0;
        std::size_t notesPlayed = 0;
        std::uint64_t generation = 0;
        WorkItem timer;
        std::bitset<128> sounding;
        double latestLateness = 0;  // seconds the worst event was played after its due time
        bool reportedSendFailure = false;
    };
    struct Shared;

    static void fire(const std::shared_ptr<Shared>& shared, const std::string& runID,
                     std::uint64_t generation);
    static void armLocked(const std::shared_ptr<Shared>& shared, Run& run);
    static void playLocked(Shared& shared, Run& run, const MIDIRunEvent& event);
    // Note-offs for every note the run has sounding; returns how many were sent.
    static int releaseLocked(Shared& shared, Run& run);
    static void log(Shared& shared, const std::string& title, const std::string& detail);

    std::shared_ptr<Queue> queue_;
    std::shared_ptr<Shared> shared_;
};

}  // namespace tessiva
