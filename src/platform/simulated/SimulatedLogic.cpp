#include "platform/simulated/SimulatedLogic.h"

#include <algorithm>
#include <set>

#include "platform/ax/AXNames.h"
#include "runtime/Clock.h"
#include "runtime/Queue.h"

namespace tessiva {

namespace {

// Identities are unique for the life of the process, so an element of a quit Logic never
// matches one of the relaunched Logic.
std::atomic<std::uint64_t> gNextNodeId{1};

constexpr double kRowHeight = 40.0;
constexpr double kListTop = 200.0;
constexpr double kListWidth = 300.0;

std::string headerText(int number, const std::string& name) {
    return "Track " + std::to_string(number) + " \u201C" + name + "\u201D";
}

}  // namespace

struct SimulatedLogic::ObserverState {
    std::mutex mutex;
    bool alive = true;
    bool suspended = false;
    ProcessId pid = 0;
    Queue* queue = nullptr;
    AXNotificationHandler handler;
    std::set<std::pair<std::uint64_t, std::string>> registrations;
};

class SimulatedLogic::Observer final : public AXObserver {
  public:
    Observer(SimulatedLogic& logic, std::shared_ptr<ObserverState> state)
        : logic_(logic), state_(std::move(state)) {}
    ~Observer() override {
        std::lock_guard lock(state_->mutex);
        state_->alive = false;
        state_->handler = nullptr;
        state_->registrations.clear();
    }

    AXError addNotification(const AXElement& element, std::string_view notification) override {
        {
            std::lock_guard lock(logic_.mutex_);
            if (!logic_.nodeFor(element))
                return AXError::invalidUIElement;
        }
        std::lock_guard lock(state_->mutex);
        const bool inserted =
            state_->registrations.emplace(element.identity(), std::string(notification)).second;
        return inserted ? AXError::success : AXError::notificationAlreadyRegistered;
    }
    AXError removeNotification(const AXElement& element, std::string_view notification) override {
        std::lock_guard lock(state_->mutex);
        const auto erased =
            state_->registrations.erase({element.identity(), std::string(notification)});
        return erased ? AXError::success : AXError::notificationNotRegistered;
    }
    void suspendDelivery() override {
        std::lock_guard lock(state_->mutex);
        state_->suspended = true;
    }
    void resumeDelivery() override {
        std::lock_guard lock(state_->mutex);
        state_->suspended = false;
    }
    bool isDeliverySuspended() const override {
        std::lock_guard lock(state_->mutex);
        return state_->suspended;
    }

