#include "runtime/AsioDispatcher.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace tessiva {

class AsioDispatcher::AsioQueue final : public Queue {
  public:
    // A queue with its own thread, or (ownThread = false) one run by whoever calls run().
    AsioQueue(std::string name, bool ownThread) : name_(std::move(name)) {
        if (ownThread) {
            // The thread shares the loop: a queue whose last owner lets go inside one of the
            // queue's own work items is destroyed on this thread, while the loop still runs.
            thread_ = std::thread([this, loop = loop_] {
                threadId_.store(std::this_thread::get_id());
                loop->context.run();
            });
        }
    }
    ~AsioQueue() override {
        loop_->guard.reset();
        loop_->context.stop();
        if (thread_.joinable()) {
            if (thread_.get_id() == std::this_thread::get_id()) {
                // The thread returns from run() once this work item ends, then frees the loop.
                thread_.detach();
            } else {
                thread_.join();
            }
        }
    }
    AsioQueue(const AsioQueue&) = delete;
    AsioQueue& operator=(const AsioQueue&) = delete;

    std::string_view name() const override { return name_; }
    void post(Work work) override { asio::post(loop_->context, std::move(work)); }
    WorkItem postAfter(double seconds, Work work) override {
        WorkItem item = WorkItem::make();
        auto timer = std::make_shared<asio::steady_timer>(loop_->context);
        timer->expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(seconds < 0 ? 0 : seconds)));
        timer->async_wait([timer, item, work = std::move(work)](const std::error_code& error) {
            if (!error && item.begin())
                work();
        });
        return item;
    }
    bool isCurrent() const override { return threadId_.load() == std::this_thread::get_id(); }

    void run() {
        threadId_.store(std::this_thread::get_id());
        loop_->context.restart();
        loop_->context.run();
    }
    void runFor(double seconds) {
        threadId_.store(std::this_thread::get_id());
        loop_->context.restart();
        loop_->context.run_for(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(seconds)));
    }
    void stop() { loop_->context.stop(); }
    void markCurrentThread() { threadId_.store(std::this_thread::get_id()); }

  private:
    struct Loop {
        asio::io_context context;
        asio::executor_work_guard<asio::io_context::executor_type> guard =
            asio::make_work_guard(context);
    };

    std::string name_;
    std::shared_ptr<Loop> loop_ = std::make_shared<Loop>();
    std::thread thread_;
    std::atomic<std::thread::id> threadId_{};
};

AsioDispatcher::AsioDispatcher() : main_(std::make_unique<AsioQueue>("main", false)) {
    // The thread that builds the program is its main thread until runMainLoop says otherwise.
    main_->markCurrentThread();
}

AsioDispatcher::~AsioDispatcher() = default;

Queue& AsioDispatcher::mainQueue() {
    return *main_;
}

std::shared_ptr<Queue> AsioDispatcher::makeSerialQueue(std::string name) {
    return std::make_shared<AsioQueue>(std::move(name), true);
}

void AsioDispatcher::runMainLoop() {
    main_->run();
}
void AsioDispatcher::stopMainLoop() {
    main_->stop();
}
void AsioDispatcher::runMainLoopFor(double seconds) {
    main_->runFor(seconds);
}

}  // namespace tessiva
