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

// True when `text` has the shape of a header in one of the languages Logic is localised into:
// `Track 7 “Bass”`, `Spur 7 „Bass“`, `トラック7の“Bass”`, `7개의 ‘Bass’ 트랙`, `Piste 7 « Bass »`.
// The space after the word may be a no-break space, as some localised labels have it.
bool isTrackHeaderText(std::string_view text);

// The number is the digits of the header; the name is the text between the first pair of
// quotes after them (“…”, „…“, ‘…’, «…» or two ASCII double quotes), so live state Logic appends
// after the closing quote is ignored. A header without digits, or with a number too large for a
// track, yields nothing; an empty name counts as no name.
std::optional<ParsedTrackHeader> parseTrackHeader(std::string_view text);

}  // namespace tessiva
