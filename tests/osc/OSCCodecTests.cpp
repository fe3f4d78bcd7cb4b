#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "OSCArgs.h"
#include "osc/OSCCodec.h"

namespace tessiva {
namespace {

using namespace testing;
using Bytes = std::vector<std::uint8_t>;
using namespace std::string_view_literals;

Bytes bytes(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

TEST(OSCCodec, EncodesTheWireFormByteForByte) {
    EXPECT_EQ(encodeMessage("/ping", {i(12111)}), bytes("/ping\0\0\0,i\0\0\0\0\x2F\x4F"sv));

    // An address of a multiple of 4 bytes gets a full word of NULs; no arguments still carry ",".
    EXPECT_EQ(encodeMessage("/abc", {}), (Bytes{'/', 'a', 'b', 'c', 0, 0, 0, 0, ',', 0, 0, 0}));
    EXPECT_EQ(encodeMessage("/ab", {}), (Bytes{'/', 'a', 'b', 0, ',', 0, 0, 0}));

    // An empty string is one NUL and three pad bytes.
    EXPECT_EQ(encodeMessage("/a", {s("")}), (Bytes{'/', 'a', 0, 0, ',', 's', 0, 0, 0, 0, 0, 0}));

    // Big-endian two's complement and IEEE-754 bit patterns; tags in argument order.
    EXPECT_EQ(encodeMessage("/t", {i(-2), f(1.0f), s("abc")}),
              bytes("/t\0\0,ifs\0\0\0\0\xFF\xFF\xFF\xFE\x3F\x80\0\0abc\0"sv));

    // The tag string itself pads by the same rule: 3 tags + ',' need a second word.
    EXPECT_EQ(encodedMessageSize("/a", std::vector<OSCArgument>(3, i(0))), 4u + 8u + 12u);

    // Appending keeps what was in the buffer.
    Bytes buffer = {9, 9};
    encodeMessage("/x", std::vector{s("Bass")}, buffer);
    EXPECT_EQ(buffer, bytes("\x09\x09/x\0\0,s\0\0Bass\0\0\0\0"sv));
}

TEST(OSCCodec, DecodesArgumentsAndRefusesEveryFault) {
    const Bytes data = bytes("/a\0\0,s\0\0a\xFF\0\0"sv);
    std::size_t offset = 0;
    EXPECT_EQ(readPaddedString(data, offset), "/a");
    EXPECT_EQ(readPaddedString(data, offset), ",s");
    EXPECT_FALSE(readPaddedString(data, offset));
    EXPECT_EQ(offset, 8u);  // a fault leaves the offset where it was

    const auto sis =
        encodeMessage("/tessiva/navigation/direct/select", {s("req-1"), i(7), s("BANK")});
    offset = 100;
    EXPECT_FALSE(readInt32(sis, offset));
    EXPECT_EQ(decodeAddress(sis), "/tessiva/navigation/direct/select");
    EXPECT_EQ(stringArguments(sis), (std::vector<std::string_view>{"req-1", "BANK"}));
    EXPECT_EQ(stringArguments(encodeMessage("/x", {})), std::vector<std::string_view>{});
    EXPECT_EQ(decodeArguments(sis), (std::vector<OSCArgument>{s("req-1"), i(7), s("BANK")}));

    // Faults: a blob tag (not ours to read, whatever follows it), tags without ',', no type-tag
    // string, an empty address, truncated i/f/s arguments, a missing pad, a second string gone;
    // then text that is not UTF-8: "é" cut after its lead byte, an overlong '/', a surrogate, past
    // U+10FFFF, a 0xFF byte.
    for (std::string_view bad :
         {"/a\0\0,sb\0x\0\0\0"sv, "/a\0\0,b\0\0"sv, "/a\0\0,b\0\0\0\x0F\x42\x40"sv,
          "/a\0\0si\0\0"sv, "/a\0\0"sv, "\0\0\0\0,s\0\0x\0\0\0"sv, "/a\0\0,i\0\0\0\0\0"sv,
          "/a\0\0,f\0\0\0"sv, "/a\0\0,s\0\0ab\0"sv, "/a\0\0,ss\0x\0\0\0"sv, "/\xC3\0\0,\0\0\0"sv,
          "/\xC0\xAF\0,\0\0\0"sv, "/a\0\0,s\0\0\xED\xA0\x80\0"sv,
          "\xF4\x90\x80\x80\0\0\0\0,\0\0\0"sv, "a\xFF\0\0,\0\0\0"sv})
        EXPECT_FALSE(stringArguments(bad)) << bad.size();
    EXPECT_EQ(decodeAddress("\0\0\0\0,\0\0\0"sv), "");
    EXPECT_FALSE(decodeAddress(std::string_view("abc", 3)));
    EXPECT_FALSE(decodeAddress(std::string_view("", 0)));
    EXPECT_FALSE(decodeArguments(std::string_view("/a\0\0,ix\0\0\0\0\0", 12)));

    SCOPED_TRACE("firstInt32Argument");
    EXPECT_EQ(firstInt32Argument(encodeMessage("/ping", {i(12111), s("iPad")})), 12111);
    EXPECT_FALSE(firstInt32Argument(encodeMessage("/ping", {s("iPad"), i(12111)})));
    EXPECT_FALSE(firstInt32Argument(encodeMessage("/ping", {})));
    EXPECT_FALSE(firstInt32Argument(encodeMessage("/ping", {f(1)})));
    EXPECT_FALSE(firstInt32Argument(std::string_view("/p\0\0,i\0\0\0\0", 10)));

    SCOPED_TRACE("firstNonEmptyStringArgument");
    EXPECT_EQ(firstNonEmptyStringArgument(
                  encodeMessage("/pong", {s(" \n"), i(1), s("\xC2\xA0 Studio iPad\n"), s("x")})),
              "Studio iPad");
    EXPECT_FALSE(firstNonEmptyStringArgument(encodeMessage("/pong", {s("  ")})));
    EXPECT_FALSE(firstNonEmptyStringArgument(encodeMessage("/pong", {})));
    // A later fault spoils the whole message.
    EXPECT_FALSE(firstNonEmptyStringArgument(std::string_view("/a\0\0,si\0name\0\0\0\0\0", 17)));
}

TEST(OSCCodec, RoundTripsEveryKindAndRefusesEveryWordTruncation) {
    const std::vector<OSCArgument> arguments = {i(-7), s(""), f(0.1f), s("🎻 Violins"), s("abcd")};
    const auto encoded = encodeMessage("/tessiva/Flöte", arguments);
    EXPECT_EQ(decodeAddress(encoded), "/tessiva/Flöte");
    EXPECT_EQ(decodeArguments(encoded), arguments);
    // A message always ends on a word boundary, so any shorter whole-word prefix is incomplete.
    for (std::size_t size = 4; size < encoded.size(); size += 4)
        EXPECT_FALSE(decodeArguments(OSCBytes(encoded).first(size))) << size;
}

TEST(OSCCodec, DescribesArgumentsAndHeartbeatAddresses) {
    EXPECT_EQ(describeArguments({}), "[]");
    const std::vector<OSCArgument> arguments = {i(12111), s("Bass"), f(120.0f)};
    EXPECT_EQ(describeArguments(arguments), "[i:12111, s:Bass, f:120.0]");
    const std::pair<float, std::string_view> floats[] = {
        {0.1f, "0.1"},
        {-2.5f, "-2.5"},
        {123.456f, "123.456"},
        {0.0001f, "0.0001"},
        {0.00001f, "1e-05"},
        {16777216.0f, "16777216.0"},
        {1e10f, "1e+10"},
        {std::numeric_limits<float>::max(), "3.4028235e+38"},
        {-0.0f, "-0.0"},
        {std::nanf(""), "nan"},
        {-std::numeric_limits<float>::infinity(), "-inf"}};
    for (const auto& [value, text] : floats)
        EXPECT_EQ(describeFloat(value), text);

    for (std::string_view address : {"/tessiva/midi/event", "/tessiva/midi/run/schedule",
                                     "/tessiva/midi/run/cancel", "/ping", "/pong"})
        EXPECT_TRUE(isHeartbeatAddress(address)) << address;
    for (std::string_view address : {"/ping/", "/tessiva/midi", "/tessiva/bank/focus", "", "/PING"})
        EXPECT_FALSE(isHeartbeatAddress(address)) << address;
}

}  // namespace
}  // namespace tessiva
