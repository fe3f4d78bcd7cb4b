#include "platform/simulated/net/SimulatedUdpTransport.h"

#include "runtime/Queue.h"

namespace tessiva {

struct SimulatedUdpTransport::Shared {
    explicit Shared(Options options_) : options(options_) {}

    const Options options;
    mutable std::mutex mutex;
    std::vector<Sent> sent;
    std::optional<std::string> listenError;
    std::optional<std::string> sendError;

    // The open listener: the latest one not yet stopped.
    const void* listener = nullptr;
    Queue* deliveryQueue = nullptr;
    UdpListener::DatagramHandler handler;
    UdpListener::ReceiveErrorHandler errorHandler;
    std::optional<UdpListenOptions> lastListenOptions;
    int listenCount = 0;
};

namespace {

class SimulatedListener final : public UdpListener {
  public:
    SimulatedListener(std::shared_ptr<SimulatedUdpTransport::Shared> shared, std::uint16_t port)
        : shared_(std::move(shared)), port_(port) {}
    ~SimulatedListener() override { stop(); }
    std::uint16_t port() const override { return port_; }
    void stop() override {
        std::lock_guard lock(shared_->mutex);
        if (shared_->listener == this)
            shared_->listener = nullptr;
    }

  private:
    std::shared_ptr<SimulatedUdpTransport::Shared> shared_;
    std::uint16_t port_;
};

}  // namespace

SimulatedUdpTransport::SimulatedUdpTransport() : SimulatedUdpTransport(Options{}) {}

SimulatedUdpTransport::SimulatedUdpTransport(Options options)
    : shared_(std::make_shared<Shared>(options)) {}

SimulatedUdpTransport::~SimulatedUdpTransport() = default;

std::shared_ptr<UdpConnection> SimulatedUdpTransport::makeConnection(
    const std::string& host, std::uint16_t port, Queue& callbackQueue,
    UdpConnection::StateHandler handler) {
    auto connection =
        std::make_shared<Connection>(shared_, host, port, callbackQueue, std::move(handler));
    std::lock_guard lock(shared_->mutex);
    connections_.push_back(connection);
    return connection;
}

UdpListenResult SimulatedUdpTransport::listen(const UdpListenOptions& options, Queue& deliveryQueue,
                                              UdpListener::DatagramHandler handler) {
    std::lock_guard lock(shared_->mutex);
    if (shared_->listenError)
        return {nullptr, *shared_->listenError};
    auto listener = std::make_unique<SimulatedListener>(
        shared_, options.port == 0 ? kEphemeralPort : options.port);
    shared_->listener = listener.get();
    shared_->deliveryQueue = &deliveryQueue;
    shared_->handler = std::move(handler);
    shared_->errorHandler = options.receiveErrorHandler;
    shared_->lastListenOptions = options;
    ++shared_->listenCount;
    return {std::move(listener), {}};
}

std::vector<SimulatedUdpTransport::Sent> SimulatedUdpTransport::sent() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->sent;
}

void SimulatedUdpTransport::clearSent() {
    std::lock_guard lock(shared_->mutex);
    shared_->sent.clear();
}

std::vector<std::shared_ptr<SimulatedUdpTransport::Connection>> SimulatedUdpTransport::connections()
    const {
    std::lock_guard lock(shared_->mutex);
    return connections_;
}

void SimulatedUdpTransport::refuseListen(std::optional<std::string> error) {
    std::lock_guard lock(shared_->mutex);
    shared_->listenError = std::move(error);
}

void SimulatedUdpTransport::failSends(std::optional<std::string> error) {
    std::lock_guard lock(shared_->mutex);
    shared_->sendError = std::move(error);
}

void SimulatedUdpTransport::deliver(const std::string& host, std::uint16_t port,
                                    std::vector<std::uint8_t> bytes) {
    std::lock_guard lock(shared_->mutex);
    if (!shared_->listener)
        return;
    shared_->deliveryQueue->post(
        [handler = shared_->handler, datagram = UdpDatagram{std::move(bytes), host, port}] {
            handler(datagram);
        });
}

void SimulatedUdpTransport::failReceive(std::string description) {
    std::lock_guard lock(shared_->mutex);
    if (!shared_->listener || !shared_->errorHandler)
        return;
    shared_->deliveryQueue->post([handler = shared_->errorHandler,
                                  description = std::move(description)] { handler(description); });
}

bool SimulatedUdpTransport::listening() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->listener != nullptr;
}

std::optional<UdpListenOptions> SimulatedUdpTransport::lastListenOptions() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->lastListenOptions;
}

int SimulatedUdpTransport::listenCount() const {
    std::lock_guard lock(shared_->mutex);
    return shared_->listenCount;
}

SimulatedUdpTransport::Connection::Connection(std::shared_ptr<Shared> shared, std::string host,
                                              std::uint16_t port, Queue& queue,
                                              StateHandler handler)
    : shared_(std::move(shared)),
      host_(std::move(host)),
      port_(port),
      queue_(queue),
      handler_(std::move(handler)) {}

void SimulatedUdpTransport::Connection::start() {
    started_ = true;
    if (shared_->options.readyOnStart)
        enter(UdpConnectionState::ready);
}

void SimulatedUdpTransport::Connection::send(std::vector<std::uint8_t> datagram,
                                             SendCompletion completion) {
    std::optional<std::string> error;
    {
        std::lock_guard lock(shared_->mutex);
        shared_->sent.push_back(Sent{host_, port_, datagram});
        error = shared_->sendError;
    }
    std::size_t index = 0;
    {
        std::lock_guard lock(mutex_);
        index = sent_.size();
        sent_.push_back(std::move(datagram));
        completions_.push_back(std::move(completion));
    }
    if (shared_->options.completeSendsAtOnce)
        completeSend(index, std::move(error));
}

void SimulatedUdpTransport::Connection::cancel() {
    if (state_ == UdpConnectionState::cancelled)
        return;
    enter(UdpConnectionState::cancelled);
}

void SimulatedUdpTransport::Connection::completeSend(std::size_t index,
                                                     std::optional<std::string> error) {
    SendCompletion completion;
    {
        std::lock_guard lock(mutex_);
        completion = completions_.at(index);
    }
    if (completion)
        post([completion = std::move(completion), error = std::move(error)] { completion(error); });
}

void SimulatedUdpTransport::Connection::enter(UdpConnectionState state, std::string error) {
    if (state_ == UdpConnectionState::cancelled)
        return;
    state_ = state;
    if (handler_)
        queue_.post(
            [handler = handler_, state, error = std::move(error)] { handler(state, error); });
}

std::vector<std::vector<std::uint8_t>> SimulatedUdpTransport::Connection::sent() const {
    std::lock_guard lock(mutex_);
    return sent_;
}

void SimulatedUdpTransport::Connection::post(std::function<void()> work) {
    if (state_ != UdpConnectionState::cancelled)
        queue_.post(std::move(work));
}

}  // namespace tessiva
