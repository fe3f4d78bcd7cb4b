#include "runtime/Json.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "runtime/Text.h"

namespace tessiva {

namespace {

namespace dom = simdjson::dom;
namespace ondemand = simdjson::ondemand;

// The first byte that opens a container deeper than `maxDepth`, skipping string contents.
std::optional<std::size_t> firstTooDeepByte(std::string_view text, int maxDepth) {
    int depth = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > maxDepth)
                return i;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> firstMalformedUTF8Byte(std::string_view text) {
    std::size_t offset = 0;
    while (offset < text.size()) {
        if (static_cast<unsigned char>(text[offset]) < 0x80) {
            ++offset;
            continue;
        }
        std::int32_t codePoint = 0;
        const std::size_t length = text::decodeCodePoint(text, offset, codePoint);
        if (codePoint < 0)
            return offset;
        offset += length;
    }
    return std::nullopt;
}

// Visits every value the way the tree builder does, but lazily, so that reading stops where the
// text is wrong and the iterator can say where that is.
simdjson::error_code walk(ondemand::value value, int depth) {
    if (depth <= 0)
        return simdjson::DEPTH_ERROR;
    ondemand::json_type type;
    if (const auto error = value.type().get(type))
        return error;
    switch (type) {
        case ondemand::json_type::object: {
            ondemand::object object;
            if (const auto error = value.get_object().get(object))
                return error;
            for (auto field : object) {
                std::string_view key;
                ondemand::value member;
                if (const auto error = field.unescaped_key().get(key))
                    return error;
                if (const auto error = field.value().get(member))
                    return error;
                if (const auto error = walk(member, depth - 1))
                    return error;
            }
            return simdjson::SUCCESS;
        }
        case ondemand::json_type::array: {
            ondemand::array array;
            if (const auto error = value.get_array().get(array))
                return error;
            for (auto item : array) {
                ondemand::value element;
                if (const auto error = item.get(element))
                    return error;
                if (const auto error = walk(element, depth - 1))
                    return error;
            }
            return simdjson::SUCCESS;
        }
        case ondemand::json_type::string: {
            std::string_view text;
            return value.get_string().get(text);
        }
        case ondemand::json_type::number: {
            ondemand::number number;
            return value.get_number().get(number);
        }
        case ondemand::json_type::boolean: {
            bool flag = false;
            return value.get_bool().get(flag);
        }
        case ondemand::json_type::null: {
            bool isNull = false;
            if (const auto error = value.is_null().get(isNull))
                return error;
            return isNull ? simdjson::SUCCESS : simdjson::N_ATOM_ERROR;
        }
    }
    return simdjson::SUCCESS;
}

// The tree builder says what is wrong but not where; the lazy reader finds where. Only run on
// refused texts.
std::size_t locateSyntaxError(std::string_view text, int maxDepth) {
    const simdjson::padded_string padded(text);
    ondemand::parser parser;
    ondemand::document document;
    if (parser.iterate(padded).get(document))
        return 0;
    ondemand::value root;
    if (!document.get_value().get(root))
        static_cast<void>(walk(root, maxDepth));
    const char* where = nullptr;
    if (document.current_location().get(where) || where < padded.data())
        return text.size();
    return std::min(static_cast<std::size_t>(where - padded.data()), text.size());
}

}  // namespace

std::optional<JsonParseFailure> StrictJsonReader::parse(std::string_view text, dom::element& root) {
    if (text.size() > limits_.maxBytes) {
        return JsonParseFailure{limits_.maxBytes,
                                fmt::format("larger than {} bytes", limits_.maxBytes)};
    }
    // Text editors on the Mac may start a file with a byte-order mark.
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    const std::size_t skipped = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    const std::string_view json = text.substr(skipped);
    if (const auto error = parser_.allocate(std::max<std::size_t>(json.size(), 1),
                                            static_cast<std::size_t>(limits_.maxDepth)))
        return JsonParseFailure{0, simdjson::error_message(error)};
    const auto error = parser_.parse(json.data(), json.size()).get(root);
    if (!error)
        return std::nullopt;
    std::size_t offset = 0;
    std::string reason = simdjson::error_message(error);
    if (error == simdjson::UTF8_ERROR) {
        offset = firstMalformedUTF8Byte(json).value_or(0);
        reason = "malformed UTF-8";
    } else if (error == simdjson::DEPTH_ERROR) {
        offset = firstTooDeepByte(json, limits_.maxDepth).value_or(0);
        reason = fmt::format("nested deeper than {} levels", limits_.maxDepth);
    } else {
        offset = locateSyntaxError(json, limits_.maxDepth + 1);
    }
    return JsonParseFailure{skipped + offset, std::move(reason)};
}

void appendJsonString(std::string& out, std::string_view value) {
    out.push_back('"');
    std::size_t offset = 0;
    while (offset < value.size()) {
        // Plain ASCII runs go in one append; most names are nothing else.
        std::size_t run = offset;
        while (run < value.size()) {
            const auto byte = static_cast<unsigned char>(value[run]);
            if (byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '\\')
                break;
            ++run;
        }
        out.append(value.substr(offset, run - offset));
        offset = run;
        if (offset >= value.size())
            break;
        const auto byte = static_cast<unsigned char>(value[offset]);
        if (byte < 0x80) {
            switch (byte) {
                case '"':
                    out += "\\\"";
                    break;
                case '\\':
                    out += "\\\\";
                    break;
                case '\n':
                    out += "\\n";
                    break;
                case '\r':
                    out += "\\r";
                    break;
                case '\t':
                    out += "\\t";
                    break;
                case '\b':
                    out += "\\b";
                    break;
                case '\f':
                    out += "\\f";
                    break;
                default:
                    out += fmt::format("\\u{:04x}", byte);
            }
            ++offset;
            continue;
        }
        std::int32_t codePoint = 0;
        const std::size_t length = text::decodeCodePoint(value, offset, codePoint);
        if (codePoint < 0) {
            out += "\xEF\xBF\xBD";  // U+FFFD, written as itself so a re-save is identical
        } else {
            out.append(value.substr(offset, length));
        }
        offset += length;
    }
    out.push_back('"');
}

}  // namespace tessiva
