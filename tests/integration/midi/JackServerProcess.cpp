#include "JackServerProcess.h"

#include <fcntl.h>
#include <jack/jack.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

namespace tessiva::test {

namespace {

using Clock = std::chrono::steady_clock;

std::string tailOf(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    std::string all = text.str();
    return all.size() > 1500 ? all.substr(all.size() - 1500) : all;
}

void quiet(const char*) {}

bool acceptsClients() {
    // While the server starts, "cannot connect" is the expected answer.
    auto* const previous = jack_error_callback;
    jack_set_error_function(&quiet);
    jack_status_t status{};
    jack_client_t* client = jack_client_open("tessiva-ready-probe", JackNoStartServer, &status);
    jack_set_error_function(previous);
    if (client == nullptr)
        return false;
    jack_client_close(client);
    return true;
}

// Waits up to `seconds` for the child to exit; true when it did.
bool reaped(pid_t pid, double seconds) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
    while (true) {
        int status = 0;
        const pid_t done = ::waitpid(pid, &status, WNOHANG);
        if (done == pid || done < 0)
            return true;
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace

std::unique_ptr<JackServerProcess> JackServerProcess::start(std::string& error, JackServerMode mode,
                                                            double timeoutSeconds) {
    static std::atomic<int> counter{0};
    const std::string name =
        "tessiva-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
    const std::string logPath = (std::filesystem::temp_directory_path() / (name + ".log")).string();
    // Before any client opens: every JACK client of this process goes to this server.
    ::setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);

    std::vector<std::string> args{"jackd", "--no-realtime", "-t", "10000", "-n", name,
                                  "-d",    "dummy",         "-r", "48000", "-p", "256"};
    if (mode == JackServerMode::synchronous)
        args.insert(args.begin() + 1, "-S");
    std::vector<char*> argv;
    for (auto& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    // A pipe closed on exec tells the parent whether exec worked.
    int execReport[2];
    if (::pipe2(execReport, O_CLOEXEC) != 0) {
        error = "pipe2 failed: " + std::string(std::strerror(errno));
        return nullptr;
    }
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) {
        error = "fork failed: " + std::string(std::strerror(errno));
        return nullptr;
    }
    if (pid == 0) {
        // The server dies with the test process, even when the test crashes.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent)
            ::_exit(127);
        const int log = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (log >= 0) {
            ::dup2(log, STDOUT_FILENO);
            ::dup2(log, STDERR_FILENO);
        }
        ::execvp("jackd", argv.data());
        const int failure = errno;
        [[maybe_unused]] auto written = ::write(execReport[1], &failure, sizeof failure);
        ::_exit(127);
    }
    ::close(execReport[1]);
    int execFailure = 0;
    const auto got = ::read(execReport[0], &execFailure, sizeof execFailure);
    ::close(execReport[0]);
    if (got == static_cast<ssize_t>(sizeof execFailure)) {
        ::waitpid(pid, nullptr, 0);
        std::error_code ignored;
        std::filesystem::remove(logPath, ignored);
        error = "could not run jackd (" + std::string(std::strerror(execFailure)) +
                "); install jackd2 (scripts/install-deps.sh)";
        return nullptr;
    }
    std::unique_ptr<JackServerProcess> server(new JackServerProcess(pid, name, logPath));
    const auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (Clock::now() < deadline) {
        int status = 0;
        if (::waitpid(pid, &status, WNOHANG) == pid) {
            server->pid_ = -1;
            error = "jackd exited before accepting clients:\n" + tailOf(logPath);
            return nullptr;
        }
        if (acceptsClients())
            return server;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    error = "jackd did not accept clients within " + std::to_string(timeoutSeconds) + " s:\n" +
            tailOf(logPath);
    return nullptr;
}

JackServerProcess::JackServerProcess(pid_t pid, std::string name, std::string logPath)
    : pid_(pid), name_(std::move(name)), logPath_(std::move(logPath)) {}

JackServerProcess::~JackServerProcess() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        if (!reaped(pid_, 5.0)) {
            ::kill(pid_, SIGKILL);
            reaped(pid_, 5.0);
        }
    }
    std::error_code ignored;
    std::filesystem::remove(logPath_, ignored);
}

}  // namespace tessiva::test
