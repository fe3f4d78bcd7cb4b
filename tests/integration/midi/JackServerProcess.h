#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

namespace tessiva::test {

// Asynchronous is jackd's default. Synchronous (-S) makes the server wait for every client each
// cycle, so a client that runs late on a busy machine delays the cycle instead of losing its
// MIDI for that cycle; tests want that determinism.
enum class JackServerMode { synchronous, asynchronous };

// A private JACK server for one test or benchmark run: `jackd [-S] --no-realtime -n <unique
// name> -d dummy -r 48000 -p 256`, with JACK_DEFAULT_SERVER pointing at it so every client of this
// process opens on it. Start waits, with a bound, until the server accepts clients; the
// destructor terminates it and waits for it (killing it if it lingers).
class JackServerProcess {
  public:
    // nullptr with `error` set when jackd could not be started or never accepted a client.
    static std::unique_ptr<JackServerProcess> start(
        std::string& error, JackServerMode mode = JackServerMode::synchronous,
        double timeoutSeconds = 10.0);
    ~JackServerProcess();
    JackServerProcess(const JackServerProcess&) = delete;
    JackServerProcess& operator=(const JackServerProcess&) = delete;

    const std::string& name() const { return name_; }

  private:
    JackServerProcess(pid_t pid, std::string name, std::string logPath);
    pid_t pid_;
    std::string name_;
    std::string logPath_;
};

}  // namespace tessiva::test
