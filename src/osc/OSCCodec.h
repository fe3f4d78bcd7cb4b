#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "osc/OSCArgument.h"

namespace tessiva {

// The OSC 1.0 wire form of one plain message (no bundles, no blobs): address, type-tag string,
// arguments. Pure functions, thread-safe, used by OSCManager on the way out and by the iPad link
// on the way in.
//
// Decoding reads a received datagram in place: returned string_views point into `data` and are
// valid only while it is. Every decoder returns nullopt on any fault (truncation, missing NUL or
// pad bytes, invalid UTF-8, a type-tag string without ',', an unknown tag, an empty address) and
// never throws.

using OSCBytes = std::span<const std::uint8_t>;

inline OSCBytes oscBytes(std::string_view data) {
    return {reinterpret_cast<const std::uint8_t*>(data.data()), data.size()};
}

// ---- Encoding ----

// Bytes that encodeMessage produces for this message.
std::size_t encodedMessageSize(std::string_view address, std::span<const OSCArgument> arguments);
// Appends the message to `out`. With a warm buffer (cleared, capacity kept) nothing is allocated.
void encodeMessage(std::string_view address, std::span<const OSCArgument> arguments,
                   std::vector<std::uint8_t>& out);
std::vector<std::uint8_t> encodeMessage(std::string_view address,
                                        std::span<const OSCArgument> arguments);
std::vector<std::uint8_t> encodeMessage(std::string_view address,
                                        std::initializer_list<OSCArgument> arguments);

// ---- Decoding ----

// The padded string at `offset`; `offset` moves past its pad bytes only on success.
inline std::optional<std::string_view> readPaddedString(OSCBytes data, std::size_t& offset);
// The big-endian int32 at `offset`; `offset` moves by 4 only on success.
inline std::optional<std::int32_t> readInt32(OSCBytes data, std::size_t& offset);

// The message's address (its first padded string; may be empty here, callers check).
std::optional<std::string_view> decodeAddress(OSCBytes data);
inline std::optional<std::string_view> decodeAddress(std::string_view data) {
    return decodeAddress(oscBytes(data));
}

// Every 's' argument in order, skipping 'i' and 'f'.
std::optional<std::vector<std::string_view>> stringArguments(OSCBytes data);
inline std::optional<std::vector<std::string_view>> stringArguments(std::string_view data) {
    return stringArguments(oscBytes(data));
}

// The first argument when it is an 'i'; a message whose first tag is anything else is absent.
std::optional<std::int32_t> firstInt32Argument(OSCBytes data);
inline std::optional<std::int32_t> firstInt32Argument(std::string_view data) {
    return firstInt32Argument(oscBytes(data));
}

// The first 's' argument that is not blank once trimmed of white space and newlines, trimmed.
std::optional<std::string> firstNonEmptyStringArgument(OSCBytes data);
inline std::optional<std::string> firstNonEmptyStringArgument(std::string_view data) {
    return firstNonEmptyStringArgument(oscBytes(data));
}

// Every argument, copied out (mirrored MIDI and the other handlers that need typed values).
std::optional<std::vector<OSCArgument>> decodeArguments(OSCBytes data);
inline std::optional<std::vector<OSCArgument>> decodeArguments(std::string_view data) {
    return decodeArguments(oscBytes(data));
}

// The log form: "[i:12111, s:Bass, f:120.0]"; "[]" when empty.
std::string describeArguments(std::span<const OSCArgument> arguments);
// A float's default decimal form: shortest digits, always a fraction ("120.0"), exponent form
// below 1e-4 and above 2^24 ("1e-05", "3.4028235e+38"), "nan", "inf", "-inf".
std::string describeFloat(float value);

// High-rate traffic that is not echoed to the console (mirrored MIDI, runs, the handshake).
bool isHeartbeatAddress(std::string_view address);

// One argument read in place by OSCMessageReader.
struct OSCArgumentView {
    OSCArgument::Kind kind = OSCArgument::Kind::int32;
    std::int32_t int32 = 0;
    float float32 = 0;
    std::string_view string;
};

// Zero-copy reader over one datagram: checks the address (non-empty) and the type-tag string
// (leading ','), then yields the arguments one by one without allocating.
class OSCMessageReader {
  public:
    // Absent when the address or the type-tag string cannot be read.
    static std::optional<OSCMessageReader> open(OSCBytes data);

    std::string_view address() const { return address_; }
    // The tags after the ','.
    std::string_view typeTags() const { return tags_; }
    // The next argument; nullopt at the end or on a fault (then failed() is true).
    std::optional<OSCArgumentView> next();
    bool failed() const { return failed_; }
    bool atEnd() const { return nextTag_ >= tags_.size(); }

