#include <limits.h>
#include <unistd.h>

#include <array>

#include "platform/net/HostNames.h"

namespace tessiva {

HostNames currentHostNames() {
    HostNames names;
    std::array<char, HOST_NAME_MAX + 1> buffer{};
    if (gethostname(buffer.data(), buffer.size() - 1) == 0 && buffer[0] != '\0') {
        names.hostName = std::string(buffer.data());
    }
    return names;
}

}  // namespace tessiva
