#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tessiva {

// One bank of the iPad's workspace: what bank pickers and auto assign match Logic tracks against.
struct RemoteWorkspaceBank {
    std::string uuid;
    std::string name;
    std::optional<std::string> groupUUID;
    std::optional<std::string> groupName;
    std::string sectionName;
    std::int64_t articulationCount = 0;
    std::vector<std::string> articulationNames;
    std::optional<bool> isPinned;

    bool operator==(const RemoteWorkspaceBank&) const = default;
};

struct RemoteWorkspaceSection {
    std::string name;
    std::vector<RemoteWorkspaceBank> banks;

    bool operator==(const RemoteWorkspaceSection&) const = default;
};

// The iPad's workspace as the iPad describes it in JSON. A value: each decoded snapshot replaces
// the previous one whole. Unknown keys are ignored; optional keys may be missing or null.
struct RemoteWorkspaceSnapshot {
    std::optional<std::string> workspaceUUID;
    std::optional<std::string> workspaceName;
    std::vector<RemoteWorkspaceSection> sections;

    std::size_t bankCount() const;
    bool operator==(const RemoteWorkspaceSnapshot&) const = default;
};

// Decoding either yields a snapshot or the decoder's message ("sections[1].banks[0]: missing key
// \"articulationNames\"").
using RemoteWorkspaceSnapshotDecoding = std::variant<RemoteWorkspaceSnapshot, std::string>;

RemoteWorkspaceSnapshotDecoding decodeRemoteWorkspaceSnapshot(std::string_view json);

// Writes the same keys; absent optional values are left out.
std::string encodeRemoteWorkspaceSnapshot(const RemoteWorkspaceSnapshot& snapshot);

}  // namespace tessiva
