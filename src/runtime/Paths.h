#pragma once

#include <filesystem>

namespace tessiva {

// The folder that holds profiles and the defaults file: macOS
// "~/Library/Application Support/Tessiva Focus", Linux "$XDG_DATA_HOME" (or "~/.local/share")
// + "/Tessiva Focus". TESSIVA_FOCUS_HOME replaces the whole path (tests, demos). Not created here.
std::filesystem::path applicationSupportFolder();

// The platform's base folder for application data, before "Tessiva Focus" is appended.
// Defined once per platform.
std::filesystem::path platformApplicationDataBase();

}  // namespace tessiva
