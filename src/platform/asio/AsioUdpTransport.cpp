#include "platform/asio/AsioUdpTransport.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <asio/ip/v6_only.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <chrono>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

#include "runtime/Queue.h"

namespace tessiva {

using asio::ip::udp;

class AsioUdpTransport::NetworkThread {
  public:
    NetworkThread()
        : context_(std::make_unique<asio::io_context>()),
          guard_(asio::make_work_guard(*context_)),
          thread_([this] { context_->run(); }) {}
    ~NetworkThread() {
        guard_.reset();
        context_->stop();
        if (thread_.get_id() == std::this_thread::get_id()) {
            // The last socket let go inside one of its own handlers, so the context is still on
            // this thread's stack: finish on a helper once this thread has returned.
            std::thread([context = std::move(context_), thread = std::move(thread_)]() mutable {
                thread.join();
                context.reset();
            }).detach();
        } else {
            thread_.join();
        }
    }
    NetworkThread(const NetworkThread&) = delete;
    NetworkThread& operator=(const NetworkThread&) = delete;

    asio::io_context& context() { return *context_; }

  private:
    std::unique_ptr<asio::io_context> context_;
    asio::executor_work_guard<asio::io_context::executor_type> guard_;
    std::thread thread_;
};

namespace {

constexpr int kListenerReceiveBufferBytes = 4 * 1024 * 1024;

constexpr std::size_t kMaxDatagram = 65536;

std::string hostText(const asio::ip::address& address) {
    if (address.is_v6() && address.to_v6().is_v4_mapped()) {
        return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6()).to_string();
    }
    return address.to_string();
}

// Errors after which the socket cannot receive again. Anything else (a refusal learnt from ICMP,
// no buffer space) concerns one datagram, not the socket.
bool endsReceiving(const std::error_code& error) {
    return error == asio::error::bad_descriptor || error == asio::error::not_socket ||
           error == asio::error::invalid_argument || error == asio::error::fault ||
           error == asio::error::operation_not_supported;
}

// A transient error that comes straight back would spin the network thread: from the second one
// in a row, wait before receiving again, twice as long each time up to a second.
std::chrono::milliseconds retryDelay(int consecutiveErrors) {
    if (consecutiveErrors < 2)
        return std::chrono::milliseconds(0);
    const int doublings = std::min(consecutiveErrors - 2, 5);
    return std::min(std::chrono::milliseconds(50 << doublings), std::chrono::milliseconds(1000));
}

// Posts to an owner's queue until closed; after close() returns nothing more is posted.
class CallbackGate {
  public:
    explicit CallbackGate(Queue& queue) : queue_(queue) {}
    void post(Queue::Work work) {
        std::lock_guard lock(mutex_);
        if (!closed_)
            queue_.post(std::move(work));
    }
    void close() {
        std::lock_guard lock(mutex_);
        closed_ = true;
    }

