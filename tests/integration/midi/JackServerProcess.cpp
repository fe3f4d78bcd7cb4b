#include "JackServerProcess.h"

#include <jack/jack.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace tessiva::test {

namespace {

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

}  // namespace

std::unique_ptr<JackServerProcess> JackServerProcess::start(std::string& error, JackServerMode mode,
                                                            double timeoutSeconds) {
    static std::atomic<int> counter{0};
    const std::string name =
        "tessiva-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++);
    // Before any client opens: every JACK client of this process goes to this server.
    ::setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
    // setpriv: the server dies with the test process, even when the test crashes.
    std::vector<std::string> arguments{
        "/usr/bin/env", "setpriv", "--pdeathsig", "TERM",  "jackd", "--no-realtime", "-t", "10000",
        "-n",           name,      "-d",          "dummy", "-r",    "48000",         "-p", "256"};
    if (mode == JackServerMode::synchronous)
        arguments.insert(arguments.begin() + 5, "-S");
    std::unique_ptr<JackServerProcess> server(new JackServerProcess(std::move(arguments)));
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (std::chrono::steady_clock::now() < deadline) {
        if (acceptsClients())
            return server;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::lock_guard lock(server->mutex_);
    const auto& log = server->log_;
    error = "jackd (install jackd2: scripts/install-deps.sh) accepted no client within " +
            std::to_string(timeoutSeconds) + " s:\n" +
            log.substr(log.size() > 1500 ? log.size() - 1500 : 0);
    return nullptr;
}

JackServerProcess::JackServerProcess(std::vector<std::string> arguments)
    : process_(std::move(arguments), [this](const std::string& line) {
          std::lock_guard lock(mutex_);
          log_ += line + "\n";
      }) {}

}  // namespace tessiva::test
