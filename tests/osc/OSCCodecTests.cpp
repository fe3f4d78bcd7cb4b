#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "osc/OSCCodec.h"

namespace tessiva {
namespace {

using Bytes = std::vector<std::uint8_t>;
using namespace std::string_view_literals;

Bytes bytes(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

TEST(OSCCodec, EncodesTheWireFormByteForByte) {
    SCOPED_TRACE("/ping with the listen port");
    EXPECT_EQ(encodeMessage("/ping", {OSCArgument::int32(12111)}),
              (Bytes{'/', 'p', 'i', 'n', 'g', 0, 0, 0, ',', 'i', 0, 0, 0x00, 0x00, 0x2F, 0x4F}));

    // An address of a multiple of 4 bytes gets a full word of NULs; no arguments still carry ",".
    EXPECT_EQ(encodeMessage("/abc", {}), (Bytes{'/', 'a', 'b', 'c', 0, 0, 0, 0, ',', 0, 0, 0}));
    EXPECT_EQ(encodeMessage("/ab", {}), (Bytes{'/', 'a', 'b', 0, ',', 0, 0, 0}));

    // An empty string is one NUL and three pad bytes.
    EXPECT_EQ(encodeMessage("/a", {OSCArgument::string("")}),
              (Bytes{'/', 'a', 0, 0, ',', 's', 0, 0, 0, 0, 0, 0}));

    // Big-endian two's complement and IEEE-754 bit patterns; tags in argument order.
    EXPECT_EQ(encodeMessage("/t", {OSCArgument::int32(-2), OSCArgument::float32(1.0f),
                                   OSCArgument::string("abc")}),
              (Bytes{'/',  't',  0,    0,    ',',  'i',  'f',  's',  0,   0,   0,   0,
                     0xFF, 0xFF, 0xFF, 0xFE, 0x3F, 0x80, 0x00, 0x00, 'a', 'b', 'c', 0}));

    // The tag string itself pads by the same rule: 3 tags + ',' need a second word.
    EXPECT_EQ(encodedMessageSize("/a", std::vector<OSCArgument>(3, OSCArgument::int32(0))),
              4u + 8u + 12u);

    // Appending keeps what was in the buffer and reuses its capacity.
    Bytes buffer = {9, 9};
    const std::vector<OSCArgument> arguments = {OSCArgument::string("Bass")};
    encodeMessage("/x", arguments, buffer);
    EXPECT_EQ(buffer,
              (Bytes{9, 9, '/', 'x', 0, 0, ',', 's', 0, 0, 'B', 'a', 's', 's', 0, 0, 0, 0}));
    buffer.clear();
    const auto* storage = buffer.data();
    encodeMessage("/x", arguments, buffer);
    EXPECT_EQ(buffer.data(), storage);
    EXPECT_EQ(buffer.size(), encodedMessageSize("/x", arguments));
}

TEST(OSCCodec, ReadsPaddedStringsAndIntegersOnlyWhenCompleteAndValid) {
    const Bytes data = bytes(std::string_view("/a\0\0,s\0\0ab\0", 11));  // last pad byte missing
    std::size_t offset = 8;
    EXPECT_FALSE(readPaddedString(data, offset));
    EXPECT_EQ(offset, 8u) << "offset moves only on success";
    offset = 0;
    EXPECT_EQ(readPaddedString(data, offset), "/a");
    EXPECT_EQ(offset, 4u);
    EXPECT_EQ(readPaddedString(data, offset), ",s");
    EXPECT_EQ(offset, 8u);

    SCOPED_TRACE("faults");
    offset = 11;
    EXPECT_FALSE(readPaddedString(data, offset));  // at the end
    offset = 40;
    EXPECT_FALSE(readPaddedString(data, offset));  // past the end
    const Bytes unterminated = bytes("abc");
    offset = 0;
    EXPECT_FALSE(readPaddedString(unterminated, offset));
    const Bytes cutUTF8 = {'/', 0xC3, 0, 0};  // "é" cut after its lead byte
    EXPECT_FALSE(readPaddedString(cutUTF8, offset));
    for (const Bytes& invalid : {Bytes{'/', 0xC0, 0xAF, 0},                  // overlong '/'
                                 Bytes{0xED, 0xA0, 0x80, 0},                 // surrogate
                                 Bytes{0xF4, 0x90, 0x80, 0x80, 0, 0, 0, 0},  // past U+10FFFF
                                 Bytes{'a', 0xFF, 0, 0}}) {
        std::size_t start = 0;
        EXPECT_FALSE(readPaddedString(invalid, start));
        EXPECT_EQ(start, 0u);
    }
    const Bytes valid = {'/', 0xC3, 0xA9, 0, 0xF0, 0x9F, 0x8E, 0xBB, 0, 0, 0, 0};  // "/é", "🎻"
    offset = 0;
    EXPECT_EQ(readPaddedString(valid, offset), "/\xC3\xA9");
    EXPECT_EQ(readPaddedString(valid, offset), "\xF0\x9F\x8E\xBB");

    const Bytes integers = {0x00, 0x00, 0x2F, 0x4F, 0x80, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF};
    offset = 0;
    EXPECT_EQ(readInt32(integers, offset), 12111);
    EXPECT_EQ(readInt32(integers, offset), std::numeric_limits<std::int32_t>::min());
    EXPECT_FALSE(readInt32(integers, offset));  // three bytes left
    EXPECT_EQ(offset, 8u);
    offset = 100;
    EXPECT_FALSE(readInt32(integers, offset));
}

TEST(OSCCodec, DecodesArgumentsAndRefusesEveryFault) {
    const auto sis = encodeMessage(
        "/tessiva/navigation/direct/select",
        {OSCArgument::string("req-1"), OSCArgument::int32(7), OSCArgument::string("BANK")});
    EXPECT_EQ(decodeAddress(sis), "/tessiva/navigation/direct/select");
    EXPECT_EQ(stringArguments(sis), (std::vector<std::string_view>{"req-1", "BANK"}));
    EXPECT_EQ(stringArguments(encodeMessage("/x", {})), std::vector<std::string_view>{});
    EXPECT_EQ(decodeArguments(sis),
              (std::vector<OSCArgument>{OSCArgument::string("req-1"), OSCArgument::int32(7),
                                        OSCArgument::string("BANK")}));

    // Faults: a blob tag (not ours to read, whatever follows it), tags without ',', no type-tag
    // string, an empty address, truncated i/f/s arguments, a missing pad, a second string gone.
    for (std::string_view bad :
         {"/a\0\0,sb\0x\0\0\0"sv, "/a\0\0,b\0\0"sv, "/a\0\0,b\0\0\0\x0F\x42\x40"sv,
          "/a\0\0si\0\0"sv, "/a\0\0"sv, "\0\0\0\0,s\0\0x\0\0\0"sv, "/a\0\0,i\0\0\0\0\0"sv,
          "/a\0\0,f\0\0\0"sv, "/a\0\0,s\0\0ab\0"sv, "/a\0\0,ss\0x\0\0\0"sv})
        EXPECT_FALSE(stringArguments(bad)) << bad.size();
    EXPECT_EQ(decodeAddress("\0\0\0\0,\0\0\0"sv), "");
    EXPECT_FALSE(decodeAddress(std::string_view("abc", 3)));
    EXPECT_FALSE(decodeAddress(std::string_view("", 0)));
    EXPECT_FALSE(decodeArguments(std::string_view("/a\0\0,ix\0\0\0\0\0", 12)));

    SCOPED_TRACE("firstInt32Argument");
    EXPECT_EQ(firstInt32Argument(
                  encodeMessage("/ping", {OSCArgument::int32(12111), OSCArgument::string("iPad")})),
              12111);
    EXPECT_FALSE(firstInt32Argument(
        encodeMessage("/ping", {OSCArgument::string("iPad"), OSCArgument::int32(12111)})));
    EXPECT_FALSE(firstInt32Argument(encodeMessage("/ping", {})));
    EXPECT_FALSE(firstInt32Argument(encodeMessage("/ping", {OSCArgument::float32(1)})));
    EXPECT_FALSE(firstInt32Argument(std::string_view("/p\0\0,i\0\0\0\0", 10)));

    SCOPED_TRACE("firstNonEmptyStringArgument");
    EXPECT_EQ(
        firstNonEmptyStringArgument(encodeMessage(
            "/pong", {OSCArgument::string(" \n"), OSCArgument::int32(1),
                      OSCArgument::string("\xC2\xA0 Studio iPad\n"), OSCArgument::string("x")})),
        "Studio iPad");
    EXPECT_FALSE(firstNonEmptyStringArgument(encodeMessage("/pong", {OSCArgument::string("  ")})));
    EXPECT_FALSE(firstNonEmptyStringArgument(encodeMessage("/pong", {})));
    // A later fault spoils the whole message.
    EXPECT_FALSE(firstNonEmptyStringArgument(std::string_view("/a\0\0,si\0name\0\0\0\0\0", 17)));
}

TEST(OSCCodec, RoundTripsEveryKindAndRefusesEveryWordTruncation) {
    const std::vector<OSCArgument> arguments = {
        OSCArgument::int32(-7), OSCArgument::string(""), OSCArgument::float32(0.1f),
        OSCArgument::string("🎻 Violins"), OSCArgument::string("abcd")};
    const auto encoded = encodeMessage("/tessiva/Flöte", arguments);
    EXPECT_EQ(decodeAddress(encoded), "/tessiva/Flöte");
    EXPECT_EQ(decodeArguments(encoded), arguments);
    // A message always ends on a word boundary, so any shorter whole-word prefix is incomplete.
    for (std::size_t size = 4; size < encoded.size(); size += 4)
        EXPECT_FALSE(decodeArguments(OSCBytes(encoded).first(size))) << size;
}

TEST(OSCCodec, DescribesArgumentsAndHeartbeatAddresses) {
    EXPECT_EQ(describeArguments({}), "[]");
    const std::vector<OSCArgument> arguments = {
        OSCArgument::int32(12111), OSCArgument::string("Bass"), OSCArgument::float32(120.0f)};
    EXPECT_EQ(describeArguments(arguments), "[i:12111, s:Bass, f:120.0]");
    EXPECT_EQ(describeFloat(0.1f), "0.1");
    EXPECT_EQ(describeFloat(-2.5f), "-2.5");
    EXPECT_EQ(describeFloat(123.456f), "123.456");
    EXPECT_EQ(describeFloat(0.0001f), "0.0001");
    EXPECT_EQ(describeFloat(0.00001f), "1e-05");
    EXPECT_EQ(describeFloat(16777216.0f), "16777216.0");
    EXPECT_EQ(describeFloat(1e10f), "1e+10");
    EXPECT_EQ(describeFloat(std::numeric_limits<float>::max()), "3.4028235e+38");
    EXPECT_EQ(describeFloat(-0.0f), "-0.0");
    EXPECT_EQ(describeFloat(std::nanf("")), "nan");
    EXPECT_EQ(describeFloat(-std::numeric_limits<float>::infinity()), "-inf");

    for (std::string_view address : {"/tessiva/midi/event", "/tessiva/midi/run/schedule",
                                     "/tessiva/midi/run/cancel", "/ping", "/pong"}) {
        EXPECT_TRUE(isHeartbeatAddress(address)) << address;
    }
    for (std::string_view address :
         {"/ping/", "/tessiva/midi", "/tessiva/bank/focus", "", "/PING"}) {
        EXPECT_FALSE(isHeartbeatAddress(address)) << address;
    }
}

TEST(OSCCodec, MessageReaderYieldsArgumentsInPlace) {
    const auto encoded = encodeMessage("/tessiva/logic/tempo",
                                       {OSCArgument::float32(96.5f), OSCArgument::string("x")});
    auto reader = OSCMessageReader::open(encoded);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->address(), "/tessiva/logic/tempo");
    EXPECT_EQ(reader->typeTags(), "fs");
    auto tempo = reader->next();
    ASSERT_TRUE(tempo);
    EXPECT_EQ(tempo->kind, OSCArgument::Kind::float32);
    EXPECT_EQ(tempo->float32, 96.5f);
    auto text = reader->next();
    ASSERT_TRUE(text);
    EXPECT_EQ(text->string.data(), reinterpret_cast<const char*>(encoded.data()) + 32);  // no copy
    EXPECT_FALSE(reader->next());
    EXPECT_TRUE(reader->atEnd());
    EXPECT_FALSE(reader->failed());

    auto broken = OSCMessageReader::open(oscBytes(std::string_view("/a\0\0,iq\0\0\0\0\x01", 12)));
    ASSERT_TRUE(broken);
    EXPECT_EQ(broken->next()->int32, 1);
    EXPECT_FALSE(broken->next());
    EXPECT_TRUE(broken->failed());
}

}  // namespace
}  // namespace tessiva
