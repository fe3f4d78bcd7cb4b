#include "app/TrackSelectionRouter.h"

#include <algorithm>

#include "app/BankFocusMessage.h"
#include "app/DirectNavigationCheck.h"
#include "app/HandlerGates.h"
#include "app/LearnModeStore.h"
#include "app/ProjectKeyProvider.h"
#include "app/SelectionDedupe.h"
#include "app/SelectionStageRecorder.h"
#include "app/StructuralRepairState.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "midi/MIDIRelay.h"
#include "osc/OSCManager.h"
#include "osc/PeerEndpointProvider.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"

namespace tessiva {

namespace {

std::string inQuotes(const std::string& text) {
    return "\"" + text + "\"";
}

// "Track 5 "Bass"": how the event log names a Logic track.
std::string trackLabel(int row, const std::string& name) {
    return "Track " + std::to_string(row) + " " + inQuotes(name);
}

const char* sentOrAmbiguous(bool fallbackReachedIPad) {
    return fallbackReachedIPad ? "The uniquely matched iPad bank/group focus was sent, but"
                               : "Bank focus was ambiguous, so it and";
}

}  // namespace

int TrackSelectionRouter::learnedProgramChange(int row) {
    return std::clamp(row - 1, 0, 127);
}

TrackSelectionRouter::TrackSelectionRouter(Dependencies dependencies) : deps_(dependencies) {}

TrackSelectionRouter::~TrackSelectionRouter() {
    if (pendingDirectNavigationTimeoutWorkItem_)
        pendingDirectNavigationTimeoutWorkItem_->cancel();
    for (const auto& noteOff : pendingNoteOffs_)
        noteOff.cancel();
}

void TrackSelectionRouter::note(const std::string& title, const std::string& detail) {
    deps_.console.line("[MenuBar] " + title + ": " + detail);
    deps_.log.log(title, detail);
}

void TrackSelectionRouter::stage(SelectionStage stage, const TrackSelection& selection,
                                 std::string detail) {
    deps_.stages.record(stage, selection.index, selection.name, std::move(detail));
}

void TrackSelectionRouter::routeSelection(const TrackSelection& selection) {
    const double now = deps_.clock.now();
    const auto check = checkDirectNavigation(
        pendingDirectNavigationTrackIndex_, directNavigationEchoSuppressionTrackIndex_,
        directNavigationEchoSuppressionDeadline_, selection.index, now);
    switch (check.verdict) {
        case DirectNavigationVerdict::confirmPending:
            completeDirectNavigation(
                true, "Logic's normal selection observer confirmed the mapped track.", selection);
            return;
        case DirectNavigationVerdict::consumeEcho:
            stage(SelectionStage::routerConsumedDirectNavigationEcho, selection,
                  "remainingMs=" + std::to_string(check.remainingMs));
            return;
        case DirectNavigationVerdict::continueRouting:
            break;
    }
    if (check.clearEcho) {
        directNavigationEchoSuppressionTrackIndex_.reset();
        directNavigationEchoSuppressionDeadline_ = 0;
    }
    route(selection);
}

bool TrackSelectionRouter::route(const TrackSelection& selection) {
    const double now = deps_.clock.now();
    const auto repeat = checkRepeat(lastLogicSelection_, lastLogicSelectionTime_, selection, now,
                                    kRouterDedupeWindowSeconds);
    if (repeat.duplicate) {
        stage(SelectionStage::routerDeduplicated, selection, repeat.detail());
        return false;
    }
    lastLogicSelection_ = selection;
    lastLogicSelectionTime_ = now;
    stage(SelectionStage::routerAccepted, selection);
    handle(selection);
    return true;
}

void TrackSelectionRouter::handle(const TrackSelection& selection) {
    const double now = deps_.clock.now();
    const auto usableName = usableSelectionName(selection.name);
    if (!usableName) {
        stage(SelectionStage::handlerRejectedEmptyName, selection);
        return;
    }
    const std::string& name = *usableName;
    const int row = selection.index;

    const auto repeat = checkRepeat(lastHandledSelection_, lastHandledSelectionTime_, selection,
                                    now, kHandlerDedupeWindowSeconds);
    if (repeat.duplicate) {
        stage(SelectionStage::handlerDeduplicated, selection, repeat.detail());
        return;
    }
    lastHandledSelection_ = selection;
    lastHandledSelectionTime_ = now;
    stage(SelectionStage::handlerStarted, selection);

    // A click can reveal that Logic's rows shifted; structural repair then schedules itself and
    // reports a pending delta below.
    deps_.repairState.noteSelection(selection, mostRecentLogicTrackSnapshot_);

    const auto midiMapping = deps_.mappingStore.midiMapping(row);
    HandlerGateInputs inputs;
    if (midiMapping && !midiMapping->trackName.empty())
        inputs.savedName = midiMapping->trackName;
    inputs.selectedName = name;
    inputs.currentProjectKey = deps_.projectKeys.currentProjectKey();
    inputs.loadedProjectKey = deps_.projectKeys.loadedProfileProjectKey();
    inputs.pendingStructuralDelta = deps_.repairState.pendingRepairDelta();
    const bool projectMatches = projectKeysMatch(inputs.currentProjectKey, inputs.loadedProjectKey);

    switch (firstClosedGate(inputs)) {
        case HandlerGate::nameMismatch: {
            const auto fallback =
                focusBank(selection, name, BankFocusLookup::uniqueNameOnly, projectMatches);
            stage(SelectionStage::handlerBlockedNameMismatch, selection,
                  "expected=" + *inputs.savedName + " actual=" + name +
                      " bankFallback=" + (fallback.reachedIPad() ? "sent" : "not-sent"));
            note("Mapped output paused",
                 trackLabel(row, name) + " still does not match saved mapping name " +
                     inQuotes(*inputs.savedName) + " after offset repair. " +
                     sentOrAmbiguous(fallback.reachedIPad()) +
                     " MIDI output was not sent to avoid triggering the wrong mapping.");
            return;
        }
        case HandlerGate::projectMismatch: {
            const std::string current = inputs.currentProjectKey.value_or("<unknown>");
            const std::string loaded = inputs.loadedProjectKey.value_or("<none>");
            stage(SelectionStage::handlerBlockedProjectMismatch, selection,
                  "project=" + current + " loadedKey=" + loaded);
            note("Mapped output blocked",
                 trackLabel(row, name) + " belongs to Logic project " + current +
                     ", but loaded mappings profile key is " + loaded +
                     ". Load/save mappings for the current project before sending MIDI "
                     "or OSC bank focus.");
            return;
        }
        case HandlerGate::structuralRepair: {
            const int delta = *inputs.pendingStructuralDelta;
            const std::string signedDelta = std::to_string(delta);
            const auto fallback =
                focusBank(selection, name, BankFocusLookup::uniqueNameOnly, projectMatches);
            stage(SelectionStage::handlerBlockedStructuralRepair, selection,
                  "delta=" + signedDelta);
            note("Mapped output paused",
                 "A structural mapping repair is still pending (delta=" + signedDelta + "). " +
                     sentOrAmbiguous(fallback.reachedIPad()) +
                     " MIDI output was not sent until the changed row/range can be "
                     "resolved. Click a shifted/nearby Logic track to resolve "
                     "automatically, or repair manually.");
            if (fallback.resolution.mapping) {
                note("Bank focus resolved by unique name",
                     "Logic track " + std::to_string(row) + " " + inQuotes(name) +
                         " temporarily resolved through saved mapping row " +
                         std::to_string(fallback.resolution.mapping->trackIndex) +
                         " while structural repair remained active. MIDI stayed "
                         "blocked.");
            }
            return;
        }
        case HandlerGate::open:
            break;
    }

    if (pendingDirectNavigationTrackIndex_ == row) {
        completeDirectNavigation(true, "Logic confirmed the mapped track selection.", selection);
    }

    focusBank(selection, name, BankFocusLookup::ownRowThenUniqueName, projectMatches);

    if (deps_.learnStore.mode() == LearnMode::learn)
        captureLearnedRow(row, name);
    sendMappedOutput(row, name);
}

TrackSelectionRouter::BankFocusAttempt TrackSelectionRouter::focusBank(
    const TrackSelection& selection, const std::string& name, BankFocusLookup lookup,
    bool projectMatches) {
    BankFocusAttempt attempt;
    const int row = selection.index;
    attempt.resolution =
        resolveBankFocus(row, name, deps_.mappingStore.oscBankFocusMappingsByTrackIndex().value(),
                         lookup, projectMatches);
    const BankFocusResolution& resolved = attempt.resolution;
    if (resolved.rowHadNoMapping)
        stage(SelectionStage::bankNoMapping, selection);
    if (!resolved) {
        stage(SelectionStage::bankNameFallbackRejected, selection,
              "reason=" + resolved.fallbackRejectedReason.value_or("non-unique-name-or-target"));
        return attempt;
    }
    const OSCBankFocusMapping& mapping = *resolved.mapping;
    std::string signature = bankFocusSignature(row, mapping);
    if (signature == lastSentBankFocusSignature_) {
        stage(SelectionStage::bankDeduplicated, selection,
              "signature=" + signature + " resolution=" + resolved.resolution);
        attempt.outcome = BankFocusOutcome::deduplicated;
        return attempt;
    }
    stage(SelectionStage::bankSendAttempted, selection,
          "signature=" + signature + " resolution=" + resolved.resolution);

    const auto peer = deps_.peers.activePeerEndpoint();
    if (peer) {
        deps_.osc.send(peer->host, peer->port, std::string(kBankFocusAddress),
                       bankFocusArguments(row, name, mapping));
    } else {
        note("OSC bank focus skipped", "No discovered Tessiva peer is currently available. bank=" +
                                           mapping.bankName + " uuid=" + mapping.targetUUID());
    }
    const bool group = mapping.targetsGroup();
    note("Bank focus resolved",
         trackLabel(row, name) + " -> " + (group ? "group " : "bank ") +
             inQuotes(group ? mapping.groupName.value_or("") : mapping.bankName) +
             " uuid=" + mapping.targetUUID() + " resolution=" + resolved.resolution +
             ". OSC delivery is handled by the OSC manager and may be skipped when no "
             "iPad peer is connected.");
    if (!peer) {
        // Not remembered: the next selection of this row tries again.
        stage(SelectionStage::bankSendSkippedNoPeer, selection,
              "signature-not-committed resolution=" + resolved.resolution);
        attempt.outcome = BankFocusOutcome::skippedNoPeer;
        return attempt;
    }
    lastSentBankFocusSignature_ = std::move(signature);
    lastSentBankFocusTrackIndex_ = row;
    attempt.outcome = BankFocusOutcome::sent;
    return attempt;
}

void TrackSelectionRouter::captureLearnedRow(int row, const std::string& name) {
    const auto existing = deps_.mappingStore.midiMapping(row);
    MIDIMapping mapping;
    if (existing) {
        mapping = *existing;
    } else {
        mapping.eventType = kLearnedEventType;
        mapping.programChange = learnedProgramChange(row);
        mapping.channel = kLearnedChannel;
    }
    mapping.trackName = name;
    // A refusal or failed save is logged by the store and leaves its maps as they were.
    if (!deps_.mappingStore.setMIDIMapping(row, mapping).ok())
        return;
    (void)deps_.mappingStore.save();
    deps_.console.line("[MenuBar] Learn: captured track=" + std::to_string(row) + " name=" + name);
    if (!existing && addTracksModeActive_) {
        note("New mapping captured",
             trackLabel(row, name) + " was added while Add Tracks was active.");
    }
}

void TrackSelectionRouter::sendMappedOutput(int row, const std::string& name) {
    const auto mapping = deps_.mappingStore.midiMapping(row);
    if (!mapping) {
        if (deps_.learnStore.mode() == LearnMode::off) {
            note("Off mode: ignoring unmapped track",
                 "track=" + std::to_string(row) + " name=" + name);
        }
        return;
    }
    const bool pc = mapping->eventType == MappingEventType::programChange;
    const std::optional<int> value = pc ? mapping->programChange : mapping->note;
    // Out-of-range values are kept in the profile but never sent.
    if (!value || *value < 0 || *value > 127)
        return;
    sendMIDI(mapping->eventType, *value, mapping->channel);
    deps_.console.line(std::string("[MenuBar] Sent mapped ") + (pc ? "PC=" : "NOTE=") +
                       std::to_string(*value) + " ch=" + std::to_string(mapping->channel) +
                       " for track=" + std::to_string(row));
    postFocusEventSent(row, mapping->eventType, *value, mapping->channel);
}

void TrackSelectionRouter::sendMIDI(MappingEventType type, int value, int channel) {
    if (type == MappingEventType::programChange) {
        deps_.midiRelay.sendProgramChange(value, channel);
        return;
    }
    // A mapped note is a trigger, not a held note: release it shortly after.
    deps_.midiRelay.sendNoteOn(value, channel, kMappedNoteVelocity);
    std::erase_if(pendingNoteOffs_, [](const WorkItem& item) { return !item.isPending(); });
    pendingNoteOffs_.push_back(deps_.mainQueue.postAfter(
        kMappedNoteLengthSeconds,
        [this, value, channel] { deps_.midiRelay.sendNoteOff(value, channel, 0); }));
}

void TrackSelectionRouter::postFocusEventSent(int row, MappingEventType type, int value,
                                              int channel) {
    UserInfo info;
    info.set("trackIndex", std::int64_t{row});
    info.set("eventType", std::string(rawValue(type)));
    info.set("value", std::int64_t{value});
    info.set("channel", std::int64_t{channel});
    deps_.notifications.post(kFocusEventSentNotification, std::move(info));
}

void TrackSelectionRouter::playMapping(int row) {
    const auto mapping = deps_.mappingStore.midiMapping(row);
    const MappingEventType type = mapping ? mapping->eventType : MappingEventType::programChange;
    const bool pc = type == MappingEventType::programChange;
    const std::optional<int> value =
        !mapping ? std::nullopt : (pc ? mapping->programChange : mapping->note);
    if (!value || *value < 0 || *value > 127) {
        note("Play mapping skipped",
             pc ? "No Program Change value for track" : "No Note value for track");
        return;
    }
    sendMIDI(type, *value, mapping->channel);
    note(pc ? "Played mapping (PC)" : "Played mapping (Note)",
         "track=" + std::to_string(row) + (pc ? " PC=" : " NOTE=") + std::to_string(*value) +
             " ch=" + std::to_string(mapping->channel));
    postFocusEventSent(row, type, *value, mapping->channel);
}

void TrackSelectionRouter::updateTrackSnapshot(RowMap snapshot) {
    mostRecentLogicTrackSnapshot_ = std::move(snapshot);
}

std::uint64_t TrackSelectionRouter::beginDirectNavigation(DirectNavigationRequest request, int row,
                                                          std::optional<std::string> trackName) {
    if (pendingDirectNavigationRequest_) {
        completeDirectNavigation(false, "Superseded by a newer direct navigation request.");
    }
    pendingDirectNavigationRequest_ = std::move(request);
    pendingDirectNavigationTrackIndex_ = row;
    pendingDirectNavigationTrackName_ = std::move(trackName);
    const std::uint64_t number = ++directNavigationRequestNumber_;
    pendingDirectNavigationTimeoutWorkItem_ =
        deps_.mainQueue.postAfter(kDirectNavigationTimeoutSeconds, [this, number, row] {
            if (number != directNavigationRequestNumber_ || !pendingDirectNavigationRequest_) {
                return;
            }
            completeDirectNavigation(false, "Logic did not report the selection of track " +
                                                std::to_string(row) + " in time.");
        });
    return number;
}

void TrackSelectionRouter::refuseDirectNavigation(const DirectNavigationRequest& request,
                                                  const std::string& message) {
    sendDirectNavigationResult(request, 0, false, message);
    note("Direct navigation failed",
         message + " requestID=" + request.requestID + " bank=" + request.bankUUID);
}

void TrackSelectionRouter::completeDirectNavigation(bool success, const std::string& message,
                                                    const std::optional<TrackSelection>& observed) {
    if (!pendingDirectNavigationRequest_ || !pendingDirectNavigationTrackIndex_)
        return;
    const DirectNavigationRequest request = *pendingDirectNavigationRequest_;
    const int row = *pendingDirectNavigationTrackIndex_;
    const auto expectedName = pendingDirectNavigationTrackName_;
    if (pendingDirectNavigationTimeoutWorkItem_)
        pendingDirectNavigationTimeoutWorkItem_->cancel();
    pendingDirectNavigationRequest_.reset();
    pendingDirectNavigationTrackIndex_.reset();
    pendingDirectNavigationTrackName_.reset();
    pendingDirectNavigationTimeoutWorkItem_.reset();
    ++directNavigationRequestNumber_;

    if (success) {
        const double now = deps_.clock.now();
        directNavigationEchoSuppressionTrackIndex_ = row;
        directNavigationEchoSuppressionDeadline_ = now + kDirectNavigationEchoWindowSeconds;
        // Remember the row as Logic names it, so its own later report dedupes.
        TrackSelection navigated{row, observed && observed->name ? observed->name : expectedName};
        lastLogicSelection_ = navigated;
        lastLogicSelectionTime_ = now;
        lastHandledSelection_ = navigated;
        lastHandledSelectionTime_ = now;
        // The iPad already shows the target; the next bank focus must go out again.
        lastSentBankFocusSignature_.reset();
        lastSentBankFocusTrackIndex_.reset();
    }
    sendDirectNavigationResult(request, row, success, message);
    note(success ? "Direct navigation confirmed" : "Direct navigation failed",
         message + " requestID=" + request.requestID + " -> track " + std::to_string(row));
}

void TrackSelectionRouter::sendDirectNavigationResult(const DirectNavigationRequest& request,
                                                      int row, bool success,
                                                      const std::string& message) {
    const auto peer = deps_.peers.activePeerEndpoint();
    if (!peer) {
        note("Direct navigation result skipped",
             "No discovered Tessiva peer is currently available. requestID=" + request.requestID);
        return;
    }
    deps_.osc.send(peer->host, peer->port, std::string(kDirectNavigationResultAddress),
                   {OSCArgument::string(request.requestID), OSCArgument::string(request.bankUUID),
                    OSCArgument::string(success ? "success" : "failure"), OSCArgument::int32(row),
                    OSCArgument::string(message)});
}

void TrackSelectionRouter::resetSelectionState(const std::string& reason) {
    lastLogicSelection_.reset();
    lastLogicSelectionTime_ = 0;
    lastHandledSelection_.reset();
    lastHandledSelectionTime_ = 0;
    lastSentBankFocusSignature_.reset();
    lastSentBankFocusTrackIndex_.reset();
    note("Selection state reset", reason);
}

}  // namespace tessiva
