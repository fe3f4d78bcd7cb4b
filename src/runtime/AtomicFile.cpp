#include "runtime/AtomicFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "runtime/UUID.h"

namespace tessiva {

namespace {

std::string describeErrno(const std::string& what, const std::filesystem::path& path) {
    return what + " " + path.string() + ": " + std::strerror(errno);
}

// A plain fsync does not reach the platter on macOS; F_FULLFSYNC does where it exists.
int flushToDisk(int fd) {
#ifdef F_FULLFSYNC
    if (::fcntl(fd, F_FULLFSYNC) == 0)
        return 0;
#endif
    return ::fsync(fd);
}

// ".<target name>.<8 hex digits>.tmp", the name writeFileAtomically gives its temporary file.
bool isInterruptedSaveName(std::string_view name) {
    constexpr std::string_view suffix = ".tmp";
    constexpr std::size_t hexDigits = 8;
    // A dot, at least one character of the target name, a dot, the digits, the suffix.
    if (name.size() < 3 + hexDigits + suffix.size() || name.front() != '.' ||
        name.substr(name.size() - suffix.size()) != suffix)
        return false;
    const std::size_t digits = name.size() - suffix.size() - hexDigits;
    if (name[digits - 1] != '.')
        return false;
    for (std::size_t i = digits; i < digits + hexDigits; ++i) {
        const char c = name[i];
        if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f')))
            return false;
    }
    return true;
}

}  // namespace

int removeInterruptedSaveLeftovers(const std::filesystem::path& folder,
                                   std::chrono::seconds minimumAge) {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::directory_iterator it(folder, ec);
    if (ec)
        return 0;
    const auto now = fs::file_time_type::clock::now();
    int removed = 0;
    for (const fs::directory_entry& entry : it) {
        if (!isInterruptedSaveName(entry.path().filename().string()))
            continue;
        if (!entry.is_regular_file(ec) || entry.is_symlink(ec))
            continue;
        const auto modified = entry.last_write_time(ec);
        if (ec || now - modified < minimumAge)
            continue;
        if (fs::remove(entry.path(), ec))
            ++removed;
    }
    return removed;
}

Status writeFileAtomically(const std::filesystem::path& target, std::string_view contents) {
    const std::filesystem::path folder =
        target.has_parent_path() ? target.parent_path() : std::filesystem::path(".");
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec)
        return Status::failure("could not create folder " + folder.string() + ": " + ec.message());

    const std::filesystem::path temporary =
        folder / ("." + target.filename().string() + "." + makeUUID().substr(0, 8) + ".tmp");
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return Status::failure(describeErrno("could not create", temporary));

    const char* data = contents.data();
    std::size_t remaining = contents.size();
    while (remaining > 0) {
        const ssize_t written = ::write(fd, data, remaining);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            const auto failure = describeErrno("could not write", temporary);
            ::close(fd);
            ::unlink(temporary.c_str());
            return Status::failure(failure);
        }
        data += written;
        remaining -= static_cast<std::size_t>(written);
    }
    if (flushToDisk(fd) != 0) {
        const auto failure = describeErrno("could not flush", temporary);
        ::close(fd);
        ::unlink(temporary.c_str());
        return Status::failure(failure);
    }
    ::close(fd);
    if (::rename(temporary.c_str(), target.c_str()) != 0) {
        const auto failure = describeErrno("could not replace", target);
        ::unlink(temporary.c_str());
        return Status::failure(failure);
    }
    // The rename is only durable once the folder entry is on disk.
    const int folderFd = ::open(folder.c_str(), O_RDONLY | O_CLOEXEC);
    if (folderFd >= 0) {
        flushToDisk(folderFd);
        ::close(folderFd);
    }
    return Status::success();
}

std::optional<std::string> readWholeFile(const std::filesystem::path& path, std::string* error) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        if (error)
            *error = describeErrno("could not open", path);
        return std::nullopt;
    }
    std::ostringstream buffer;
    buffer << stream.rdbuf();
    if (stream.bad()) {
        if (error)
            *error = "could not read " + path.string();
        return std::nullopt;
    }
    return std::move(buffer).str();
}

}  // namespace tessiva
