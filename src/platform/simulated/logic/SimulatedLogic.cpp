#include "platform/simulated/logic/SimulatedLogic.h"

#include <algorithm>

#include "platform/ax/AXNames.h"
#include "runtime/Clock.h"

namespace tessiva {

SimulatedLogic::SimulatedLogic(const Clock& clock, SimulatedLogicOptions options)
    : clock_(clock), options_(std::move(options)), notifications_([this](const AXElement& element) {
          std::lock_guard lock(mutex_);
          return nodeFor(element) != nullptr;
      }) {
    std::lock_guard lock(mutex_);
    running_ = true;
    pid_ = nextPid_++;
    buildTree();
}

SimulatedLogic::~SimulatedLogic() = default;

AXElement SimulatedLogic::elementFor(std::uint64_t id) const {
    return tree_.element(id, clock_.now());
}

const SimulatedLogic::Node* SimulatedLogic::nodeFor(const AXElement& element) const {
    return tree_.node(element);
}

std::string SimulatedLogic::titleText() const {
    return options_.projectName + ".logicx - Tracks";
}

bool SimulatedLogic::isHidden(const Track& track) const {
    if (track.stackKey == 0)
        return false;
    for (const auto& other : tracks_) {
        if (other.key == track.stackKey)
            return other.collapsed;
    }
    return false;
}

int SimulatedLogic::numberOf(std::uint64_t key) const {
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        if (tracks_[i].key == key)
            return static_cast<int>(i) + 1;
    }
    return 0;
}

SimulatedLogic::Track* SimulatedLogic::trackAt(int number) {
    if (number < 1 || number > static_cast<int>(tracks_.size()))
        return nullptr;
    return &tracks_[static_cast<std::size_t>(number - 1)];
}

std::vector<std::uint64_t> SimulatedLogic::visibleTrackKeys() const {
    std::vector<std::uint64_t> keys;
    for (const auto& track : tracks_) {
        if (!isHidden(track))
            keys.push_back(track.key);
    }
    return keys;
}

std::vector<std::uint64_t> SimulatedLogic::settledSelection() const {
    const bool settled = clock_.now() >= selectionReadableAt_;
    return settled ? selection_ : previousSelection_;
}

void SimulatedLogic::finishTrackListEdit(std::vector<std::uint64_t> selection) {
    selectOnly(std::move(selection));
    rebuildRows();
    structuralChangeNotifications(true);
    deliverPending();
}

void SimulatedLogic::selectOnly(std::vector<std::uint64_t> keys) {
    previousSelection_ = settledSelection();
    selection_ = std::move(keys);
    selectionReadableAt_ = clock_.now() + options_.selectionSettleDelay;
}

AXPoint SimulatedLogic::rowCenter(std::uint64_t key) const {
    for (const auto& track : tracks_) {
        if (track.key != key)
            continue;
        const auto& frame = tree_.at(track.rowNode).frame;
        return {frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2};
    }
    return {};
}

// ---- notifications ----------------------------------------------------------------------------

void SimulatedLogic::queueNotification(std::uint64_t node, std::string name) {
    notifications_.queue(node, std::move(name));
}

void SimulatedLogic::deliverPending() {
    auto events = std::move(pendingEvents_);
    pendingEvents_.clear();
    // Global monitors hear an event after Logic has handled it.
    struct MonitorsAfter {
        SimulatedInputEvents& input;
        std::vector<InputEvent>& events;
        ~MonitorsAfter() {
            for (const auto& event : events)
                input.deliverToMonitors(event);
        }
    } monitorsAfter{input_, events};
    if (!running_) {
        notifications_.discardQueued();
        return;
    }
    notifications_.deliver(pid_, app_, [this](std::uint64_t id) { return elementFor(id); });
}

void SimulatedLogic::selectionNotifications() {
    queueNotification(outline_, ax::kSelectedRowsChanged);
    queueNotification(outline_, ax::kSelectedChildrenChanged);
}

void SimulatedLogic::structuralChangeNotifications(bool selectionChanged) {
    queueNotification(outline_, ax::kRowCountChanged);
    if (selectionChanged)
        selectionNotifications();
    queueNotification(outline_, ax::kLayoutChanged);
}

void SimulatedLogic::pointerEvent(InputEventType type, AXPoint at, std::uint32_t modifiers,
                                  bool tapped) {
    InputEvent event;
    event.type = type;
    event.modifiers = modifiers;
    event.location = at;
    event.timestamp = clock_.now();
    if (tapped)
        input_.deliverToTaps(event);
    // Logic handles the event here; the caller queues its notifications next.
    pendingEvents_.push_back(event);
}

// ---- process ----------------------------------------------------------------------------------

void SimulatedLogic::launch() {
    std::lock_guard lock(mutex_);
    if (running_)
        return;
    running_ = true;
    pid_ = nextPid_++;
    buildTree();
}

