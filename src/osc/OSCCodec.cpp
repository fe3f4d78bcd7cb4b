#include "osc/OSCCodec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "runtime/Text.h"

namespace tessiva {
namespace {

// Text, one NUL, then NULs up to the next multiple of 4.
constexpr std::size_t paddedSize(std::size_t textSize) {
    return (textSize + 4) & ~std::size_t{3};
}

std::uint8_t* writePaddedString(std::uint8_t* out, std::string_view text) {
    if (!text.empty())
        std::memcpy(out, text.data(), text.size());
    const std::size_t total = paddedSize(text.size());
    std::memset(out + text.size(), 0, total - text.size());
    return out + total;
}

std::uint8_t* writeBigEndian(std::uint8_t* out, std::uint32_t value) {
    out[0] = static_cast<std::uint8_t>(value >> 24);
    out[1] = static_cast<std::uint8_t>(value >> 16);
    out[2] = static_cast<std::uint8_t>(value >> 8);
    out[3] = static_cast<std::uint8_t>(value);
    return out + 4;
}

bool isContinuation(std::uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

bool isValidUTF8(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const std::size_t size = text.size();
    std::size_t i = 0;
    while (i < size) {
        // Plain ASCII runs are the common case: check eight bytes at a time.
        while (i + 8 <= size) {
            std::uint64_t word;
            std::memcpy(&word, bytes + i, 8);
            if (word & 0x8080808080808080ULL)
                break;
            i += 8;
        }
        if (i >= size)
            break;
        const std::uint8_t lead = bytes[i];
        if (lead < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        std::uint8_t low = 0x80;
        std::uint8_t high = 0xBF;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            if (lead == 0xE0)
                low = 0xA0;  // overlong
            if (lead == 0xED)
                high = 0x9F;  // surrogates
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            if (lead == 0xF0)
                low = 0x90;  // overlong
            if (lead == 0xF4)
                high = 0x8F;  // past U+10FFFF
        } else {
            return false;
        }
        if (i + length > size)
            return false;
        if (bytes[i + 1] < low || bytes[i + 1] > high)
            return false;
        for (std::size_t k = 2; k < length; ++k) {
            if (!isContinuation(bytes[i + k]))
                return false;
        }
        i += length;
    }
    return true;
}

std::size_t encodedMessageSize(std::string_view address, std::span<const OSCArgument> arguments) {
    std::size_t size = paddedSize(address.size()) + paddedSize(1 + arguments.size());
    for (const OSCArgument& argument : arguments) {
        if (const std::string* text = argument.asString()) {
            size += paddedSize(text->size());
        } else {
            size += 4;
        }
    }
    return size;
}

void encodeMessage(std::string_view address, std::span<const OSCArgument> arguments,
                   std::vector<std::uint8_t>& out) {
    const std::size_t start = out.size();
    const std::size_t tagsSize = paddedSize(1 + arguments.size());
    out.resize(start + encodedMessageSize(address, arguments));
    std::uint8_t* cursor = writePaddedString(out.data() + start, address);

    // The type-tag string, written in place; resize left the pad bytes zero.
    *cursor = ',';
    for (std::size_t i = 0; i < arguments.size(); ++i)
        cursor[1 + i] = typeTag(arguments[i].kind());
    std::memset(cursor + 1 + arguments.size(), 0, tagsSize - 1 - arguments.size());
    cursor += tagsSize;

    for (const OSCArgument& argument : arguments) {
        if (const std::int32_t* integer = argument.asInt32()) {
            cursor = writeBigEndian(cursor, static_cast<std::uint32_t>(*integer));
        } else if (const float* real = argument.asFloat32()) {
            cursor = writeBigEndian(cursor, std::bit_cast<std::uint32_t>(*real));
        } else {
            cursor = writePaddedString(cursor, *argument.asString());
        }
    }
}

std::vector<std::uint8_t> encodeMessage(std::string_view address,
                                        std::span<const OSCArgument> arguments) {
    std::vector<std::uint8_t> bytes;
    encodeMessage(address, arguments, bytes);
    return bytes;
}

std::vector<std::uint8_t> encodeMessage(std::string_view address,
                                        std::initializer_list<OSCArgument> arguments) {
    return encodeMessage(address,
                         std::span<const OSCArgument>(arguments.begin(), arguments.size()));
}

std::optional<std::string_view> decodeAddress(OSCBytes data) {
    std::size_t offset = 0;
    return readPaddedString(data, offset);
}

std::optional<std::vector<std::string_view>> stringArguments(OSCBytes data) {
    auto reader = OSCMessageReader::open(data);
    if (!reader)
        return std::nullopt;
    std::vector<std::string_view> strings;
    const auto tags = reader->typeTags();
    strings.reserve(static_cast<std::size_t>(std::count(tags.begin(), tags.end(), 's')));
    while (auto argument = reader->next()) {
        if (argument->kind == OSCArgument::Kind::string)
            strings.push_back(argument->string);
    }
    if (reader->failed())
        return std::nullopt;
    return strings;
}

std::optional<std::int32_t> firstInt32Argument(OSCBytes data) {
    auto reader = OSCMessageReader::open(data);
    if (!reader || reader->typeTags().empty() || reader->typeTags().front() != 'i') {
        return std::nullopt;
    }
    const auto argument = reader->next();
    if (!argument)
        return std::nullopt;
    return argument->int32;
}

std::optional<std::string> firstNonEmptyStringArgument(OSCBytes data) {
    auto reader = OSCMessageReader::open(data);
    if (!reader)
        return std::nullopt;
    std::optional<std::string> found;
    // The whole message must decode, so keep reading after the first hit.
    while (auto argument = reader->next()) {
        if (found || argument->kind != OSCArgument::Kind::string)
            continue;
        std::string trimmedText = text::trimmed(argument->string);
        if (!trimmedText.empty())
            found = std::move(trimmedText);
    }
    if (reader->failed())
        return std::nullopt;
    return found;
}

std::optional<std::vector<OSCArgument>> decodeArguments(OSCBytes data) {
    auto reader = OSCMessageReader::open(data);
    if (!reader)
        return std::nullopt;
    std::vector<OSCArgument> arguments;
    arguments.reserve(reader->typeTags().size());
    while (auto argument = reader->next()) {
        switch (argument->kind) {
            case OSCArgument::Kind::int32:
                arguments.push_back(OSCArgument::int32(argument->int32));
                break;
            case OSCArgument::Kind::string:
                arguments.push_back(OSCArgument::string(std::string(argument->string)));
                break;
            case OSCArgument::Kind::float32:
                arguments.push_back(OSCArgument::float32(argument->float32));
                break;
        }
    }
    if (reader->failed())
        return std::nullopt;
    return arguments;
}

std::string describeFloat(float value) {
    if (std::isnan(value))
        return "nan";
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    if (value == 0)
        return std::signbit(value) ? "-0.0" : "0.0";

    // Shortest round-trip digits and the decimal exponent, from the scientific form.
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                      std::chars_format::scientific);
    const std::string_view scientific(buffer.data(),
                                      static_cast<std::size_t>(result.ptr - buffer.data()));
    const std::size_t e = scientific.find('e');
    std::string digits;
    bool negative = false;
    for (char c : scientific.substr(0, e)) {
        if (c == '-')
            negative = true;
        if (c >= '0' && c <= '9')
            digits.push_back(c);
    }
    int exponent = 0;
    const std::string_view exponentText = scientific.substr(e + 1);
    std::from_chars(exponentText.data() + (exponentText.front() == '+' ? 1 : 0),
                    exponentText.data() + exponentText.size(), exponent);

    std::string out = negative ? "-" : "";
    const float magnitude = std::fabs(value);
    if (magnitude < 1e-4f || magnitude > 16777216.0f) {
        out += digits.substr(0, 1);
        if (digits.size() > 1)
            out += "." + digits.substr(1);
        out += exponent < 0 ? "e-" : "e+";
        const int absolute = exponent < 0 ? -exponent : exponent;
        if (absolute < 10)
            out += '0';
        out += std::to_string(absolute);
        return out;
    }
    if (exponent < 0) {
        out += "0.";
        out.append(static_cast<std::size_t>(-exponent - 1), '0');
        out += digits;
        return out;
    }
    const auto integerDigits = static_cast<std::size_t>(exponent) + 1;
    if (digits.size() <= integerDigits) {
        out += digits;
        out.append(integerDigits - digits.size(), '0');
        out += ".0";
    } else {
        out += digits.substr(0, integerDigits) + "." + digits.substr(integerDigits);
    }
    return out;
}

std::string describeArguments(std::span<const OSCArgument> arguments) {
    std::string out = "[";
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (i > 0)
            out += ", ";
        const OSCArgument& argument = arguments[i];
        if (const std::int32_t* integer = argument.asInt32()) {
            out += "i:" + std::to_string(*integer);
        } else if (const std::string* text = argument.asString()) {
            out += "s:" + *text;
        } else {
            out += "f:" + describeFloat(*argument.asFloat32());
        }
    }
    out += "]";
    return out;
}

bool isHeartbeatAddress(std::string_view address) {
    static constexpr std::array<std::string_view, 5> kHeartbeat = {
        "/tessiva/midi/event", "/tessiva/midi/run/schedule", "/tessiva/midi/run/cancel", "/ping",
        "/pong"};
    for (std::string_view candidate : kHeartbeat) {
        if (address == candidate)
            return true;
    }
    return false;
}

}  // namespace tessiva
