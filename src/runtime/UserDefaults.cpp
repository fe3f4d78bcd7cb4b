#include "runtime/UserDefaults.h"

namespace tessiva {

std::optional<UserDefaults::Value> InMemoryUserDefaults::value(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto found = values_.find(key);
    if (found == values_.end())
        return std::nullopt;
    return found->second;
}

void InMemoryUserDefaults::setValue(const std::string& key, Value value) {
    std::lock_guard lock(mutex_);
    values_[key] = std::move(value);
}

void InMemoryUserDefaults::remove(const std::string& key) {
    std::lock_guard lock(mutex_);
    values_.erase(key);
}

}  // namespace tessiva
