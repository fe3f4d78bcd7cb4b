#include "runtime/AsioDispatcher.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <chrono>
#include <thread>

namespace tessiva {

class AsioDispatcher::AsioQueue final : public Queue {
  public:
    // A queue with its own thread, or (ownThread = false) one run by whoever calls run().
    AsioQueue(std::string name, bool ownThread)
        : name_(std::move(name)), guard_(asio::make_work_guard(context_)) {
        if (ownThread) {
            thread_ = std::thread([this] {
                threadId_.store(std::this_thread::get_id());
                context_.run();
            });
        }
    }
    ~AsioQueue() override {
        guard_.reset();
        context_.stop();
        if (thread_.joinable()) {
            if (thread_.get_id() == std::this_thread::get_id()) {
                thread_.detach();
            } else {
                thread_.join();
            }
        }
    }
    AsioQueue(const AsioQueue&) = delete;
    AsioQueue& operator=(const AsioQueue&) = delete;

    std::string_view name() const override { return name_; }
    void post(Work work) override { asio::post(context_, std::move(work)); }
    WorkItem postAfter(double seconds, Work work) override {
        WorkItem item = WorkItem::make();
        auto timer = std::make_shared<asio::steady_timer>(context_);
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
        context_.restart();
        context_.run();
    }
    void runFor(double seconds) {
        threadId_.store(std::this_thread::get_id());
        context_.restart();
        context_.run_for(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::duration<double>(seconds)));
    }
    void stop() { context_.stop(); }
    void markCurrentThread() { threadId_.store(std::this_thread::get_id()); }

  private:
    std::string name_;
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> guard_;
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
