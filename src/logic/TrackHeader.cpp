#include "logic/TrackHeader.h"

#include <array>

#include "runtime/Text.h"

namespace tessiva {

namespace {

constexpr std::size_t kMaxDigits = 9;
constexpr std::string_view kNoBreakSpace = "\u00A0";

// Words that precede the number; a space or no-break space must follow all but the Japanese one.
struct Prefix {
    std::string_view word;
    bool needsSpace;
};
constexpr std::array<Prefix, 4> kPrefixes = {{
    {"Track", true},
    {"Spur", true},
    {"Piste", true},
    {"\u30C8\u30E9\u30C3\u30AF", false},  // トラック
}};
// Korean puts the number first: `7개의 ‘Bass’ 트랙`.
constexpr std::string_view kKoreanCounter = "\uAC1C\uC758";  // 개의

struct QuotePair {
    std::string_view open;
    std::string_view close;
};
constexpr std::array<QuotePair, 5> kQuotePairs = {{
    {"\u201C", "\u201D"},  // “English”, also Japanese
    {"\u201E", "\u201C"},  // „German“
    {"\u2018", "\u2019"},  // ‘Korean’
    {"\u00AB", "\u00BB"},  // « French »
    {"\"", "\""},
}};

std::size_t digitCount(std::string_view text) {
    std::size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9')
        ++digits;
    return digits;
}

// The text after the prefix word and its space, or nothing when `text` has no known prefix.
std::optional<std::string_view> afterPrefix(std::string_view text) {
    for (const auto& prefix : kPrefixes) {
        if (!text.starts_with(prefix.word))
            continue;
        std::string_view rest = text.substr(prefix.word.size());
        if (!prefix.needsSpace)
            return rest;
        if (rest.starts_with(' '))
            return rest.substr(1);
        if (rest.starts_with(kNoBreakSpace))
            return rest.substr(kNoBreakSpace.size());
    }
    return std::nullopt;
}

bool isKoreanHeader(std::string_view text) {
    const std::size_t digits = digitCount(text);
    return digits > 0 && text.substr(digits).starts_with(kKoreanCounter);
}

std::optional<std::string> quotedName(std::string_view rest) {
    const QuotePair* pair = nullptr;
    std::size_t open = std::string_view::npos;
    for (const auto& candidate : kQuotePairs) {
        const auto at = rest.find(candidate.open);
        if (at < open) {
            open = at;
            pair = &candidate;
        }
    }
    if (!pair)
        return std::nullopt;
    const auto start = open + pair->open.size();
    const auto close = rest.find(pair->close, start);
    if (close == std::string_view::npos)
        return std::nullopt;
    std::string name(rest.substr(start, close - start));
    // Guillemets are set off by (no-break) spaces that are not part of the name.
    if (pair->open == "\u00AB")
        name = text::trimmed(name);
    if (name.empty())
        return std::nullopt;
    return name;
}

std::optional<int> parseNumber(std::string_view digits) {
    if (digits.empty() || digits.size() > kMaxDigits)
        return std::nullopt;
    int index = 0;
    for (char digit : digits)
        index = index * 10 + (digit - '0');
    return index;
}

}  // namespace

bool isTrackHeaderText(std::string_view text) {
    return afterPrefix(text).has_value() || isKoreanHeader(text);
}

std::optional<ParsedTrackHeader> parseTrackHeader(std::string_view text) {
    std::string_view rest;
    std::string_view digits;
    if (auto afterWord = afterPrefix(text)) {
        digits = afterWord->substr(0, digitCount(*afterWord));
        rest = afterWord->substr(digits.size());
    } else if (isKoreanHeader(text)) {
        digits = text.substr(0, digitCount(text));
        rest = text.substr(digits.size() + kKoreanCounter.size());
    } else {
        return std::nullopt;
    }
    const auto index = parseNumber(digits);
    if (!index)
        return std::nullopt;
    return ParsedTrackHeader{*index, quotedName(rest)};
}

}  // namespace tessiva
