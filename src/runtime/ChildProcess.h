#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace tessiva {

// A child program whose standard output and standard error reach `onLine` line by line from a
// reader thread (the demo runs the command-line iPad this way). Its standard input stays open
// until closeInput(): helpers that serve until their parent lets go end when it closes. The child
// is asked to end and waited for on destruction.
class ChildProcess {
  public:
    using LineHandler = std::function<void(const std::string& line)>;

    ChildProcess(std::vector<std::string> arguments, LineHandler onLine);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return pid_ > 0; }
    void closeInput();
    void signal(int signalNumber);
    void terminate();
    // Waits for the child to end and its output to be read; returns its exit code, 128 + the
    // signal when one ended it.
    int wait();

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int exitCode_ = -1;
    std::thread reader_;
};

}  // namespace tessiva
