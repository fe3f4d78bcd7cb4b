// macOS: the computer name from System Settings > Sharing, then the host name.
#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <unistd.h>

#include <array>
#include <vector>

#include "platform/net/HostNames.h"

namespace tessiva {
namespace {

std::optional<std::string> utf8(CFStringRef string) {
    if (string == nullptr)
        return std::nullopt;
    const CFIndex length = CFStringGetLength(string);
    const CFIndex capacity = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
    std::vector<char> buffer(static_cast<std::size_t>(capacity));
    if (!CFStringGetCString(string, buffer.data(), capacity, kCFStringEncodingUTF8)) {
        return std::nullopt;
    }
    return std::string(buffer.data());
}

}  // namespace

HostNames currentHostNames() {
    HostNames names;
    if (CFStringRef computerName = SCDynamicStoreCopyComputerName(nullptr, nullptr)) {
        names.localizedName = utf8(computerName);
        CFRelease(computerName);
    }
    std::array<char, 256> buffer{};
    if (gethostname(buffer.data(), buffer.size() - 1) == 0 && buffer[0] != '\0') {
        names.hostName = std::string(buffer.data());
    }
    return names;
}

}  // namespace tessiva
