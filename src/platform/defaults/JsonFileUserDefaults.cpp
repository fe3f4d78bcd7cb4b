#include "platform/defaults/JsonFileUserDefaults.h"

#include <nlohmann/json.hpp>

#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/Paths.h"

namespace tessiva {

namespace {

using Json = nlohmann::json;

std::optional<UserDefaults::Value> fromJson(const Json& json) {
    if (json.is_boolean())
        return UserDefaults::Value(json.get<bool>());
    if (json.is_number_integer())
        return UserDefaults::Value(json.get<std::int64_t>());
    if (json.is_string())
        return UserDefaults::Value(json.get<std::string>());
    if (json.is_array()) {
        std::vector<std::string> list;
        for (const auto& item : json) {
            if (!item.is_string())
                return std::nullopt;
            list.push_back(item.get<std::string>());
        }
        return UserDefaults::Value(std::move(list));
    }
    return std::nullopt;
}

Json toJson(const UserDefaults::Value& value) {
    return std::visit([](const auto& v) { return Json(v); }, value);
}

}  // namespace

JsonFileUserDefaults::JsonFileUserDefaults(std::filesystem::path file, Console& console)
    : file_(std::move(file)), console_(console) {
    load();
}

void JsonFileUserDefaults::load() {
    std::error_code ec;
    if (!std::filesystem::exists(file_, ec))
        return;
    std::string error;
    auto contents = readWholeFile(file_, &error);
    if (!contents) {
        console_.line("[UserDefaults] Could not read " + file_.string() + ": " + error);
        return;
    }
    Json json = Json::parse(*contents, nullptr, false);
    if (json.is_discarded() || !json.is_object()) {
        console_.line("[UserDefaults] Ignoring unreadable preferences file " + file_.string());
        return;
    }
    for (const auto& [key, item] : json.items()) {
        if (auto value = fromJson(item))
            values_[key] = std::move(*value);
    }
}

std::optional<UserDefaults::Value> JsonFileUserDefaults::value(const std::string& key) const {
    std::lock_guard lock(mutex_);
    auto found = values_.find(key);
    if (found == values_.end())
        return std::nullopt;
    return found->second;
}

void JsonFileUserDefaults::setValue(const std::string& key, Value value) {
    std::lock_guard lock(mutex_);
    values_[key] = std::move(value);
    saveLocked();
}

void JsonFileUserDefaults::remove(const std::string& key) {
    std::lock_guard lock(mutex_);
    if (values_.erase(key) > 0)
        saveLocked();
}

void JsonFileUserDefaults::saveLocked() {
    Json json = Json::object();
    for (const auto& [key, value] : values_)
        json[key] = toJson(value);
    if (auto status = writeFileAtomically(file_, json.dump(2)); !status) {
        console_.line("[UserDefaults] Failed to save preferences: " + status.error());
    }
}

}  // namespace tessiva