  private:
    SimulatedLogic& logic_;
    std::shared_ptr<ObserverState> state_;
};

SimulatedLogic::SimulatedLogic(const Clock& clock, SimulatedLogicOptions options)
    : clock_(clock), options_(std::move(options)) {
    std::lock_guard lock(mutex_);
    running_ = true;
    pid_ = nextPid_++;
    buildTree();
}

SimulatedLogic::~SimulatedLogic() = default;

// ---- tree -------------------------------------------------------------------------------------

std::uint64_t SimulatedLogic::makeNode(NodeKind kind, std::string role, std::uint64_t parent,
                                       std::optional<std::string> title,
                                       std::optional<std::string> description) {
    Node node;
    node.id = gNextNodeId++;
    node.kind = kind;
    node.role = std::move(role);
    node.title = std::move(title);
    node.description = std::move(description);
    node.parent = parent;
    node.ref = std::make_shared<const NodeRef>(NodeRef{node.id});
    const auto id = node.id;
    nodes_.emplace(id, std::move(node));
    if (parent != 0)
        nodes_.at(parent).children.push_back(id);
    return id;
}

void SimulatedLogic::removeSubtree(std::uint64_t id) {
    auto found = nodes_.find(id);
    if (found == nodes_.end())
        return;
    const auto children = found->second.children;
    for (auto child : children)
        removeSubtree(child);
    const auto parent = found->second.parent;
    nodes_.erase(id);
    if (auto p = nodes_.find(parent); p != nodes_.end())
        std::erase(p->second.children, id);
}

void SimulatedLogic::buildTree() {
    app_ = makeNode(NodeKind::application, ax::kRoleApplication, 0, "Logic Pro");
    mainWindow_ = makeNode(NodeKind::window, ax::kRoleWindow, app_, titleText());
    nodes_.at(mainWindow_).frame = {{0, 0}, {1600, 1000}};

    const auto controlBar =
        makeNode(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Control Bar");
    slider_ = makeNode(NodeKind::slider, ax::kRoleSlider, controlBar, std::nullopt, "Tempo");
    nodes_.at(slider_).value = tempo_;
    makeNode(NodeKind::button, ax::kRoleButton, controlBar, std::nullopt, "Play");
    makeNode(NodeKind::button, ax::kRoleButton, controlBar, std::nullopt, "Record");
    if (options_.decoyTracksHeaderTable) {
        decoy_ =
            makeNode(NodeKind::group, ax::kRoleTable, controlBar, std::nullopt, "Tracks header");
        for (int bar = 1; bar <= 3; ++bar) {
            makeNode(NodeKind::text, ax::kRoleStaticText, decoy_, "Bar " + std::to_string(bar));
        }
    }

    const auto inspector =
        makeNode(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Inspector");
    int made = 0;
    while (made < options_.fillerElementCount) {
        const auto group = makeNode(NodeKind::group, ax::kRoleGroup, inspector);
        ++made;
        for (int i = 0; i < 9 && made < options_.fillerElementCount; ++i, ++made) {
            makeNode(NodeKind::text, ax::kRoleStaticText, group,
                     "Parameter " + std::to_string(made));
        }
    }

    auto parent = mainWindow_;
    for (int level = 0; level < std::max(1, options_.arrangeNestingDepth); ++level) {
        parent = makeNode(NodeKind::group, ax::kRoleGroup, parent, std::nullopt,
                          level == 0 ? "Arrange" : "Arrange area");
    }
    outline_ = makeNode(NodeKind::outline, ax::kRoleOutline, parent, std::nullopt, "Tracks header");
    contents_ = makeNode(NodeKind::group, ax::kRoleGroup, parent, std::nullopt, "Tracks contents");
    for (auto& track : tracks_)
        makeTrackNodes(track);
    rebuildRows();
}

void SimulatedLogic::makeTrackNodes(Track& track) {
    track.rowNode = makeNode(NodeKind::row, ax::kRoleRow, 0);
    nodes_.at(track.rowNode).trackKey = track.key;
    track.nameNode = makeNode(NodeKind::nameField, ax::kRoleTextField, track.rowNode, std::nullopt,
                              "Track Name");
    nodes_.at(track.nameNode).trackKey = track.key;
    makeNode(NodeKind::button, ax::kRoleButton, track.rowNode, std::nullopt, "Mute");
    makeNode(NodeKind::button, ax::kRoleButton, track.rowNode, std::nullopt, "Solo");
    nodes_.at(track.rowNode).parent = outline_;
}

void SimulatedLogic::rebuildRows() {
    if (!running_)
        return;
    auto& outline = nodes_.at(outline_);
    outline.children.clear();
    int visible = 0;
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        const auto& track = tracks_[i];
        const int number = static_cast<int>(i) + 1;
        auto& row = nodes_.at(track.rowNode);
        row.description = headerText(number, track.name);
        nodes_.at(track.nameNode).value = track.name;
        if (isHidden(track))
            continue;
        row.frame = {{0, kListTop + kRowHeight * visible}, {kListWidth, kRowHeight}};
        outline.children.push_back(track.rowNode);
        ++visible;
    }
    outline.frame = {{0, kListTop}, {kListWidth, kRowHeight * visible}};
    nodes_.at(contents_).frame = {{kListWidth, kListTop}, {1300, kRowHeight * visible}};
    if (mixerTracks_ != 0) {
        auto& strips = nodes_.at(mixerTracks_);
        const auto old = strips.children;
        for (auto child : old)
            removeSubtree(child);
        for (auto& track : tracks_) {
            if (isHidden(track)) {
                track.stripNode = 0;
                continue;
            }
            track.stripNode = makeNode(NodeKind::mixerStrip, ax::kRoleGroup, mixerTracks_,
                                       std::nullopt, headerText(numberOf(track.key), track.name));
            nodes_.at(track.stripNode).trackKey = track.key;
        }
    }
}

void SimulatedLogic::tearDownTree() {
    nodes_.clear();
    app_ = mainWindow_ = outline_ = decoy_ = contents_ = slider_ = sheet_ = mixerWindow_ =
        mixerTracks_ = 0;
    focusedNode_ = 0;
    modalOpen_ = false;
    for (auto& track : tracks_)
        track.rowNode = track.nameNode = track.stripNode = 0;
}

AXElement SimulatedLogic::elementFor(std::uint64_t id) const {
    auto found = nodes_.find(id);
    if (id == 0 || found == nodes_.end())
        return {};
    return AXElement(found->second.ref, id);
}

const SimulatedLogic::Node* SimulatedLogic::nodeFor(const AXElement& element) const {
    if (!element)
        return nullptr;
    auto found = nodes_.find(element.identity());
    if (found == nodes_.end() || found->second.ref.get() != element.ref())
        return nullptr;
    return &found->second;
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
        const auto& frame = nodes_.at(track.rowNode).frame;
        return {frame.origin.x + frame.size.width / 2, frame.origin.y + frame.size.height / 2};
    }
    return {};
}

// ---- notifications ----------------------------------------------------------------------------

void SimulatedLogic::queueNotification(std::uint64_t node, std::string name) {
    pending_.push_back({node, std::move(name)});
}

void SimulatedLogic::deliverPending() {
    auto pending = std::move(pending_);
    pending_.clear();
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
    if (!running_)
        return;
    std::erase_if(observers_, [](const auto& weak) { return weak.expired(); });
    for (const auto& notification : pending) {
        const auto element = elementFor(notification.node);
        if (!element)
            continue;
        for (const auto& weak : observers_) {
            auto state = weak.lock();
            if (!state)
                continue;
            {
                std::lock_guard lock(state->mutex);
                if (!state->alive || state->pid != pid_)
                    continue;
                const bool registered =
                    state->registrations.count({notification.node, notification.name}) != 0 ||
                    state->registrations.count({app_, notification.name}) != 0;
                if (!registered)
                    continue;
            }
            state->queue->post([state, element, name = notification.name, delivered = delivered_,
                                dropped = dropped_] {
                AXNotificationHandler handler;
                {
                    std::lock_guard lock(state->mutex);
                    if (!state->alive || state->suspended) {
                        ++*dropped;
                        return;
                    }
                    handler = state->handler;
                }
                ++*delivered;
                if (handler)
                    handler(element, name);
            });
        }
    }
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
    nodes_.at(mainWindow_).title = titleText();
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

// ---- user actions -----------------------------------------------------------------------------

void SimulatedLogic::clickTrack(int number, SimulatedClick kind) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track || isHidden(*track))
        return;
    const auto key = track->key;
    const auto at = rowCenter(key);
    const bool right = kind == SimulatedClick::right;
    const std::uint32_t modifiers =
        kind == SimulatedClick::command ? static_cast<std::uint32_t>(InputModifier::command) : 0;
    pointerEvent(right ? InputEventType::rightMouseDown : InputEventType::leftMouseDown, at,
                 modifiers);
    if (!modalOpen_ && !right) {
        if (kind == SimulatedClick::command) {
            auto next = selection_;
            if (auto found = std::find(next.begin(), next.end(), key); found != next.end()) {
                next.erase(found);
            } else {
                next.push_back(key);
            }
            std::sort(next.begin(), next.end(),
                      [this](auto a, auto b) { return numberOf(a) < numberOf(b); });
            selectOnly(std::move(next));
        } else {
            selectOnly({key});
        }
        selectionNotifications();
        if (options_.postFocusedElementOnClick) {
            focusedNode_ = track->rowNode;
            queueNotification(focusedNode_, ax::kFocusedUIElementChanged);
        }
    }
    if (!right)
        pointerEvent(InputEventType::leftMouseUp, at, modifiers, false);
    deliverPending();
}

