#pragma once

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace tessiva::testing {

// A child process whose standard output is collected line by line on a reader thread and whose
// standard input stays open until closeInput() (the link test host stops when it closes).
// Waited for on destruction.
class ChildProcess {
  public:
    explicit ChildProcess(std::vector<std::string> arguments) {
        int out[2];
        int in[2];
        if (::pipe(out) != 0 || ::pipe(in) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        posix_spawn_file_actions_addclose(&actions, in[1]);
        std::vector<char*> argv;
        for (auto& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0)
            pid_ = -1;
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        ::close(in[0]);
        input_ = in[1];
        reader_ = std::thread([this, fd = out[0]] {
            std::string pending;
            char buffer[4096];
            for (;;) {
                const ssize_t n = ::read(fd, buffer, sizeof(buffer));
                if (n <= 0)
                    break;
                pending.append(buffer, static_cast<std::size_t>(n));
                std::size_t newline;
                while ((newline = pending.find('\n')) != std::string::npos) {
                    std::lock_guard lock(mutex_);
                    lines_.push_back(pending.substr(0, newline));
                    pending.erase(0, newline + 1);
                    changed_.notify_all();
                }
            }
            ::close(fd);
            std::lock_guard lock(mutex_);
            if (!pending.empty())
                lines_.push_back(pending);
            ended_ = true;
            changed_.notify_all();
        });
    }
    ~ChildProcess() {
        closeInput();
        wait();
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return pid_ > 0; }
    void closeInput() {
        if (input_ >= 0)
            ::close(input_);
        input_ = -1;
    }
    void kill(int signal) {
        if (pid_ > 0)
            ::kill(pid_, signal);
    }
    // Waits for the exit and the end of output; returns the exit code, 128 + the signal when one
    // ended it.
    int wait() {
        if (reader_.joinable())
            reader_.join();
        if (pid_ > 0) {
            int status = 0;
            ::waitpid(pid_, &status, 0);
            exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            pid_ = -1;
        }
        return exitCode_;
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
            if (ended_)
                return std::nullopt;
            if (changed_.wait_until(lock, deadline) == std::cv_status::timeout)
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
    pid_t pid_ = -1;
    int input_ = -1;
    int exitCode_ = -1;
    std::thread reader_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> lines_;
    bool ended_ = false;
};

}  // namespace tessiva::testing
