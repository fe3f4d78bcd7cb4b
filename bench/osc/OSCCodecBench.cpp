// Encode and decode cost of the OSC codec against oscpack and liblo doing the same work, plus
// heap allocations per message (HeapCounter.cpp replaces operator new and malloc).
#include <benchmark/benchmark.h>
#include <lo/lo.h>
#include <oscpack/osc/OscOutboundPacketStream.h>
#include <oscpack/osc/OscReceivedElements.h>

#include <array>

#include "HeapCounter.h"
#include "osc/OSCCodec.h"

namespace tessiva {
namespace {

constexpr const char* kFocusAddress = "/tessiva/bank/focus";
constexpr const char* kKind = "bank";
constexpr const char* kUUID = "5B8E0C8A-3F1D-4C7B-9A2E-6D4F1B0C9E11";
constexpr const char* kTrackName = "Violins 1 Sustain";
constexpr const char* kTargetName = "Strings Long";
constexpr std::int32_t kTrackIndex = 42;
constexpr const char* kText = "<none>";

const std::vector<OSCArgument>& focusArguments() {
    static const std::vector<OSCArgument> arguments = {
        OSCArgument::string(kKind),      OSCArgument::string(kUUID),
        OSCArgument::string(kTrackName), OSCArgument::string(kTargetName),
        OSCArgument::int32(kTrackIndex), OSCArgument::string(kText)};
    return arguments;
}
const std::vector<OSCArgument>& pingArguments() {
    static const std::vector<OSCArgument> arguments = {OSCArgument::int32(12111)};
    return arguments;
}

// Heap allocations per iteration, measured over the timed loop only.
class AllocationCounter {
  public:
    explicit AllocationCounter(benchmark::State& state)
        : state_(state), start_(bench::heapAllocations()) {}
    ~AllocationCounter() {
        const auto used = bench::heapAllocations() - start_;
        state_.counters["allocs/msg"] = benchmark::Counter(
            static_cast<double>(used) / static_cast<double>(state_.iterations()));
    }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

