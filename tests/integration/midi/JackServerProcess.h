#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/ChildProcess.h"

namespace tessiva::test {

// Asynchronous is jackd's default. Synchronous (-S) makes the server wait for every client each
// cycle, so a client that runs late on a busy machine delays the cycle instead of losing its
// MIDI for that cycle; tests want that determinism.
enum class JackServerMode { synchronous, asynchronous };

// A private JACK server for one test or benchmark run: `jackd [-S] --no-realtime -n <unique
// name> -d dummy -r 48000 -p 256`, with JACK_DEFAULT_SERVER pointing at it so every client of this
// process opens on it. Start waits, with a bound, until the server accepts clients; the
// destructor terminates it and waits for it.
class JackServerProcess {
  public:
    // nullptr with `error` set when jackd never accepted a client.
    static std::unique_ptr<JackServerProcess> start(
        std::string& error, JackServerMode mode = JackServerMode::synchronous,
        double timeoutSeconds = 10.0);

  private:
    explicit JackServerProcess(std::vector<std::string> arguments);
    std::mutex mutex_;
    std::string log_;
    ChildProcess process_;  // last: its reader thread writes the log
};

}  // namespace tessiva::test
