#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace tessiva {

class MenuBarShell;

// menu, menu with the debug items, Mappings, Events, review, setup guide, About.
inline constexpr std::size_t kShellScreenshotCount = 7;

// Renders the open status menu and every window of the shell into one PNG each
// ("menu.png", "mappings.png", ...), for the README and the screenshot test. Works offscreen
// (QT_QPA_PLATFORM=offscreen). Returns the files written; a file that cannot be written is
// left out and named on standard error. GUI thread only.
std::vector<std::filesystem::path> writeShellScreenshots(MenuBarShell& shell,
                                                         const std::filesystem::path& folder);

}  // namespace tessiva
