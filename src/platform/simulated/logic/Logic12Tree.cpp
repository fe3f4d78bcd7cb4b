// The Arrange window of Logic Pro 12 as recorded live: the track headers are AXLayoutItem
// children of an AXGroup "Tracks header" (the rail) inside AXScrollArea < AXSplitGroup < AXGroup
// "Tracks"; beside it the Control Bar (nested twice) with the Tempo slider, the Inspector with
// its own outline, the Library, the track rows under "Tracks contents" and the Mixer pane.
// Header elements belong to rail positions: after a move or sort the same elements show other
// tracks. Part of SimulatedLogic.
#include <algorithm>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/logic/SimulatedLogicTexts.h"

namespace tessiva {

namespace {

constexpr double kRowHeight = 40.0;
constexpr double kListTop = 200.0;
constexpr double kListWidth = 300.0;

constexpr const char* kInspectorRows[] = {
    "Icon:", "Channel:", "MIDI Input:", "Quantize:", "Transpose:"};
constexpr const char* kLibraryPatches[] = {"Electric Piano", "Studio Strings", "Drum Kit"};
constexpr const char* kHeaderControls[] = {"Mute", "Solo", "Record Enable", "Input Monitoring"};

}  // namespace

void SimulatedLogic::buildLogic12Window() {
    using namespace simulated_logic_texts;
    mainWindow_ = tree_.make(NodeKind::window, ax::kRoleWindow, app_, titleText());
    auto& window = tree_.at(mainWindow_);
    window.frame = {{0, 0}, {1600, 1000}};
    window.subrole = ax::kSubroleStandardWindow;
    window.document = documentURL();

    const auto outerBar =
        tree_.make(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Control Bar");
    const auto controlBar =
        tree_.make(NodeKind::group, ax::kRoleGroup, outerBar, std::nullopt, "Control Bar");
    for (const char* control : {"Play", "Record", "Cycle"})
        tree_.make(NodeKind::button, ax::kRoleCheckBox, controlBar, std::nullopt, control);
    // A described slider ahead of Tempo: the tempo search must look at descriptions.
    meter_ =
        tree_.make(NodeKind::slider, ax::kRoleSlider, controlBar, std::nullopt, "Output level");
    tree_.at(meter_).value = 0.0;
    slider_ = tree_.make(NodeKind::slider, ax::kRoleSlider, controlBar, std::nullopt,
                         tempo(options_.locale));
    tree_.at(slider_).value = tempo_;
    tree_.at(slider_).valueDescription = tempoDescription(tempo_);
    playhead_ = tree_.make(NodeKind::text, ax::kRoleStaticText, controlBar, std::nullopt,
                           "Playhead position");
    tree_.at(playhead_).value = std::string("1 1 1 1");

    const auto inspector =
        tree_.make(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Inspector");
    inspectorOutline_ = tree_.make(NodeKind::group, ax::kRoleOutline, inspector);
    for (const char* label : kInspectorRows) {
        const auto row = tree_.make(NodeKind::group, ax::kRoleRow, inspectorOutline_);
        tree_.at(tree_.make(NodeKind::text, ax::kRoleStaticText, row)).value = std::string(label);
    }
    int made = 0;
    while (made < options_.fillerElementCount) {
        const auto group = tree_.make(NodeKind::group, ax::kRoleGroup, inspector);
        ++made;
        for (int i = 0; i < 9 && made < options_.fillerElementCount; ++i, ++made) {
            tree_.make(NodeKind::text, ax::kRoleStaticText, group,
                       "Parameter " + std::to_string(made));
        }
    }

    const auto library =
        tree_.make(NodeKind::itemContainer, ax::kRoleGroup, mainWindow_, std::nullopt, "Library");
    for (const char* patch : kLibraryPatches)
        tree_.make(NodeKind::item, ax::kRoleLayoutItem, library, std::nullopt, patch);

    const auto area =
        tree_.make(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Tracks");
    const auto split = tree_.make(NodeKind::group, ax::kRoleSplitGroup, area);
    const auto headerScroll = tree_.make(NodeKind::group, ax::kRoleScrollArea, split);
    outline_ = tree_.make(NodeKind::trackList, ax::kRoleGroup, headerScroll, std::nullopt,
                          railDescription(options_.locale));
    const auto contentsScroll = tree_.make(NodeKind::group, ax::kRoleScrollArea, split);
    contents_ = tree_.make(NodeKind::group, ax::kRoleGroup, contentsScroll, std::nullopt,
                           "Tracks contents");
    tree_.make(NodeKind::group, ax::kRoleLayoutArea, split, std::nullopt, "Tracks time ruler");
    slots_.clear();
    if (mixerOpen_)
        buildLogic12MixerPane();
}

void SimulatedLogic::buildLogic12MixerPane() {
    mixerPane_ = tree_.make(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Mixer");
    // Since 12.3 a toolbar group of the same name sits beside the strips.
    tree_.make(NodeKind::group, ax::kRoleGroup, mixerPane_, std::nullopt, "Mixer");
    mixerTracks_ =
        tree_.make(NodeKind::mixerTracks, ax::kRoleLayoutArea, mixerPane_, std::nullopt, "Mixer");
}

void SimulatedLogic::publishLogic12Rows() {
    const auto visible = visibleTrackKeys();
    // The rail keeps one set of elements per position; only the count changes.
    while (slots_.size() > visible.size()) {
        tree_.removeSubtree(slots_.back().header);
        tree_.removeSubtree(slots_.back().contentsRow);
        slots_.pop_back();
    }
    while (slots_.size() < visible.size()) {
        HeaderSlot slot;
        slot.header = tree_.make(NodeKind::header, ax::kRoleLayoutItem, outline_);
        tree_.at(slot.header).title = std::string();
        slot.focusRadio = tree_.make(NodeKind::button, ax::kRoleRadioButton, slot.header,
                                     std::nullopt, "Has Focus");
        tree_.make(NodeKind::group, ax::kRoleSplitter, slot.header);
        for (const char* control : kHeaderControls)
            tree_.make(NodeKind::button, ax::kRoleCheckBox, slot.header, std::nullopt, control);
        tree_.make(NodeKind::slider, ax::kRoleSlider, slot.header, std::nullopt, "Pan");
        tree_.make(NodeKind::slider, ax::kRoleSlider, slot.header, std::nullopt, "Volume");
        slot.nameField = tree_.make(NodeKind::nameField, ax::kRoleTextField, slot.header);
        slot.contentsRow = tree_.make(NodeKind::contentsRow, ax::kRoleLayoutArea, contents_);
        slots_.push_back(slot);
    }
    std::size_t position = 0;
    for (std::size_t index = 0; index < tracks_.size(); ++index) {
        const Track& track = tracks_[index];
        if (isHidden(track))
            continue;
        const auto key = track.key;
        const int number = static_cast<int>(index) + 1;
        auto& slot = slots_[position];
        const auto text = localizedHeader(number, track.name);
        const AXFrame frame{{0, kListTop + kRowHeight * static_cast<double>(position)},
                            {kListWidth, kRowHeight}};
        auto& header = tree_.at(slot.header);
        header.description = text;
        header.trackKey = key;
        header.frame = frame;
        auto& field = tree_.at(slot.nameField);
        field.description = track.name;
        field.value = track.name;
        field.trackKey = key;
        tree_.at(slot.focusRadio).value = std::int64_t{focusedNode_ == slot.header ? 1 : 0};
        auto& row = tree_.at(slot.contentsRow);
        row.description = text;
        row.trackKey = key;
        row.frame = {{kListWidth, frame.origin.y}, {1300, kRowHeight}};
        // Only a stack's main track shows the disclosure triangle, after the splitter.
        if (track.isStackHeader && slot.triangle == 0) {
            slot.triangle = tree_.make(NodeKind::button, ax::kRoleDisclosureTriangle, 0);
            tree_.attach(slot.triangle, slot.header, 2);
        } else if (!track.isStackHeader && slot.triangle != 0) {
            tree_.removeSubtree(slot.triangle);
            slot.triangle = 0;
        }
        if (slot.triangle != 0) {
            tree_.at(slot.triangle).value = std::int64_t{track.collapsed ? 0 : 1};
            tree_.at(slot.triangle).trackKey = key;
        }
        ++position;
    }
    const double height = kRowHeight * static_cast<double>(visible.size());
    tree_.at(outline_).frame = {{0, kListTop}, {kListWidth, height}};
    tree_.at(contents_).frame = {{kListWidth, kListTop}, {1300, height}};
    publishMixerStrips();
}

void SimulatedLogic::publishMixerStrips() {
    if (mixerTracks_ == 0)
        return;
    const auto old = tree_.at(mixerTracks_).children;
    for (auto child : old)
        tree_.removeSubtree(child);
    for (auto& track : tracks_) {
        if (isHidden(track)) {
            track.stripNode = 0;
            continue;
        }
        // Logic 12 names a strip after its channel; the table/outline Logic after the header.
        track.stripNode =
            isLogic12()
                ? tree_.make(NodeKind::mixerStrip, ax::kRoleLayoutItem, mixerTracks_, std::nullopt,
                             track.channelName)
                : tree_.make(NodeKind::mixerStrip, ax::kRoleGroup, mixerTracks_, std::nullopt,
                             localizedHeader(numberOf(track.key), track.name));
        tree_.at(track.stripNode).trackKey = track.key;
    }
}

int SimulatedLogic::visiblePositionOf(std::uint64_t key) const {
    const auto visible = visibleTrackKeys();
    const auto found = std::find(visible.begin(), visible.end(), key);
    return found == visible.end() ? -1 : static_cast<int>(found - visible.begin());
}

std::uint64_t SimulatedLogic::headerNodeOf(std::uint64_t key) const {
    if (!isLogic12()) {
        for (const auto& track : tracks_) {
            if (track.key == key)
                return track.rowNode;
        }
        return 0;
    }
    const int position = visiblePositionOf(key);
    if (position < 0 || position >= static_cast<int>(slots_.size()))
        return 0;
    return slots_[static_cast<std::size_t>(position)].header;
}

std::uint64_t SimulatedLogic::nameFieldNodeOf(std::uint64_t key) const {
    if (!isLogic12()) {
        for (const auto& track : tracks_) {
            if (track.key == key)
                return track.nameNode;
        }
        return 0;
    }
    const int position = visiblePositionOf(key);
    if (position < 0 || position >= static_cast<int>(slots_.size()))
        return 0;
    return slots_[static_cast<std::size_t>(position)].nameField;
}

bool SimulatedLogic::isScrolledOut(int position) const {
    if (!isLogic12() || options_.exposedRailRows <= 0)
        return false;
    return position < railScrollTop_ || position >= railScrollTop_ + options_.exposedRailRows;
}

void SimulatedLogic::revealSelection() {
    if (selection_.empty() || options_.exposedRailRows <= 0)
        return;
    const int position = visiblePositionOf(selection_.back());
    if (position < railScrollTop_)
        railScrollTop_ = position;
    if (position >= railScrollTop_ + options_.exposedRailRows)
        railScrollTop_ = position - options_.exposedRailRows + 1;
}

}  // namespace tessiva
