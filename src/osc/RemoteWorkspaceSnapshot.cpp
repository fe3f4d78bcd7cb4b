#include "osc/RemoteWorkspaceSnapshot.h"

#include <nlohmann/json.hpp>

namespace tessiva {

namespace {

using Json = nlohmann::json;

// Decoding failures carry the path of the offending value so a bad payload from the iPad can be
// diagnosed from the event log alone.
struct DecodeError {
    std::string message;
};

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw DecodeError{path + ": " + what};
}

const Json& required(const Json& object, const char* key, const std::string& path) {
    auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        fail(path, std::string("missing key \"") + key + "\"");
    }
    return *found;
}

const Json* optional(const Json& object, const char* key) {
    auto found = object.find(key);
    if (found == object.end() || found->is_null())
        return nullptr;
    return &*found;
}

std::string text(const Json& value, const std::string& path) {
    if (!value.is_string())
        fail(path, "expected a string");
    return value.get<std::string>();
}

std::optional<std::string> optionalText(const Json& object, const char* key,
                                        const std::string& path) {
    const Json* value = optional(object, key);
    if (!value)
        return std::nullopt;
    return text(*value, path + "." + key);
}

const Json& array(const Json& value, const std::string& path) {
    if (!value.is_array())
        fail(path, "expected an array");
    return value;
}

RemoteWorkspaceBank decodeBank(const Json& value, const std::string& path) {
    if (!value.is_object())
        fail(path, "expected an object");
    RemoteWorkspaceBank bank;
    bank.uuid = text(required(value, "uuid", path), path + ".uuid");
    bank.name = text(required(value, "name", path), path + ".name");
    bank.groupUUID = optionalText(value, "groupUUID", path);
    bank.groupName = optionalText(value, "groupName", path);
    bank.sectionName = text(required(value, "sectionName", path), path + ".sectionName");
    const Json& count = required(value, "articulationCount", path);
    if (!count.is_number_integer())
        fail(path + ".articulationCount", "expected an integer");
    bank.articulationCount = count.get<std::int64_t>();
    const std::string namesPath = path + ".articulationNames";
    const Json& names = array(required(value, "articulationNames", path), namesPath);
    for (std::size_t i = 0; i < names.size(); ++i) {
        bank.articulationNames.push_back(text(names[i], namesPath + "[" + std::to_string(i) + "]"));
    }
    if (const Json* pinned = optional(value, "isPinned")) {
        if (!pinned->is_boolean())
            fail(path + ".isPinned", "expected a Boolean");
        bank.isPinned = pinned->get<bool>();
    }
    return bank;
}

RemoteWorkspaceSection decodeSection(const Json& value, const std::string& path) {
    if (!value.is_object())
        fail(path, "expected an object");
    RemoteWorkspaceSection section;
    section.name = text(required(value, "name", path), path + ".name");
    const Json& banks = array(required(value, "banks", path), path + ".banks");
    for (std::size_t i = 0; i < banks.size(); ++i) {
        section.banks.push_back(decodeBank(banks[i], path + ".banks[" + std::to_string(i) + "]"));
    }
    return section;
}

}  // namespace

std::size_t RemoteWorkspaceSnapshot::bankCount() const {
    std::size_t count = 0;
    for (const auto& section : sections)
        count += section.banks.size();
    return count;
}

RemoteWorkspaceSnapshotDecoding decodeRemoteWorkspaceSnapshot(std::string_view json) {
    Json root = Json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (root.is_discarded())
        return std::string("The data is not valid JSON.");
    try {
        if (!root.is_object())
            fail("snapshot", "expected an object");
        RemoteWorkspaceSnapshot snapshot;
        snapshot.workspaceUUID = optionalText(root, "workspaceUUID", "snapshot");
        snapshot.workspaceName = optionalText(root, "workspaceName", "snapshot");
        const Json& sections = array(required(root, "sections", "snapshot"), "snapshot.sections");
        for (std::size_t i = 0; i < sections.size(); ++i) {
            snapshot.sections.push_back(
                decodeSection(sections[i], "sections[" + std::to_string(i) + "]"));
        }
        return snapshot;
    } catch (const DecodeError& error) {
        return error.message;
    }
}

std::string encodeRemoteWorkspaceSnapshot(const RemoteWorkspaceSnapshot& snapshot) {
    Json root = Json::object();
    if (snapshot.workspaceUUID)
        root["workspaceUUID"] = *snapshot.workspaceUUID;
    if (snapshot.workspaceName)
        root["workspaceName"] = *snapshot.workspaceName;
    Json sections = Json::array();
    for (const auto& section : snapshot.sections) {
        Json banks = Json::array();
        for (const auto& bank : section.banks) {
            Json entry = {{"uuid", bank.uuid},
                          {"name", bank.name},
                          {"sectionName", bank.sectionName},
                          {"articulationCount", bank.articulationCount},
                          {"articulationNames", bank.articulationNames}};
            if (bank.groupUUID)
                entry["groupUUID"] = *bank.groupUUID;
            if (bank.groupName)
                entry["groupName"] = *bank.groupName;
            if (bank.isPinned)
                entry["isPinned"] = *bank.isPinned;
            banks.push_back(std::move(entry));
        }
        sections.push_back({{"name", section.name}, {"banks", std::move(banks)}});
    }
    root["sections"] = std::move(sections);
    return root.dump();
}

}  // namespace tessiva
