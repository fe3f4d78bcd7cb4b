#include "mapping/JsonPullReader.h"

#include <charconv>
#include <string>

namespace tessiva {

namespace {

constexpr int kMaxDepth = 256;

void appendUTF8(std::string& out, std::uint32_t cp) {
    if (cp < 0x80) {
        out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
}

std::string describeByte(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7F)
        return std::string("'") + c + "'";
    return "byte 0x" + std::string(1, "0123456789abcdef"[byte >> 4]) +
           std::string(1, "0123456789abcdef"[byte & 0xF]);
}

}  // namespace

const char* JsonPullReader::kindName(Kind kind) {
    switch (kind) {
        case Kind::object:
            return "object";
        case Kind::array:
            return "array";
        case Kind::string:
            return "string";
        case Kind::number:
            return "number";
        case Kind::boolean:
            return "boolean";
        case Kind::null:
            return "null";
        case Kind::end:
            return "end of input";
        case Kind::invalid:
            return "invalid JSON";
    }
    return "invalid JSON";
}

bool JsonPullReader::fail(std::size_t offset, std::string reason) {
    if (!failed_) {
        failed_ = true;
        errorOffset_ = offset;
        errorReason_ = std::move(reason);
    }
    return false;
}

void JsonPullReader::skipWhitespace() {
    while (pos_ < text_.size()) {
        const char c = text_[pos_];
        if (c != ' ' && c != '\n' && c != '\r' && c != '\t')
            break;
        ++pos_;
    }
}

bool JsonPullReader::expect(char c, const char* what) {
    skipWhitespace();
    if (pos_ >= text_.size())
        return fail(pos_, std::string("unexpected end of input; expected ") + what);
    if (text_[pos_] != c) {
        return fail(pos_, "unexpected " + describeByte(text_[pos_]) + "; expected " + what);
    }
    ++pos_;
    return true;
}

JsonPullReader::Kind JsonPullReader::peek() {
    if (failed_)
        return Kind::invalid;
    skipWhitespace();
    if (pos_ >= text_.size())
        return Kind::end;
    switch (text_[pos_]) {
        case '{':
            return Kind::object;
        case '[':
            return Kind::array;
        case '"':
            return Kind::string;
        case 't':
        case 'f':
            return Kind::boolean;
        case 'n':
            return Kind::null;
        case '-':
            return Kind::number;
        default:
            if (text_[pos_] >= '0' && text_[pos_] <= '9')
                return Kind::number;
            return Kind::invalid;
    }
}

bool JsonPullReader::beginObject() {
    if (failed_ || !expect('{', "'{'"))
        return false;
    firstInContainer_.push_back(true);
    return true;
}

bool JsonPullReader::nextMember(std::string& key) {
    if (failed_ || firstInContainer_.empty())
        return false;
    skipWhitespace();
    if (pos_ < text_.size() && text_[pos_] == '}') {
        ++pos_;
        firstInContainer_.pop_back();
        return false;
    }
    if (!firstInContainer_.back() && !expect(',', "',' or '}'"))
        return false;
    firstInContainer_.back() = false;
    skipWhitespace();
    if (pos_ >= text_.size() || text_[pos_] != '"') {
        if (pos_ >= text_.size())
            return fail(pos_, "unexpected end of input; expected a key");
        return fail(pos_, "unexpected " + describeByte(text_[pos_]) + "; expected a key string");
    }
    if (!readString(key))
        return false;
    return expect(':', "':'");
}

bool JsonPullReader::beginArray() {
    if (failed_ || !expect('[', "'['"))
        return false;
    firstInContainer_.push_back(true);
    return true;
}

bool JsonPullReader::nextElement() {
    if (failed_ || firstInContainer_.empty())
        return false;
    skipWhitespace();
    if (pos_ < text_.size() && text_[pos_] == ']') {
        ++pos_;
        firstInContainer_.pop_back();
        return false;
    }
    if (!firstInContainer_.back() && !expect(',', "',' or ']'"))
        return false;
    firstInContainer_.back() = false;
    return true;
}

bool JsonPullReader::readHex4(std::uint32_t& out) {
    if (pos_ + 4 > text_.size())
        return fail(pos_, "unexpected end of input in \\u escape");
    out = 0;
    for (int i = 0; i < 4; ++i) {
        const char c = text_[pos_];
        out <<= 4;
        if (c >= '0' && c <= '9') {
            out |= static_cast<std::uint32_t>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            out |= static_cast<std::uint32_t>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            out |= static_cast<std::uint32_t>(c - 'A' + 10);
        } else {
            return fail(pos_, "invalid hexadecimal digit in \\u escape");
        }
        ++pos_;
    }
    return true;
}

bool JsonPullReader::readString(std::string& out) {
    out.clear();
    if (failed_ || !expect('"', "a string"))
        return false;
    for (;;) {
        // Copy plain runs in one go; most names have no escapes at all.
        const std::size_t start = pos_;
        while (pos_ < text_.size()) {
            const auto c = static_cast<unsigned char>(text_[pos_]);
            if (c == '"' || c == '\\' || c < 0x20)
                break;
            ++pos_;
        }
        out.append(text_.substr(start, pos_ - start));
        if (pos_ >= text_.size())
            return fail(pos_, "unexpected end of input inside a string");
        const char c = text_[pos_];
        if (c == '"') {
            ++pos_;
            return true;
        }
        if (c != '\\')
            return fail(pos_, "control character inside a string");
        if (++pos_ >= text_.size())
            return fail(pos_, "unexpected end of input inside a string");
        const char escape = text_[pos_++];
        switch (escape) {
            case '"':
                out.push_back('"');
                break;
            case '\\':
                out.push_back('\\');
                break;
            case '/':
                out.push_back('/');
                break;
            case 'b':
                out.push_back('\b');
                break;
            case 'f':
                out.push_back('\f');
                break;
            case 'n':
                out.push_back('\n');
                break;
            case 'r':
                out.push_back('\r');
                break;
            case 't':
                out.push_back('\t');
                break;
            case 'u': {
                std::uint32_t cp = 0;
                if (!readHex4(cp))
                    return false;
                if (cp >= 0xD800 && cp <= 0xDBFF && pos_ + 1 < text_.size() &&
                    text_[pos_] == '\\' && text_[pos_ + 1] == 'u') {
                    const std::size_t mark = pos_;
                    pos_ += 2;
                    std::uint32_t low = 0;
                    if (!readHex4(low))
                        return false;
                    if (low >= 0xDC00 && low <= 0xDFFF) {
                        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                    } else {
                        pos_ = mark;  // not a pair: the high half stands alone
                    }
                }
                // A lone surrogate cannot be UTF-8; keep the text readable instead.
                if (cp >= 0xD800 && cp <= 0xDFFF)
                    cp = 0xFFFD;
                appendUTF8(out, cp);
                break;
            }
            default:
                return fail(pos_ - 1, "invalid escape " + describeByte(escape) + " in a string");
        }
    }
}

bool JsonPullReader::readNumber(Number& out) {
    if (failed_)
        return false;
    skipWhitespace();
    const std::size_t start = pos_;
    auto digits = [&] {
        const std::size_t from = pos_;
        while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9')
            ++pos_;
        return pos_ - from;
    };
    if (pos_ < text_.size() && text_[pos_] == '-')
        ++pos_;
    const std::size_t intStart = pos_;
    const std::size_t intDigits = digits();
    if (intDigits == 0)
        return fail(pos_, "invalid number");
    if (intDigits > 1 && text_[intStart] == '0')
        return fail(intStart, "invalid number: leading zero");
    bool integer = true;
    if (pos_ < text_.size() && text_[pos_] == '.') {
        ++pos_;
        integer = false;
        if (digits() == 0)
            return fail(pos_, "invalid number: missing fraction digits");
    }
    if (pos_ < text_.size() && (text_[pos_] == 'e' || text_[pos_] == 'E')) {
        ++pos_;
        integer = false;
        if (pos_ < text_.size() && (text_[pos_] == '+' || text_[pos_] == '-'))
            ++pos_;
        if (digits() == 0)
            return fail(pos_, "invalid number: missing exponent digits");
    }
    out = Number{};
    out.text = text_.substr(start, pos_ - start);
    out.isInteger = integer;
    const char* begin = out.text.data();
    const char* end = begin + out.text.size();
    if (integer) {
        const auto result = std::from_chars(begin, end, out.integer);
        out.fitsInt64 = result.ec == std::errc() && result.ptr == end;
    }
    const auto result = std::from_chars(begin, end, out.value);
    out.finite = result.ec == std::errc();
    return true;
}

bool JsonPullReader::readBool(bool& out) {
    if (failed_)
        return false;
    skipWhitespace();
    if (text_.substr(pos_, 4) == "true") {
        pos_ += 4;
        out = true;
        return true;
    }
    if (text_.substr(pos_, 5) == "false") {
        pos_ += 5;
        out = false;
        return true;
    }
    return fail(pos_, "invalid literal");
}

bool JsonPullReader::readNull() {
    if (failed_)
        return false;
    skipWhitespace();
    if (text_.substr(pos_, 4) == "null") {
        pos_ += 4;
        return true;
    }
    return fail(pos_, "invalid literal");
}

bool JsonPullReader::skipValue() {
    return skipValueAtDepth(0);
}

bool JsonPullReader::skipValueAtDepth(int depth) {
    if (depth > kMaxDepth)
        return fail(pos_, "nesting deeper than 256 levels");
    std::string scratch;
    switch (peek()) {
        case Kind::object:
            if (!beginObject())
                return false;
            while (nextMember(scratch)) {
                if (!skipValueAtDepth(depth + 1))
                    return false;
            }
            return !failed_;
        case Kind::array:
            if (!beginArray())
                return false;
            while (nextElement()) {
                if (!skipValueAtDepth(depth + 1))
                    return false;
            }
            return !failed_;
        case Kind::string:
            return readString(scratch);
        case Kind::number: {
            Number n;
            return readNumber(n);
        }
        case Kind::boolean: {
            bool b = false;
            return readBool(b);
        }
        case Kind::null:
            return readNull();
        case Kind::end:
            return fail(pos_, "unexpected end of input; expected a value");
        case Kind::invalid:
            if (failed_)
                return false;
            return fail(pos_, "unexpected " + describeByte(text_[pos_]) + "; expected a value");
    }
    return false;
}

bool JsonPullReader::finish() {
    if (failed_)
        return false;
    skipWhitespace();
    if (pos_ < text_.size()) {
        return fail(pos_,
                    "unexpected " + describeByte(text_[pos_]) + " after the end of the JSON value");
    }
    return true;
}

}  // namespace tessiva
