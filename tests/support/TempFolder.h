#pragma once

#include <filesystem>
#include <string>

#include "runtime/UUID.h"

namespace tessiva {

// A fresh folder under the system temporary folder, removed with everything in it (even after a
// test made it read-only), so no test leaves anything behind in /tmp.
class TempFolder {
  public:
    explicit TempFolder(const std::string& prefix = "tessiva-test")
        : path_(std::filesystem::temp_directory_path() / (prefix + "-" + makeUUID())) {
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ec;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ec);
        std::filesystem::remove_all(path_, ec);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

}  // namespace tessiva
