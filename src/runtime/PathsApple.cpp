#include <cstdlib>

#include "runtime/Paths.h"

namespace tessiva {

std::filesystem::path platformApplicationDataBase() {
    const char* home = std::getenv("HOME");
    return std::filesystem::path(home && *home ? home : ".") / "Library" / "Application Support";
}

}  // namespace tessiva
