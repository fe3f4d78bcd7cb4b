#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

#include "midi/MIDIEventKind.h"
#include "midi/MIDIMessage.h"
#include "midi/MirroredMIDIEvent.h"
#include "platform/midi/MIDIClient.h"
#include "platform/midi/MIDIVirtualSource.h"

namespace tessiva {

class Console;
class MIDIService;
class NotificationCenter;

// Owns the virtual source "Tessiva MIDI" through which MIDI played on the iPad reaches Logic:
// the iPad link reads each "/tessiva/midi/event" and hands its values to `mirror` (or decodes
// them itself with decodeMirroredMIDIEvent and calls `send`), which emits them from the source.
// `start` runs once, on any queue, before the first send; `send` runs on the mirrored-MIDI queue
// ("tessiva.focus.osc.mirrored-midi") and does not allocate on success; scheduled runs emit through
// `emitScheduled` from their own queue, serialised with `send` by a lock. Mirrored MIDI is not
// logged per event: the console shows the first event and every 250th. Tests run it on
// SimulatedMIDIService.
class VirtualMIDIBridge {
  public:
    static constexpr std::string_view sourceName = "Tessiva MIDI";
    static constexpr std::string_view kClientName = "Tessiva Focus Virtual MIDI";
    // Per-event console lines, for chasing a mirroring problem in a debug build.
    static constexpr bool verboseMirroredMIDILogging = false;

    VirtualMIDIBridge(MIDIService& service, NotificationCenter& center, Console& console);
    ~VirtualMIDIBridge();
    VirtualMIDIBridge(const VirtualMIDIBridge&) = delete;
    VirtualMIDIBridge& operator=(const VirtualMIDIBridge&) = delete;

    // Creates the client and the source; true once the source exists. A failure is logged and
    // leaves the bridge unstarted; calling again retries.
    bool start();

    // Emits one channel message: `channel` is 0-15, data bytes 0...127 (larger values are
    // clamped). False when the bridge is not started or the platform refused the message.
    bool send(MIDIEventKind kind, std::uint8_t channel, std::uint8_t data1, std::uint8_t data2);
    bool send(const MirroredMIDIEvent& event) {
        return send(event.kind, event.channel, event.data1, event.data2);
    }
    // Normalises one "/tessiva/midi/event" as read off the wire and sends it; an unsupported
    // type is logged as "Mirrored MIDI skipped" and sends nothing. This is what the iPad link's
    // mirrored-MIDI sink calls, on the mirrored-MIDI queue.
    bool mirror(std::string_view typeName, std::int32_t channel, std::int32_t data1,
                std::int32_t data2);

    // Emits one message of a scheduled run (MIDIRunScheduler, on the precision-run queue). Not
    // counted or logged as mirrored MIDI. False when unstarted or refused by the platform.
    bool emitScheduled(const MIDIMessage& message);

    bool isStarted() const { return isStarted_.load(std::memory_order_acquire); }
    std::uint64_t mirroredEventCount() const {
        return mirroredEventCount_.load(std::memory_order_relaxed);
    }

  private:
    MIDIService& service_;
    NotificationCenter& center_;
    Console& console_;
    std::unique_ptr<MIDIClient> client_;
    std::unique_ptr<MIDIVirtualSource> source_;
    // Mirrored MIDI (network thread) and scheduled runs (precision-run queue) share the source;
    // the platform's emit is not safe from two threads at once.
    std::mutex emitLock_;
    std::atomic<bool> isStarted_{false};
    std::atomic<std::uint64_t> mirroredEventCount_{0};
    std::atomic<bool> reportedUnstarted_{false};
};

}  // namespace tessiva
