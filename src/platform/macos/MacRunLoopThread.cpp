#include "platform/macos/MacRunLoopThread.h"

#include <CoreFoundation/CoreFoundation.h>

namespace tessiva::macos {

MacRunLoopThread::MacRunLoopThread(std::string name) : name_(std::move(name)) {
    thread_ = std::thread([this] { run(); });
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return runLoop_ != nullptr; });
}

MacRunLoopThread::~MacRunLoopThread() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    CFRunLoopSourceSignal(static_cast<CFRunLoopSourceRef>(wakeSource_));
    CFRunLoopWakeUp(static_cast<CFRunLoopRef>(runLoop_));
    thread_.join();
}

void MacRunLoopThread::run() {
    CFRunLoopSourceContext context{};
    context.info = this;
    context.perform = &MacRunLoopThread::performPending;
    // The source also keeps the loop alive while no observer or tap is installed.
    CFRunLoopSourceRef source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    {
        std::lock_guard lock(mutex_);
        threadId_ = std::this_thread::get_id();
        wakeSource_ = source;
        runLoop_ = CFRunLoopGetCurrent();
    }
    changed_.notify_all();
    for (;;) {
        {
            std::lock_guard lock(mutex_);
            if (stopping_ && pending_.empty())
                break;
        }
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 1.0, false);
    }
    CFRunLoopSourceInvalidate(source);
    CFRelease(source);
}

void MacRunLoopThread::performPending(void* info) {
    auto* self = static_cast<MacRunLoopThread*>(info);
    for (;;) {
        std::function<void()> work;
        {
            std::lock_guard lock(self->mutex_);
            if (self->pending_.empty())
                break;
            work = std::move(self->pending_.front());
            self->pending_.pop_front();
        }
        work();
    }
    self->changed_.notify_all();
}

void MacRunLoopThread::runSync(const std::function<void()>& work) {
    if (std::this_thread::get_id() == threadId_) {
        work();
        return;
    }
    bool done = false;
    {
        std::lock_guard lock(mutex_);
        pending_.push_back([&work, &done, this] {
            work();
            std::lock_guard inner(mutex_);
            done = true;
        });
    }
    CFRunLoopSourceSignal(static_cast<CFRunLoopSourceRef>(wakeSource_));
    CFRunLoopWakeUp(static_cast<CFRunLoopRef>(runLoop_));
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&done] { return done; });
}

}  // namespace tessiva::macos
