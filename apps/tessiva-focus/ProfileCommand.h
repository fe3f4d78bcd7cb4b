#pragma once

#include <filesystem>
#include <iosfwd>

namespace CLI {
class App;
}

namespace tessiva {

// "tessiva-focus profile check FILE": decodes a profile without touching it and prints a
// one-line summary (exit 0) or the key or byte offset at fault (exit 1).
int checkProfile(const std::filesystem::path& file, std::ostream& out, std::ostream& err);

// Adds the "profile" subcommand to `app`; when it runs, its exit code lands in `exitCode`.
void addProfileCommand(CLI::App& app, int& exitCode);

}  // namespace tessiva
