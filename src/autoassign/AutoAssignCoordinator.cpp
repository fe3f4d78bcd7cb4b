#include "autoassign/AutoAssignCoordinator.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "autoassign/AddAllLogicTracks.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "osc/RemoteWorkspaceStore.h"
#include "runtime/Console.h"

namespace tessiva {

namespace {

constexpr const char* kMenuCommandTitle = "Add All Logic Tracks and Attempt Auto Assign";
constexpr const char* kMatchSkippedTitle = "Estimated Auto Assign match skipped";

std::string countsLine(const AutoAssignSummary& s) {
    return fmt::format(
        "linked={} alreadyMapped={} missingTrackName={} noExactMatch={} "
        "ambiguous={} estimated={}",
        s.linked, s.alreadyMapped, s.missingTrackName, s.noExactMatch, s.ambiguous, s.estimated);
}

}  // namespace

AutoAssignCoordinator::AutoAssignCoordinator(Dependencies dependencies)
    : deps_(std::move(dependencies)) {}

AutoAssignCoordinator::~AutoAssignCoordinator() {
    workspaceRefreshFallbackWorkItem_.cancel();
}

void AutoAssignCoordinator::note(const std::string& title, const std::string& detail) {
    deps_.console.line("[AutoAssign] " + title + ": " + detail);
    deps_.log.log(title, detail);
}

void AutoAssignCoordinator::skip(const std::string& message) {
    note(AutoAssignText::kSkippedTitle, message);
}

std::vector<AutoAssignRow> AutoAssignCoordinator::mappingRows() const {
    const MappingProfileSnapshot profile = deps_.mappingStore.snapshot();
    std::set<int> rows = profile.rowsWithMIDIMappings();
    for (const auto& [row, mapping] : profile.oscBankFocusMappingsByTrackIndex)
        rows.insert(row);
    std::vector<AutoAssignRow> result;
    result.reserve(rows.size());
    for (int row : rows) {
        AutoAssignRow entry;
        entry.trackIndex = row;
        const auto bank = profile.oscBankFocusMappingsByTrackIndex.find(row);
        const bool linked = bank != profile.oscBankFocusMappingsByTrackIndex.end();
        entry.alreadyLinked = linked && !bank->second.bankUUID.empty();
        if (const auto name = profile.trackIndexToName.find(row);
            name != profile.trackIndexToName.end()) {
            entry.trackName = name->second;
        } else if (linked) {
            entry.trackName = bank->second.trackName;
        }
        result.push_back(std::move(entry));
    }
    return result;
}

void AutoAssignCoordinator::link(int row, const std::string& trackName,
                                 const AutoAssignTarget& target) {
    OSCBankFocusMapping mapping;
    mapping.trackName = trackName;
    mapping.bankUUID = target.bankUUID;
    mapping.bankName = target.name;
    // A bank link focuses the bank itself; only a group link carries the group, which makes the
    // iPad show the whole group.
    if (target.kind == AutoAssignTarget::Kind::group) {
        mapping.groupUUID = target.groupUUID;
        mapping.groupName = target.groupName;
    }
    mapping.sectionName = target.sectionName;
    mapping.workspaceUUID = target.workspaceUUID;
    mapping.workspaceName = target.workspaceName;
    // A refusal is logged by the store and leaves the row as it was.
    (void)deps_.mappingStore.setBankMapping(row, std::move(mapping));
}

std::optional<AutoAssignSummary> AutoAssignCoordinator::runAutoAssign() {
    const std::vector<AutoAssignRow> rows = mappingRows();
    if (rows.empty()) {
        skip(AutoAssignText::kNoMappingRows);
        return std::nullopt;
    }
    const auto& workspace = deps_.workspaceStore.snapshot();
    if (!workspace) {
        skip(AutoAssignText::kNoWorkspace);
        return std::nullopt;
    }
    // Stack headers are read from what Logic shows now; without a live capture, from the rows the
    // profile remembers.
    const RowMap& live = deps_.mappingStore.liveLogicTrackNames();
    const RowMap& visibleRows = live.empty() ? *deps_.mappingStore.trackIndexToName() : live;
    AutoAssignRunResult result =
        decideAutoAssign(rows, buildAutoAssignTargets(*workspace), visibleRows);

    for (const auto& link : result.links)
        this->link(link.trackIndex, link.trackName, link.target);
    if (!result.links.empty())
        (void)deps_.mappingStore.save();

    latestSummaryMessage_ = result.summaryMessage();
    pendingEstimatedAutoAssignMatches_.set(std::move(result.estimatedMatches));
    latestSummary_.set(result.summary);
    deps_.notifications.post(kManualMappingSyncAcceptedNotification);
    deps_.console.line(std::string("[AutoAssign] ") + AutoAssignText::kCompletedTitle + ": " +
                       countsLine(result.summary));
    deps_.log.log(AutoAssignText::kCompletedTitle, latestSummaryMessage_);
    return result.summary;
}

void AutoAssignCoordinator::runAfterWorkspaceRefresh(const std::string& reason,
                                                     Completion completion) {
    if (completion)
        waitingCompletions_.push_back(std::move(completion));
    if (isWaitingForWorkspace())
        return;
    // Listen before asking, so an answer that comes back at once is not missed.
    workspaceRefreshCancellable_ = deps_.workspaceStore.addObserver(
        [this](const RemoteWorkspaceSnapshot&) { finishWaiting(); });
    workspaceRefreshFallbackWorkItem_ =
        deps_.mainQueue.postAfter(kWorkspaceRefreshFallbackDelay, [this] {
            deps_.console.line(fmt::format(
                "[AutoAssign] No workspace refresh within {}ms; running with the workspace at hand",
                static_cast<int>(kWorkspaceRefreshFallbackDelay * 1000)));
            finishWaiting();
        });
    const bool requested = deps_.requestWorkspaceRefresh && deps_.requestWorkspaceRefresh(reason);
    if (!isWaitingForWorkspace())
        return;  // the workspace arrived while it was being asked for
    if (!requested) {
        finishWaiting();
        return;
    }
    deps_.console.line("[AutoAssign] Waiting for the iPad workspace before auto assign reason=" +
                       reason);
}

void AutoAssignCoordinator::finishWaiting() {
    workspaceRefreshFallbackWorkItem_.cancel();
    workspaceRefreshFallbackWorkItem_ = WorkItem();
    workspaceRefreshCancellable_.reset();
    std::vector<Completion> completions = std::move(waitingCompletions_);
    waitingCompletions_.clear();
    const std::optional<AutoAssignSummary> summary = runAutoAssign();
    for (const auto& completion : completions)
        completion(summary);
}

void AutoAssignCoordinator::addAllLogicTracksAndAttemptAutoAssign(const RowMap& snapshot,
                                                                  Completion completion) {
    if (snapshot.empty()) {
        note(kMenuCommandTitle, AutoAssignText::kCouldNotRun);
        if (completion)
            completion(std::nullopt);
        return;
    }
    std::set<int> mapped;
    for (const auto& row : mappingRows())
        mapped.insert(row.trackIndex);
    const AddAllLogicTracksPlan plan = planAddAllLogicTracks(snapshot, mapped);
    int added = 0;
    int refused = 0;
    for (const auto& [row, name] : plan.rowsToAdd) {
        if (deps_.mappingStore.setMIDIMapping(row, newLogicTrackRow(row, name)).ok()) {
            ++added;
        } else {
            ++refused;  // logged by the store
        }
    }
    if (added > 0)
        (void)deps_.mappingStore.save();
    std::string detail = fmt::format("added={}", added) +
                         ", snapshotTracks=" + std::to_string(plan.snapshotTracks) +
                         ", skippedExisting=" + std::to_string(plan.skippedExisting) +
                         ", skippedUnnamed=" + std::to_string(plan.skippedUnnamed);
    if (refused > 0)
        detail += ", refused=" + std::to_string(refused);
    note("Logic tracks added", detail);

    runAfterWorkspaceRefresh("add-all-logic-tracks",
                             [this, completion = std::move(completion)](
                                 const std::optional<AutoAssignSummary>& summary) {
                                 if (!summary)
                                     note(kMenuCommandTitle, AutoAssignText::kCouldNotRun);
                                 if (completion)
                                     completion(summary);
                             });
}

bool AutoAssignCoordinator::selectCandidate(const std::string& matchID, int candidateIndex) {
    return pendingEstimatedAutoAssignMatches_.modify([&](auto& matches) {
        for (auto& match : matches) {
            if (match.id != matchID || match.candidates.empty())
                continue;
            const int last = static_cast<int>(match.candidates.size()) - 1;
            const int chosen = std::clamp(candidateIndex, 0, last);
            if (chosen == match.selectedCandidateIndex)
                return false;
            match.selectedCandidateIndex = chosen;
            return true;
        }
        return false;
    });
}

bool AutoAssignCoordinator::dismissEstimatedMatch(const std::string& matchID) {
    return pendingEstimatedAutoAssignMatches_.modify([&](auto& matches) {
        return std::erase_if(matches, [&](const auto& m) { return m.id == matchID; }) > 0;
    });
}

bool AutoAssignCoordinator::canApply(const EstimatedAutoAssignMatch& match) {
    const std::string track = "Track " + std::to_string(match.trackIndex) + " " + match.trackName;
    if (const auto existing = deps_.mappingStore.bankMapping(match.trackIndex)) {
        note(kMatchSkippedTitle,
             fmt::format("{} was linked to {} meanwhile; the estimated match was not applied, so "
                         "that link stays.",
                         track,
                         existing->targetsGroup() ? existing->groupName.value_or("a group")
                                                  : existing->bankName));
        return false;
    }
    const auto midi = deps_.mappingStore.midiMapping(match.trackIndex);
    if (!midi) {
        note(kMatchSkippedTitle,
             track + " is no longer a mapping row; the estimated match was not applied.");
        return false;
    }
    if (midi->trackName != match.trackName) {
        note(kMatchSkippedTitle,
             fmt::format("{} is now named {}; the estimated match was not applied.", track,
                         midi->trackName));
        return false;
    }
    return match.selectedCandidate() != nullptr;
}

AutoAssignCoordinator::ApplyOutcome AutoAssignCoordinator::apply(
    std::vector<EstimatedAutoAssignMatch> matches) {
    ApplyOutcome outcome;
    std::set<std::string> done;
    for (const auto& match : matches) {
        done.insert(match.id);
        if (!canApply(match)) {
            ++outcome.skipped;
            continue;
        }
        link(match.trackIndex, match.trackName, match.selectedCandidate()->target);
        ++outcome.applied;
    }
    pendingEstimatedAutoAssignMatches_.modify([&](auto& pending) {
        return std::erase_if(pending, [&](const auto& m) { return done.count(m.id) != 0; }) > 0;
    });
    if (outcome.applied > 0) {
        (void)deps_.mappingStore.save();
        deps_.console.line(fmt::format("[AutoAssign] {}: applied={} skipped={}",
                                       AutoAssignText::kEstimatedAppliedTitle, outcome.applied,
                                       outcome.skipped));
        deps_.log.log(AutoAssignText::kEstimatedAppliedTitle,
                      AutoAssignText::kEstimatedAppliedMessage);
        deps_.notifications.post(kManualMappingSyncAcceptedNotification);
    }
    return outcome;
}

AutoAssignCoordinator::ApplyOutcome AutoAssignCoordinator::applyEstimatedMatch(
    const std::string& matchID) {
    const auto& pending = *pendingEstimatedAutoAssignMatches_;
    const auto found = std::find_if(pending.begin(), pending.end(),
                                    [&](const auto& m) { return m.id == matchID; });
    if (found == pending.end())
        return {};
    return apply({*found});
}

AutoAssignCoordinator::ApplyOutcome AutoAssignCoordinator::applyAllRemainingEstimatedMatches() {
    return apply(*pendingEstimatedAutoAssignMatches_);
}

}  // namespace tessiva
