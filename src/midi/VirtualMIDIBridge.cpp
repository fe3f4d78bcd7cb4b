#include "midi/VirtualMIDIBridge.h"

#include <fmt/format.h>

#include <array>
#include <string>

#include "midi/MIDIMessage.h"
#include "platform/midi/MIDIService.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

namespace {

constexpr const char* kSourceFailedTitle = "Virtual MIDI source failed";
constexpr const char* kSourceCreatedTitle = "Virtual MIDI source created";
constexpr const char* kSendFailedTitle = "Virtual MIDI send failed";
constexpr std::uint64_t kActiveLineInterval = 250;

// Formats into a fixed buffer so that a console line on the send path does not allocate.
class LineBuffer {
  public:
    template <typename... Args>
    std::string_view format(fmt::format_string<Args...> pattern, Args&&... args) {
        auto result =
            fmt::format_to_n(buffer_.data(), buffer_.size(), pattern, std::forward<Args>(args)...);
        return {buffer_.data(), std::min(result.size, buffer_.size())};
    }

  private:
    std::array<char, 192> buffer_{};
};

// "noteOn channel=1 data1=60 data2=100", with the channel as musicians count it.
constexpr const char* kEventPattern = "{} channel={} data1={} data2={}";

}  // namespace

VirtualMIDIBridge::VirtualMIDIBridge(MIDIService& service, NotificationCenter& center,
                                     Console& console)
    : service_(service), center_(center), console_(console) {}

VirtualMIDIBridge::~VirtualMIDIBridge() = default;

bool VirtualMIDIBridge::start() {
    if (isStarted())
        return true;
    if (!client_) {
        auto client = service_.createClient(std::string(kClientName));
        if (!client.ok()) {
            const auto status = std::to_string(client.status);
            console_.line("[VirtualMIDIBridge] MIDIClientCreate failed: " + status);
            postDebugEvent(center_, kSourceFailedTitle,
                           "MIDIClientCreate failed with status " + status);
            return false;
        }
        client_ = std::move(client.object);
    }
    auto source = client_->createVirtualSource(std::string(sourceName));
    if (!source.ok()) {
        const auto status = std::to_string(source.status);
        console_.line("[VirtualMIDIBridge] MIDISourceCreate failed: " + status);
        postDebugEvent(center_, kSourceFailedTitle,
                       "MIDISourceCreate failed with status " + status);
        return false;
    }
    source_ = std::move(source.object);
    isStarted_.store(true, std::memory_order_release);
    console_.line("[VirtualMIDIBridge] Created virtual MIDI source: " + std::string(sourceName));
    postDebugEvent(center_, kSourceCreatedTitle,
                   "Created CoreMIDI source \u201c" + std::string(sourceName) +
                       "\u201d. Logic can receive mirrored iPad MIDI from this source while "
                       "Tessiva Focus is running.");
    return true;
}

bool VirtualMIDIBridge::mirror(std::string_view typeName, std::int32_t channel, std::int32_t data1,
                               std::int32_t data2) {
    const auto decoded = decodeMirroredMIDIEvent(typeName, channel, data1, data2);
    if (!decoded.event) {
        console_.line("[VirtualMIDIBridge] " + decoded.skippedDetail);
        postDebugEvent(center_, kMirroredMIDISkippedTitle, decoded.skippedDetail);
        return false;
    }
    return send(*decoded.event);
}

bool VirtualMIDIBridge::send(MIDIEventKind kind, std::uint8_t channel, std::uint8_t data1,
                             std::uint8_t data2) {
    if (!isStarted()) {
        if (!reportedUnstarted_.exchange(true)) {
            console_.line(
                "[VirtualMIDIBridge] Dropping mirrored MIDI: the virtual source "
                "does not exist.");
        }
        return false;
    }
    const MIDIMessage message = MIDIMessage::channelMessage(kind, channel, data1, data2);
    const int shownChannel = (message.bytes[0] & 0x0F) + 1;
    const int shownData1 = message.bytes[1];
    const int shownData2 = message.size > 2 ? message.bytes[2] : clampedMIDIData(data2);
    LineBuffer line;
    MIDIStatusCode status = 0;
    {
        std::lock_guard guard(emitLock_);
        status = source_->emit(message.view());
    }
    if (status) {
        console_.line(line.format("[VirtualMIDIBridge] MIDIReceived failed: {}", status));
        postDebugEvent(center_, kSendFailedTitle,
                       fmt::format("MIDIReceived failed with status {} for {}", status,
                                   fmt::format(kEventPattern, nameOf(kind), shownChannel,
                                               shownData1, shownData2)));
        return false;
    }
    const std::uint64_t count = mirroredEventCount_.fetch_add(1, std::memory_order_relaxed) + 1;
    if (count == 1 || count % kActiveLineInterval == 0) {
        console_.line(line.format(
            "[VirtualMIDIBridge] Mirrored MIDI active: {} events sent. latest={} channel={} "
            "data1={} data2={}",
            count, nameOf(kind), shownChannel, shownData1, shownData2));
    } else if constexpr (verboseMirroredMIDILogging) {
        console_.line(line.format("[VirtualMIDIBridge] Mirrored {} channel={} data1={} data2={}",
                                  nameOf(kind), shownChannel, shownData1, shownData2));
    }
    return true;
}

bool VirtualMIDIBridge::emitScheduled(const MIDIMessage& message) {
    if (!isStarted())
        return false;
    std::lock_guard guard(emitLock_);
    return source_->emit(message.view()) == 0;
}

}  // namespace tessiva
