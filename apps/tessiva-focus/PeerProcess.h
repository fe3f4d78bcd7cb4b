#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace tessiva {

// A child program whose standard output is handed to `onLine` line by line from a reader thread
// (the demo runs the command-line iPad this way). The child is waited for on destruction.
class PeerProcess {
  public:
    using LineHandler = std::function<void(const std::string& line)>;

    PeerProcess(std::vector<std::string> arguments, LineHandler onLine);
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    bool started() const { return pid_ > 0; }
    // Waits for the child to end and its output to be read; returns its exit code.
    int wait();
    void terminate();

  private:
    pid_t pid_ = -1;
    int exitCode_ = -1;
    std::thread reader_;
};

}  // namespace tessiva
