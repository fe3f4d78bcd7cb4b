#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/Status.h"

namespace tessiva {

// Replaces `target` with `contents` so that a crash at any moment leaves either the old file or
// the new one: temporary file in the same folder, write, flush to the disk, rename over the
// target, flush the folder. Missing parent folders are created.
Status writeFileAtomically(const std::filesystem::path& target, std::string_view contents);

// Removes the temporary files that saves into `folder` left behind when the program was killed
// mid-write: only names of the form ".<file>.<8 hex digits>.tmp", only regular files last
// modified more than `minimumAge` ago (a save in progress is never that old). Returns how many
// were removed; errors are ignored, the next opening tries again.
int removeInterruptedSaveLeftovers(const std::filesystem::path& folder,
                                   std::chrono::seconds minimumAge = std::chrono::minutes(1));

// Reads a whole file. On failure returns nullopt and, when given, sets `error`.
std::optional<std::string> readWholeFile(const std::filesystem::path& path,
                                         std::string* error = nullptr);

}  // namespace tessiva
