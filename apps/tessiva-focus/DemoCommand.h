#pragma once

#include <CLI/CLI.hpp>

namespace tessiva {

// `tessiva-focus demo`: the program plays a short, self-checking story with a simulated Logic
// Pro and the command-line iPad, prints a transcript and exits (0 when every step happened).
void addDemoCommand(CLI::App& app, int& exitCode);

}  // namespace tessiva
