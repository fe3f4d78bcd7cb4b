#include "JackMIDIReader.h"

#include <jack/jack.h>
#include <jack/midiport.h>

#include <chrono>
#include <thread>

namespace tessiva::test {

namespace {
using Clock = std::chrono::steady_clock;
constexpr std::size_t kRingCapacity = 1 << 15;

// Polls `done` until it holds or `timeoutSeconds` pass; its last answer.
template <typename Done>
bool waitUntil(Done done, double timeoutSeconds) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (!done() && Clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return done();
}
}  // namespace

struct JackMIDIReader::Client {
    jack_client_t* client = nullptr;
    std::vector<jack_port_t*> ports;
    ~Client() {
        if (client) {
            jack_deactivate(client);
            jack_client_close(client);
        }
    }
};

JackMIDIReader::JackMIDIReader() : ring_(kRingCapacity), client_(std::make_unique<Client>()) {}
JackMIDIReader::~JackMIDIReader() = default;

std::unique_ptr<JackMIDIReader> JackMIDIReader::open(const std::string& clientName,
                                                     const std::vector<std::string>& portNames,
                                                     std::string& error) {
    std::unique_ptr<JackMIDIReader> reader(new JackMIDIReader());
    jack_status_t status{};
    reader->client_->client = jack_client_open(clientName.c_str(), JackNoStartServer, &status);
    if (!reader->client_->client) {
        error = "jack_client_open failed with status " + std::to_string(status);
        return nullptr;
    }
    for (const auto& name : portNames) {
        jack_port_t* port = jack_port_register(reader->client_->client, name.c_str(),
                                               JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
        if (!port) {
            error = "could not register MIDI input port " + name;
            return nullptr;
        }
        reader->client_->ports.push_back(port);
    }
    jack_set_process_callback(reader->client_->client, &JackMIDIReader::process, reader.get());
    if (jack_activate(reader->client_->client) != 0) {
        error = "jack_activate failed";
        return nullptr;
    }
    return reader;
}

int JackMIDIReader::process(std::uint32_t frames, void* self) {
    auto* reader = static_cast<JackMIDIReader*>(self);
    const auto now =
        std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
            .count();
    for (std::size_t p = 0; p < reader->client_->ports.size(); ++p) {
        void* buffer = jack_port_get_buffer(reader->client_->ports[p], frames);
        const std::uint32_t count = jack_midi_get_event_count(buffer);
        for (std::uint32_t i = 0; i < count; ++i) {
            jack_midi_event_t event;
            if (jack_midi_event_get(&event, buffer, i) != 0)
                continue;
            const std::size_t at = reader->written_.load(std::memory_order_relaxed);
            if (at - reader->read_.load(std::memory_order_acquire) >= kRingCapacity ||
                event.size > 3) {
                reader->dropped_.fetch_add(1);
                continue;
            }
            Event& slot = reader->ring_[at % kRingCapacity];
            slot.port = static_cast<int>(p);
            slot.size = static_cast<std::uint8_t>(event.size);
            for (std::size_t b = 0; b < event.size; ++b)
                slot.bytes[b] = event.buffer[b];
            slot.arrivalNanos = now;
            reader->written_.store(at + 1, std::memory_order_release);
        }
    }
    reader->cycles_.fetch_add(1, std::memory_order_release);
    return 0;
}

bool JackMIDIReader::connectFrom(const std::string& sourcePort, int port) {
    return jack_connect(client_->client, sourcePort.c_str(),
                        jack_port_name(client_->ports.at(static_cast<std::size_t>(port)))) == 0;
}

bool JackMIDIReader::waitForCycles(int cycles, double timeoutSeconds) {
    const auto target =
        cycles_.load(std::memory_order_acquire) + static_cast<std::uint64_t>(cycles);
    return waitUntil([&] { return cycles_.load(std::memory_order_acquire) >= target; },
                     timeoutSeconds);
}

std::vector<JackMIDIReader::Event> JackMIDIReader::take(std::size_t count, double timeoutSeconds) {
    waitUntil([&] { return written_.load(std::memory_order_acquire) >= count; }, timeoutSeconds);
    const std::size_t end = written_.load(std::memory_order_acquire);
    std::vector<Event> events;
    std::size_t next = read_.load(std::memory_order_relaxed);
    for (; next < end; ++next)
        events.push_back(ring_[next % kRingCapacity]);
    read_.store(next, std::memory_order_release);
    return events;
}

}  // namespace tessiva::test
