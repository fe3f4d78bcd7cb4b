#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "app/LearnModeStore.h"
#include "app/ProjectKeyProvider.h"
#include "app/SelectionStageRecorder.h"
#include "app/StructuralRepairState.h"
#include "app/TrackSelectionRouter.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingProfileFile.h"
#include "mapping/MappingStore.h"
#include "midi/MIDIRelay.h"
#include "osc/OSCCodec.h"
#include "osc/OSCManager.h"
#include "osc/PeerEndpointProvider.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "platform/simulated/net/SimulatedUdpTransport.h"
#include "runtime/Console.h"
#include "runtime/NotificationCenter.h"
#include "runtime/VirtualScheduler.h"
#include "support/StoreHarness.h"
#include "support/TempFolder.h"

namespace tessiva {

using SentOSC = std::vector<std::pair<std::string, std::vector<OSCArgument>>>;

// The iPad as the routing sees it: a settable endpoint.
class SettablePeerEndpoint final : public PeerEndpointProvider {
  public:
    std::optional<PeerEndpoint> endpoint = PeerEndpoint{"127.0.0.1", 53000};
    std::optional<PeerEndpoint> activePeerEndpoint() const override { return endpoint; }
};

// Structural repair as the routing sees it: a settable pending delta, and the selections it was
// told about.
class ScriptedRepairState final : public StructuralRepairState {
  public:
    std::optional<int> delta;
    std::vector<std::pair<TrackSelection, std::optional<RowMap>>> noted;
    void noteSelection(const TrackSelection& selection,
                       const std::optional<RowMap>& names) override {
        noted.emplace_back(selection, names);
    }
    std::optional<int> pendingRepairDelta() const override { return delta; }
};

// A mapping store on a temporary folder, with the console, notification centre and event log
// it reports to. Virtual time throughout.
struct StoreRig : StoreHarness {
    NotificationCenter center{scheduler.mainQueue()};
    TempFolder folder{"tessiva-app"};

    StoreRig() { (void)store.open(folder.path()); }
};

inline void mapPC(MappingStore& store, int row, const std::string& name, std::optional<int> pc,
                  int channel = 1) {
    ASSERT_TRUE(
        store.setMIDIMapping(row, {MappingEventType::programChange, pc, {}, channel, name}).ok());
}
inline void mapNote(MappingStore& store, int row, const std::string& name, std::optional<int> note,
                    int channel = 1) {
    ASSERT_TRUE(store.setMIDIMapping(row, {MappingEventType::note, {}, note, channel, name}).ok());
}
inline void mapBank(MappingStore& store, int row, const std::string& trackName,
                    const std::string& bankUUID, const std::string& bankName,
                    std::optional<std::string> groupUUID = std::nullopt,
                    std::optional<std::string> groupName = std::nullopt) {
    OSCBankFocusMapping m;
    m.trackName = trackName;
    m.bankUUID = bankUUID;
    m.bankName = bankName;
    m.groupUUID = std::move(groupUUID);
    m.groupName = std::move(groupName);
    ASSERT_TRUE(store.setBankMapping(row, m).ok());
}
// A profile file holding one Program Change row.
inline void writePCProfile(const std::filesystem::path& file, int row, int pc,
                           const std::string& name = "Track", int channel = 1) {
    MappingProfileSnapshot snapshot;
    snapshot.trackIndexToPC = {{row, pc}};
    snapshot.trackIndexToName = {{row, name}};
    snapshot.trackIndexToChannel = {{row, channel}};
    snapshot.trackIndexToEventType = {{row, MappingEventType::programChange}};
    ASSERT_TRUE(MappingProfileFile::write(file, snapshot).ok());
}

// What a profile file holds; a missing or unreadable file throws, which fails the test.
inline MappingProfileSnapshot readProfile(const std::filesystem::path& file) {
    return MappingProfileFile::read(file).snapshot.value();
}

// Everything the selection routing talks to, real where it can be: the mapping store, the MIDI
// relay on the in-memory MIDI service, the OSC sender on the simulated UDP transport.
struct RoutingRig : StoreRig {
    LearnModeStore learn;
    SimulatedMIDIService midi;
    MIDIRelay relay{midi, center, console};
    SimulatedUdpTransport udp;
    OSCManager osc{scheduler, udp, console, center};
    SettablePeerEndpoint peers;
    FixedProjectKeyProvider projectKeys{std::string("song"), std::string("song")};
    ScriptedRepairState repair;
    SelectionStageRecorder stages{scheduler.clock()};
    TrackSelectionRouter router{{scheduler.mainQueue(), scheduler.clock(), console, center, log,
                                 store, learn, relay, osc, peers, projectKeys, repair, stages}};
    std::vector<Notification> focusEvents;
    ObserverToken focusToken = center.addObserver(
        kFocusEventSentNotification, [this](const Notification& n) { focusEvents.push_back(n); });

    RoutingRig() {
        midi.addDestination("Network Session 1");
        relay.start();
        relay.refreshDestinations();
        scheduler.runUntilIdle();
        log.clear();
        console.clear();
    }

    // Delivers a selection as the observer does, then lets queued work run.
    void select(int row, std::optional<std::string> name) {
        router.routeSelection(TrackSelection{row, std::move(name)});
        scheduler.runUntilIdle();
    }
    void advance(double seconds) { scheduler.advance(seconds); }
    // Takes the MIDI and OSC sent since the last call: true when there was none.
    bool sentNothing() { return takeMIDI().size() + takeOSC().size() == 0; }
    // Forgets everything recorded so far.
    void drain() {
        takeStages();
        takeLog();
        takeMIDI();
        takeOSC();
    }

    // Stage lines ("title detail") recorded since the last call.
    std::vector<std::string> takeStages() {
        std::vector<std::string> lines;
        for (const auto& record : stages.entries())
            lines.push_back(std::string(record.title()) + (record.detail.empty() ? "" : " ") +
                            record.detail);
        stages.clear();
        return lines;
    }
    // Event-log entries since the last call, as "title | detail".
    std::vector<std::string> takeLog() {
        std::vector<std::string> lines;
        for (const auto& entry : log.entries().value())
            lines.push_back(entry.title + " | " + entry.detail.value_or(""));
        log.clear();
        return lines;
    }
    // MIDI bytes sent since the last call.
    std::vector<std::vector<std::uint8_t>> takeMIDI() {
        std::vector<std::vector<std::uint8_t>> bytes;
        for (const auto& message : midi.sentMessages())
            bytes.push_back(message.bytes);
        midi.clearRecords();
        return bytes;
    }
    // OSC messages sent since the last call: address and arguments.
    SentOSC takeOSC() {
        SentOSC messages;
        for (const auto& sent : udp.sent()) {
            const std::string_view data(reinterpret_cast<const char*>(sent.bytes.data()),
                                        sent.bytes.size());
            messages.emplace_back(std::string(decodeAddress(data).value_or("?")),
                                  decodeArguments(data).value_or(std::vector<OSCArgument>{}));
        }
        udp.clearSent();
        return messages;
    }
};

// One bank focus message, as takeOSC() reports it.
inline SentOSC bankFocus(const std::string& kind, const std::string& uuid, const std::string& track,
                         const std::string& target, int index) {
    return {
        {"/tessiva/bank/focus",
         {OSCArgument::string(kind), OSCArgument::string(uuid), OSCArgument::string(track),
          OSCArgument::string(target), OSCArgument::int32(index), OSCArgument::string("<none>")}}};
}

}  // namespace tessiva
