#include <gtest/gtest.h>

#include "autoassign/AutoAssignName.h"
#include "autoassign/PrincipalInstrument.h"

namespace tessiva {
namespace {

TEST(AutoAssignName, NormalisesNamesAsAUserReadsThem) {
    struct Case {
        const char* name;
        const char* normalized;
    };
    const Case cases[] = {
        {"  Violins 1\n", "violin 1"},
        {"\u00A0Cellos\u00A0", "cello"},
        {"Celli", "cello"},
        {"WOODWINDS", "woodwind"},
        {"Clarinets a2", "clarinet a2"},
        {"Flöte 1", "flöte 1"},
        {"Violas à 2", "viola à 2"},
        {"FLO\u0308TE", "flöte"},  // decomposed umlaut composes
        {"Groß", "gross"},
        {"S&W Strings", "soft and wild string"},
        {"s & w Horns", "soft and wild horn"},
        {"S and W flutes", "soft and wild flute"},
        {"Brass and Woodwinds", "brass and woodwind"},  // "s and w" inside words stays
        {"Abs & W 1", "abs w 1"},                       // ...also when only one side is a word
        {"Trés&W", "trés w"},  // a letter of two bytes before counts as a word too
        {"Horns (a4) – Legato", "horn a4 legato"},
        {"Скрипки 1", "скрипки 1"},
        {"バイオリン 独奏", "バイオリン 独奏"},
        {"--- ***", ""},
        {"\xff"
         "Bass",
         "bass"},  // a malformed byte separates words and is dropped
        {"", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(normalizedAutoAssignName(c.name), c.normalized) << c.name;
}

TEST(AutoAssignName, DeskVoiceSuffixIsAWholeSignedInteger) {
    for (const char* yes : {"1", "12", "-2", "+3", "\u0661"})
        EXPECT_TRUE(isDeskVoiceSuffix(yes)) << yes;
    for (const char* no : {"", "-", "1a", "a2", "½", "1.5"})
        EXPECT_FALSE(isDeskVoiceSuffix(no)) << no;
}

TEST(AutoAssignName, PrincipalInstrumentPrefersASingleInstrumentOverASection) {
    struct Case {
        const char* name;
        std::optional<InstrumentFamily> family;
    };
    const Case cases[] = {
        {"Violins 1 Legato", InstrumentFamily::violin},
        {"Strings Violas Long", InstrumentFamily::viola},
        {"Strings Ensemble", InstrumentFamily::string},
        {"Winds Tutti", InstrumentFamily::woodwind},
        {"Woodwinds Tutti", InstrumentFamily::woodwind},
        {"Flute Oboe Unison", InstrumentFamily::flute},
        {"Trombones", InstrumentFamily::trombone},
        {"Piano", std::nullopt},
        {"Скрипки", std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(principalInstrument(autoAssignTokens(c.name)), c.family) << c.name;
}

}  // namespace
}  // namespace tessiva
