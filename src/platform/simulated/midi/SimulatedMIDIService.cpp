#include "platform/simulated/midi/SimulatedMIDIService.h"

#include <algorithm>
#include <array>
#include <mutex>

namespace tessiva {

struct SimulatedMIDIService::State {
    mutable std::mutex mutex;
    std::vector<MIDIDestination> destinations;
    std::uint64_t nextDestinationId = 1;
    std::array<MIDIStatusCode, std::size(kSimulatedMIDIOperationNames)> failures{};
    std::vector<SentMessage> sent;
    std::vector<EmittedMessage> emitted;
    std::vector<std::string> clients;
    std::vector<std::string> sources;

    MIDIStatusCode failure(SimulatedMIDIOperation operation) const {
        return failures[static_cast<std::size_t>(operation)];
    }
    static void eraseOne(std::vector<std::string>& names, const std::string& name) {
        auto found = std::find(names.begin(), names.end(), name);
        if (found != names.end())
            names.erase(found);
    }
};

namespace {
std::string failureText(SimulatedMIDIOperation operation) {
    return "simulated " + std::string(kSimulatedMIDIOperationNames[static_cast<int>(operation)]) +
           " failure";
}
}  // namespace

class SimulatedMIDIService::OutputPort final : public MIDIOutputPort {
  public:
    OutputPort(std::shared_ptr<State> state, std::string clientName, std::string name)
        : state_(std::move(state)), clientName_(std::move(clientName)), name_(std::move(name)) {}

    MIDIStatusCode send(const MIDIDestination& destination,
                        std::span<const std::uint8_t> message) override {
        std::lock_guard lock(state_->mutex);
        if (auto status = state_->failure(SimulatedMIDIOperation::send))
            return status;
        auto& list = state_->destinations;
        auto found = std::find_if(list.begin(), list.end(),
                                  [&](const MIDIDestination& d) { return d.id == destination.id; });
        if (found == list.end())
            return midistatus::kObjectNotFound;
        state_->sent.push_back(SentMessage{
            clientName_, name_, found->id, found->name, {message.begin(), message.end()}});
        return midistatus::kNoError;
    }

  private:
    std::shared_ptr<State> state_;
    std::string clientName_;
    std::string name_;
};

class SimulatedMIDIService::VirtualSource final : public MIDIVirtualSource {
  public:
    VirtualSource(std::shared_ptr<State> state, std::string clientName, std::string name)
        : state_(std::move(state)), clientName_(std::move(clientName)), name_(std::move(name)) {}
    ~VirtualSource() override {
        std::lock_guard lock(state_->mutex);
        State::eraseOne(state_->sources, name_);
    }
    VirtualSource(const VirtualSource&) = delete;
    VirtualSource& operator=(const VirtualSource&) = delete;

    MIDIStatusCode emit(std::span<const std::uint8_t> message) override {
        std::lock_guard lock(state_->mutex);
        if (auto status = state_->failure(SimulatedMIDIOperation::emit))
            return status;
        state_->emitted.push_back(
            EmittedMessage{clientName_, name_, {message.begin(), message.end()}});
        return midistatus::kNoError;
    }

  private:
    std::shared_ptr<State> state_;
    std::string clientName_;
    std::string name_;
};

class SimulatedMIDIService::Client final : public MIDIClient {
  public:
    Client(std::shared_ptr<State> state, std::string name)
        : state_(std::move(state)), name_(std::move(name)) {}
    ~Client() override {
        std::lock_guard lock(state_->mutex);
        State::eraseOne(state_->clients, name_);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    std::vector<MIDIDestination> destinations() override {
        std::lock_guard lock(state_->mutex);
        return state_->destinations;
    }

    MIDICreation<MIDIOutputPort> createOutputPort(const std::string& name) override {
        {
            std::lock_guard lock(state_->mutex);
            if (auto status = state_->failure(SimulatedMIDIOperation::createOutputPort)) {
                return MIDICreation<MIDIOutputPort>::failure(
                    status, failureText(SimulatedMIDIOperation::createOutputPort));
            }
        }
        return MIDICreation<MIDIOutputPort>::success(
            std::make_unique<OutputPort>(state_, name_, name));
    }

    MIDICreation<MIDIVirtualSource> createVirtualSource(const std::string& name) override {
        std::lock_guard lock(state_->mutex);
        if (auto status = state_->failure(SimulatedMIDIOperation::createVirtualSource)) {
            return MIDICreation<MIDIVirtualSource>::failure(
                status, failureText(SimulatedMIDIOperation::createVirtualSource));
        }
        state_->sources.push_back(name);
        return MIDICreation<MIDIVirtualSource>::success(
            std::make_unique<VirtualSource>(state_, name_, name));
    }

  private:
    std::shared_ptr<State> state_;
    std::string name_;
};

SimulatedMIDIService::SimulatedMIDIService() : state_(std::make_shared<State>()) {}
SimulatedMIDIService::~SimulatedMIDIService() = default;

MIDICreation<MIDIClient> SimulatedMIDIService::createClient(const std::string& name) {
    std::lock_guard lock(state_->mutex);
    if (auto status = state_->failure(SimulatedMIDIOperation::createClient)) {
        return MIDICreation<MIDIClient>::failure(status,
                                                 failureText(SimulatedMIDIOperation::createClient));
    }
    state_->clients.push_back(name);
    return MIDICreation<MIDIClient>::success(std::make_unique<Client>(state_, name));
}

std::uint64_t SimulatedMIDIService::addDestination(std::string name) {
    std::lock_guard lock(state_->mutex);
    const std::uint64_t id = state_->nextDestinationId++;
    state_->destinations.push_back(MIDIDestination{id, std::move(name)});
    return id;
}

void SimulatedMIDIService::removeDestination(std::uint64_t id) {
    std::lock_guard lock(state_->mutex);
    auto& list = state_->destinations;
    list.erase(std::remove_if(list.begin(), list.end(),
                              [id](const MIDIDestination& d) { return d.id == id; }),
               list.end());
}

void SimulatedMIDIService::setFailure(SimulatedMIDIOperation operation, MIDIStatusCode status) {
    std::lock_guard lock(state_->mutex);
    state_->failures[static_cast<std::size_t>(operation)] = status;
}

std::vector<SimulatedMIDIService::SentMessage> SimulatedMIDIService::sentMessages() const {
    std::lock_guard lock(state_->mutex);
    return state_->sent;
}

std::vector<SimulatedMIDIService::EmittedMessage> SimulatedMIDIService::emittedMessages() const {
    std::lock_guard lock(state_->mutex);
    return state_->emitted;
}

std::size_t SimulatedMIDIService::emittedCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->emitted.size();
}

std::vector<std::string> SimulatedMIDIService::clientNames() const {
    std::lock_guard lock(state_->mutex);
    return state_->clients;
}

std::vector<std::string> SimulatedMIDIService::virtualSourceNames() const {
    std::lock_guard lock(state_->mutex);
    return state_->sources;
}

void SimulatedMIDIService::clearRecords() {
    std::lock_guard lock(state_->mutex);
    state_->sent.clear();
    state_->emitted.clear();
}

}  // namespace tessiva
