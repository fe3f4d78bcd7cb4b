// The simulated Logic's process, project and publication: launching and quitting, options,
// tracks and stacks, the selection Logic publishes after its lag, undo history, and how the tree
// and notifications follow a change. The tree shapes live in Logic10Tree.cpp and
// Logic12Tree.cpp, actions in SimulatedLogicActions.cpp, reads in SimulatedLogicReads.cpp.
#include "platform/simulated/logic/SimulatedLogic.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogicTexts.h"
#include "runtime/Clock.h"

namespace tessiva {

namespace {

constexpr std::size_t kUndoDepth = 50;

// Percent-encodes a path for a file URL.
std::string fileURL(const std::string& path) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string url = "file://";
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '/' || c == '-' || c == '_' || c == '.' || c == '~') {
            url += static_cast<char>(c);
        } else {
            url += '%';
            url += kHex[c >> 4];
            url += kHex[c & 15];
        }
    }
    return url;
}

}  // namespace

SimulatedLogic::SimulatedLogic(const Clock& clock, SimulatedLogicOptions options)
    : clock_(clock),
      options_(std::move(options)),
      sleep_([](double seconds) {
          std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
      }),
      random_(options_.randomSeed),
      notifications_([this](const AXElement& element) {
          std::lock_guard lock(mutex_);
          return nodeFor(element) != nullptr;
      }) {
    std::lock_guard lock(mutex_);
    running_ = true;
    pid_ = nextPid_++;
    buildTree();
}

SimulatedLogic::~SimulatedLogic() = default;

// ---- tree -------------------------------------------------------------------------------------

void SimulatedLogic::buildTree() {
    app_ = tree_.make(NodeKind::application, ax::kRoleApplication, 0, "Logic Pro");
    if (isLogic12()) {
        // Logic's window list can start with an untitled utility window.
        utilityWindow_ = tree_.make(NodeKind::window, ax::kRoleWindow, app_, std::string());
        tree_.at(utilityWindow_).subrole = ax::kSubroleFloatingWindow;
        buildLogic12Window();
    } else {
        buildLogic10Window();
    }
    failNextWindowsRead_ = options_.failFirstWindowsRead;
    publishRows();
}

void SimulatedLogic::publishRows() {
    if (!running_)
        return;
    if (isLogic12()) {
        publishLogic12Rows();
    } else {
        publishLogic10Rows();
    }
}

void SimulatedLogic::tearDownTree() {
    tree_.clear();
    app_ = mainWindow_ = utilityWindow_ = outline_ = decoy_ = inspectorOutline_ = contents_ =
        slider_ = sheet_ = mixerWindow_ = mixerPane_ = mixerTracks_ = playhead_ = meter_ = 0;
    slots_.clear();
    pluginWindows_.clear();
    focusedNode_ = 0;
    modalOpen_ = false;
    for (auto& track : tracks_)
        track.rowNode = track.nameNode = track.stripNode = 0;
}

AXElement SimulatedLogic::elementFor(std::uint64_t id) const {
    return tree_.element(id, clock_.now());
}

const SimulatedLogic::Node* SimulatedLogic::nodeFor(const AXElement& element) const {
    return tree_.node(element);
}

std::string SimulatedLogic::localizedHeader(int number, const std::string& name) const {
    return simulated_logic_texts::header(options_.locale, number, name);
}

std::string SimulatedLogic::titleText() const {
    const bool extension = !isLogic12() || options_.titleWithExtension;
    return options_.projectName + (extension ? ".logicx" : "") + " - " +
           simulated_logic_texts::windowSuffix(options_.locale);
}

std::string SimulatedLogic::documentURL() const {
    return fileURL(options_.projectFolder + "/" + options_.projectName + ".logicx");
}

// ---- project ----------------------------------------------------------------------------------

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

double SimulatedLogic::heldElementStaleness() const {
    return options_.heldElementStaleness.value_or(isLogic12() ? 1.1 : 0.0);
}

std::vector<std::uint64_t> SimulatedLogic::publishedSelectionAt(double time) const {
    const std::vector<std::uint64_t>* value = nullptr;
    for (const auto& entry : published_) {
        if (entry.at > time)
            break;
        value = &entry.keys;
    }
    return value ? *value : std::vector<std::uint64_t>{};
}

double SimulatedLogic::latestSelectionPublishTime() const {
    std::lock_guard lock(mutex_);
    return published_.empty() ? 0.0 : published_.back().at;
}

std::vector<std::uint64_t> SimulatedLogic::readableSelection(double fetchedAt) const {
    const double now = clock_.now();
    const double staleness = heldElementStaleness();
    // A held element answers from when it was fetched, at most `staleness` behind.
    const double time = staleness > 0 ? std::max(fetchedAt, now - staleness) : now;
    return publishedSelectionAt(std::min(time, now));
}

