#include "runtime/Text.h"

#include <utf8proc.h>

namespace tessiva::text {

std::size_t decodeCodePoint(std::string_view input, std::size_t offset, std::int32_t& codePoint) {
    utf8proc_int32_t decoded = -1;
    const auto length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(input.data()) + offset,
                         static_cast<utf8proc_ssize_t>(input.size() - offset), &decoded);
    if (length <= 0) {
        codePoint = -1;
        return 1;
    }
    codePoint = decoded;
    return static_cast<std::size_t>(length);
}

bool isWhitespaceOrNewline(std::int32_t codePoint) {
    if (codePoint < 0)
        return false;
    if ((codePoint >= 0x09 && codePoint <= 0x0D) || codePoint == 0x85)
        return true;
    switch (utf8proc_category(codePoint)) {
        case UTF8PROC_CATEGORY_ZS:
        case UTF8PROC_CATEGORY_ZL:
        case UTF8PROC_CATEGORY_ZP:
            return true;
        default:
            return false;
    }
}

bool isAlphanumeric(std::int32_t codePoint) {
    if (codePoint < 0)
        return false;
    switch (utf8proc_category(codePoint)) {
        case UTF8PROC_CATEGORY_LU:
        case UTF8PROC_CATEGORY_LL:
        case UTF8PROC_CATEGORY_LT:
        case UTF8PROC_CATEGORY_LM:
        case UTF8PROC_CATEGORY_LO:
        case UTF8PROC_CATEGORY_MN:
        case UTF8PROC_CATEGORY_MC:
        case UTF8PROC_CATEGORY_ME:
        case UTF8PROC_CATEGORY_ND:
        case UTF8PROC_CATEGORY_NL:
        case UTF8PROC_CATEGORY_NO:
            return true;
        default:
            return false;
    }
}

std::string trimmed(std::string_view input) {
    std::size_t begin = input.size();
    std::size_t end = 0;
    std::size_t offset = 0;
    while (offset < input.size()) {
        std::int32_t codePoint = 0;
        const std::size_t length = decodeCodePoint(input, offset, codePoint);
        if (!isWhitespaceOrNewline(codePoint)) {
            if (begin == input.size())
                begin = offset;
            end = offset + length;
        }
        offset += length;
    }
    if (begin >= end)
        return {};
    return std::string(input.substr(begin, end - begin));
}

std::string lowercased(std::string_view input) {
    std::string output;
    output.reserve(input.size());
    forEachCodePoint(input, [&](std::int32_t codePoint, std::string_view bytes) {
        if (codePoint < 0) {
            output.append(bytes);
            return;
        }
        utf8proc_uint8_t buffer[4];
        const auto written = utf8proc_encode_char(utf8proc_tolower(codePoint), buffer);
        output.append(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(written));
    });
    return output;
}

std::string replacingNoBreakSpaces(std::string_view input) {
    std::string output;
    output.reserve(input.size());
    forEachCodePoint(input, [&](std::int32_t codePoint, std::string_view bytes) {
        if (codePoint == 0x00A0) {
            output.push_back(' ');
        } else {
            output.append(bytes);
        }
    });
    return output;
}

std::string lightNormalizedTrackName(std::string_view input) {
    return trimmed(replacingNoBreakSpaces(input));
}

}  // namespace tessiva::text
