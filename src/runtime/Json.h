#pragma once

#include <simdjson.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// Where and why a JSON text was refused. `byteOffset` counts from 0 and points at or just after
// the byte where reading stopped.
struct JsonParseFailure {
    std::size_t byteOffset = 0;
    std::string reason;
};

struct JsonLimits {
    std::size_t maxBytes = 0;
    int maxDepth = 0;
};

// Reads whole JSON texts strictly with simdjson: well-formed UTF-8 only (no lone surrogates, no
// overlong forms), nothing after the value, numbers that fit 64 bits or a double, no deeper
// nesting and no more bytes than its limits allow. A leading UTF-8 byte-order mark is skipped.
// Refusals carry the byte offset and the reason. Used by the profile and workspace codecs, one
// instance per decode on the caller's thread; no test double (it is pure).
class StrictJsonReader {
  public:
    explicit StrictJsonReader(JsonLimits limits) : limits_(limits) {}

    // On success `root` stays valid until the next parse or the reader's end.
    std::optional<JsonParseFailure> parse(std::string_view text, simdjson::dom::element& root);

  private:
    JsonLimits limits_;
    simdjson::dom::parser parser_;
};

// Appends `value` as a JSON string. Control characters, quotes and backslashes are escaped;
// malformed UTF-8 (which only text from outside can hold) becomes U+FFFD, so what is written
// always reads back.
void appendJsonString(std::string& out, std::string_view value);

}  // namespace tessiva
