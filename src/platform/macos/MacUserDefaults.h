#pragma once

#include <memory>
#include <string>

#include "runtime/UserDefaults.h"

namespace tessiva {

// User defaults in the application's own preferences domain through CFPreferences, where
// `defaults read <domain>` shows them. Every write is synchronised at once: the program can be
// killed at any moment. Thread-safe (CFPreferences is). The JSON-file defaults stand in for it on
// Linux and in tests.
std::unique_ptr<UserDefaults> makeMacUserDefaults(const std::string& applicationIdentifier);

}  // namespace tessiva
