#pragma once

#include <cstdio>
#include <string>

#include "platform/simulated/logic/SimulatedLogicOptions.h"

namespace tessiva::simulated_logic_texts {

// The texts a localized Logic shows, as recorded from Logic 12 in each language. German has no
// recorded rail description, so it keeps the English one (Logic translates area names unevenly).

inline std::string header(SimulatedLogicLocale locale, int number, const std::string& name) {
    const std::string n = std::to_string(number);
    switch (locale) {
        case SimulatedLogicLocale::de:
            return "Spur " + n + " \u201E" + name + "\u201C";
        case SimulatedLogicLocale::ja:
            return "\u30C8\u30E9\u30C3\u30AF" + n + "\u306E\u201C" + name + "\u201D";
        case SimulatedLogicLocale::ko:
            return n + "\uAC1C\uC758 \u2018" + name + "\u2019 \uD2B8\uB799";
        case SimulatedLogicLocale::en:
        case SimulatedLogicLocale::count:
            break;
    }
    return "Track " + n + " \u201C" + name + "\u201D";
}

inline std::string railDescription(SimulatedLogicLocale locale) {
    switch (locale) {
        case SimulatedLogicLocale::ja:
            return "\u30C8\u30E9\u30C3\u30AF\u30D8\u30C3\u30C0";
        case SimulatedLogicLocale::ko:
            return "\uD2B8\uB799 \uD5E4\uB354";
        default:
            return "Tracks header";
    }
}

inline std::string windowSuffix(SimulatedLogicLocale locale) {
    switch (locale) {
        case SimulatedLogicLocale::de:
            return "Spuren";
        case SimulatedLogicLocale::ja:
            return "\u30C8\u30E9\u30C3\u30AF";
        case SimulatedLogicLocale::ko:
            return "\uD2B8\uB799";
        default:
            return "Tracks";
    }
}

inline std::string tempo(SimulatedLogicLocale locale) {
    return locale == SimulatedLogicLocale::ko ? "\uD15C\uD3EC" : "Tempo";
}

// The tempo slider's value description: "120", "96.5".
inline std::string tempoDescription(double bpm) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", bpm);
    std::string out(text);
    out.erase(out.find_last_not_of('0') + 1);
    if (!out.empty() && out.back() == '.')
        out.pop_back();
    return out;
}

}  // namespace tessiva::simulated_logic_texts
