#include "logic/LogicTempoBridge.h"

#include <cmath>
#include <cstdlib>
#include <deque>
#include <string>
#include <utility>

#include "logic/ObservationContext.h"
#include "platform/ax/AXNames.h"
#include "runtime/Text.h"

namespace tessiva {

bool TempoRules::isTempoDescription(std::string_view description) {
    // Korean Logic names the slider in Korean; every other language observed says "Tempo".
    return text::lowercased(text::trimmed(description)) == "tempo" ||
           text::trimmed(description) == kKoreanTempo;
}

std::optional<double> TempoRules::parse(const AXValue& value) {
    std::optional<double> tempo = axNumber(value);
    if (const auto text = axString(value)) {
        const std::string trimmed = text::trimmed(*text);
        if (trimmed.empty())
            return std::nullopt;
        char* end = nullptr;
        const double parsed = std::strtod(trimmed.c_str(), &end);
        if (end != trimmed.c_str() + trimmed.size())
            return std::nullopt;
        tempo = parsed;
    }
    if (!tempo || !std::isfinite(*tempo) || *tempo <= 0)
        return std::nullopt;
    return tempo;
}

LogicTempoBridge::LogicTempoBridge(Dependencies dependencies)
    : deps_(std::move(dependencies)),
      worker_(deps_.dispatcher.makeSerialQueue(std::string(kQueueName))) {}

LogicTempoBridge::~LogicTempoBridge() {
    // Waits for work running on the worker; nothing of ours runs there afterwards.
    std::unique_lock lock(guard_->mutex);
    guard_->alive = false;
    detach();
    retryTimer_.stop();
}

template <typename Work>
Queue::Work LogicTempoBridge::guarded(Work work) {
    return [guard = guard_, work = std::move(work)]() mutable {
        std::shared_lock lock(guard->mutex);
        if (guard->alive)
            work();
    };
}

void LogicTempoBridge::start() {
    {
        std::lock_guard lock(stateLock_);
        if (didStart_)
            return;
        didStart_ = true;
    }
    worker_->post(guarded([this] {
        attachStep();
        retryTimer_.start(*worker_, kRetryInterval, kRetryInterval,
                          guarded([this] { attachStep(); }));
    }));
}

std::optional<double> LogicTempoBridge::storedTempo() const {
    std::lock_guard lock(stateLock_);
    return storedTempo_;
}

void LogicTempoBridge::attachStep() {
    const auto running = deps_.accessibility.runningApplications(kLogicBundleIdentifier);
    if (!deps_.accessibility.isProcessTrusted() || running.empty()) {
        detach();
        return;
    }
    const ProcessId pid = running.front();
    if (pid == attachedPID_ && observer_ && tempoElement_)
        return;
    detach();
    auto observer = deps_.accessibility.createObserver(
        pid, *worker_, [guard = guard_, this](const AXElement&, const std::string& name) {
            std::shared_lock lock(guard->mutex);
            if (guard->alive)
                handleNotification(name);
        });
    if (!observer.ok() || !observer.value)
        return;
    observer_ = std::move(observer.value);
    attachedPID_ = pid;
    tempoElement_ = findTempoElement(deps_.accessibility.applicationElement(pid));
    if (!tempoElement_) {
        detach();
        return;
    }
    const AXError registered = observer_->addNotification(tempoElement_, ax::kValueChanged);
    if (registered != AXError::success && registered != AXError::notificationAlreadyRegistered) {
        detach();
        return;
    }
    observer_->addNotification(tempoElement_, ax::kUIElementDestroyed);
    attached_ = true;
    readAndPublish();
}

void LogicTempoBridge::detach() {
    pendingRead_.cancel();
    pendingRead_ = {};
    observer_.reset();
    tempoElement_ = {};
    attached_ = false;
}

AXElement LogicTempoBridge::findTempoElement(const AXElement& application) {
    const AXElement window =
        axElement(deps_.accessibility.copyAttributeValue(application, ax::kFocusedWindow).value);
    if (!window)
        return {};
    std::deque<std::pair<AXElement, int>> pending{{window, 0}};
    int visited = 0;
    while (!pending.empty() && visited < kSearchVisitLimit) {
        auto [element, depth] = pending.front();
        pending.pop_front();
        ++visited;
        auto read = [&](const char* attribute) {
            return deps_.accessibility.copyAttributeValue(element, attribute).value;
        };
        if (axString(read(ax::kRole)) == std::string(ax::kRoleSlider)) {
            const auto description = axString(read(ax::kDescription));
            if (description && TempoRules::isTempoDescription(*description) &&
                TempoRules::parse(read(ax::kValue))) {
                return element;
            }
        }
        if (depth < kSearchExpandDepth) {
            for (const AXElement& child : axElements(read(ax::kChildren)))
                pending.emplace_back(child, depth + 1);
        }
    }
    return {};
}

void LogicTempoBridge::handleNotification(const std::string& name) {
    if (name == ax::kUIElementDestroyed) {
        // The retry timer attaches again.
        detach();
        return;
    }
    if (name != ax::kValueChanged || pendingRead_.isPending())
        return;
    // A drag changes the tempo many times a second: one read for the whole burst.
    pendingRead_ = worker_->postAfter(kReadDelay, guarded([this] {
                                          pendingRead_ = {};
                                          readAndPublish();
                                      }));
}

void LogicTempoBridge::readAndPublish() {
    if (!tempoElement_)
        return;
    const auto tempo =
        TempoRules::parse(deps_.accessibility.copyAttributeValue(tempoElement_, ax::kValue).value);
    if (!tempo)
        return;
    {
        std::lock_guard lock(stateLock_);
        if (!TempoRules::isNews(storedTempo_, *tempo))
            return;
        storedTempo_ = tempo;
    }
    if (deps_.publish)
        deps_.publish(*tempo);
}

}  // namespace tessiva
