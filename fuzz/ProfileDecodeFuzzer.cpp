// Feeds arbitrary files to the profile decoder. It must never crash or throw; whatever it accepts
// must be written so that it reads back as the same profile, and a second save changes nothing.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "mapping/ProfileCodec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace tessiva;
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const ProfileDecodeResult decoded = ProfileCodec::decode(text);
    if (!decoded.ok()) {
        // Every refusal names a key or a byte inside the input.
        if (decoded.error.reason.empty() ||
            (decoded.error.byteOffset && *decoded.error.byteOffset > size))
            std::abort();
        return 0;
    }
    const std::string written = ProfileCodec::encode(*decoded.snapshot);
    const ProfileDecodeResult again = ProfileCodec::decode(written);
    if (!again.ok() || !(*again.snapshot == *decoded.snapshot))
        std::abort();
    if (ProfileCodec::encode(*again.snapshot) != written)
        std::abort();
    return 0;
}
