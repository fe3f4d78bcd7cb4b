#include "autoassign/AutoAssignName.h"

#include <utf8proc.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <utility>

#include "runtime/Text.h"

namespace tessiva {

namespace {

// Plurals a template and a workspace commonly disagree on. Clarinets and trombones fold as well,
// so every instrument family word has a single canonical form.
constexpr std::array<std::pair<std::string_view, std::string_view>, 14> kFoldedTokens{{
    {"woodwinds", "woodwind"},
    {"winds", "wind"},
    {"horns", "horn"},
    {"flutes", "flute"},
    {"oboes", "oboe"},
    {"clarinets", "clarinet"},
    {"bassoons", "bassoon"},
    {"trumpets", "trumpet"},
    {"trombones", "trombone"},
    {"violins", "violin"},
    {"violas", "viola"},
    {"cellos", "cello"},
    {"celli", "cello"},
    {"strings", "string"},
}};

// NFC plus Unicode case folding; malformed UTF-8 falls back to per-code-point lower-casing so
// a damaged name still matches itself.
std::string composedAndFolded(std::string_view input) {
    utf8proc_uint8_t* mapped = nullptr;
    const utf8proc_ssize_t length = utf8proc_map(
        reinterpret_cast<const utf8proc_uint8_t*>(input.data()),
        static_cast<utf8proc_ssize_t>(input.size()), &mapped,
        static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_CASEFOLD));
    if (length < 0)
        return text::lowercased(input);
    std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned(mapped, &std::free);
    return std::string(reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(length));
}

bool isWordCharacterBefore(std::string_view text, std::size_t offset) {
    if (offset == 0)
        return false;
    std::size_t start = offset - 1;
    // Back over UTF-8 continuation bytes to the start of the previous code point.
    while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80)
        --start;
    std::int32_t codePoint = 0;
    text::decodeCodePoint(text, start, codePoint);
    return text::isAlphanumeric(codePoint);
}

bool isWordCharacterAt(std::string_view text, std::size_t offset) {
    if (offset >= text.size())
        return false;
    std::int32_t codePoint = 0;
    text::decodeCodePoint(text, offset, codePoint);
    return text::isAlphanumeric(codePoint);
}

// Replaces `pattern` where it stands as whole words.
std::string replacingWholeWords(std::string_view text, std::string_view pattern,
                                std::string_view replacement) {
    std::string output;
    output.reserve(text.size());
    std::size_t offset = 0;
    while (offset < text.size()) {
        const std::size_t found = text.find(pattern, offset);
        if (found == std::string_view::npos)
            break;
        const std::size_t end = found + pattern.size();
        output.append(text.substr(offset, found - offset));
        if (!isWordCharacterBefore(text, found) && !isWordCharacterAt(text, end)) {
            output.append(replacement);
        } else {
            output.append(pattern);
        }
        offset = end;
    }
    output.append(text.substr(offset));
    return output;
}

}  // namespace

std::string_view foldedAutoAssignToken(std::string_view token) {
    for (const auto& [plural, singular] : kFoldedTokens) {
        if (token == plural)
            return singular;
    }
    return token;
}

std::vector<std::string> autoAssignTokens(std::string_view name) {
    std::string text = composedAndFolded(text::trimmed(name));
    if (text.find('s') != std::string::npos) {
        text = replacingWholeWords(text, "s&w", "soft and wild");
        text = replacingWholeWords(text, "s & w", "soft and wild");
        text = replacingWholeWords(text, "s and w", "soft and wild");
    }
    std::vector<std::string> tokens;
    std::string word;
    const auto finishWord = [&] {
        if (word.empty())
            return;
        tokens.emplace_back(foldedAutoAssignToken(word));
        word.clear();
    };
    text::forEachCodePoint(text, [&](std::int32_t codePoint, std::string_view bytes) {
        if (text::isAlphanumeric(codePoint)) {
            word.append(bytes);
        } else {
            finishWord();
        }
    });
    finishWord();
    return tokens;
}

std::string joinAutoAssignTokens(const std::vector<std::string>& tokens) {
    std::string joined;
    for (const auto& token : tokens) {
        if (!joined.empty())
            joined.push_back(' ');
        joined.append(token);
    }
    return joined;
}

std::string normalizedAutoAssignName(std::string_view name) {
    return joinAutoAssignTokens(autoAssignTokens(name));
}

bool isDeskVoiceSuffix(std::string_view token) {
    if (!token.empty() && (token.front() == '+' || token.front() == '-'))
        token.remove_prefix(1);
    if (token.empty())
        return false;
    bool digits = true;
    text::forEachCodePoint(token, [&](std::int32_t codePoint, std::string_view) {
        if (codePoint < 0 || utf8proc_category(codePoint) != UTF8PROC_CATEGORY_ND)
            digits = false;
    });
    return digits;
}

}  // namespace tessiva
