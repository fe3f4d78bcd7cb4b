#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "runtime/ChildProcess.h"

namespace tessiva::testing {

// A child program whose output lines are kept, so a test can wait for one.
class ChildProcess {
  public:
    explicit ChildProcess(std::vector<std::string> arguments)
        : process_(std::move(arguments), [this](const std::string& line) {
              std::lock_guard lock(mutex_);
              lines_.push_back(line);
              changed_.notify_all();
          }) {}

    bool started() const { return process_.started(); }
    void closeInput() { process_.closeInput(); }
    void kill(int signal) { process_.signal(signal); }
    int wait() {
        const int code = process_.wait();
        std::lock_guard lock(mutex_);
        ended_ = true;
        changed_.notify_all();
        return code;
    }
    // The first line containing `text`, waiting up to `seconds` for it.
    std::optional<std::string> waitForLine(const std::string& text, double seconds = 10.0) {
        std::unique_lock lock(mutex_);
        const auto deadline =
            std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        for (;;) {
            for (const auto& line : lines_) {
                if (line.find(text) != std::string::npos)
                    return line;
            }
            if (ended_ || changed_.wait_until(lock, deadline) == std::cv_status::timeout)
                return std::nullopt;
        }
    }
    std::string output() const {
        std::lock_guard lock(mutex_);
        std::string text;
        for (const auto& line : lines_)
            text += line + "\n";
        return text;
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
    bool ended_ = false;
    tessiva::ChildProcess process_;  // last: its reader thread uses the members above
};

}  // namespace tessiva::testing
