#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessiva {

// A strict, allocation-light JSON reader that hands out one value at a time, so the profile codec
// can decode straight into its value types and say exactly where a file went wrong. The first
// syntax error stops it; every later call returns false. Pure, any thread.
class JsonPullReader {
  public:
    enum class Kind { object, array, string, number, boolean, null, end, invalid };

    struct Number {
        std::string_view text;   // as written in the file
        bool isInteger = false;  // no fraction or exponent
        bool fitsInt64 = false;
        std::int64_t integer = 0;
        double value = 0.0;
        bool finite = false;  // `value` holds the number (false past the double range)
    };

    explicit JsonPullReader(std::string_view text) : text_(text) {}

    // Skips white space and says what comes next without consuming it.
    Kind peek();

    bool beginObject();
    // True with `key` set while members follow; false after the closing brace or on error.
    bool nextMember(std::string& key);
    bool beginArray();
    // True while elements follow; false after the closing bracket or on error.
    bool nextElement();

    bool readString(std::string& out);
    bool readNumber(Number& out);
    bool readBool(bool& out);
    bool readNull();
    bool skipValue();
    // True when nothing but white space is left.
    bool finish();

    bool failed() const { return failed_; }
    // 0-based offset of the byte at fault.
    std::size_t errorOffset() const { return errorOffset_; }
    const std::string& errorReason() const { return errorReason_; }

    static const char* kindName(Kind kind);

  private:
    bool fail(std::size_t offset, std::string reason);
    void skipWhitespace();
    bool expect(char c, const char* what);
    bool readHex4(std::uint32_t& out);
    bool skipValueAtDepth(int depth);

    std::string_view text_;
    std::size_t pos_ = 0;
    std::vector<bool> firstInContainer_;
    bool failed_ = false;
    std::size_t errorOffset_ = 0;
    std::string errorReason_;
};

}  // namespace tessiva
