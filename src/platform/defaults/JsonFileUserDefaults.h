#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>

#include "runtime/UserDefaults.h"

namespace tessiva {

class Console;

// User defaults kept in one JSON object on disk, rewritten atomically on every change. A file
// that cannot be read is reported on the console and replaced by defaults on the next write.
class JsonFileUserDefaults final : public UserDefaults {
  public:
    JsonFileUserDefaults(std::filesystem::path file, Console& console);

    std::optional<Value> value(const std::string& key) const override;
    void setValue(const std::string& key, Value value) override;
    void remove(const std::string& key) override;

    const std::filesystem::path& file() const { return file_; }

  private:
    void load();
    void saveLocked();

    std::filesystem::path file_;
    Console& console_;
    mutable std::mutex mutex_;
    std::map<std::string, Value> values_;
};

}  // namespace tessiva
