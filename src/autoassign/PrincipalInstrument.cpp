#include "autoassign/PrincipalInstrument.h"

#include <utility>

namespace tessiva {

namespace {

struct FamilyWord {
    std::string_view token;
    InstrumentFamily family;
    bool isSection;  // a section word yields to any single instrument
};

constexpr std::array<FamilyWord, 13> kFamilyWords{{
    {"woodwind", InstrumentFamily::woodwind, true},
    {"wind", InstrumentFamily::woodwind, true},
    {"horn", InstrumentFamily::horn, false},
    {"flute", InstrumentFamily::flute, false},
    {"oboe", InstrumentFamily::oboe, false},
    {"clarinet", InstrumentFamily::clarinet, false},
    {"bassoon", InstrumentFamily::bassoon, false},
    {"trumpet", InstrumentFamily::trumpet, false},
    {"trombone", InstrumentFamily::trombone, false},
    {"violin", InstrumentFamily::violin, false},
    {"viola", InstrumentFamily::viola, false},
    {"cello", InstrumentFamily::cello, false},
    {"string", InstrumentFamily::string, true},
}};

const FamilyWord* familyWord(std::string_view token) {
    for (const auto& word : kFamilyWords) {
        if (word.token == token)
            return &word;
    }
    return nullptr;
}

}  // namespace

std::optional<InstrumentFamily> principalInstrument(const std::vector<std::string>& tokens) {
    std::optional<InstrumentFamily> section;
    for (const auto& token : tokens) {
        const FamilyWord* word = familyWord(token);
        if (!word)
            continue;
        if (!word->isSection)
            return word->family;
        if (!section)
            section = word->family;
    }
    return section;
}

}  // namespace tessiva
