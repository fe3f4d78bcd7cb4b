#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// What a Logic window title says about the open project. Logic's main window is titled
// "<project> - <window kind>", or carries the document name ("Song.logicx"); plug-in windows and
// dialogs carry neither and must never be taken for a project.
struct ProjectTitle {
    // The window kinds of Logic's main window, matched case-insensitively at the end of a title.
    // Logic 12 titles the Arrange window "<project> - Tracks" without the ".logicx" and
    // localises the kind ("Spuren", "トラック", "트랙", "Pistas", "Pistes", "Tracce").
    static constexpr std::array<std::string_view, 11> kWindowKindSuffixes = {
        " - Mixer: Tracks",
        " - Tracks",
        " - Mixer",
        " - Score",
        " - Piano Roll",
        " - Spuren",
        " - \u30C8\u30E9\u30C3\u30AF",
        " - \uD2B8\uB799",
        " - Pistas",
        " - Pistes",
        " - Tracce"};

    static bool isProjectTitle(std::string_view title);
    // "Song.logicx - Tracks" -> "Song"; "" -> "Untitled".
    static std::string baseName(std::string_view title);
    // The key that ties a profile to a project: the base name, lower-cased. A profile's key is
    // the same function of its file name, so "Song.json" belongs to "Song.logicx - Tracks".
    static std::string projectKey(std::string_view title);
    static std::string keyForBaseName(std::string_view baseName);
    // "<base>.json", or empty when the base name cannot name a file.
    static std::string profileFileName(std::string_view title);
};

}  // namespace tessiva