void SimulatedLogic::selectOnly(std::vector<std::uint64_t> keys) {
    selection_ = std::move(keys);
    const double now = clock_.now();
    double lag = options_.selectionSettleDelay;
    if (options_.selectionSettleJitter > 0) {
        std::uniform_real_distribution<double> jitter(-options_.selectionSettleJitter,
                                                      options_.selectionSettleJitter);
        lag += jitter(random_);
    }
    // Logic publishes changes in the order they were made.
    double at = now + std::max(0.0, lag);
    if (!published_.empty())
        at = std::max(at, published_.back().at);
    published_.push_back({at, selection_});
    // Reads never look further back than the staleness allows.
    const double horizon = now - heldElementStaleness();
    while (published_.size() > 1 && published_[1].at <= horizon)
        published_.erase(published_.begin());
}

void SimulatedLogic::rememberEdit() {
    undo_.push_back({tracks_, selection_});
    if (undo_.size() > kUndoDepth)
        undo_.erase(undo_.begin());
    redo_.clear();
}

void SimulatedLogic::restoreEdit(Edit edit) {
    for (auto& restored : edit.tracks) {
        restored.rowNode = restored.nameNode = restored.stripNode = 0;
        for (const auto& current : tracks_) {
            if (current.key == restored.key) {
                restored.rowNode = current.rowNode;
                restored.nameNode = current.nameNode;
                restored.stripNode = current.stripNode;
            }
        }
    }
    for (const auto& current : tracks_) {
        const bool kept = std::any_of(edit.tracks.begin(), edit.tracks.end(),
                                      [&](const Track& t) { return t.key == current.key; });
        if (!kept) {
            tree_.removeSubtree(current.rowNode);
            tree_.removeSubtree(current.stripNode);
        }
    }
    tracks_ = std::move(edit.tracks);
    finishTrackListEdit(std::move(edit.selection));
}

void SimulatedLogic::finishTrackListEdit(std::vector<std::uint64_t> selection) {
    selectOnly(std::move(selection));
    publishRows();
    structuralChangeNotifications(true);
    deliverPending();
}

AXPoint SimulatedLogic::rowCenter(std::uint64_t key) const {
    const auto header = headerNodeOf(key);
    if (!tree_.contains(header))
        return {};
    const auto& frame = tree_.at(header).frame;
    return {frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2};
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
    if (!postsTableNotifications())
        return;
    queueNotification(outline_, ax::kSelectedRowsChanged);
    queueNotification(outline_, ax::kSelectedChildrenChanged);
}

void SimulatedLogic::structuralChangeNotifications(bool selectionChanged) {
    if (!postsTableNotifications())
        return;
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

// ---- process and options ----------------------------------------------------------------------

SimulatedLogicOptions SimulatedLogic::options() const {
    std::lock_guard lock(mutex_);
    return options_;
}

void SimulatedLogic::setOptions(SimulatedLogicOptions options) {
    std::lock_guard lock(mutex_);
    options_ = std::move(options);
    random_.seed(options_.randomSeed);
    if (!running_)
        return;
    tearDownTree();
    mixerOpen_ = mixerFocused_ = false;
    buildTree();
}

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
    // Observers of the control bar hear it go.
    queueNotification(slider_, ax::kUIElementDestroyed);
    deliverPending();
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

void SimulatedLogic::setTrusted(bool trusted) {
    std::lock_guard lock(mutex_);
    trusted_ = trusted;
}

void SimulatedLogic::setProjectName(std::string name) {
    std::lock_guard lock(mutex_);
    options_.projectName = std::move(name);
    if (!running_)
        return;
    if (!isLogic12()) {
        tree_.at(mainWindow_).title = titleText();
        queueNotification(mainWindow_, ax::kTitleChanged);
        deliverPending();
        return;
    }
    // Logic 12 opens the other project in a window of its own.
    for (auto window : pluginWindows_)
        tree_.removeSubtree(window);
    pluginWindows_.clear();
    if (modalOpen_)
        closeModal();
    tree_.removeSubtree(mainWindow_);
    mixerPane_ = mixerTracks_ = 0;
    focusedNode_ = 0;
    buildLogic12Window();
    publishRows();
    queueNotification(app_, ax::kMainWindowChanged);
    queueNotification(app_, ax::kFocusedWindowChanged);
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

void SimulatedLogic::setBusy(SimulatedLogicBusy busy) {
    std::lock_guard lock(mutex_);
    busy_ = busy;
}

void SimulatedLogic::setSleepFunction(std::function<void(double)> sleep) {
    std::lock_guard lock(mutex_);
    sleep_ = std::move(sleep);
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
    track.channelName = name;
    track.name = std::move(name);
    tracks_.push_back(track);
    publishRows();
}

void SimulatedLogic::addStack(std::string name, std::vector<std::string> members) {
    std::lock_guard lock(mutex_);
    Track header;
    header.key = nextTrackKey_++;
    header.channelName = name;
    header.name = std::move(name);
    header.isStackHeader = true;
    tracks_.push_back(header);
    for (auto& memberName : members) {
        Track member;
        member.key = nextTrackKey_++;
        member.channelName = memberName;
        member.name = std::move(memberName);
        member.stackKey = header.key;
        tracks_.push_back(member);
    }
    publishRows();
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

std::string SimulatedLogic::headerText(int number, const std::string& name) const {
    std::lock_guard lock(mutex_);
    return localizedHeader(number, name);
}

}  // namespace tessiva
