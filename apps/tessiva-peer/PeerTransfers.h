#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "osc/OSCArgument.h"
#include "osc/WorkspaceSnapshotChunkAssembler.h"

namespace tessiva::peer {

// The iPad's side of the transfers: it receives articulation sets (whole or begin/chunk/end),
// saves each into a folder and acknowledges it, and answers the Mac's navigation-export request
// with a file in chunks. Options make it misbehave the ways a real link does: acknowledgements
// lost, or the iPad gone in the middle of an export. Runs on tessiva-peer's single thread.
class PeerTransfers {
  public:
    using Send = std::function<int(std::string_view address, const std::vector<OSCArgument>&)>;

    struct Options {
        // Where received articulation sets are written; empty: received and acknowledged only.
        std::filesystem::path importFolder;
        // How many acknowledgements are dropped (not sent) before the first one goes.
        int dropImportAcks = 0;
        // The navigation export sent on request; empty: the request is not answered.
        std::filesystem::path exportFile;
        int exportChunks = 3;
        // Exit the process after sending this many chunks (-1: never), as an iPad that is closed.
        int exportVanishAfterChunks = -1;
    };

    PeerTransfers(Options options, Send send)
        : options_(std::move(options)), send_(std::move(send)) {}

    // True when the message was a transfer message (handled here).
    bool handle(std::string_view address, const std::vector<OSCArgument>& arguments);

  private:
    struct Incoming {
        std::string fileName;
        std::int32_t payloadBytes = 0;
        std::int32_t chunkCount = 0;
        std::optional<std::string> text;
    };

    void received(const std::string& transferID, const std::string& fileName,
                  const std::string& text);
    void acknowledge(const std::string& transferID, const std::string& status,
                     const std::string& message);
    void answerExport(const std::string& requestID);

    Options options_;
    Send send_;
    tessiva::WorkspaceSnapshotChunkAssembler assembler_;
    std::map<std::string, Incoming> incoming_;
    int acksDropped_ = 0;
};

}  // namespace tessiva::peer
