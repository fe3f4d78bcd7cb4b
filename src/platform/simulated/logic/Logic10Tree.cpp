// The Arrange window of Logic as the design describes it (version 10): the track list is an
// AXOutline described "Tracks header" whose rows are AXRow headers, each element tied to its
// track, and the Mixer is a window of its own. Part of SimulatedLogic.
#include <algorithm>

#include "platform/ax/AXNames.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/logic/SimulatedLogicTexts.h"
#include "runtime/Clock.h"

namespace tessiva {

namespace {

constexpr double kRowHeight = 40.0;
constexpr double kListTop = 200.0;
constexpr double kListWidth = 300.0;

}  // namespace

void SimulatedLogic::buildLogic10Window() {
    mainWindow_ = tree_.make(NodeKind::window, ax::kRoleWindow, app_, titleText());
    tree_.at(mainWindow_).frame = {{0, 0}, {1600, 1000}};

    const auto controlBar =
        tree_.make(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Control Bar");
    slider_ = tree_.make(NodeKind::slider, ax::kRoleSlider, controlBar, std::nullopt,
                         simulated_logic_texts::tempo(options_.locale));
    tree_.at(slider_).value = tempo_;
    tree_.at(slider_).valueDescription = simulated_logic_texts::tempoDescription(tempo_);
    tree_.make(NodeKind::button, ax::kRoleButton, controlBar, std::nullopt, "Play");
    tree_.make(NodeKind::button, ax::kRoleButton, controlBar, std::nullopt, "Record");
    if (options_.decoyTracksHeaderTable) {
        decoy_ =
            tree_.make(NodeKind::group, ax::kRoleTable, controlBar, std::nullopt, "Tracks header");
        for (int bar = 1; bar <= 3; ++bar) {
            tree_.make(NodeKind::text, ax::kRoleStaticText, decoy_, "Bar " + std::to_string(bar));
        }
    }

    const auto inspector =
        tree_.make(NodeKind::group, ax::kRoleGroup, mainWindow_, std::nullopt, "Inspector");
    int made = 0;
    while (made < options_.fillerElementCount) {
        const auto group = tree_.make(NodeKind::group, ax::kRoleGroup, inspector);
        ++made;
        for (int i = 0; i < 9 && made < options_.fillerElementCount; ++i, ++made) {
            tree_.make(NodeKind::text, ax::kRoleStaticText, group,
                       "Parameter " + std::to_string(made));
        }
    }

    auto parent = mainWindow_;
    for (int level = 0; level < std::max(1, options_.arrangeNestingDepth); ++level) {
        parent = tree_.make(NodeKind::group, ax::kRoleGroup, parent, std::nullopt,
                            level == 0 ? "Arrange" : "Arrange area");
    }
    outline_ = tree_.make(NodeKind::trackList, ax::kRoleOutline, parent, std::nullopt,
                          simulated_logic_texts::railDescription(options_.locale));
    contents_ =
        tree_.make(NodeKind::group, ax::kRoleGroup, parent, std::nullopt, "Tracks contents");
    for (auto& track : tracks_)
        makeLogic10TrackNodes(track);
}

void SimulatedLogic::makeLogic10TrackNodes(Track& track) {
    track.rowNode = tree_.make(NodeKind::header, ax::kRoleRow, 0);
    tree_.at(track.rowNode).trackKey = track.key;
    track.nameNode = tree_.make(NodeKind::nameField, ax::kRoleTextField, track.rowNode,
                                std::nullopt, "Track Name");
    tree_.at(track.nameNode).trackKey = track.key;
    tree_.make(NodeKind::button, ax::kRoleButton, track.rowNode, std::nullopt, "Mute");
    tree_.make(NodeKind::button, ax::kRoleButton, track.rowNode, std::nullopt, "Solo");
    tree_.at(track.rowNode).parent = outline_;
}

void SimulatedLogic::publishLogic10Rows() {
    // Tracks back from an undo get their elements again.
    for (auto& track : tracks_) {
        if (!tree_.contains(track.rowNode))
            makeLogic10TrackNodes(track);
    }
    auto& outline = tree_.at(outline_);
    outline.children.clear();
    int visible = 0;
    for (std::size_t i = 0; i < tracks_.size(); ++i) {
        const auto& track = tracks_[i];
        const int number = static_cast<int>(i) + 1;
        auto& row = tree_.at(track.rowNode);
        row.description = localizedHeader(number, track.name);
        tree_.at(track.nameNode).value = track.name;
        if (isHidden(track))
            continue;
        row.frame = {{0, kListTop + kRowHeight * visible}, {kListWidth, kRowHeight}};
        outline.children.push_back(track.rowNode);
        ++visible;
    }
    outline.frame = {{0, kListTop}, {kListWidth, kRowHeight * visible}};
    tree_.at(contents_).frame = {{kListWidth, kListTop}, {1300, kRowHeight * visible}};
    publishMixerStrips();
}

}  // namespace tessiva
