#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tessiva::test {

// Another application on the JACK server: a libjack client with MIDI input ports that records
// every event it receives, with the steady-clock time its process callback saw it. The process
// callback only writes into a preallocated ring; the test thread reads it.
class JackMIDIReader {
  public:
    struct Event {
        int port = 0;
        std::array<std::uint8_t, 3> bytes{};
        std::uint8_t size = 0;
        std::int64_t arrivalNanos = 0;  // std::chrono::steady_clock
        std::vector<int> data() const { return {bytes.begin(), bytes.begin() + size}; }
    };

    // nullptr with `error` set when the client or a port could not be made.
    static std::unique_ptr<JackMIDIReader> open(const std::string& clientName,
                                                const std::vector<std::string>& portNames,
                                                std::string& error);
    ~JackMIDIReader();
    JackMIDIReader(const JackMIDIReader&) = delete;
    JackMIDIReader& operator=(const JackMIDIReader&) = delete;

    // Connects another client's output ("client:port") to input `port` of this reader.
    bool connectFrom(const std::string& sourcePort, int port);
    // Waits (bounded) until `cycles` more process cycles ran, so that a new connection is live.
    bool waitForCycles(int cycles, double timeoutSeconds);
    // Waits (bounded) until at least `count` events arrived in total; returns those not yet taken.
    std::vector<Event> take(std::size_t count, double timeoutSeconds);
    std::size_t dropped() const { return dropped_.load(); }

  private:
    struct Client;
    JackMIDIReader();
    static int process(std::uint32_t frames, void* self);

    std::vector<Event> ring_;
    std::atomic<std::size_t> written_{0};
    std::atomic<std::size_t> read_{0};
    std::atomic<std::uint64_t> cycles_{0};
    std::atomic<std::size_t> dropped_{0};
    std::unique_ptr<Client> client_;  // last: it stops the process callback before the rest goes
};

}  // namespace tessiva::test
