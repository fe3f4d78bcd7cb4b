#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace tessiva::macos {

// A thread of our own running a Core Foundation run loop. Accessibility observers and the
// mouse-down event tap deliver their callbacks here rather than on the main thread, which in a
// program without a GUI loop runs Asio and not a run loop; the callbacks only post typed values
// to the queue that owns the state. `runSync` adds and removes sources on the loop's own thread,
// so once it returns no callback of a removed source is still running.
class MacRunLoopThread {
  public:
    explicit MacRunLoopThread(std::string name);
    ~MacRunLoopThread();
    MacRunLoopThread(const MacRunLoopThread&) = delete;
    MacRunLoopThread& operator=(const MacRunLoopThread&) = delete;

    // Runs `work` on the loop's thread and returns when it has run. From the loop's own thread
    // it runs at once.
    void runSync(const std::function<void()>& work);
    // The CFRunLoopRef of the thread, for CFRunLoopAddSource and friends inside `runSync`.
    void* runLoop() const { return runLoop_; }

  private:
    static void performPending(void* info);
    void run();

    std::string name_;  // for the debugger; the loop runs on a plain std::thread
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> pending_;
    void* runLoop_ = nullptr;
    void* wakeSource_ = nullptr;
    bool stopping_ = false;
    std::thread::id threadId_;
    std::thread thread_;
};

}  // namespace tessiva::macos