  private:
    std::mutex mutex_;
    Queue& queue_;
    bool closed_ = false;
};

class AsioUdpConnection final : public UdpConnection,
                                public std::enable_shared_from_this<AsioUdpConnection> {
  public:
    AsioUdpConnection(std::shared_ptr<AsioUdpTransport::NetworkThread> network, std::string host,
                      std::uint16_t port, Queue& callbackQueue, StateHandler stateHandler)
        : network_(std::move(network)),
          socket_(network_->context()),
          resolver_(network_->context()),
          host_(std::move(host)),
          port_(port),
          gate_(callbackQueue),
          stateHandler_(std::move(stateHandler)) {}

    ~AsioUdpConnection() override { gate_.close(); }
    AsioUdpConnection(const AsioUdpConnection&) = delete;
    AsioUdpConnection& operator=(const AsioUdpConnection&) = delete;

    void start() override {
        asio::post(network_->context(), [weak = weak_from_this()] {
            if (auto self = weak.lock())
                self->resolve();
        });
    }

    void send(std::vector<std::uint8_t> datagram, SendCompletion completion) override {
        // Held strongly: a fire-and-forget send still leaves after its owner lets go.
        asio::post(network_->context(), [self = shared_from_this(), datagram = std::move(datagram),
                                         completion = std::move(completion)]() mutable {
            self->sendOnNetwork(std::move(datagram), std::move(completion));
        });
    }

    void cancel() override {
        if (state_.exchange(UdpConnectionState::cancelled) == UdpConnectionState::cancelled)
            return;
        gate_.post([handler = stateHandler_] { handler(UdpConnectionState::cancelled, {}); });
        gate_.close();
        asio::post(network_->context(), [self = shared_from_this()] {
            std::error_code ignored;
            self->resolver_.cancel();
            self->socket_.close(ignored);
            self->pending_.clear();
        });
    }

    UdpConnectionState state() const override { return state_.load(); }
    const std::string& host() const override { return host_; }
    std::uint16_t port() const override { return port_; }

  private:
    struct PendingSend {
        std::vector<std::uint8_t> datagram;
        SendCompletion completion;
    };

    // Network thread from here on.
    void resolve() {
        std::error_code error;
        const auto address = asio::ip::make_address(host_, error);
        if (!error) {
            connect(udp::endpoint(address, port_));
            return;
        }
        resolver_.async_resolve(
            host_, std::to_string(port_), udp::resolver::numeric_service,
            [weak = weak_from_this()](const std::error_code& resolveError,
                                      udp::resolver::results_type results) {
                auto self = weak.lock();
                if (!self || resolveError == asio::error::operation_aborted)
                    return;
                if (resolveError || results.empty()) {
                    self->fail(resolveError ? resolveError.message() : "No address for host");
                    return;
                }
                self->connect(results.begin()->endpoint());
            });
    }

    void connect(const udp::endpoint& endpoint) {
        if (state_.load() == UdpConnectionState::cancelled)
            return;
        std::error_code error;
        socket_.open(endpoint.protocol(), error);
        if (!error)
            socket_.connect(endpoint, error);
        if (error) {
            fail(error.message());
            return;
        }
        setState(UdpConnectionState::ready, {});
        receive();
        auto pending = std::move(pending_);
        pending_.clear();
        for (PendingSend& send : pending)
            sendOnNetwork(std::move(send.datagram), std::move(send.completion));
    }

    // A connected UDP socket learns of a refusal only through its next receive or send; keeping
    // a receive armed turns it into an event instead of a surprise on some later send.
    void receive() {
        auto buffer = receiveBuffer_;
        socket_.async_receive(
            asio::buffer(*buffer),
            [weak = weak_from_this(), buffer](const std::error_code& error, std::size_t) {
                auto self = weak.lock();
                if (!self || error == asio::error::operation_aborted)
                    return;
                if (self->state_.load() == UdpConnectionState::cancelled)
                    return;
                if (error == asio::error::connection_refused) {
                    self->refusal_ = error.message();
                    self->setState(UdpConnectionState::waiting, error.message());
                } else if (error) {
                    self->fail(error.message());
                    return;
                }
                // Replies from the peer are not ours to read; keep listening.
                self->receive();
            });
    }

    void sendOnNetwork(std::vector<std::uint8_t> datagram, SendCompletion completion) {
        switch (state_.load()) {
            case UdpConnectionState::setup:
                pending_.push_back({std::move(datagram), std::move(completion)});
                return;
            case UdpConnectionState::failed:
            case UdpConnectionState::cancelled:
                complete(std::move(completion), std::string("Connection is not open"));
                return;
            case UdpConnectionState::waiting:
                // The refusal is this send's error; the socket itself is still good.
                setState(UdpConnectionState::ready, {});
                complete(std::move(completion), std::exchange(refusal_, {}));
                return;
            case UdpConnectionState::ready:
                break;
        }
        auto bytes = std::make_shared<std::vector<std::uint8_t>>(std::move(datagram));
        socket_.async_send(
            asio::buffer(*bytes),
            [self = shared_from_this(), bytes, completion = std::move(completion)](
                const std::error_code& error, std::size_t) mutable {
                if (error == asio::error::operation_aborted)
                    return;
                self->complete(std::move(completion),
                               error ? std::optional<std::string>(error.message()) : std::nullopt);
            });
    }

    void complete(SendCompletion completion, std::optional<std::string> error) {
        if (!completion)
            return;
        gate_.post([completion = std::move(completion), error = std::move(error)]() mutable {
            completion(std::move(error));
        });
    }

    void fail(const std::string& description) {
        auto expected = state_.load();
        if (expected == UdpConnectionState::cancelled || expected == UdpConnectionState::failed)
            return;
        setState(UdpConnectionState::failed, description);
        std::error_code ignored;
        socket_.close(ignored);
        for (PendingSend& send : pending_)
            complete(std::move(send.completion), description);
        pending_.clear();
    }

    void setState(UdpConnectionState state, const std::string& error) {
        // cancel() may have run on the owner's thread meanwhile; it has the last word.
        auto current = state_.load();
        do {
            if (current == UdpConnectionState::cancelled)
                return;
        } while (!state_.compare_exchange_weak(current, state));
        gate_.post([handler = stateHandler_, state, error] { handler(state, error); });
    }

    std::shared_ptr<AsioUdpTransport::NetworkThread> network_;
    udp::socket socket_;
    udp::resolver resolver_;
    std::string host_;
    std::uint16_t port_;
    CallbackGate gate_;
    StateHandler stateHandler_;
    std::atomic<UdpConnectionState> state_{UdpConnectionState::setup};
    std::deque<PendingSend> pending_;
    std::string refusal_;
    std::shared_ptr<std::array<std::uint8_t, kMaxDatagram>> receiveBuffer_ =
        std::make_shared<std::array<std::uint8_t, kMaxDatagram>>();
};

class AsioUdpListener final : public UdpListener,
                              public std::enable_shared_from_this<AsioUdpListener> {
  public:
    AsioUdpListener(std::shared_ptr<AsioUdpTransport::NetworkThread> network, Queue& deliveryQueue,
                    DatagramHandler handler, ReceiveErrorHandler errorHandler)
        : network_(std::move(network)),
          socket_(network_->context()),
          retryTimer_(network_->context()),
          gate_(deliveryQueue),
          handler_(std::make_shared<DatagramHandler>(std::move(handler))),
          errorHandler_(std::make_shared<ReceiveErrorHandler>(std::move(errorHandler))) {}
    AsioUdpListener(const AsioUdpListener&) = delete;
    AsioUdpListener& operator=(const AsioUdpListener&) = delete;

    // Opens and binds on the calling thread so the port (or the error) is known at once.
    std::string bind(const UdpListenOptions& options) {
        networkThreadFilter_ = options.networkThreadFilter;
        std::error_code error;
        const auto address = asio::ip::make_address(options.bindHost, error);
        if (error)
            return "Invalid bind address " + options.bindHost;
        udp::endpoint endpoint(address, options.port);
        socket_.open(endpoint.protocol(), error);
        if (error && address.is_v6() && address.to_v6().is_unspecified()) {
            // No IPv6 on this machine: every IPv4 address instead.
            endpoint = udp::endpoint(asio::ip::address_v4::any(), options.port);
            socket_.open(endpoint.protocol(), error);
        }
        if (error)
            return error.message();
        if (endpoint.protocol() == udp::v6())
            socket_.set_option(asio::ip::v6_only(false), error);
        if (options.reuseAddress) {
            socket_.set_option(udp::socket::reuse_address(true), error);
            const int on = 1;
            ::setsockopt(socket_.native_handle(), SOL_SOCKET, SO_REUSEPORT, &on, sizeof(on));
        }
        // A burst from one iPad (or a ping flood from another) must not push mirrored MIDI out
        // of the kernel's queue while the handlers catch up. The system may cap the size.
        std::error_code ignored;
        socket_.set_option(asio::socket_base::receive_buffer_size(kListenerReceiveBufferBytes),
                           ignored);
        socket_.bind(endpoint, error);
        if (error)
            return error.message();
        port_ = socket_.local_endpoint(error).port();
        return {};
    }

    void startReceiving() {
        asio::post(network_->context(), [self = shared_from_this()] { self->receive(); });
    }

    std::uint16_t port() const override { return port_; }

    void stop() override {
        if (stopped_->exchange(true))
            return;
        gate_.close();
        asio::post(network_->context(), [self = shared_from_this()] {
            std::error_code ignored;
            self->retryTimer_.cancel();
            self->socket_.close(ignored);
        });
    }

  private:
    void receive() {
        socket_.async_receive_from(
            asio::buffer(*buffer_), sender_,
            [weak = weak_from_this(), buffer = buffer_](const std::error_code& error,
                                                        std::size_t size) {
                auto self = weak.lock();
                if (!self || self->stopped_->load() || error == asio::error::operation_aborted)
                    return;
                if (!error) {
                    self->consecutiveErrors_ = 0;
                    self->deliver(size);
                    self->receive();
                    return;
                }
                self->report(error.message());
                if (!endsReceiving(error))
                    self->receiveAfterError();
            });
    }

    void receiveAfterError() {
        const auto delay = retryDelay(++consecutiveErrors_);
        if (delay.count() == 0) {
            receive();
            return;
        }
        retryTimer_.expires_after(delay);
        retryTimer_.async_wait([weak = weak_from_this()](const std::error_code& error) {
            auto self = weak.lock();
            if (self && !error && !self->stopped_->load())
                self->receive();
        });
    }

    void report(std::string description) {
        if (!*errorHandler_)
            return;
        gate_.post([stopped = stopped_, handler = errorHandler_,
                    description = std::move(description)]() mutable {
            if (!stopped->load())
                (*handler)(std::move(description));
        });
    }

    void deliver(std::size_t size) {
        UdpDatagram datagram{
            {buffer_->begin(), buffer_->begin() + static_cast<std::ptrdiff_t>(size)},
            hostText(sender_.address()),
            sender_.port()};
        if (networkThreadFilter_ && networkThreadFilter_(datagram))
            return;
        gate_.post(
            [stopped = stopped_, handler = handler_, datagram = std::move(datagram)]() mutable {
                if (!stopped->load())
                    (*handler)(std::move(datagram));
            });
    }

    std::shared_ptr<AsioUdpTransport::NetworkThread> network_;
    udp::socket socket_;
    asio::steady_timer retryTimer_;
    udp::endpoint sender_;
    CallbackGate gate_;
    std::shared_ptr<DatagramHandler> handler_;
    std::shared_ptr<ReceiveErrorHandler> errorHandler_;
    int consecutiveErrors_ = 0;                                    // network thread
    std::function<bool(const UdpDatagram&)> networkThreadFilter_;  // set before receiving
    std::shared_ptr<std::atomic<bool>> stopped_ = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<std::array<std::uint8_t, kMaxDatagram>> buffer_ =
        std::make_shared<std::array<std::uint8_t, kMaxDatagram>>();
    std::uint16_t port_ = 0;
};

// What the owner holds: stopping on destruction, keeping the socket alive while handlers run.
class ListenerHandle final : public UdpListener {
  public:
    explicit ListenerHandle(std::shared_ptr<AsioUdpListener> listener)
        : listener_(std::move(listener)) {}
    ~ListenerHandle() override { listener_->stop(); }
    ListenerHandle(const ListenerHandle&) = delete;
    ListenerHandle& operator=(const ListenerHandle&) = delete;
    std::uint16_t port() const override { return listener_->port(); }
    void stop() override { listener_->stop(); }

