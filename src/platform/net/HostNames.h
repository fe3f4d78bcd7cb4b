#pragma once

#include <optional>
#include <string>

namespace tessiva {

// The names this computer goes by, as the operating system reports them. On macOS the localized
// name is the one set in Sharing settings; Linux has only the host name.
struct HostNames {
    std::optional<std::string> localizedName;
    std::optional<std::string> hostName;
};

HostNames currentHostNames();

}  // namespace tessiva
