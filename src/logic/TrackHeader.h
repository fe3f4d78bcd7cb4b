#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// A track number and name read from the text of an Arrange header, such as `Track 7 “Bass”`.
struct ParsedTrackHeader {
    int index = 0;
    std::optional<std::string> name;

    bool operator==(const ParsedTrackHeader&) const = default;
};

// True when `text` has the shape of a header: it begins with "Track ".
bool isTrackHeaderText(std::string_view text);

// The digits after "Track " are the number; the name is the text between the typographic
// quotes U+201C and U+201D, else between two ASCII double quotes. A header without digits, or
// with a number too large for a track, yields nothing; an empty name counts as no name.
std::optional<ParsedTrackHeader> parseTrackHeader(std::string_view text);

}  // namespace tessiva