  private:
    std::shared_ptr<AsioUdpListener> listener_;
};

}  // namespace

AsioUdpTransport::AsioUdpTransport() : network_(std::make_shared<NetworkThread>()) {}
AsioUdpTransport::~AsioUdpTransport() {
    // Let the handlers already posted (closing sockets, holding their owners) run and go first,
    // so that the network thread is normally let go from here rather than from itself.
    std::promise<void> drained;
    asio::post(network_->context(), [&drained] { drained.set_value(); });
    drained.get_future().wait();
}

std::shared_ptr<UdpConnection> AsioUdpTransport::makeConnection(
    const std::string& host, std::uint16_t port, Queue& callbackQueue,
    UdpConnection::StateHandler stateHandler) {
    return std::make_shared<AsioUdpConnection>(network_, host, port, callbackQueue,
                                               std::move(stateHandler));
}

UdpListenResult AsioUdpTransport::listen(const UdpListenOptions& options, Queue& deliveryQueue,
                                         UdpListener::DatagramHandler handler) {
    auto listener = std::make_shared<AsioUdpListener>(network_, deliveryQueue, std::move(handler),
                                                      options.receiveErrorHandler);
    if (std::string error = listener->bind(options); !error.empty()) {
        return {nullptr, std::move(error)};
    }
    listener->startReceiving();
    return {std::make_unique<ListenerHandle>(std::move(listener)), {}};
}

std::unique_ptr<UdpTransport> makeUdpTransport() {
    return std::make_unique<AsioUdpTransport>();
}

}  // namespace tessiva
