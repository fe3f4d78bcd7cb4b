// Feeds arbitrary datagrams to every OSC decoding function. Decoders must never crash, read out
// of bounds or throw; whatever they accept must survive an encode/decode round trip.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "osc/OSCCodec.h"

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

bool inside(tessiva::OSCBytes data, std::string_view text) {
    const auto* begin = reinterpret_cast<const char*>(data.data());
    return text.empty() ||
           (text.data() >= begin && text.data() + text.size() <= begin + data.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace tessiva;
    const OSCBytes data(bytes, size);

    for (std::size_t start = 0; start <= size && start < 64; ++start) {
        std::size_t offset = start;
        if (auto text = readPaddedString(data, offset)) {
            check(offset % 4 == 0 && offset <= size && offset > start && inside(data, *text));
            check(isValidUTF8(*text));
        } else {
            check(offset == start);
        }
        offset = start;
        if (readInt32(data, offset))
            check(offset == start + 4 && offset <= size);
    }

    const auto address = decodeAddress(data);
    if (address)
        check(inside(data, *address));
    const auto strings = stringArguments(data);
    const auto integer = firstInt32Argument(data);
    const auto name = firstNonEmptyStringArgument(data);
    const auto arguments = decodeArguments(data);

    // The helpers agree with each other.
    check(strings.has_value() == arguments.has_value());
    if (name)
        check(strings.has_value() && !name->empty());
    if (integer)
        check(address && !address->empty());
    if (arguments) {
        check(address && !address->empty());
        std::size_t nextString = 0;
        for (const OSCArgument& argument : *arguments) {
            if (const std::string* text = argument.asString()) {
                check(nextString < strings->size() && (*strings)[nextString++] == *text);
            }
        }
        check(nextString == strings->size());
        for (std::string_view text : *strings)
            check(inside(data, text));
        if (!arguments->empty() && arguments->front().asInt32())
            check(integer == *arguments->front().asInt32());

        // Accepted messages survive a round trip.
        const auto encoded = encodeMessage(*address, *arguments);
        check(encoded.size() == encodedMessageSize(*address, *arguments));
        check(encoded.size() <= size);
        const auto again = decodeArguments(encoded);
        check(again.has_value() && again->size() == arguments->size());
        for (std::size_t i = 0; i < again->size(); ++i) {
            const auto* before = (*arguments)[i].asFloat32();
            const auto* after = (*again)[i].asFloat32();
            if (before && after) {
                check(std::memcmp(before, after, sizeof(float)) == 0);  // NaN payloads too
            } else {
                check((*arguments)[i] == (*again)[i]);
            }
        }
        check(decodeAddress(encoded) == address);
        (void)describeArguments(*arguments);
    }

    if (auto reader = OSCMessageReader::open(data)) {
        while (auto argument = reader->next()) {
            if (argument->kind == OSCArgument::Kind::string)
                check(inside(data, argument->string));
        }
        check(reader->failed() || reader->atEnd());
        check(reader->failed() != arguments.has_value());
    } else {
        check(!arguments);
    }
    return 0;
}
