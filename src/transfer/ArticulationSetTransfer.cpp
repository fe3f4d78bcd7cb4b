#include "transfer/ArticulationSetTransfer.h"

#include "osc/OSCCodec.h"

namespace tessiva {

std::vector<std::string> splitIntoPieces(std::string_view text, std::size_t maxBytes) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = std::min(text.size(), start + maxBytes);
        // Back off to the start of a UTF-8 sequence (continuation bytes are 10xxxxxx).
        while (end < text.size() && end > start &&
               (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
            --end;
        }
        if (end == start)
            end = std::min(text.size(), start + maxBytes);
        pieces.emplace_back(text.substr(start, end - start));
        start = end;
    }
    if (pieces.empty())
        pieces.emplace_back();
    return pieces;
}

std::vector<OutboundMessage> articulationSetMessages(const std::string& fileName,
                                                     const std::string& transferID,
                                                     const std::string& text) {
    OutboundMessage whole{"/tessiva/articulationset/import",
                          {OSCArgument::string(fileName), OSCArgument::string(transferID),
                           OSCArgument::string(text)}};
    if (encodeMessage(whole.address, whole.arguments).size() <= kTransferDatagramBytes)
        return {std::move(whole)};

    const auto pieces = splitIntoPieces(text, kTransferChunkTextBytes);
    const auto count = static_cast<std::int32_t>(pieces.size());
    std::vector<OutboundMessage> messages;
    messages.reserve(pieces.size() + 2);
    messages.push_back(
        {"/tessiva/articulationset/import/begin",
         {OSCArgument::string(fileName), OSCArgument::string(transferID),
          OSCArgument::int32(static_cast<std::int32_t>(text.size())), OSCArgument::int32(count)}});
    for (std::int32_t i = 0; i < count; ++i) {
        messages.push_back(
            {"/tessiva/articulationset/import/chunk",
             {OSCArgument::string(transferID), OSCArgument::int32(i), OSCArgument::int32(count),
              OSCArgument::string(pieces[static_cast<std::size_t>(i)])}});
    }
    messages.push_back({"/tessiva/articulationset/import/end",
                        {OSCArgument::string(transferID), OSCArgument::int32(count)}});
    return messages;
}

}  // namespace tessiva
