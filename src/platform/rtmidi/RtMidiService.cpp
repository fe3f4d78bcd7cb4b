#include "platform/rtmidi/RtMidiService.h"

#include <RtMidi.h>

#include <cstdlib>
#include <exception>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/rtmidi/JackServerProbe.h"
#include "platform/rtmidi/MIDIApiChoice.h"

namespace tessiva {

namespace {

std::vector<MIDIApi> compiledApis() {
    std::vector<RtMidi::Api> apis;
    RtMidi::getCompiledApi(apis);
    std::vector<MIDIApi> result;
    for (auto api : apis) {
        if (api == RtMidi::MACOSX_CORE)
            result.push_back(MIDIApi::coreMIDI);
        if (api == RtMidi::UNIX_JACK)
            result.push_back(MIDIApi::jack);
        if (api == RtMidi::LINUX_ALSA)
            result.push_back(MIDIApi::alsa);
    }
    return result;
}

RtMidi::Api rtMidiApi(MIDIApi api) {
    switch (api) {
        case MIDIApi::coreMIDI:
            return RtMidi::MACOSX_CORE;
        case MIDIApi::jack:
            return RtMidi::UNIX_JACK;
        case MIDIApi::alsa:
            return RtMidi::LINUX_ALSA;
    }
    return RtMidi::UNSPECIFIED;
}

// One RtMidi output object with its error reports caught: RtMidi calls the callback instead of
// throwing once it is set, on the thread that made the failing call.
class Output {
  public:
    Output(MIDIApi api, const std::string& clientName) : midi_(rtMidiApi(api), clientName) {
        midi_.setErrorCallback(&Output::onError, this);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    RtMidiOut& midi() { return midi_; }
    void clearError() { failed_ = false; }
    bool failed() const { return failed_; }
    const std::string& errorText() const { return errorText_; }

  private:
    static void onError(RtMidiError::Type type, const std::string& text, void* self) {
        auto* output = static_cast<Output*>(self);
        // Warnings such as "no ports available" are not failures of the call itself.
        if (type == RtMidiError::WARNING || type == RtMidiError::DEBUG_WARNING)
            return;
        output->failed_ = true;
        output->errorText_ = text;
    }

    RtMidiOut midi_;
    bool failed_ = false;
    std::string errorText_;
};

std::optional<std::string> environmentValue(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr)
        return std::nullopt;
    return std::string(value);
}

// Creates an RtMidi output object; RtMidi throws when the service is missing.
MIDICreation<Output> makeOutput(MIDIApi api, const std::string& clientName) {
    if (api == MIDIApi::jack && !jackServerIsRunning()) {
        const auto server = environmentValue("JACK_DEFAULT_SERVER").value_or("default");
        return MIDICreation<Output>::failure(midistatus::kServerStartError,
                                             "no JACK server \"" + server + "\" is running");
    }
    try {
        return MIDICreation<Output>::success(std::make_unique<Output>(api, clientName));
    } catch (const RtMidiError& error) {
        return MIDICreation<Output>::failure(midistatus::kServerStartError, error.getMessage());
    } catch (const std::exception& error) {
        return MIDICreation<Output>::failure(midistatus::kUnknownError, error.what());
    }
}

class RtOutputPort final : public MIDIOutputPort {
  public:
    struct Shared;
    RtOutputPort(std::shared_ptr<Shared> shared, std::string name)
        : shared_(std::move(shared)), name_(std::move(name)) {}
    ~RtOutputPort() override;
    RtOutputPort(const RtOutputPort&) = delete;
    RtOutputPort& operator=(const RtOutputPort&) = delete;

    MIDIStatusCode prepare(const MIDIDestination& destination) override;
    MIDIStatusCode send(const MIDIDestination& destination,
                        std::span<const std::uint8_t> message) override;

  private:
    MIDIStatusCode connect(const std::string& destinationName);
    MIDIStatusCode connectLocked(const MIDIDestination& destination);

    std::shared_ptr<Shared> shared_;
    std::string name_;
    std::optional<std::string> connectedTo_;
};

// What a client and its output port share: the client's RtMidi object and the ids handed out
// for destination names.
struct RtOutputPort::Shared {
    std::mutex mutex;
    std::unique_ptr<Output> output;
    bool outputInUse = false;
    std::map<std::string, std::uint64_t> idsByName;
    std::map<std::uint64_t, std::string> namesById;
    std::uint64_t nextId = 1;

    std::uint64_t idFor(const std::string& name) {
        auto found = idsByName.find(name);
        if (found != idsByName.end())
            return found->second;
        const std::uint64_t id = nextId++;
        idsByName.emplace(name, id);
        namesById.emplace(id, name);
        return id;
    }
};

RtOutputPort::~RtOutputPort() {
    std::lock_guard lock(shared_->mutex);
    if (connectedTo_)
        shared_->output->midi().closePort();
}

MIDIStatusCode RtOutputPort::connect(const std::string& destinationName) {
    auto& output = *shared_->output;
    auto& midi = output.midi();
    output.clearError();
    const unsigned int count = midi.getPortCount();
    for (unsigned int index = 0; index < count; ++index) {
        if (midi.getPortName(index) != destinationName)
            continue;
        if (connectedTo_) {
            midi.closePort();
            connectedTo_.reset();
        }
        midi.openPort(index, name_);
        if (output.failed() || !midi.isPortOpen())
            return midistatus::kInvalidPort;
        connectedTo_ = destinationName;
        return midistatus::kNoError;
    }
    return midistatus::kObjectNotFound;
}

MIDIStatusCode RtOutputPort::connectLocked(const MIDIDestination& destination) {
    auto name = shared_->namesById.find(destination.id);
    if (name == shared_->namesById.end())
        return midistatus::kObjectNotFound;
    if (connectedTo_ == name->second)
        return midistatus::kNoError;
    return connect(name->second);
}

MIDIStatusCode RtOutputPort::prepare(const MIDIDestination& destination) {
    std::lock_guard lock(shared_->mutex);
    try {
        // Connect afresh even to the same name: the destination may have gone and come back,
        // taking the old connection with it.
        auto name = shared_->namesById.find(destination.id);
        if (name == shared_->namesById.end())
            return midistatus::kObjectNotFound;
        return connect(name->second);
    } catch (const std::exception&) {
        return midistatus::kInvalidPort;
    }
}

MIDIStatusCode RtOutputPort::send(const MIDIDestination& destination,
                                  std::span<const std::uint8_t> message) {
    std::lock_guard lock(shared_->mutex);
    try {
        if (auto status = connectLocked(destination))
            return status;
        auto& output = *shared_->output;
        output.clearError();
        output.midi().sendMessage(message.data(), message.size());
        return output.failed() ? midistatus::kMessageSendError : midistatus::kNoError;
    } catch (const std::exception&) {
        return midistatus::kMessageSendError;
    }
}

class RtVirtualSource final : public MIDIVirtualSource {
  public:
    explicit RtVirtualSource(std::unique_ptr<Output> output) : output_(std::move(output)) {}

