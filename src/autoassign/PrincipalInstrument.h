#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessiva {

// The instrument family a track or bank name is about. "wind" and "woodwind" are one family.
enum class InstrumentFamily {
    woodwind,
    horn,
    flute,
    oboe,
    clarinet,
    bassoon,
    trumpet,
    trombone,
    violin,
    viola,
    cello,
    string
};

inline constexpr std::array<std::string_view, 12> kInstrumentFamilyNames{
    "woodwind", "horn",     "flute",  "oboe",  "clarinet", "bassoon",
    "trumpet",  "trombone", "violin", "viola", "cello",    "string"};
static_assert(kInstrumentFamilyNames.size() ==
              static_cast<std::size_t>(InstrumentFamily::string) + 1);

// The family named by canonical (folded) tokens. A single instrument wins over a section word,
// so "Strings Violins Legato" is about violins; among instruments the first named wins ("Flute
// Oboe Unison" is a flute). Pure; any thread.
std::optional<InstrumentFamily> principalInstrument(const std::vector<std::string>& tokens);

}  // namespace tessiva