void SimulatedLogic::clickArrangeBackground(SimulatedClick kind) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    const auto& frame = nodes_.at(contents_).frame;
    const AXPoint at{frame.origin.x + 500, frame.origin.y + 10};
    const bool right = kind == SimulatedClick::right;
    const std::uint32_t modifiers =
        kind == SimulatedClick::command ? static_cast<std::uint32_t>(InputModifier::command) : 0;
    pointerEvent(right ? InputEventType::rightMouseDown : InputEventType::leftMouseDown, at,
                 modifiers);
    if (!right)
        pointerEvent(InputEventType::leftMouseUp, at, modifiers, false);
    deliverPending();
}

void SimulatedLogic::pressArrowKey(bool down) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    InputEvent event;
    event.type = InputEventType::keyDown;
    event.keyCode = down ? keycode::kDownArrow : keycode::kUpArrow;
    event.timestamp = clock_.now();
    pendingEvents_.push_back(event);
    const auto visible = visibleTrackKeys();
    if (!modalOpen_ && !visible.empty()) {
        std::ptrdiff_t position = down ? -1 : static_cast<std::ptrdiff_t>(visible.size());
        if (!selection_.empty()) {
            const auto anchor = down ? selection_.back() : selection_.front();
            auto found = std::find(visible.begin(), visible.end(), anchor);
            if (found != visible.end())
                position = found - visible.begin();
        }
        position += down ? 1 : -1;
        position = std::clamp<std::ptrdiff_t>(position, 0,
                                              static_cast<std::ptrdiff_t>(visible.size()) - 1);
        selectOnly({visible[static_cast<std::size_t>(position)]});
        if (options_.postSelectionNotificationsOnArrowKeys)
            selectionNotifications();
    }
    deliverPending();
}

