#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tessiva::text {

// Unicode-aware text helpers on UTF-8 strings. Malformed bytes pass through unchanged, so a
// name read from Logic is never lost, only left as it came.

// Removes leading and trailing white space and newlines: Unicode separators (Zs, Zl, Zp, so
// U+00A0 too), U+0009-U+000D and U+0085.
std::string trimmed(std::string_view input);

// Lower-cases every code point ("Flöte" -> "flöte", "ÉTUDE" -> "étude").
std::string lowercased(std::string_view input);

// U+00A0 NO-BREAK SPACE becomes a plain space; everything else is kept.
std::string replacingNoBreakSpaces(std::string_view input);

// The light track-name normalisation: no-break spaces become spaces, then trim.
std::string lightNormalizedTrackName(std::string_view input);

bool isWhitespaceOrNewline(std::int32_t codePoint);
// Letters, marks and numbers.
bool isAlphanumeric(std::int32_t codePoint);

// Visits each code point; malformed bytes are reported one by one as negative values (-byte-1).
template <typename Visitor>
void forEachCodePoint(std::string_view input, Visitor&& visit);

// Decodes one code point at `offset`, returning its length (at least 1); `codePoint` is -1 for
// a malformed byte.
std::size_t decodeCodePoint(std::string_view input, std::size_t offset, std::int32_t& codePoint);

template <typename Visitor>
void forEachCodePoint(std::string_view input, Visitor&& visit) {
    std::size_t offset = 0;
    while (offset < input.size()) {
        std::int32_t codePoint = 0;
        const std::size_t length = decodeCodePoint(input, offset, codePoint);
        visit(codePoint, input.substr(offset, length));
        offset += length;
    }
}

}  // namespace tessiva::text