  private:
    OSCMessageReader(OSCBytes data, std::string_view address, std::string_view tags,
                     std::size_t offset)
        : data_(data), address_(address), tags_(tags), offset_(offset) {}

    OSCBytes data_;
    std::string_view address_;
    std::string_view tags_;
    std::size_t offset_ = 0;
    std::size_t nextTag_ = 0;
    bool failed_ = false;
};

// Strict UTF-8 (no overlong forms, surrogates or code points past U+10FFFF).
bool isValidUTF8(std::string_view text);

// ---- Inline hot path: every received datagram goes through these ----

namespace osc_detail {

inline constexpr std::uint64_t kLowBits = 0x0101010101010101ULL;
inline constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// Finds the terminating NUL from `begin` in one pass of eight bytes at a time, and clears `ascii`
// when a byte with the high bit set was seen on the way. Null when there is no NUL before `end`.
inline const std::uint8_t* findTerminator(const std::uint8_t* begin, const std::uint8_t* end,
                                          bool& ascii) {
    const std::uint8_t* cursor = begin;
    ascii = true;
    if constexpr (std::endian::native == std::endian::little) {
        while (end - cursor >= 8) {
            std::uint64_t word;
            std::memcpy(&word, cursor, 8);
            // The lowest flagged byte is exactly the first zero byte (higher flags may be false).
            const std::uint64_t zeros = (word - kLowBits) & ~word & kHighBits;
            // Bytes past the NUL count too: a false "not ASCII" only costs a full UTF-8 check.
            if (word & kHighBits)
                ascii = false;
            if (zeros != 0)
                return cursor + std::countr_zero(zeros) / 8;
            cursor += 8;
        }
    }
    for (; cursor < end; ++cursor) {
        if (*cursor == 0)
            return cursor;
        if (*cursor & 0x80)
            ascii = false;
    }
    return nullptr;
}

inline std::uint32_t readBigEndian(const std::uint8_t* in) {
    return (std::uint32_t{in[0]} << 24) | (std::uint32_t{in[1]} << 16) |
           (std::uint32_t{in[2]} << 8) | std::uint32_t{in[3]};
}

}  // namespace osc_detail

inline std::optional<std::string_view> readPaddedString(OSCBytes data, std::size_t& offset) {
    if (offset >= data.size())
        return std::nullopt;
    bool ascii = true;
    const std::uint8_t* zero =
        osc_detail::findTerminator(data.data() + offset, data.data() + data.size(), ascii);
    if (zero == nullptr)
        return std::nullopt;
    const auto zeroIndex = static_cast<std::size_t>(zero - data.data());
    // The pad bytes must be there even though the text is terminated.
    const std::size_t next = (zeroIndex + 4) & ~std::size_t{3};
    if (next > data.size())
        return std::nullopt;
    const std::string_view text(reinterpret_cast<const char*>(data.data()) + offset,
                                zeroIndex - offset);
    if (!ascii && !isValidUTF8(text))
        return std::nullopt;
    offset = next;
    return text;
}

inline std::optional<std::int32_t> readInt32(OSCBytes data, std::size_t& offset) {
    if (offset > data.size() || data.size() - offset < 4)
        return std::nullopt;
    const auto value = static_cast<std::int32_t>(osc_detail::readBigEndian(data.data() + offset));
    offset += 4;
    return value;
}

inline std::optional<OSCMessageReader> OSCMessageReader::open(OSCBytes data) {
    std::size_t offset = 0;
    const auto address = readPaddedString(data, offset);
    if (!address || address->empty())
        return std::nullopt;
    const auto tags = readPaddedString(data, offset);
    if (!tags || tags->empty() || tags->front() != ',')
        return std::nullopt;
    return OSCMessageReader(data, *address, tags->substr(1), offset);
}

inline std::optional<OSCArgumentView> OSCMessageReader::next() {
    if (failed_ || atEnd())
        return std::nullopt;
    OSCArgumentView view;
    switch (tags_[nextTag_]) {
        case 'i':
            if (auto value = readInt32(data_, offset_)) {
                view.kind = OSCArgument::Kind::int32;
                view.int32 = *value;
                ++nextTag_;
                return view;
            }
            break;
        case 'f':
            if (auto value = readInt32(data_, offset_)) {
                view.kind = OSCArgument::Kind::float32;
                view.float32 = std::bit_cast<float>(*value);
                ++nextTag_;
                return view;
            }
            break;
        case 's':
            if (auto value = readPaddedString(data_, offset_)) {
                view.kind = OSCArgument::Kind::string;
                view.string = *value;
                ++nextTag_;
                return view;
            }
            break;
        default:
            break;  // blobs and every other tag are refused
    }
    failed_ = true;
    return std::nullopt;
}

}  // namespace tessiva
