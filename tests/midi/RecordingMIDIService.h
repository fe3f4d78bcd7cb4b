#pragma once

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "platform/midi/MIDIService.h"
#include "runtime/Clock.h"

namespace tessiva::test {

// A virtual source that records each message with the time it left, into room reserved up front
// so that emitting allocates nothing.
class RecordingMIDIService final : public MIDIService {
  public:
    struct Sent {
        double time = 0;
        std::size_t size = 0;
        std::array<int, 3> bytes{};
    };
    explicit RecordingMIDIService(const Clock& clock) : clock_(clock) { sent_.reserve(4096); }
    MIDICreation<MIDIClient> createClient(const std::string&) override {
        return MIDICreation<MIDIClient>::success(std::make_unique<Client>(*this));
    }
    std::vector<Sent> sent() const {
        std::lock_guard guard(lock_);
        return sent_;
    }

  private:
    struct Source final : MIDIVirtualSource {
        explicit Source(RecordingMIDIService& owner) : owner(owner) {}
        MIDIStatusCode emit(std::span<const std::uint8_t> message) override {
            Sent sent{owner.clock_.now(), std::min<std::size_t>(message.size(), 3), {}};
            std::copy_n(message.begin(), sent.size, sent.bytes.begin());
            std::lock_guard guard(owner.lock_);
            owner.sent_.push_back(sent);
            return 0;
        }
        RecordingMIDIService& owner;
    };
    struct Client final : MIDIClient {
        explicit Client(RecordingMIDIService& owner) : owner(owner) {}
        MIDICreation<MIDIOutputPort> createOutputPort(const std::string&) override {
            return MIDICreation<MIDIOutputPort>::failure(-1, "not needed");
        }
        MIDICreation<MIDIVirtualSource> createVirtualSource(const std::string&) override {
            return MIDICreation<MIDIVirtualSource>::success(std::make_unique<Source>(owner));
        }
        std::vector<MIDIDestination> destinations() override { return {}; }
        RecordingMIDIService& owner;
    };
    const Clock& clock_;
    mutable std::mutex lock_;
    std::vector<Sent> sent_;
};

}  // namespace tessiva::test
