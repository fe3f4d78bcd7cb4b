#include "runtime/Console.h"

#include <cstdio>

namespace tessiva {

void StdoutConsole::line(std::string_view text) {
    std::lock_guard lock(mutex_);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void CapturingConsole::line(std::string_view text) {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(text);
}

std::vector<std::string> CapturingConsole::lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
}

bool CapturingConsole::contains(std::string_view text) const {
    return count(text) > 0;
}

std::size_t CapturingConsole::count(std::string_view text) const {
    std::lock_guard lock(mutex_);
    std::size_t n = 0;
    for (const auto& line : lines_) {
        if (line.find(text) != std::string::npos)
            ++n;
    }
    return n;
}

void CapturingConsole::clear() {
    std::lock_guard lock(mutex_);
    lines_.clear();
}

}  // namespace tessiva
