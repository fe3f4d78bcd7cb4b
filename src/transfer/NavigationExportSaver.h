#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "runtime/Clock.h"

namespace tessiva {

// Where a received navigation export is written: the name the iPad proposed, reduced to a plain
// file name (no folders, no leading dot, no control characters; ".json" added when it has no
// extension), else "Tessiva Navigation Export <yyyyMMdd-HHmmss>.json"; an existing file is never
// replaced ("… 2.json", "… 3.json"). Pure apart from the existence checks.
std::filesystem::path navigationExportPath(const std::filesystem::path& folder,
                                           const std::optional<std::string>& proposedName,
                                           Date now);

// Writes the export atomically into `folder` (which must exist): the path written, or the
// reason nothing was written, in words for the user.
std::variant<std::filesystem::path, std::string> saveNavigationExport(
    const std::filesystem::path& folder, const std::optional<std::string>& proposedName,
    std::string_view text, Date now);

// The Documents folder, where exports go until the user chooses another.
std::filesystem::path defaultNavigationExportFolder();

}  // namespace tessiva
