#include "midi/MIDIRunScheduler.h"

#include <fmt/format.h>

#include <vector>

#include "midi/MIDIMessage.h"
#include "midi/VirtualMIDIBridge.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

namespace {

constexpr double kNanosecond = 1e-9;

long long milliseconds(std::int64_t nanoseconds) {
    return static_cast<long long>((nanoseconds + 500'000) / 1'000'000);
}

}  // namespace

// Everything the timers touch, kept alive by the timers themselves so that a timer firing
// while the scheduler is destroyed finds the runs already stopped rather than freed memory.
struct MIDIRunScheduler::Shared {
    Shared(Dispatcher& dispatcher, Queue& queue, VirtualMIDIBridge& bridge,
           NotificationCenter& notifications, Console& console)
        : clock(dispatcher.clock()),
          queue(queue),
          bridge(bridge),
          notifications(notifications),
          console(console) {}

    const Clock& clock;
    Queue& queue;
    VirtualMIDIBridge& bridge;
    NotificationCenter& notifications;
    Console& console;

    std::mutex lock;
    std::map<std::string, Run> runs;
    std::uint64_t nextGeneration = 1;
    bool closed = false;
};

MIDIRunScheduler::MIDIRunScheduler(Dispatcher& dispatcher, VirtualMIDIBridge& bridge,
                                   NotificationCenter& notifications, Console& console)
    : queue_(dispatcher.makeSerialQueue(std::string(kQueueName))),
      shared_(std::make_shared<Shared>(dispatcher, *queue_, bridge, notifications, console)) {}

MIDIRunScheduler::~MIDIRunScheduler() {
    stopAll("Tessiva Focus is quitting");
    std::lock_guard guard(shared_->lock);
    shared_->closed = true;
}

void MIDIRunScheduler::log(Shared& shared, const std::string& title, const std::string& detail) {
    shared.console.line("[MIDIRunScheduler] " + detail);
    postDebugEvent(shared.notifications, title, detail);
}

void MIDIRunScheduler::schedule(std::string_view json, double receivedAt, std::string_view sender) {
    auto parsed = parseMIDIRunPlan(json);
    if (auto* refusal = std::get_if<std::string>(&parsed)) {
        log(*shared_, "MIDI run refused",
            fmt::format("Refused the MIDI run from {}: {}. Nothing was played.", sender, *refusal));
        return;
    }
    MIDIRunPlan plan = std::get<MIDIRunPlan>(std::move(parsed));
    Shared& shared = *shared_;
    std::lock_guard guard(shared.lock);
    if (shared.closed)
        return;
    auto existing = shared.runs.find(plan.runID);
    if (existing != shared.runs.end()) {
        existing->second.timer.cancel();
        const int released = releaseLocked(shared, existing->second);
        shared.runs.erase(existing);
        log(shared, "MIDI run replaced",
            fmt::format("Run {} was scheduled again; the earlier one stopped and released {} "
                        "note(s).",
                        plan.runID, released));
    } else if (shared.runs.size() >= kMaxConcurrentRuns) {
        log(shared, "MIDI run refused",
            fmt::format("Refused the MIDI run {} from {}: {} runs are already playing. Nothing "
                        "was played.",
                        plan.runID, sender, kMaxConcurrentRuns));
        return;
    }
    const std::string runID = plan.runID;
    log(shared, "MIDI run scheduled",
        fmt::format(
            "Run {} from {}: {} note(s) on channel {} at velocity {}, every {} ms, held {} "
            "({}), starting {} ms after receipt and lasting {} ms.",
            runID, sender, plan.notes.size(), plan.channelOneBased, plan.velocity,
            milliseconds(plan.intervalNanoseconds),
            plan.legato ? "legato" : fmt::format("{} ms", milliseconds(plan.gateNanoseconds)),
            plan.legato ? fmt::format("overlap {} ms", milliseconds(plan.overlapNanoseconds))
                        : std::string("not legato"),
            milliseconds(plan.startDelayNanoseconds), milliseconds(plan.lengthNanoseconds())));
    Run run;
    run.startTime = receivedAt + static_cast<double>(plan.startDelayNanoseconds) * kNanosecond;
    run.plan = std::move(plan);
    run.generation = shared.nextGeneration++;
    Run& stored = shared.runs.emplace(runID, std::move(run)).first->second;
    armLocked(shared_, stored);
}

void MIDIRunScheduler::cancel(std::string_view json, std::string_view sender) {
    auto parsed = parseMIDIRunCancel(json);
    if (auto* refusal = std::get_if<std::string>(&parsed)) {
        log(*shared_, "MIDI run cancel refused",
            fmt::format("Refused the MIDI run cancel from {}: {}.", sender, *refusal));
        return;
    }
    const MIDIRunCancel request = std::get<MIDIRunCancel>(std::move(parsed));
    Shared& shared = *shared_;
    std::lock_guard guard(shared.lock);
    auto found = shared.runs.find(request.runID);
    if (found == shared.runs.end()) {
        log(shared, "MIDI run cancel ignored",
            fmt::format("Run {} is not playing (it finished or never arrived); nothing to stop.",
                        request.runID));
        return;
    }
    found->second.timer.cancel();
    const int released = releaseLocked(shared, found->second);
    const std::size_t played = found->second.notesPlayed;
    shared.runs.erase(found);
    log(shared, "MIDI run cancelled",
        fmt::format("Run {} cancelled by {} after {} note(s); released {} sounding note(s).",
                    request.runID, sender, played, released));
}

void MIDIRunScheduler::stopAll(std::string_view reason) {
    Shared& shared = *shared_;
    std::lock_guard guard(shared.lock);
    if (shared.runs.empty())
        return;
    int released = 0;
    const std::size_t count = shared.runs.size();
    for (auto& [id, run] : shared.runs) {
        run.timer.cancel();
        released += releaseLocked(shared, run);
    }
    shared.runs.clear();
    log(shared, "MIDI runs stopped",
        fmt::format("Stopped {} MIDI run(s) and released {} sounding note(s): {}.", count, released,
                    reason));
}

std::size_t MIDIRunScheduler::activeRunCount() const {
    std::lock_guard guard(shared_->lock);
    return shared_->runs.size();
}

void MIDIRunScheduler::armLocked(const std::shared_ptr<Shared>& shared, Run& run) {
    const MIDIRunEvent& next = run.plan.events[run.nextEvent];
    const double due = run.startTime + static_cast<double>(next.offsetNanoseconds) * kNanosecond;
    std::weak_ptr<Shared> weak = shared;
    run.timer = shared->queue.postAfter(
        due - shared->clock.now(), [weak, runID = run.plan.runID, generation = run.generation] {
            if (auto alive = weak.lock())
                fire(alive, runID, generation);
        });
}

void MIDIRunScheduler::fire(const std::shared_ptr<Shared>& shared, const std::string& runID,
                            std::uint64_t generation) {
    std::lock_guard guard(shared->lock);
    auto found = shared->runs.find(runID);
    if (shared->closed || found == shared->runs.end() || found->second.generation != generation)
        return;
    Run& run = found->second;
    const double now = shared->clock.now();
    const auto& events = run.plan.events;
    while (run.nextEvent < events.size()) {
        const MIDIRunEvent& event = events[run.nextEvent];
        const double due =
            run.startTime + static_cast<double>(event.offsetNanoseconds) * kNanosecond;
        if (due > now)
            break;
        run.latestLateness = std::max(run.latestLateness, now - due);
        playLocked(*shared, run, event);
        ++run.nextEvent;
    }
    if (run.nextEvent < events.size()) {
        armLocked(shared, run);
        return;
    }
    // Only a note-off the platform refused can still be marked sounding: try it once more.
    (void)releaseLocked(*shared, run);
    log(*shared, "MIDI run finished",
        fmt::format("Run {} played {} note(s); the latest event was {:.2f} ms behind its time.",
                    runID, run.plan.notes.size(), run.latestLateness * 1000.0));
    shared->runs.erase(found);
}

void MIDIRunScheduler::playLocked(Shared& shared, Run& run, const MIDIRunEvent& event) {
    const auto channelIndex = static_cast<std::uint8_t>(run.plan.channelOneBased - 1);
    const MIDIMessage message = MIDIMessage::channelMessage(
        event.isNoteOn ? MIDIEventKind::noteOn : MIDIEventKind::noteOff, channelIndex, event.note,
        static_cast<std::uint8_t>(event.isNoteOn ? run.plan.velocity : 0));
    if (!shared.bridge.emitScheduled(message)) {
        if (!run.reportedSendFailure) {
            run.reportedSendFailure = true;
            log(shared, "MIDI run send failed",
                fmt::format("Run {} could not send from the virtual source \"{}\"; its notes are "
                            "not reaching Logic.",
                            run.plan.runID, VirtualMIDIBridge::sourceName));
        }
        return;
    }
    run.sounding.set(event.note, event.isNoteOn);
    if (event.isNoteOn)
        ++run.notesPlayed;
}

int MIDIRunScheduler::releaseLocked(Shared& shared, Run& run) {
    int released = 0;
    const auto channelIndex = static_cast<std::uint8_t>(run.plan.channelOneBased - 1);
    for (int note = 0; note < 128; ++note) {
        if (!run.sounding.test(static_cast<std::size_t>(note)))
            continue;
        const MIDIMessage off = MIDIMessage::channelMessage(MIDIEventKind::noteOff, channelIndex,
                                                            static_cast<std::uint8_t>(note), 0);
        if (shared.bridge.emitScheduled(off)) {
            run.sounding.reset(static_cast<std::size_t>(note));
            ++released;
        }
    }
    return released;
}

}  // namespace tessiva