void SimulatedLogic::focusTrack(int number) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track || isHidden(*track))
        return;
    focusedNode_ = track->rowNode;
    queueNotification(focusedNode_, ax::kFocusedUIElementChanged);
    deliverPending();
}

void SimulatedLogic::pressKey(int keyCode) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    InputEvent event;
    event.type = InputEventType::keyDown;
    event.keyCode = keyCode;
    event.timestamp = clock_.now();
    pendingEvents_.push_back(event);
    const bool confirms = keyCode == keycode::kReturn || keyCode == keycode::kEnter ||
                          keyCode == keycode::kEscape || keyCode == keycode::kSpace;
    if (modalOpen_ && confirms) {
        // The monitor hears the key before the sheet's window change arrives.
        deliverPending();
        removeSubtree(sheet_);
        sheet_ = 0;
        modalOpen_ = false;
        queueNotification(app_, ax::kFocusedWindowChanged);
    }
    deliverPending();
}

void SimulatedLogic::insertTrack(int afterNumber, std::string name) {
    std::lock_guard lock(mutex_);
    if (!running_ || afterNumber < 0 || afterNumber > static_cast<int>(tracks_.size()))
        return;
    Track track;
    track.key = nextTrackKey_++;
    track.name = std::move(name);
    if (afterNumber > 0 && afterNumber < static_cast<int>(tracks_.size())) {
        const auto& next = tracks_[static_cast<std::size_t>(afterNumber)];
        if (next.stackKey != 0)
            track.stackKey = next.stackKey;
    }
    makeTrackNodes(track);
    tracks_.insert(tracks_.begin() + afterNumber, track);
    finishTrackListEdit({track.key});
}