void SimulatedLogic::quit() {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    running_ = false;
    pid_ = 0;
    mixerOpen_ = mixerFocused_ = false;
    tearDownTree();
}

void SimulatedLogic::relaunch() {
    quit();
    launch();
}

bool SimulatedLogic::isRunning() const {
    std::lock_guard lock(mutex_);
    return running_;
}

ProcessId SimulatedLogic::pid() const {
    std::lock_guard lock(mutex_);
    return pid_;
}

void SimulatedLogic::setFrontmost(bool frontmost) {
    std::lock_guard lock(mutex_);
    frontmost_ = frontmost;
}

bool SimulatedLogic::isFrontmost() const {
    std::lock_guard lock(mutex_);
    return running_ && frontmost_;
}

void SimulatedLogic::setTrusted(bool trusted) {
    std::lock_guard lock(mutex_);
    trusted_ = trusted;
}

void SimulatedLogic::setProjectName(std::string name) {
    std::lock_guard lock(mutex_);
    options_.projectName = std::move(name);
    if (!running_)
        return;
    tree_.at(mainWindow_).title = titleText();
    queueNotification(mainWindow_, ax::kTitleChanged);
    deliverPending();
}

std::string SimulatedLogic::windowTitle() const {
    std::lock_guard lock(mutex_);
    return titleText();
}

void SimulatedLogic::setSelectionSettleDelay(double seconds) {
    std::lock_guard lock(mutex_);
    options_.selectionSettleDelay = seconds;
}

void SimulatedLogic::failNextObserverCreations(int count, int afterSuccesses) {
    std::lock_guard lock(mutex_);
    failObserverCreations_ = count;
    observerCreationsBeforeFailure_ = afterSuccesses;
}

void SimulatedLogic::setAttributeReadHook(std::function<void(std::string_view)> hook) {
    std::lock_guard lock(mutex_);
    readHook_ = std::move(hook);
}

// ---- content ----------------------------------------------------------------------------------

void SimulatedLogic::addTrack(std::string name) {
    std::lock_guard lock(mutex_);
    Track track;
    track.key = nextTrackKey_++;
    track.name = std::move(name);
    if (running_)
        makeTrackNodes(track);
    tracks_.push_back(track);
    rebuildRows();
}

void SimulatedLogic::addStack(std::string name, std::vector<std::string> members) {
    std::lock_guard lock(mutex_);
    Track header;
    header.key = nextTrackKey_++;
    header.name = std::move(name);
    header.isStackHeader = true;
    if (running_)
        makeTrackNodes(header);
    tracks_.push_back(header);
    for (auto& memberName : members) {
        Track member;
        member.key = nextTrackKey_++;
        member.name = std::move(memberName);
        member.stackKey = header.key;
        if (running_)
            makeTrackNodes(member);
        tracks_.push_back(member);
    }
    rebuildRows();
}

int SimulatedLogic::trackCount() const {
    std::lock_guard lock(mutex_);
    return static_cast<int>(tracks_.size());
}

std::map<int, std::string> SimulatedLogic::visibleRows() const {
    std::lock_guard lock(mutex_);
    std::map<int, std::string> rows;
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        if (!isHidden(tracks_[i]) && !tracks_[i].name.empty()) {
            rows.emplace(static_cast<int>(i) + 1, tracks_[i].name);
        }
    }
    return rows;
}

std::vector<int> SimulatedLogic::selectedTrackNumbers() const {
    std::lock_guard lock(mutex_);
    std::vector<int> numbers;
    for (auto key : selection_)
        numbers.push_back(numberOf(key));
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

// ---- elements for tests -----------------------------------------------------------------------

AXElement SimulatedLogic::applicationElementNow() const {
    std::lock_guard lock(mutex_);
    return elementFor(app_);
}
AXElement SimulatedLogic::mainWindowElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(mainWindow_);
}
AXElement SimulatedLogic::trackListElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(outline_);
}
AXElement SimulatedLogic::decoyTableElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(decoy_);
}
AXElement SimulatedLogic::rowElement(int number) const {
    std::lock_guard lock(mutex_);
    if (number < 1 || number > static_cast<int>(tracks_.size()))
        return {};
    return elementFor(tracks_[static_cast<std::size_t>(number - 1)].rowNode);
}
AXElement SimulatedLogic::nameFieldElement(int number) const {
    std::lock_guard lock(mutex_);
    if (number < 1 || number > static_cast<int>(tracks_.size()))
        return {};
    return elementFor(tracks_[static_cast<std::size_t>(number - 1)].nameNode);
}
AXElement SimulatedLogic::tempoSliderElement() const {
    std::lock_guard lock(mutex_);
    return elementFor(slider_);
}

std::size_t SimulatedLogic::mainWindowElementCount() const {
    std::lock_guard lock(mutex_);
    return tree_.subtreeSize(mainWindow_);
}

}  // namespace tessiva
