#include "ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace tessiva {

namespace {

// Closed on exec, so a child started later does not inherit another child's input and keep it
// open after closeInput().
bool openPipe(int ends[2]) {
    if (::pipe(ends) != 0)
        return false;
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    return true;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> arguments, LineHandler onLine) {
    int out[2];
    int in[2];
    if (!openPipe(out))
        return;
    if (!openPipe(in)) {
        ::close(out[0]);
        ::close(out[1]);
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
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

ChildProcess::~ChildProcess() {
    closeInput();
    terminate();
    wait();
}

void ChildProcess::closeInput() {
    if (input_ >= 0)
        ::close(input_);
    input_ = -1;
}

void ChildProcess::signal(int signalNumber) {
    if (pid_ > 0)
        ::kill(pid_, signalNumber);
}

void ChildProcess::terminate() {
    signal(SIGTERM);
}

int ChildProcess::wait() {
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
