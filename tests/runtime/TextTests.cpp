#include <gtest/gtest.h>

#include "runtime/Text.h"

namespace tessiva {
namespace {

TEST(Text, TrimsAndLowercasesEveryScriptKeepingMalformedBytes) {
    EXPECT_EQ(text::trimmed("\u00A0Violins\u00A0"), "Violins");
    EXPECT_EQ(text::trimmed(" \t\r\n First Violins \u2028\u3000"), "First Violins");
    EXPECT_EQ(text::trimmed("\u0085"), "");
    EXPECT_EQ(text::trimmed(""), "");
    EXPECT_EQ(text::trimmed("Horn"), "Horn");
    // Malformed bytes are content, not white space.
    EXPECT_EQ(text::trimmed(" \xFF "), "\xFF");
    EXPECT_EQ(text::lowercased("Flöte"), "flöte");
    EXPECT_EQ(text::lowercased("ÉTUDE Ω"), "étude ω");
    EXPECT_EQ(text::lowercased("CELLO\xC3"), "cello\xC3");
    EXPECT_EQ(text::replacingNoBreakSpaces("A\u00A0B"), "A B");
    EXPECT_EQ(text::lightNormalizedTrackName("\u00A0 Solo\u00A0Cello \n"), "Solo Cello");
    EXPECT_TRUE(text::isAlphanumeric(U'é'));
    EXPECT_TRUE(text::isAlphanumeric(U'7'));
    EXPECT_FALSE(text::isAlphanumeric(U'-'));
}

}  // namespace
}  // namespace tessiva
