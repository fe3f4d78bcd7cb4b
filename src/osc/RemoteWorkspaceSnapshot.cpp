#include "osc/RemoteWorkspaceSnapshot.h"

#include <fmt/format.h>

#include <cstdint>

#include "runtime/Json.h"

namespace tessiva {

namespace {

using Element = simdjson::dom::element;

// A snapshot of a few hundred banks is well under a megabyte and nests five levels.
constexpr JsonLimits kSnapshotLimits{.maxBytes = 16u * 1024 * 1024, .maxDepth = 64};

// Decoding failures carry the path of the offending value so a bad payload from the iPad can be
// diagnosed from the event log alone.
struct DecodeError {
    std::string message;
};

[[noreturn]] void fail(const std::string& path, const std::string& what) {
    throw DecodeError{path + ": " + what};
}

std::optional<Element> optional(Element object, const char* key) {
    const simdjson::dom::object fields = object.get_object().value_unsafe();
    Element found;
    if (fields.at_key(key).get(found) || found.is_null())
        return std::nullopt;
    return found;
}

Element required(Element object, const char* key, const std::string& path) {
    const auto found = optional(object, key);
    if (!found)
        fail(path, std::string("missing key \"") + key + "\"");
    return *found;
}

std::string text(Element value, const std::string& path) {
    if (!value.is_string())
        fail(path, "expected a string");
    return std::string(value.get_string().value_unsafe());
}

std::optional<std::string> optionalText(Element object, const char* key, const std::string& path) {
    const auto value = optional(object, key);
    if (!value)
        return std::nullopt;
    return text(*value, path + "." + key);
}

simdjson::dom::array array(Element value, const std::string& path) {
    if (!value.is_array())
        fail(path, "expected an array");
    return value.get_array().value_unsafe();
}

RemoteWorkspaceBank decodeBank(Element value, const std::string& path) {
    if (!value.is_object())
        fail(path, "expected an object");
    RemoteWorkspaceBank bank;
    bank.uuid = text(required(value, "uuid", path), path + ".uuid");
    bank.name = text(required(value, "name", path), path + ".name");
    bank.groupUUID = optionalText(value, "groupUUID", path);
    bank.groupName = optionalText(value, "groupName", path);
    bank.sectionName = text(required(value, "sectionName", path), path + ".sectionName");
    // Counts past the signed range are typed unsigned; they would read back negative.
    const Element count = required(value, "articulationCount", path);
    if (count.type() != simdjson::dom::element_type::INT64)
        fail(path + ".articulationCount", "expected an integer");
    bank.articulationCount = count.get_int64().value_unsafe();
    const std::string namesPath = path + ".articulationNames";
    std::size_t index = 0;
    for (const Element name : array(required(value, "articulationNames", path), namesPath)) {
        bank.articulationNames.push_back(
            text(name, namesPath + "[" + std::to_string(index++) + "]"));
    }
    if (const auto pinned = optional(value, "isPinned")) {
        if (!pinned->is_bool())
            fail(path + ".isPinned", "expected a Boolean");
        bank.isPinned = pinned->get_bool().value_unsafe();
    }
    return bank;
}

RemoteWorkspaceSection decodeSection(Element value, const std::string& path) {
    if (!value.is_object())
        fail(path, "expected an object");
    RemoteWorkspaceSection section;
    section.name = text(required(value, "name", path), path + ".name");
    std::size_t index = 0;
    for (const Element bank : array(required(value, "banks", path), path + ".banks")) {
        section.banks.push_back(decodeBank(bank, path + ".banks[" + std::to_string(index++) + "]"));
    }
    return section;
}

void appendField(std::string& out, std::string_view key, std::string_view value) {
    appendJsonString(out, key);
    out.push_back(':');
    appendJsonString(out, value);
    out.push_back(',');
}

}  // namespace

std::size_t RemoteWorkspaceSnapshot::bankCount() const {
    std::size_t count = 0;
    for (const auto& section : sections)
        count += section.banks.size();
    return count;
}

RemoteWorkspaceSnapshotDecoding decodeRemoteWorkspaceSnapshot(std::string_view json) {
    StrictJsonReader reader(kSnapshotLimits);
    Element root;
    if (const auto failure = reader.parse(json, root)) {
        return fmt::format("The data is not valid JSON at byte offset {}: {}", failure->byteOffset,
                           failure->reason);
    }
    try {
        if (!root.is_object())
            fail("snapshot", "expected an object");
        RemoteWorkspaceSnapshot snapshot;
        snapshot.workspaceUUID = optionalText(root, "workspaceUUID", "snapshot");
        snapshot.workspaceName = optionalText(root, "workspaceName", "snapshot");
        std::size_t index = 0;
        for (const Element section :
             array(required(root, "sections", "snapshot"), "snapshot.sections")) {
            snapshot.sections.push_back(
                decodeSection(section, "sections[" + std::to_string(index++) + "]"));
        }
        return snapshot;
    } catch (const DecodeError& error) {
        return error.message;
    }
}

std::string encodeRemoteWorkspaceSnapshot(const RemoteWorkspaceSnapshot& snapshot) {
    std::string out = "{";
    if (snapshot.workspaceUUID)
        appendField(out, "workspaceUUID", *snapshot.workspaceUUID);
    if (snapshot.workspaceName)
        appendField(out, "workspaceName", *snapshot.workspaceName);
    out += "\"sections\":[";
    for (const auto& section : snapshot.sections) {
        if (out.back() != '[')
            out.push_back(',');
        out.push_back('{');
        appendField(out, "name", section.name);
        out += "\"banks\":[";
        for (const auto& bank : section.banks) {
            if (out.back() != '[')
                out.push_back(',');
            out.push_back('{');
            appendField(out, "uuid", bank.uuid);
            appendField(out, "name", bank.name);
            if (bank.groupUUID)
                appendField(out, "groupUUID", *bank.groupUUID);
            if (bank.groupName)
                appendField(out, "groupName", *bank.groupName);
            appendField(out, "sectionName", bank.sectionName);
            if (bank.isPinned)
                out += *bank.isPinned ? "\"isPinned\":true," : "\"isPinned\":false,";
            out += fmt::format("\"articulationCount\":{},\"articulationNames\":[",
                               bank.articulationCount);
            for (const auto& name : bank.articulationNames) {
                if (out.back() != '[')
                    out.push_back(',');
                appendJsonString(out, name);
            }
            out += "]}";
        }
        out += "]}";
    }
    out += "]}";
    return out;
}

}  // namespace tessiva
