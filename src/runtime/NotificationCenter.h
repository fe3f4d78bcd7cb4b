#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tessiva {

class Queue;

// One value in a notification's user info.
using UserInfoValue = std::variant<bool, std::int64_t, double, std::string,
                                   std::vector<std::string>, std::map<int, std::string>>;

// A notification's payload, keyed by the names the posting subsystem documents.
class UserInfo {
  public:
    UserInfo() = default;
    UserInfo(std::initializer_list<std::pair<const std::string, UserInfoValue>> values)
        : values_(values) {}

    void set(std::string key, UserInfoValue value) { values_[std::move(key)] = std::move(value); }
    bool contains(const std::string& key) const { return values_.count(key) != 0; }
    bool empty() const { return values_.empty(); }

    template <typename T>
    std::optional<T> get(const std::string& key) const {
        auto found = values_.find(key);
        if (found == values_.end())
            return std::nullopt;
        if (const T* value = std::get_if<T>(&found->second))
            return *value;
        return std::nullopt;
    }
    std::optional<std::string> string(const std::string& key) const {
        return get<std::string>(key);
    }
    std::optional<std::int64_t> integer(const std::string& key) const {
        return get<std::int64_t>(key);
    }
    std::optional<bool> boolean(const std::string& key) const { return get<bool>(key); }

    const std::map<std::string, UserInfoValue>& values() const { return values_; }

  private:
    std::map<std::string, UserInfoValue> values_;
};

struct Notification {
    std::string name;
    UserInfo userInfo;
};

// Keeps an observation alive; destroying it (or calling reset) removes the observer.
class ObserverToken {
  public:
    ObserverToken() = default;
    explicit ObserverToken(std::function<void()> remove) : remove_(std::move(remove)) {}
    ~ObserverToken() { reset(); }
    ObserverToken(ObserverToken&& other) noexcept : remove_(std::move(other.remove_)) {
        other.remove_ = nullptr;
    }
    ObserverToken& operator=(ObserverToken&& other) noexcept {
        if (this != &other) {
            reset();
            remove_ = std::move(other.remove_);
            other.remove_ = nullptr;
        }
        return *this;
    }
    ObserverToken(const ObserverToken&) = delete;
    ObserverToken& operator=(const ObserverToken&) = delete;

    void reset() {
        if (remove_) {
            auto remove = std::move(remove_);
            remove_ = nullptr;
            remove();
        }
    }

  private:
    std::function<void()> remove_;
};

// Named notifications between subsystems ("tessiva.trackListSnapshotUpdated", ...). Observers
// run on the main queue: a post made off the main queue hops there first, in posting order.
// Thread-safe. Tests use the real class on a VirtualScheduler's main queue.
class NotificationCenter {
  public:
    using Observer = std::function<void(const Notification&)>;

    explicit NotificationCenter(Queue& mainQueue);
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    [[nodiscard]] ObserverToken addObserver(std::string name, Observer observer);
    void post(std::string name, UserInfo userInfo = {});

  private:
    struct Registration {
        std::uint64_t id;
        std::string name;
        std::shared_ptr<Observer> observer;
    };
    void deliver(const Notification& notification);

    Queue& mainQueue_;
    struct Shared {
        std::mutex mutex;
        std::vector<Registration> registrations;
        std::uint64_t nextId = 1;
    };
    std::shared_ptr<Shared> shared_;
};

}  // namespace tessiva
