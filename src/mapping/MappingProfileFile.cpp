#include "mapping/MappingProfileFile.h"

#include <fmt/format.h>

#include <system_error>

#include "mapping/ProfileCodec.h"
#include "runtime/AtomicFile.h"
#include "runtime/DateFormat.h"
#include "runtime/Text.h"

namespace tessiva {

namespace fs = std::filesystem;

ProfileFileChoice MappingProfileFile::choose(const fs::path& folder,
                                             const std::string& requestedName) {
    ProfileFileChoice choice;
    choice.target = folder / requestedName;
    choice.readFrom = choice.target;
    if (requestedName != kDefaultProfileFileName)
        return choice;
    std::error_code ec;
    if (fs::exists(choice.target, ec))
        return choice;
    const fs::path legacy = folder / kLegacyProfileFileName;
    if (fs::exists(legacy, ec)) {
        choice.readFrom = legacy;
        choice.fromLegacy = true;
    }
    return choice;
}

ProfileReadResult MappingProfileFile::read(const fs::path& file) {
    ProfileReadResult result;
    std::error_code ec;
    const auto status = fs::status(file, ec);
    if (status.type() == fs::file_type::not_found) {
        result.outcome = ProfileReadOutcome::missing;
        return result;
    }
    result.outcome = ProfileReadOutcome::unreadable;
    if (status.type() != fs::file_type::regular) {
        result.error = "not a regular file: " + file.string();
        return result;
    }
    // Refused before reading, so a huge file chosen by mistake never lands in memory.
    if (const auto size = fs::file_size(file, ec); !ec && size > ProfileCodec::kMaxBytes) {
        result.error = fmt::format("{} is {} bytes, larger than a profile can be ({} bytes)",
                                   file.string(), size, ProfileCodec::kMaxBytes);
        return result;
    }
    std::string readError;
    const auto data = readWholeFile(file, &readError);
    if (!data) {
        result.error = readError;
        return result;
    }
    auto decoded = ProfileCodec::decode(*data);
    if (!decoded.ok()) {
        result.error = decoded.error.describe();
        return result;
    }
    result.outcome = ProfileReadOutcome::loaded;
    result.snapshot = std::move(decoded.snapshot);
    return result;
}

Status MappingProfileFile::write(const fs::path& file, const MappingProfileSnapshot& snapshot) {
    return writeFileAtomically(file, ProfileCodec::encode(snapshot));
}

fs::path MappingProfileFile::setAsidePath(const fs::path& file, Date now) {
    const std::string base =
        fmt::format("{}.unreadable-{}", file.stem().string(), compactLocalTimestamp(now));
    fs::path candidate = file.parent_path() / (base + ".json");
    std::error_code ec;
    for (int n = 2; fs::exists(candidate, ec) && n < 1000; ++n) {
        candidate = file.parent_path() / fmt::format("{}-{}.json", base, n);
    }
    return candidate;
}

std::optional<fs::path> MappingProfileFile::setAside(const fs::path& file, Date now,
                                                     std::string* error) {
    std::error_code ec;
    if (!fs::is_regular_file(file, ec)) {
        if (error)
            *error = "not a regular file";
        return std::nullopt;
    }
    const fs::path destination = setAsidePath(file, now);
    fs::rename(file, destination, ec);
    if (ec) {
        if (error)
            *error = ec.message();
        return std::nullopt;
    }
    return destination;
}

std::string MappingProfileFile::proposedSaveName(const std::optional<fs::path>& current) {
    std::string name = current ? text::trimmed(current->filename().string()) : std::string();
    if (name.empty())
        name = "Tessiva Mappings.json";
    const std::string lower = text::lowercased(name);
    if (lower.size() < 5 || lower.compare(lower.size() - 5, 5, ".json") != 0)
        name += ".json";
    return name;
}

}  // namespace tessiva
