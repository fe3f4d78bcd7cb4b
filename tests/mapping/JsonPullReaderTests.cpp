#include <gtest/gtest.h>

#include <string>

#include "mapping/JsonPullReader.h"

namespace tessiva {
namespace {

using Kind = JsonPullReader::Kind;

TEST(JsonPullReader, ReadsStringsNumbersAndSkipsWhatItDoesNotNeed) {
    {
        SCOPED_TRACE("escapes, surrogate pairs and a lone surrogate");
        JsonPullReader r(R"("a\"b\\c\/\n\t\u00e9\ud83c\udfbb\ud800x")");
        std::string s;
        ASSERT_TRUE(r.readString(s));
        EXPECT_EQ(s, "a\"b\\c/\n\t\xC3\xA9\xF0\x9F\x8E\xBB\xEF\xBF\xBDx");
        EXPECT_TRUE(r.finish());
    }
    {
        SCOPED_TRACE("numbers keep their text and say whether they are integers");
        JsonPullReader r("[0, -12, 10.0, 1e3, 9223372036854775808, 694224000.5]");
        ASSERT_TRUE(r.beginArray());
        JsonPullReader::Number n;
        ASSERT_TRUE(r.nextElement() && r.readNumber(n));
        EXPECT_TRUE(n.isInteger && n.fitsInt64 && n.integer == 0);
        ASSERT_TRUE(r.nextElement() && r.readNumber(n));
        EXPECT_EQ(n.integer, -12);
        ASSERT_TRUE(r.nextElement() && r.readNumber(n));
        EXPECT_FALSE(n.isInteger);
        EXPECT_DOUBLE_EQ(n.value, 10.0);
        ASSERT_TRUE(r.nextElement() && r.readNumber(n));
        EXPECT_FALSE(n.isInteger);
        EXPECT_DOUBLE_EQ(n.value, 1000.0);
        ASSERT_TRUE(r.nextElement() && r.readNumber(n));
        EXPECT_TRUE(n.isInteger);
        EXPECT_FALSE(n.fitsInt64);
        ASSERT_TRUE(r.nextElement() && r.readNumber(n));
        EXPECT_EQ(n.text, "694224000.5");
        EXPECT_FALSE(r.nextElement());
        EXPECT_FALSE(r.failed());
        EXPECT_TRUE(r.finish());
    }
    {
        SCOPED_TRACE("members in order, nested values skipped");
        JsonPullReader r(R"( { "skip" : {"a":[1,{"b":null},true,false,"x"]}, "keep" : "v" } )");
        ASSERT_EQ(r.peek(), Kind::object);
        ASSERT_TRUE(r.beginObject());
        std::string key;
        ASSERT_TRUE(r.nextMember(key));
        EXPECT_EQ(key, "skip");
        ASSERT_TRUE(r.skipValue());
        ASSERT_TRUE(r.nextMember(key));
        EXPECT_EQ(key, "keep");
        std::string value;
        ASSERT_TRUE(r.readString(value));
        EXPECT_FALSE(r.nextMember(key));
        EXPECT_TRUE(r.finish());
    }
}

TEST(JsonPullReader, StopsAtTheFirstBadByte) {
    struct Case {
        std::string json;
        std::size_t offset;
        std::string reasonPart;
    };
    const Case cases[] = {
        {"", 0, "end of input"},
        {"{\"a\":1,}", 7, "expected a key"},
        {"{\"a\" 1}", 5, "expected ':'"},
        {"{\"a\":1 \"b\":2}", 7, "expected ',' or '}'"},
        {"[01]", 1, "leading zero"},
        {"[1.]", 3, "fraction"},
        {"[1e]", 3, "exponent"},
        {"[-]", 2, "invalid number"},
        {"[tru]", 1, "literal"},
        {"[\"a\x01\"]", 3, "control character"},
        {"[\"\\x\"]", 3, "invalid escape"},
        {"[\"\\u12g4\"]", 6, "hexadecimal"},
        {"[\"open", 6, "inside a string"},
        {"{} x", 3, "after the end"},
        {"[@]", 1, "'@'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.json);
        JsonPullReader r(c.json);
        const bool ok = r.skipValue() && r.finish();
        ASSERT_FALSE(ok);
        ASSERT_TRUE(r.failed());
        EXPECT_EQ(r.errorOffset(), c.offset) << r.errorReason();
        EXPECT_NE(r.errorReason().find(c.reasonPart), std::string::npos) << r.errorReason();
        // Once failed, nothing else succeeds.
        std::string s;
        EXPECT_FALSE(r.readString(s));
        EXPECT_EQ(r.peek(), Kind::invalid);
    }

    // Hostile nesting ends in an error, not a crashed stack.
    const std::string deep(100000, '[');
    JsonPullReader r(deep);
    EXPECT_FALSE(r.skipValue());
    EXPECT_NE(r.errorReason().find("nesting"), std::string::npos);
}

}  // namespace
}  // namespace tessiva
