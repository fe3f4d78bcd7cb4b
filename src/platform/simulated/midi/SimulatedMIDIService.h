#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/midi/MIDIService.h"

namespace tessiva {

// Operations of the in-memory MIDI service that can be made to fail on demand.
enum class SimulatedMIDIOperation {
    createClient,
    createOutputPort,
    createVirtualSource,
    send,
    emit
};
inline constexpr std::string_view kSimulatedMIDIOperationNames[] = {
    "createClient", "createOutputPort", "createVirtualSource", "send", "emit"};
static_assert(std::size(kSimulatedMIDIOperationNames) ==
                  static_cast<std::size_t>(SimulatedMIDIOperation::emit) + 1,
              "one name per SimulatedMIDIOperation");

// An in-memory MIDI service: destinations exist because the test (or the simulated build) says
// so, every message sent to a destination or emitted from a virtual source is recorded, and any
// operation can be made to fail with a chosen status. Thread-safe; clients, ports and sources
// may outlive it. It is the MIDI backend of unit tests and of the simulated Linux build.
class SimulatedMIDIService final : public MIDIService {
  public:
    struct SentMessage {
        std::string clientName;
        std::string portName;
        std::uint64_t destinationId = 0;
        std::string destinationName;
        std::vector<std::uint8_t> bytes;
        bool operator==(const SentMessage&) const = default;
    };
    struct EmittedMessage {
        std::string clientName;
        std::string sourceName;
        std::vector<std::uint8_t> bytes;
        bool operator==(const EmittedMessage&) const = default;
    };

    SimulatedMIDIService();
    ~SimulatedMIDIService() override;
    SimulatedMIDIService(const SimulatedMIDIService&) = delete;
    SimulatedMIDIService& operator=(const SimulatedMIDIService&) = delete;

    MIDICreation<MIDIClient> createClient(const std::string& name) override;

    // Adds a destination at the end of the enumeration order and returns its id.
    std::uint64_t addDestination(std::string name);
    void removeDestination(std::uint64_t id);
    // From now on `operation` fails with `status`; kNoError makes it succeed again.
    void setFailure(SimulatedMIDIOperation operation, MIDIStatusCode status);

    std::vector<SentMessage> sentMessages() const;
    std::vector<EmittedMessage> emittedMessages() const;
    std::size_t emittedCount() const;
    // Names of the clients and virtual sources that currently exist.
    std::vector<std::string> clientNames() const;
    std::vector<std::string> virtualSourceNames() const;
    void clearRecords();

  private:
    struct State;
    class Client;
    class OutputPort;
    class VirtualSource;
    std::shared_ptr<State> state_;
};

}  // namespace tessiva
