#include <cstdlib>

#include "runtime/Paths.h"

namespace tessiva {

std::filesystem::path platformApplicationDataBase() {
    if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) {
        return std::filesystem::path(xdg);
    }
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : ".") / ".local" / "share";
}

}  // namespace tessiva
