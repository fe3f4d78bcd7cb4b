#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace tessiva {

// Answers the project gate's two questions: which Logic project is open, and which project the
// loaded mappings profile belongs to. Project tracking supplies the real answers; tests use
// FixedProjectKeyProvider.
class ProjectKeyProvider {
  public:
    virtual ~ProjectKeyProvider() = default;
    // Derived from Logic's window title; absent while no project is known.
    virtual std::optional<std::string> currentProjectKey() const = 0;
    // The key stored with the loaded profile; absent when none is loaded or it carries none.
    virtual std::optional<std::string> loadedProfileProjectKey() const = 0;
};

// Until project tracking exists, the open project is taken to be the loaded profile's own, so
// the gate stays open. The coordinator owns one and hands it the loaded profile's key reader.
class LoadedProfileProjectKeyProvider final : public ProjectKeyProvider {
  public:
    using KeyReader = std::function<std::optional<std::string>()>;
    explicit LoadedProfileProjectKeyProvider(KeyReader loadedKey)
        : loadedKey_(std::move(loadedKey)) {}

    std::optional<std::string> currentProjectKey() const override { return loadedKey_(); }
    std::optional<std::string> loadedProfileProjectKey() const override { return loadedKey_(); }

  private:
    KeyReader loadedKey_;
};

// Fixed answers, set by tests and tools.
class FixedProjectKeyProvider final : public ProjectKeyProvider {
  public:
    FixedProjectKeyProvider() = default;
    FixedProjectKeyProvider(std::optional<std::string> current, std::optional<std::string> loaded)
        : current_(std::move(current)), loaded_(std::move(loaded)) {}

    void set(std::optional<std::string> current, std::optional<std::string> loaded) {
        current_ = std::move(current);
        loaded_ = std::move(loaded);
    }
    std::optional<std::string> currentProjectKey() const override { return current_; }
    std::optional<std::string> loadedProfileProjectKey() const override { return loaded_; }

  private:
    std::optional<std::string> current_;
    std::optional<std::string> loaded_;
};

}  // namespace tessiva
