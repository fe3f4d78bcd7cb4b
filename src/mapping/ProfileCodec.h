#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "mapping/MappingProfileSnapshot.h"

namespace tessiva {

// Why a profile could not be decoded: either the JSON itself is malformed (byteOffset, counted
// from 0) or a key holds the wrong thing (key path such as
// "oscBankFocusMappingsByTrackIndex.5.updatedAt").
struct ProfileDecodeError {
    std::string key;
    std::optional<std::size_t> byteOffset;
    std::string reason;

    // One line for the console, the event log and the command line.
    std::string describe() const;
};

struct ProfileDecodeResult {
    std::optional<MappingProfileSnapshot> snapshot;
    ProfileDecodeError error;  // meaningful only without a snapshot

    bool ok() const { return snapshot.has_value(); }
};

// The profile file's JSON form, both ways, with no I/O. Output is compact, keys in field order,
// rows ascending as decimal strings, dates as seconds since 1 January 2001. Decoding ignores
// unknown keys, fills the three optional keys with their defaults and names the first key at
// fault. Reading is strict: malformed JSON, malformed UTF-8, nesting past 64 levels and files
// past 64 MB are refused with the byte offset. Malformed UTF-8 held in memory is written as
// U+FFFD, so whatever is written reads back, and what was read writes back byte for byte.
class ProfileCodec {
  public:
    // Hand-edited profiles are a few megabytes at most; anything far larger is not a profile.
    static constexpr std::size_t kMaxBytes = 64u * 1024 * 1024;

    static std::string encode(const MappingProfileSnapshot& snapshot);
    static ProfileDecodeResult decode(std::string_view json);
};

}  // namespace tessiva