void SimulatedLogic::deleteTrack(int number) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track)
        return;
    const auto key = track->key;
    std::vector<std::uint64_t> removed;
    for (const auto& other : tracks_) {
        if (other.key == key || other.stackKey == key)
            removed.push_back(other.key);
    }
    for (auto removedKey : removed) {
        auto found = std::find_if(tracks_.begin(), tracks_.end(),
                                  [&](const Track& t) { return t.key == removedKey; });
        removeSubtree(found->rowNode);
        if (found->stripNode)
            removeSubtree(found->stripNode);
        tracks_.erase(found);
        std::erase(selection_, removedKey);
    }
    // Logic selects the track that took the deleted one's place.
    std::vector<std::uint64_t> next;
    if (!tracks_.empty()) {
        const auto index =
            std::min<std::size_t>(static_cast<std::size_t>(number - 1), tracks_.size() - 1);
        next.push_back(tracks_[index].key);
    }
    finishTrackListEdit(std::move(next));
}

void SimulatedLogic::duplicateTrack(int number) {
    std::lock_guard lock(mutex_);
    Track* source = trackAt(number);
    if (!running_ || !source)
        return;
    Track copy;
    copy.key = nextTrackKey_++;
    copy.name = source->name;
    copy.stackKey = source->stackKey;
    makeTrackNodes(copy);
    tracks_.insert(tracks_.begin() + number, copy);
    finishTrackListEdit({copy.key});
}

void SimulatedLogic::moveTrack(int fromNumber, int toNumber) {
    std::lock_guard lock(mutex_);
    const int count = static_cast<int>(tracks_.size());
    if (!running_ || fromNumber < 1 || fromNumber > count || toNumber < 1 || toNumber > count ||
        fromNumber == toNumber)
        return;
    Track moved = tracks_[static_cast<std::size_t>(fromNumber - 1)];
    if (moved.isStackHeader)
        return;
    moved.stackKey = 0;
    tracks_.erase(tracks_.begin() + (fromNumber - 1));
    tracks_.insert(tracks_.begin() + (toNumber - 1), moved);
    selectOnly({moved.key});
    rebuildRows();
    queueNotification(outline_, ax::kLayoutChanged);
    selectionNotifications();
    deliverPending();
}

void SimulatedLogic::pressRegionArea() {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    const auto& frame = nodes_.at(contents_).frame;
    dragPoint_ = {frame.origin.x + 400, frame.origin.y + 30};
    pointerEvent(InputEventType::leftMouseDown, dragPoint_);
    deliverPending();
}

void SimulatedLogic::releasePointer() {
    std::lock_guard lock(mutex_);
    dragFrom_ = 0;
    pointerEvent(InputEventType::leftMouseUp, dragPoint_, 0, false);
    deliverPending();
}

void SimulatedLogic::beginTrackDrag(int fromNumber) {
    std::lock_guard lock(mutex_);
    Track* from = trackAt(fromNumber);
    if (!running_ || !from || isHidden(*from))
        return;
    dragFrom_ = fromNumber;
    dragPoint_ = rowCenter(from->key);
    pointerEvent(InputEventType::leftMouseDown, dragPoint_);
    // Pressing an already selected header changes nothing Logic reports.
    if (selection_ != std::vector<std::uint64_t>{from->key}) {
        selectOnly({from->key});
        selectionNotifications();
    }
    deliverPending();
}

void SimulatedLogic::dragPointerTo(int overNumber) {
    std::lock_guard lock(mutex_);
    Track* over = trackAt(overNumber);
    if (!running_ || dragFrom_ == 0 || !over || isHidden(*over))
        return;
    const auto start = dragPoint_;
    const auto end = rowCenter(over->key);
    for (int step = 1; step <= 4; ++step) {
        dragPoint_ = {start.x + (end.x - start.x) * step / 4.0,
                      start.y + (end.y - start.y) * step / 4.0};
        pointerEvent(InputEventType::leftMouseDragged, dragPoint_, 0, false);
    }
    deliverPending();
}

void SimulatedLogic::endTrackDrag(int toNumber) {
    int from = 0;
    {
        std::lock_guard lock(mutex_);
        from = dragFrom_;
        dragFrom_ = 0;
    }
    if (from == 0)
        return;
    moveTrack(from, toNumber);
    std::lock_guard lock(mutex_);
    pointerEvent(InputEventType::leftMouseUp, dragPoint_, 0, false);
    deliverPending();
}

