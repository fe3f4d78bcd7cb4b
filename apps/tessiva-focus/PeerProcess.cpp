#include "PeerProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tessiva {

PeerProcess::PeerProcess(std::vector<std::string> arguments, LineHandler onLine) {
    int out[2];
    if (::pipe(out) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::vector<char*> argv;
    for (auto& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0)
        pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    reader_ = std::thread([fd = out[0], onLine = std::move(onLine)] {
        std::string pending;
        char buffer[4096];
        for (;;) {
            const ssize_t n = ::read(fd, buffer, sizeof(buffer));
            if (n <= 0)
                break;
            pending.append(buffer, static_cast<std::size_t>(n));
            std::size_t newline;
            while ((newline = pending.find('\n')) != std::string::npos) {
                onLine(pending.substr(0, newline));
                pending.erase(0, newline + 1);
            }
        }
        if (!pending.empty())
            onLine(pending);
        ::close(fd);
    });
}

PeerProcess::~PeerProcess() {
    terminate();
    wait();
}

void PeerProcess::terminate() {
    if (pid_ > 0)
        ::kill(pid_, SIGTERM);
}

int PeerProcess::wait() {
    if (pid_ > 0) {
        int status = 0;
        ::waitpid(pid_, &status, 0);
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        pid_ = -1;
    }
    if (reader_.joinable())
        reader_.join();
    return exitCode_;
}

}  // namespace tessiva
