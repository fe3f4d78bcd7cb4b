#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tessiva {

// The strong track-name normalisation auto assign matches by (structural repair uses the light one
// in runtime/Text.h). Pure functions; any thread.
//
// 1. Trim white space and newlines; compose (NFC) and case-fold, so "FLÖTE", "Flöte" with a
//    combining diaeresis and "flöte" are one name, and "Groß" matches "Gross".
// 2. "s&w", "s & w" and "s and w" standing as words become "soft and wild" (inside a longer word,
//    such as "Brass and Woodwinds", nothing is replaced).
// 3. Every code point that is not a Unicode letter, mark or number separates words.
// 4. Each word is folded to its canonical form: the plural instrument names fold to the singular
//    ("violins" -> "violin", "celli" -> "cello").
//
// Names in other scripts keep their letters: "Скрипки 1" gives the tokens "скрипки" and "1", a
// Japanese or Chinese name without spaces is one token ("バイオリン"). Such names match exactly and
// by the token and prefix rules, but never by principal instrument, whose family words are
// English. A name made only of punctuation or symbols normalises to nothing.
std::vector<std::string> autoAssignTokens(std::string_view name);

// The tokens joined by single spaces; two names match exactly when these are equal.
std::string normalizedAutoAssignName(std::string_view name);
std::string joinAutoAssignTokens(const std::vector<std::string>& tokens);

// The canonical form of one lower-case word ("horns" -> "horn"); other words come back unchanged.
std::string_view foldedAutoAssignToken(std::string_view token);

// A desk or voice number: a whole decimal integer, optionally signed (the 1 of "Violins 1").
bool isDeskVoiceSuffix(std::string_view token);

}  // namespace tessiva