    MIDIStatusCode emit(std::span<const std::uint8_t> message) override {
        try {
            output_->clearError();
            output_->midi().sendMessage(message.data(), message.size());
            return output_->failed() ? midistatus::kMessageSendError : midistatus::kNoError;
        } catch (const std::exception&) {
            return midistatus::kMessageSendError;
        }
    }

  private:
    std::unique_ptr<Output> output_;
};

class RtClient final : public MIDIClient {
  public:
    RtClient(MIDIApi api, std::string name, std::unique_ptr<Output> output)
        : api_(api), name_(std::move(name)), shared_(std::make_shared<RtOutputPort::Shared>()) {
        shared_->output = std::move(output);
    }
    RtClient(const RtClient&) = delete;
    RtClient& operator=(const RtClient&) = delete;

    std::vector<MIDIDestination> destinations() override {
        std::lock_guard lock(shared_->mutex);
        std::vector<MIDIDestination> result;
        try {
            if (!shared_->output && !lister_) {
                // The client's connection went to a virtual source: list through a second one.
                auto created = makeOutput(api_, name_);
                if (!created.ok())
                    return result;
                lister_ = std::move(created.object);
            }
            auto& midi = shared_->output ? shared_->output->midi() : lister_->midi();
            const unsigned int count = midi.getPortCount();
            for (unsigned int index = 0; index < count; ++index) {
                std::string name = midi.getPortName(index);
                // An unnamed destination cannot be found again by name, so it gets no id.
                const std::uint64_t id = name.empty() ? 0 : shared_->idFor(name);
                result.push_back(MIDIDestination{id, std::move(name)});
            }
        } catch (const std::exception&) {
            // A service that went away mid-listing: report what was read.
        }
        return result;
    }

    MIDICreation<MIDIOutputPort> createOutputPort(const std::string& name) override {
        std::lock_guard lock(shared_->mutex);
        if (shared_->outputInUse) {
            return MIDICreation<MIDIOutputPort>::failure(midistatus::kInvalidPort,
                                                         "the client already has a port");
        }
        shared_->outputInUse = true;
        return MIDICreation<MIDIOutputPort>::success(std::make_unique<RtOutputPort>(shared_, name));
    }

    MIDICreation<MIDIVirtualSource> createVirtualSource(const std::string& name) override {
        std::unique_ptr<Output> output;
        {
            std::lock_guard lock(shared_->mutex);
            // The client's own connection carries its first port, so other applications see the
            // source under the client's name.
            if (!shared_->outputInUse) {
                shared_->outputInUse = true;
                output = std::move(shared_->output);
                shared_->output = nullptr;
            }
        }
        if (!output) {
            auto created = makeOutput(api_, name_);
            if (!created.ok()) {
                return MIDICreation<MIDIVirtualSource>::failure(created.status,
                                                                created.description);
            }
            output = std::move(created.object);
        }
        try {
            output->clearError();
            output->midi().openVirtualPort(name);
            if (output->failed()) {
                return MIDICreation<MIDIVirtualSource>::failure(midistatus::kInvalidPort,
                                                                output->errorText());
            }
        } catch (const std::exception& error) {
            return MIDICreation<MIDIVirtualSource>::failure(midistatus::kInvalidPort, error.what());
        }
        return MIDICreation<MIDIVirtualSource>::success(
            std::make_unique<RtVirtualSource>(std::move(output)));
    }

  private:
    MIDIApi api_;
    std::string name_;
    std::shared_ptr<RtOutputPort::Shared> shared_;
    std::unique_ptr<Output> lister_;
};

}  // namespace

RtMidiService::RtMidiService() = default;
RtMidiService::~RtMidiService() = default;

MIDICreation<MIDIClient> RtMidiService::createClient(const std::string& name) {
    const auto forced = environmentValue(kMIDIApiEnvironmentVariable);
    const auto choice = chooseMIDIApi(forced, compiledApis(), [] { return jackServerIsRunning(); });
    if (!choice.api) {
        return MIDICreation<MIDIClient>::failure(midistatus::kInvalidClient, choice.problem);
    }
    auto output = makeOutput(*choice.api, name);
    if (!output.ok())
        return MIDICreation<MIDIClient>::failure(output.status, output.description);
    return MIDICreation<MIDIClient>::success(
        std::make_unique<RtClient>(*choice.api, name, std::move(output.object)));
}

std::unique_ptr<MIDIService> makeSystemMIDIService() {
    return std::make_unique<RtMidiService>();
}

}  // namespace tessiva