void SimulatedLogic::renameTrack(int number, std::string name) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || !track)
        return;
    track->name = std::move(name);
    rebuildRows();
    queueNotification(track->nameNode, ax::kValueChanged);
    deliverPending();
}

void SimulatedLogic::setStackCollapsed(int stackNumber, bool collapsed) {
    std::lock_guard lock(mutex_);
    Track* header = trackAt(stackNumber);
    if (!running_ || !header || !header->isStackHeader || header->collapsed == collapsed)
        return;
    header->collapsed = collapsed;
    rebuildRows();
    queueNotification(outline_, ax::kRowCountChanged);
    queueNotification(outline_, ax::kLayoutChanged);
    deliverPending();
}

void SimulatedLogic::openModal(std::string title) {
    std::lock_guard lock(mutex_);
    if (!running_ || modalOpen_)
        return;
    sheet_ = makeNode(NodeKind::sheet, ax::kRoleSheet, mainWindow_, std::move(title));
    nodes_.at(sheet_).frame = {{600, 300}, {400, 200}};
    makeNode(NodeKind::button, ax::kRoleButton, sheet_, "OK");
    makeNode(NodeKind::button, ax::kRoleButton, sheet_, "Cancel");
    modalOpen_ = true;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::clickModalButton() {
    std::lock_guard lock(mutex_);
    if (!running_ || !modalOpen_)
        return;
    pointerEvent(InputEventType::leftMouseDown, {800, 450});
    pointerEvent(InputEventType::leftMouseUp, {800, 450}, 0, false);
    // The tap and the monitor hear the click before the sheet goes away.
    deliverPending();
    removeSubtree(sheet_);
    sheet_ = 0;
    modalOpen_ = false;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::dismissModal() {
    std::lock_guard lock(mutex_);
    if (!running_ || !modalOpen_)
        return;
    removeSubtree(sheet_);
    sheet_ = 0;
    modalOpen_ = false;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

bool SimulatedLogic::isModalOpen() const {
    std::lock_guard lock(mutex_);
    return modalOpen_;
}

void SimulatedLogic::openMixer() {
    std::lock_guard lock(mutex_);
    if (!running_ || mixerWindow_ != 0)
        return;
    mixerOpen_ = true;
    mixerFocused_ = true;
    mixerWindow_ =
        makeNode(NodeKind::window, ax::kRoleWindow, app_, options_.projectName + " - Mixer");
    mixerTracks_ =
        makeNode(NodeKind::mixerTracks, ax::kRoleGroup, mixerWindow_, std::nullopt, "Tracks");
    rebuildRows();
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::closeMixer() {
    std::lock_guard lock(mutex_);
    if (!running_ || mixerWindow_ == 0)
        return;
    removeSubtree(mixerWindow_);
    mixerWindow_ = mixerTracks_ = 0;
    for (auto& track : tracks_)
        track.stripNode = 0;
    mixerOpen_ = mixerFocused_ = false;
    if (focusedNode_ != 0 && nodes_.count(focusedNode_) == 0)
        focusedNode_ = 0;
    queueNotification(app_, ax::kFocusedWindowChanged);
    deliverPending();
}

void SimulatedLogic::clickMixerStrip(int number) {
    std::lock_guard lock(mutex_);
    Track* track = trackAt(number);
    if (!running_ || mixerTracks_ == 0 || !track || track->stripNode == 0)
        return;
    pointerEvent(InputEventType::leftMouseDown, {900, 500});
    selectOnly({track->key});
    focusedNode_ = mixerTracks_;
    queueNotification(mixerTracks_, ax::kFocusedUIElementChanged);
    queueNotification(mixerTracks_, ax::kSelectedChildrenChanged);
    pointerEvent(InputEventType::leftMouseUp, {900, 500}, 0, false);
    deliverPending();
}

void SimulatedLogic::setTempo(double bpm) {
    std::lock_guard lock(mutex_);
    if (!running_)
        return;
    tempo_ = bpm;
    nodes_.at(slider_).value = bpm;
    queueNotification(slider_, ax::kValueChanged);
    deliverPending();
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
    std::size_t count = 0;
    std::vector<std::uint64_t> stack{mainWindow_};
    while (!stack.empty()) {
        const auto id = stack.back();
        stack.pop_back();
        auto found = nodes_.find(id);
        if (found == nodes_.end())
            continue;
        ++count;
        for (auto child : found->second.children)
            stack.push_back(child);
    }
    return count;
}

// ---- AccessibilityPort ------------------------------------------------------------------------

bool SimulatedLogic::isProcessTrusted() const {
    std::lock_guard lock(mutex_);
    return trusted_;
}

std::vector<ProcessId> SimulatedLogic::runningApplications(
    std::string_view bundleIdentifier) const {
    std::lock_guard lock(mutex_);
    if (!running_ || bundleIdentifier != kBundleIdentifier)
        return {};
    return {pid_};
}

std::optional<std::string> SimulatedLogic::frontmostApplicationBundleIdentifier() const {
    std::lock_guard lock(mutex_);
    if (running_ && frontmost_)
        return std::string(kBundleIdentifier);
    return std::string("com.apple.finder");
}

AXElement SimulatedLogic::applicationElement(ProcessId pid) {
    std::lock_guard lock(mutex_);
    if (!running_ || pid != pid_)
        return {};
    return elementFor(app_);
}

AXResult<AXValue> SimulatedLogic::copyAttributeValue(const AXElement& element,
                                                     std::string_view attribute) {
    ++attributeReads_;
    std::function<void(std::string_view)> hook;
    AXResult<AXValue> result;
    {
        std::lock_guard lock(mutex_);
        hook = readHook_;
        result = [&]() -> AXResult<AXValue> {
            if (!trusted_)
                return {AXError::apiDisabled, {}};
            const Node* node = nodeFor(element);
            if (!node)
                return {AXError::invalidUIElement, {}};
            auto optionalText = [](const std::optional<std::string>& text) -> AXResult<AXValue> {
                if (!text)
                    return {AXError::noValue, {}};
                return {AXError::success, *text};
            };
            auto elements = [this](const std::vector<std::uint64_t>& ids) {
                std::vector<AXElement> list;
                list.reserve(ids.size());
                for (auto id : ids)
                    list.push_back(elementFor(id));
                return list;
            };
            const std::string_view name = attribute;
            if (name == ax::kRole)
                return {AXError::success, node->role};
            if (name == ax::kTitle)
                return optionalText(node->title);
            if (name == ax::kDescription)
                return optionalText(node->description);
            if (name == ax::kValue) {
                if (axIsAbsent(node->value))
                    return {AXError::noValue, {}};
                return {AXError::success, node->value};
            }
            if (name == ax::kChildren)
                return {AXError::success, elements(node->children)};
            if (name == ax::kParent) {
                if (node->parent == 0)
                    return {AXError::noValue, {}};
                return {AXError::success, elementFor(node->parent)};
            }
            if (name == ax::kPosition)
                return {AXError::success, node->frame.origin};
            if (name == ax::kSize)
                return {AXError::success, node->frame.size};
            const auto settled = settledSelection();
            auto isSelected = [&](std::uint64_t key) {
                return std::find(settled.begin(), settled.end(), key) != settled.end();
            };
            if (node->kind == NodeKind::row && name == ax::kSelected) {
                return {AXError::success, isSelected(node->trackKey)};
            }
            if ((node->kind == NodeKind::outline || node->kind == NodeKind::mixerTracks) &&
                (name == ax::kSelectedChildren || name == ax::kSelectedRows)) {
                std::vector<std::uint64_t> rows;
                for (const auto& track : tracks_) {
                    if (isHidden(track) || !isSelected(track.key))
                        continue;
                    rows.push_back(node->kind == NodeKind::outline ? track.rowNode
                                                                   : track.stripNode);
                }
                return {AXError::success, elements(rows)};
            }
            if (node->kind == NodeKind::application) {
                if (name == ax::kMainWindow)
                    return {AXError::success, elementFor(mainWindow_)};
                if (name == ax::kFocusedWindow) {
                    const auto focused =
                        modalOpen_ ? sheet_ : (mixerFocused_ ? mixerWindow_ : mainWindow_);
                    return {AXError::success, elementFor(focused)};
                }
                if (name == ax::kFocusedUIElement) {
                    if (focusedNode_ == 0 || nodes_.count(focusedNode_) == 0)
                        return {AXError::noValue, {}};
                    return {AXError::success, elementFor(focusedNode_)};
                }
            }
            return {AXError::attributeUnsupported, {}};
        }();
    }
    if (hook)
        hook(attribute);
    return result;
}

AXResult<bool> SimulatedLogic::isAttributeSettable(const AXElement& element,
                                                   std::string_view attribute) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return {AXError::invalidUIElement, false};
    if (node->kind == NodeKind::row && attribute == ax::kSelected)
        return {AXError::success, options_.rowSelectedSettable};
    if (node->kind == NodeKind::outline && attribute == ax::kSelectedChildren)
        return {AXError::success, options_.containerSelectedChildrenSettable};
    if (node->kind == NodeKind::nameField && attribute == ax::kValue)
        return {AXError::success, true};
    return {AXError::success, false};
}

AXError SimulatedLogic::setAttributeValue(const AXElement& element, std::string_view attribute,
                                          const AXValue& value) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return AXError::invalidUIElement;
    if (node->kind == NodeKind::row && attribute == ax::kSelected && options_.rowSelectedSettable) {
        if (axBool(value) != true)
            return AXError::illegalArgument;
        selectOnly({node->trackKey});
        selectionNotifications();
        deliverPending();
        return AXError::success;
    }
    if (node->kind == NodeKind::outline && attribute == ax::kSelectedChildren &&
        options_.containerSelectedChildrenSettable) {
        std::vector<std::uint64_t> keys;
        for (const auto& row : axElements(value)) {
            const Node* rowNode = nodeFor(row);
            if (!rowNode || rowNode->kind != NodeKind::row)
                return AXError::illegalArgument;
            keys.push_back(rowNode->trackKey);
        }
        selectOnly(std::move(keys));
        selectionNotifications();
        deliverPending();
        return AXError::success;
    }
    return AXError::attributeUnsupported;
}

AXResult<std::vector<std::string>> SimulatedLogic::copyActionNames(const AXElement& element) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return {AXError::invalidUIElement, {}};
    if (node->kind == NodeKind::row && options_.rowPressable)
        return {AXError::success, {ax::kActionPress, "AXShowMenu"}};
    if (node->kind == NodeKind::button)
        return {AXError::success, {ax::kActionPress}};
    return {AXError::success, {}};
}

AXError SimulatedLogic::performAction(const AXElement& element, std::string_view action) {
    std::lock_guard lock(mutex_);
    const Node* node = nodeFor(element);
    if (!node)
        return AXError::invalidUIElement;
    if (node->kind == NodeKind::row && options_.rowPressable && action == ax::kActionPress) {
        selectOnly({node->trackKey});
        selectionNotifications();
        deliverPending();
        return AXError::success;
    }
    return AXError::actionUnsupported;
}

AXResult<std::unique_ptr<AXObserver>> SimulatedLogic::createObserver(
    ProcessId pid, Queue& deliveryQueue, AXNotificationHandler handler) {
    std::lock_guard lock(mutex_);
    if (!trusted_)
        return {AXError::apiDisabled, nullptr};
    if (failObserverCreations_ > 0 && observerCreationsBeforeFailure_-- <= 0) {
        --failObserverCreations_;
        return {AXError::cannotComplete, nullptr};
    }
    if (!running_ || pid != pid_)
        return {AXError::illegalArgument, nullptr};
    auto state = std::make_shared<ObserverState>();
    state->pid = pid;
    state->queue = &deliveryQueue;
    state->handler = std::move(handler);
    observers_.push_back(state);
    return {AXError::success, std::make_unique<Observer>(*this, std::move(state))};
}

}  // namespace tessiva