  private:
    benchmark::State& state_;
    std::uint64_t start_;
};

// ---- encode ----

void Tessiva_EncodeFocus(benchmark::State& state) {
    std::vector<std::uint8_t> buffer;
    encodeMessage(kFocusAddress, focusArguments(), buffer);  // warm
    AllocationCounter counter(state);
    for (auto _ : state) {
        buffer.clear();
        encodeMessage(kFocusAddress, focusArguments(), buffer);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
}

void Tessiva_EncodePing(benchmark::State& state) {
    std::vector<std::uint8_t> buffer;
    encodeMessage("/ping", pingArguments(), buffer);
    AllocationCounter counter(state);
    for (auto _ : state) {
        buffer.clear();
        encodeMessage("/ping", pingArguments(), buffer);
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
}

void Oscpack_EncodeFocus(benchmark::State& state) {
    std::array<char, 512> buffer{};
    AllocationCounter counter(state);
    for (auto _ : state) {
        osc::OutboundPacketStream stream(buffer.data(), buffer.size());
        stream << osc::BeginMessage(kFocusAddress) << kKind << kUUID << kTrackName << kTargetName
               << osc::int32(kTrackIndex) << kText << osc::EndMessage;
        benchmark::DoNotOptimize(stream.Data());
        benchmark::ClobberMemory();
    }
}

void Oscpack_EncodePing(benchmark::State& state) {
    std::array<char, 64> buffer{};
    AllocationCounter counter(state);
    for (auto _ : state) {
        osc::OutboundPacketStream stream(buffer.data(), buffer.size());
        stream << osc::BeginMessage("/ping") << osc::int32(12111) << osc::EndMessage;
        benchmark::DoNotOptimize(stream.Data());
        benchmark::ClobberMemory();
    }
}

// liblo encodes from a message object; building it is part of the same work.
void Liblo_EncodeFocus(benchmark::State& state) {
    std::array<char, 512> buffer{};
    AllocationCounter counter(state);
    for (auto _ : state) {
        lo_message message = lo_message_new();
        lo_message_add_string(message, kKind);
        lo_message_add_string(message, kUUID);
        lo_message_add_string(message, kTrackName);
        lo_message_add_string(message, kTargetName);
        lo_message_add_int32(message, kTrackIndex);
        lo_message_add_string(message, kText);
        std::size_t size = buffer.size();
        benchmark::DoNotOptimize(
            lo_message_serialise(message, kFocusAddress, buffer.data(), &size));
        lo_message_free(message);
    }
}

void Liblo_EncodePing(benchmark::State& state) {
    std::array<char, 64> buffer{};
    AllocationCounter counter(state);
    for (auto _ : state) {
        lo_message message = lo_message_new();
        lo_message_add_int32(message, 12111);
        std::size_t size = buffer.size();
        benchmark::DoNotOptimize(lo_message_serialise(message, "/ping", buffer.data(), &size));
        lo_message_free(message);
    }
}

// ---- decode: the address and every argument ----

void readAll(OSCBytes bytes) {
    auto reader = OSCMessageReader::open(bytes);
    benchmark::DoNotOptimize(reader->address().data());
    while (auto argument = reader->next()) {
        if (argument->kind == OSCArgument::Kind::int32) {
            benchmark::DoNotOptimize(argument->int32);
        } else {
            benchmark::DoNotOptimize(argument->string.data());
        }
    }
}

void Tessiva_DecodeFocus(benchmark::State& state) {
    const auto bytes = encodeMessage(kFocusAddress, focusArguments());
    AllocationCounter counter(state);
    for (auto _ : state)
        readAll(bytes);
}

void Tessiva_DecodePing(benchmark::State& state) {
    const auto bytes = encodeMessage("/ping", pingArguments());
    AllocationCounter counter(state);
    for (auto _ : state)
        readAll(bytes);
}

// The helpers the link's handlers call: a vector of views per message.
void Tessiva_DecodeFocusWithHelpers(benchmark::State& state) {
    const auto bytes = encodeMessage(kFocusAddress, focusArguments());
    AllocationCounter counter(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(decodeAddress(bytes));
        benchmark::DoNotOptimize(stringArguments(bytes));
        benchmark::DoNotOptimize(firstInt32Argument(bytes));
    }
}

void oscpackReadAll(const std::vector<std::uint8_t>& bytes) {
    osc::ReceivedPacket packet(reinterpret_cast<const char*>(bytes.data()),
                               static_cast<osc::osc_bundle_element_size_t>(bytes.size()));
    osc::ReceivedMessage message(packet);
    benchmark::DoNotOptimize(message.AddressPattern());
    for (auto argument = message.ArgumentsBegin(); argument != message.ArgumentsEnd(); ++argument) {
        if (argument->IsInt32()) {
            benchmark::DoNotOptimize(argument->AsInt32Unchecked());
        } else if (argument->IsString()) {
            benchmark::DoNotOptimize(argument->AsStringUnchecked());
        }
    }
}

void Oscpack_DecodeFocus(benchmark::State& state) {
    const auto bytes = encodeMessage(kFocusAddress, focusArguments());
    AllocationCounter counter(state);
    for (auto _ : state)
        oscpackReadAll(bytes);
}

void Oscpack_DecodePing(benchmark::State& state) {
    const auto bytes = encodeMessage("/ping", pingArguments());
    AllocationCounter counter(state);
    for (auto _ : state)
        oscpackReadAll(bytes);
}

void libloReadAll(std::vector<std::uint8_t>& bytes) {
    int result = 0;
    benchmark::DoNotOptimize(lo_get_path(bytes.data(), static_cast<ssize_t>(bytes.size())));
    lo_message message = lo_message_deserialise(bytes.data(), bytes.size(), &result);
    const char* types = lo_message_get_types(message);
    lo_arg** argv = lo_message_get_argv(message);
    for (int i = 0; types[i] != '\0'; ++i) {
        if (types[i] == 'i') {
            benchmark::DoNotOptimize(argv[i]->i);
        } else {
            benchmark::DoNotOptimize(&argv[i]->s);
        }
    }
    lo_message_free(message);
}

void Liblo_DecodeFocus(benchmark::State& state) {
    auto bytes = encodeMessage(kFocusAddress, focusArguments());
    AllocationCounter counter(state);
    for (auto _ : state)
        libloReadAll(bytes);
}

void Liblo_DecodePing(benchmark::State& state) {
    auto bytes = encodeMessage("/ping", pingArguments());
    AllocationCounter counter(state);
    for (auto _ : state)
        libloReadAll(bytes);
}

BENCHMARK(Tessiva_EncodeFocus);
BENCHMARK(Oscpack_EncodeFocus);
BENCHMARK(Liblo_EncodeFocus);
BENCHMARK(Tessiva_EncodePing);
BENCHMARK(Oscpack_EncodePing);
BENCHMARK(Liblo_EncodePing);
BENCHMARK(Tessiva_DecodeFocus);
BENCHMARK(Tessiva_DecodeFocusWithHelpers);
BENCHMARK(Oscpack_DecodeFocus);
BENCHMARK(Liblo_DecodeFocus);
BENCHMARK(Tessiva_DecodePing);
BENCHMARK(Oscpack_DecodePing);
BENCHMARK(Liblo_DecodePing);

}  // namespace
}  // namespace tessiva

BENCHMARK_MAIN();
