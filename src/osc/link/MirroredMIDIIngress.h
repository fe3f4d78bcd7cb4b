#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "osc/link/LinkContext.h"
#include "platform/net/UdpListener.h"

namespace tessiva {

class MirroredMIDISink;
class PeerLink;

// The first stop of every datagram, on the mirrored-MIDI queue where the listener delivers:
// "/tessiva/midi/event" from the active iPad (any of its ports) goes to the MirroredMIDISink at
// once, a "/ping" from a second iPad is refused here so a flood of them never reaches the
// discovery queue, and everything else is passed on to `forward` (the inbound dispatcher).
// Tests and the latency benchmark drive it through OSCDiscoveryManager.
class MirroredMIDIIngress {
  public:
    MirroredMIDIIngress(LinkContext& context, PeerLink& peerLink,
                        std::function<void(UdpDatagram)> forward)
        : context_(context), peerLink_(peerLink), forward_(std::move(forward)) {}

    // Mirrored MIDI and another iPad's pings, dealt with at once; true when it was one of them.
    // On the transport's network thread (or the mirrored-MIDI queue with a transport that has
    // none), never on both for one listener.
    bool handleAtOnce(const UdpDatagram& datagram);
    // Mirrored-MIDI queue: handleAtOnce, else forward.
    void receive(UdpDatagram datagram);

    // Any thread.
    void setSink(MirroredMIDISink* sink) { sink_.store(sink); }
    std::int64_t eventCount() const { return eventCount_.load(); }

  private:
    bool rejectPing(const UdpDatagram& datagram);
    void handleMirroredMIDI(const UdpDatagram& datagram);

    LinkContext& context_;
    PeerLink& peerLink_;
    std::function<void(UdpDatagram)> forward_;
    std::atomic<MirroredMIDISink*> sink_{nullptr};
    std::atomic<std::int64_t> eventCount_{0};
};

}  // namespace tessiva
