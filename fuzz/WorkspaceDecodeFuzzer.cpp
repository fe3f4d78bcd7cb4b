// Feeds arbitrary payloads to the iPad workspace decoder. It must never crash or throw; whatever
// it accepts must be written so that it reads back as the same workspace, and a second encoding
// changes nothing.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <variant>

#include "osc/RemoteWorkspaceSnapshot.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace tessiva;
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const RemoteWorkspaceSnapshotDecoding decoded = decodeRemoteWorkspaceSnapshot(text);
    if (const auto* error = std::get_if<std::string>(&decoded)) {
        if (error->empty())
            std::abort();
        return 0;
    }
    const auto& snapshot = std::get<RemoteWorkspaceSnapshot>(decoded);
    const std::string written = encodeRemoteWorkspaceSnapshot(snapshot);
    const RemoteWorkspaceSnapshotDecoding again = decodeRemoteWorkspaceSnapshot(written);
    const auto* reread = std::get_if<RemoteWorkspaceSnapshot>(&again);
    if (!reread || !(*reread == snapshot))
        std::abort();
    if (encodeRemoteWorkspaceSnapshot(*reread) != written)
        std::abort();
    return 0;
}
