#include "osc/OSCTransmitEcho.h"

#include "osc/OSCCodec.h"

namespace tessiva {
namespace {

constexpr std::string_view kMissing = "<missing>";
constexpr std::string_view kUnknown = "<unknown>";

class Fields {
  public:
    explicit Fields(std::span<const OSCArgument> arguments) : arguments_(arguments) {}

    std::string text(std::size_t position) const {
        const std::string* value = at(position) ? at(position)->asString() : nullptr;
        return value ? *value : std::string(kMissing);
    }
    // The UTF-8 size of a text argument (payloads are summarised, never printed).
    std::string byteCount(std::size_t position) const {
        const std::string* value = at(position) ? at(position)->asString() : nullptr;
        return value ? std::to_string(value->size()) : std::string(kMissing);
    }
    std::string integer(std::size_t position, std::int64_t plus = 0,
                        std::string_view absent = kMissing) const {
        const std::int32_t* value = at(position) ? at(position)->asInt32() : nullptr;
        return value ? std::to_string(std::int64_t{*value} + plus) : std::string(absent);
    }

  private:
    const OSCArgument* at(std::size_t position) const {
        return position < arguments_.size() ? &arguments_[position] : nullptr;
    }
    std::span<const OSCArgument> arguments_;
};

std::optional<std::string> importSummary(std::string_view address,
                                         std::span<const OSCArgument> arguments) {
    const Fields fields(arguments);
    std::string line = "OSC TX: " + std::string(address);
    if (address == kArticulationSetImportAddress) {
        return line + " [file=" + fields.text(0) + ", transferID=" + fields.text(1) +
               ", payloadBytes=" + fields.byteCount(2) + "]";
    }
    if (address == kArticulationSetImportBeginAddress) {
        return line + " [file=" + fields.text(0) + ", transferID=" + fields.text(1) +
               ", payloadBytes=" + fields.integer(2) +
               ", chunks=" + fields.integer(3, 0, kUnknown) + "]";
    }
    if (address == kArticulationSetImportChunkAddress) {
        return line + " [transferID=" + fields.text(0) + ", chunk=" + fields.integer(1, 1) +
               ", chunks=" + fields.integer(2, 0, kUnknown) +
               ", chunkBytes=" + fields.byteCount(3) + "]";
    }
    if (address == kArticulationSetImportEndAddress) {
        return line + " [transferID=" + fields.text(0) +
               ", chunks=" + fields.integer(1, 0, kUnknown) + "]";
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> transmitEchoLine(std::string_view address,
                                            std::span<const OSCArgument> arguments,
                                            bool logHeartbeatTraffic) {
    if (auto summary = importSummary(address, arguments))
        return summary;
    if (isHeartbeatAddress(address) && !logHeartbeatTraffic)
        return std::nullopt;
    return "OSC TX: " + std::string(address) + " " + describeArguments(arguments);
}

}  // namespace tessiva
