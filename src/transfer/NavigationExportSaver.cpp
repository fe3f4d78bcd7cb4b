#include "transfer/NavigationExportSaver.h"

#include <cstdlib>
#include <system_error>

#include "runtime/AtomicFile.h"
#include "runtime/DateFormat.h"

namespace tessiva {

namespace {

// The proposed name as a plain file name, or empty when nothing usable is left.
std::string plainFileName(const std::string& proposed) {
    std::string name;
    for (unsigned char c : proposed) {
        if (c == '/' || c == '\\' || c == ':')
            name.clear();  // keep only the last path component
        else if (c >= 0x20 && c != 0x7F)
            name += static_cast<char>(c);
    }
    while (!name.empty() && (name.front() == '.' || name.front() == ' '))
        name.erase(name.begin());
    while (!name.empty() && name.back() == ' ')
        name.pop_back();
    if (name.size() > 200)
        name.resize(200);
    return name;
}

}  // namespace

std::filesystem::path defaultNavigationExportFolder() {
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : ".") / "Documents";
}

std::filesystem::path navigationExportPath(const std::filesystem::path& folder,
                                           const std::optional<std::string>& proposedName,
                                           Date now) {
    std::string name = proposedName ? plainFileName(*proposedName) : std::string();
    if (name.empty())
        name = "Tessiva Navigation Export " + compactLocalTimestamp(now) + ".json";
    std::filesystem::path file(name);
    if (!file.has_extension())
        file += ".json";
    const std::string stem = file.stem().string();
    const std::string extension = file.extension().string();
    std::filesystem::path candidate = folder / file;
    std::error_code error;
    for (int number = 2; std::filesystem::exists(candidate, error) && number < 10000; ++number)
        candidate = folder / (stem + " " + std::to_string(number) + extension);
    return candidate;
}

std::variant<std::filesystem::path, std::string> saveNavigationExport(
    const std::filesystem::path& folder, const std::optional<std::string>& proposedName,
    std::string_view text, Date now) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) {
        return "The export folder " + folder.string() +
               " does not exist; choose another folder and export again.";
    }
    const std::filesystem::path target = navigationExportPath(folder, proposedName, now);
    if (Status written = writeFileAtomically(target, text); !written)
        return "Could not write " + target.string() + ": " + written.error();
    return target;
}

}  // namespace tessiva
