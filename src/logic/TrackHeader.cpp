#include "logic/TrackHeader.h"

namespace tessiva {

namespace {

constexpr std::string_view kPrefix = "Track ";
constexpr std::string_view kOpenQuote = "\u201C";
constexpr std::string_view kCloseQuote = "\u201D";
constexpr std::size_t kMaxDigits = 9;

std::optional<std::string> quotedName(std::string_view rest) {
    if (auto open = rest.find(kOpenQuote); open != std::string_view::npos) {
        const auto start = open + kOpenQuote.size();
        if (auto close = rest.find(kCloseQuote, start); close != std::string_view::npos) {
            if (close == start)
                return std::nullopt;
            return std::string(rest.substr(start, close - start));
        }
    }
    if (auto open = rest.find('"'); open != std::string_view::npos) {
        if (auto close = rest.find('"', open + 1); close != std::string_view::npos) {
            if (close == open + 1)
                return std::nullopt;
            return std::string(rest.substr(open + 1, close - open - 1));
        }
    }
    return std::nullopt;
}

}  // namespace

bool isTrackHeaderText(std::string_view text) {
    return text.starts_with(kPrefix);
}

std::optional<ParsedTrackHeader> parseTrackHeader(std::string_view text) {
    if (!isTrackHeaderText(text))
        return std::nullopt;
    std::string_view rest = text.substr(kPrefix.size());
    std::size_t digits = 0;
    while (digits < rest.size() && rest[digits] >= '0' && rest[digits] <= '9')
        ++digits;
    if (digits == 0 || digits > kMaxDigits)
        return std::nullopt;
    int index = 0;
    for (std::size_t i = 0; i < digits; ++i)
        index = index * 10 + (rest[i] - '0');
    return ParsedTrackHeader{index, quotedName(rest.substr(digits))};
}

}  // namespace tessiva
