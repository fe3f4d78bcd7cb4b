#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tessiva {

// Persistent preferences by key ("tessivaFocus.hasCompletedInitialSetup", the recent profile
// paths, the stored iPad endpoint). Reads of a missing key, or of a key holding another type,
// give nullopt. Thread-safe. Adapters: JSON file (Linux), CFPreferences (macOS), in memory (tests).
class UserDefaults {
  public:
    using Value = std::variant<bool, std::int64_t, std::string, std::vector<std::string>>;
    virtual ~UserDefaults() = default;

    virtual std::optional<Value> value(const std::string& key) const = 0;
    virtual void setValue(const std::string& key, Value value) = 0;
    virtual void remove(const std::string& key) = 0;

    std::optional<bool> boolValue(const std::string& key) const { return get<bool>(key); }
    std::optional<std::int64_t> integer(const std::string& key) const {
        return get<std::int64_t>(key);
    }
    std::optional<std::string> string(const std::string& key) const {
        return get<std::string>(key);
    }
    std::vector<std::string> stringList(const std::string& key) const {
        return get<std::vector<std::string>>(key).value_or(std::vector<std::string>{});
    }
    void setBool(const std::string& key, bool v) { setValue(key, v); }
    void setInteger(const std::string& key, std::int64_t v) { setValue(key, v); }
    void setString(const std::string& key, std::string v) { setValue(key, std::move(v)); }
    void setStringList(const std::string& key, std::vector<std::string> v) {
        setValue(key, std::move(v));
    }

  private:
    template <typename T>
    std::optional<T> get(const std::string& key) const {
        auto stored = value(key);
        if (!stored)
            return std::nullopt;
        if (auto* typed = std::get_if<T>(&*stored))
            return *typed;
        return std::nullopt;
    }
};

class InMemoryUserDefaults final : public UserDefaults {
  public:
    std::optional<Value> value(const std::string& key) const override;
    void setValue(const std::string& key, Value value) override;
    void remove(const std::string& key) override;

  private:
    mutable std::mutex mutex_;
    std::map<std::string, Value> values_;
};

}  // namespace tessiva
