#pragma once

#include <CLI/CLI.hpp>

namespace tessiva {

// `tessiva-focus run`: the whole program, headless, until Ctrl-C.
void addRunCommand(CLI::App& app, int& exitCode);

}  // namespace tessiva
