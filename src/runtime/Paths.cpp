#include "runtime/Paths.h"

#include <cstdlib>

namespace tessiva {

std::filesystem::path applicationSupportFolder() {
    if (const char* home = std::getenv("TESSIVA_FOCUS_HOME"); home && *home) {
        return std::filesystem::path(home);
    }
    return platformApplicationDataBase() / "Tessiva Focus";
}

}  // namespace tessiva
