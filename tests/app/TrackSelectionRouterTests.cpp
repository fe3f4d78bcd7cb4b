#include <gtest/gtest.h>

#include "RoutingRig.h"

namespace tessiva {
namespace {

using Lines = std::vector<std::string>;
using Bytes = std::vector<std::vector<std::uint8_t>>;

const std::string kResolvedTail =
    ". OSC delivery is handled by the OSC manager and may be skipped when no iPad peer is "
    "connected.";

// The stages of a selection both dedupe windows let through, then `rest`.
Lines handled(std::initializer_list<std::string> rest) {
    Lines lines{"router/accepted", "handler/started"};
    lines.insert(lines.end(), rest);
    return lines;
}

// Row 5 "Bass": Program Change 4 on channel 1 and the bank "Strings"; with Cello, row 9 "Cello"
// focuses the bank "Low Strings".
void mapBass(RoutingRig& rig, bool withCello = false) {
    mapPC(rig.store, 5, "Bass", 4);
    mapBank(rig.store, 5, "Bass", "B-5", "Strings");
    if (withCello)
        mapBank(rig.store, 9, "Cello", "B-9", "Low Strings");
    rig.drain();
}

TEST(TrackSelectionRouter, RouterAndHandlerWindowsAtTheirBoundariesAndTheBankFocusOnce) {
    RoutingRig rig;
    mapBass(rig);

    rig.select(5, "Bass");
    EXPECT_EQ(
        rig.takeStages(),
        handled({"bank/send-attempted signature=track:5|target:bank:B-5 resolution=mapped-index"}));
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0xC0, 4}}));
    EXPECT_EQ(rig.takeOSC(), bankFocus("bank", "B-5", "Bass", "Strings", 5));
    EXPECT_EQ(rig.takeLog(), (Lines{"Bank focus resolved | Track 5 \"Bass\" -> bank \"Strings\" "
                                    "uuid=B-5 resolution=mapped-index" +
                                    kResolvedTail}));
    EXPECT_TRUE(rig.console.contains("[MenuBar] Sent mapped PC=4 ch=1 for track=5"));
    ASSERT_EQ(rig.focusEvents.size(), 1u);
    EXPECT_EQ(rig.focusEvents[0].userInfo.integer("trackIndex"), 5);
    EXPECT_EQ(rig.focusEvents[0].userInfo.string("eventType"), "programChange");

    // 0.499 s: the router drops it.
    rig.advance(0.499);
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages(), (Lines{"router/deduplicated windowMs=500 ageMs=499"}));

    // 0.5 s: the router passes it, the handler drops it.
    rig.advance(0.001);
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages(),
              (Lines{"router/accepted", "handler/deduplicated windowMs=4000 ageMs=500"}));

    // 4.0 s after the handled one (the repeat at 0.5 s does not count): handled again. MIDI goes
    // out; the bank focus is the same target, so it does not.
    rig.advance(3.5);
    rig.select(5, "Bass");
    EXPECT_EQ(
        rig.takeStages(),
        handled({"bank/deduplicated signature=track:5|target:bank:B-5 resolution=mapped-index"}));
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0xC0, 4}}));
    EXPECT_TRUE(rig.takeOSC().empty());
    EXPECT_EQ(rig.router.lastSentBankFocusTrackIndex(), 5);
}

TEST(TrackSelectionRouter, AnotherNameOrEmptyName) {
    RoutingRig rig;
    mapBass(rig);
    mapPC(rig.store, 7, "", 9);  // no saved name: the name gate does not apply
    // The same row with another name within 0.5 s passes both windows.
    rig.select(7, "Pad");
    rig.advance(0.1);
    rig.select(7, "Pad 2");
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0xC0, 9}, {0xC0, 9}}));  // handled twice
    rig.drain();

    // A name of only spaces, or none, is rejected and leaves dedupe alone.
    rig.select(5, " \t\n");
    EXPECT_EQ(rig.takeStages(), (Lines{"router/accepted", "handler/rejected-empty-name"}));
    EXPECT_EQ(rig.router.lastHandledSelection(), (TrackSelection{7, "Pad 2"}));
    rig.advance(0.5);
    rig.select(5, std::nullopt);
    EXPECT_EQ(rig.stages.last()->name, "<none>");  // how the recorder shows an absent name
    EXPECT_EQ(rig.takeStages(), (Lines{"router/accepted", "handler/rejected-empty-name"}));
    EXPECT_TRUE(rig.sentNothing());
    EXPECT_TRUE(rig.takeLog().empty());
}

TEST(TrackSelectionRouter, NameGateHoldsMIDIAndTriesTheUniqueName) {
    RoutingRig rig;
    mapBass(rig, true);
    // A unique saved name elsewhere: its bank goes out, MIDI does not.
    rig.select(5, " Cello ");
    EXPECT_EQ(
        rig.takeStages(),
        handled({"bank/send-attempted signature=track:5|target:bank:B-9 "
                 "resolution=unique-name:mapped-track-9",
                 "handler/blocked-name-mismatch expected=Bass actual=Cello bankFallback=sent"}));
    EXPECT_TRUE(rig.takeMIDI().empty());
    EXPECT_EQ(rig.takeOSC(), bankFocus("bank", "B-9", "Cello", "Low Strings", 5));
    auto log = rig.takeLog();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[1],
              "Mapped output paused | Track 5 \"Cello\" still does not match saved mapping "
              "name \"Bass\" after offset repair. The uniquely matched iPad bank/group focus "
              "was sent, but MIDI output was not sent to avoid triggering the wrong mapping.");

    // An ambiguous name: nothing goes out. Row 5 now only focuses a bank, learned from the iPad
    // for "Bass": the gate guards it too.
    rig.store.clearMIDIMapping(5);
    mapBank(rig.store, 10, "Cello", "B-10", "Cellos");
    rig.takeLog();
    rig.select(5, "Cello");
    EXPECT_EQ(rig.takeStages(),
              handled({"bank/name-fallback-rejected reason=non-unique-name-or-target",
                       "handler/blocked-name-mismatch expected=Bass actual=Cello "
                       "bankFallback=not-sent"}));
    EXPECT_TRUE(rig.sentNothing());
    EXPECT_EQ(rig.takeLog(),
              (Lines{"Mapped output paused | Track 5 \"Cello\" still does not match saved "
                     "mapping name \"Bass\" after offset repair. Bank focus was ambiguous, so "
                     "it and MIDI output was not sent to avoid triggering the wrong mapping."}));
    // The track itself still focuses its bank.
    rig.select(5, "bass");
    EXPECT_EQ(rig.takeOSC(), bankFocus("bank", "B-5", "bass", "Strings", 5));
}

TEST(TrackSelectionRouter, ProjectGateSendsNothing) {
    RoutingRig rig;
    mapBass(rig, true);
    rig.projectKeys.set(std::string("song-a"), std::string("song-b"));
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages(),
              handled({"handler/blocked-project-mismatch project=song-a loadedKey=song-b"}));
    EXPECT_EQ(rig.takeLog(),
              (Lines{"Mapped output blocked | Track 5 \"Bass\" belongs to Logic project "
                     "song-a, but loaded mappings profile key is song-b. Load/save mappings "
                     "for the current project before sending MIDI or OSC bank focus."}));
    EXPECT_TRUE(rig.console.contains("[MenuBar] Mapped output blocked: Track 5 \"Bass\""));
    EXPECT_TRUE(rig.sentNothing());

    // A name mismatch in another project: the fallback refuses too.
    rig.select(5, "Cello");
    EXPECT_EQ(rig.takeStages(), handled({"bank/name-fallback-rejected reason=project-mismatch",
                                         "handler/blocked-name-mismatch expected=Bass actual=Cello "
                                         "bankFallback=not-sent"}));
    EXPECT_TRUE(rig.takeOSC().empty());

    // An unknown project, or no loaded key.
    rig.projectKeys.set(std::nullopt, std::string("song"));
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages().back(),
              "handler/blocked-project-mismatch project=<unknown> loadedKey=song");
    rig.projectKeys.set(std::string("song"), std::nullopt);
    rig.advance(4.0);
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages().back(),
              "handler/blocked-project-mismatch project=song loadedKey=<none>");
    EXPECT_TRUE(rig.sentNothing());
}

TEST(TrackSelectionRouter, PendingStructuralRepairHoldsMIDI) {
    RoutingRig rig;
    mapBass(rig, true);
    const RowMap names{{5, "Bass"}, {6, "Cello"}};
    rig.router.updateTrackSnapshot(names);
    rig.repair.delta = -1;

    rig.select(6, "Cello");
    EXPECT_EQ(rig.takeStages(),
              handled({"bank/send-attempted "
                       "signature=track:6|target:bank:B-9 resolution=unique-name:mapped-track-9",
                       "handler/blocked-structural-repair delta=-1"}));
    EXPECT_TRUE(rig.takeMIDI().empty());
    EXPECT_EQ(rig.takeOSC(), bankFocus("bank", "B-9", "Cello", "Low Strings", 6));
    auto log = rig.takeLog();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[1],
              "Mapped output paused | A structural mapping repair is still pending (delta=-1). "
              "The uniquely matched iPad bank/group focus was sent, but MIDI output was not sent "
              "until the changed row/range can be resolved. Click a shifted/nearby Logic track "
              "to resolve automatically, or repair manually.");
    EXPECT_EQ(log[2],
              "Bank focus resolved by unique name | Logic track 6 \"Cello\" temporarily resolved "
              "through saved mapping row 9 while structural repair remained active. MIDI stayed "
              "blocked.");
    // Structural repair heard of the selection with the latest names.
    EXPECT_EQ(rig.repair.noted, (decltype(rig.repair.noted){{{6, "Cello"}, names}}));

    // A row whose name matches no saved bank mapping: nothing at all.
    rig.select(7, "Flute");
    EXPECT_EQ(rig.takeStages().back(), "handler/blocked-structural-repair delta=-1");
    EXPECT_TRUE(rig.sentNothing());
    EXPECT_EQ(rig.takeLog()[0],
              "Mapped output paused | A structural mapping repair is still pending (delta=-1). "
              "Bank focus was ambiguous, so it and MIDI output was not sent until the changed "
              "row/range can be resolved. Click a shifted/nearby Logic track to resolve "
              "automatically, or repair manually.");
    // Another project's mappings close the gate before the pending repair does.
    rig.projectKeys.set(std::string("a"), std::string("b"));
    rig.select(8, "Viola");
    EXPECT_EQ(rig.takeStages().back(), "handler/blocked-project-mismatch project=a loadedKey=b");
}

TEST(TrackSelectionRouter, BankFocusSignatureAndMissingPeer) {
    RoutingRig rig;
    mapBass(rig);
    rig.peers.endpoint.reset();

    rig.select(5, "Bass");
    EXPECT_EQ(
        rig.takeStages(),
        handled({"bank/send-attempted signature=track:5|target:bank:B-5 resolution=mapped-index",
                 "bank/send-skipped-no-peer signature-not-committed resolution=mapped-index"}));
    EXPECT_EQ(rig.takeLog(),
              (Lines{"OSC bank focus skipped | No discovered Tessiva peer is currently available. "
                     "bank=Strings uuid=B-5",
                     "Bank focus resolved | Track 5 \"Bass\" -> bank \"Strings\" uuid=B-5 "
                     "resolution=mapped-index" +
                         kResolvedTail}));
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0xC0, 4}}));  // MIDI does not wait for the iPad

    // The iPad appears: the next handled selection of the row tries again and is remembered.
    rig.peers.endpoint = PeerEndpoint{"127.0.0.1", 53001};
    rig.advance(4.0);
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages().back(),
              "bank/send-attempted signature=track:5|target:bank:B-5 resolution=mapped-index");
    EXPECT_EQ(rig.udp.sent().at(0).port, 53001);
    EXPECT_EQ(rig.takeOSC().size(), 1u);

    // A group target, and a row without a mapping of its own that resolves by name.
    mapBank(rig.store, 6, "Horns", "B-6", "Brass", std::string("G-1"), std::string("Shorts"));
    mapPC(rig.store, 6, "Horns", 1);
    rig.select(6, "Horns");
    EXPECT_EQ(rig.takeOSC(), bankFocus("group", "G-1", "Horns", "Shorts", 6));

    rig.takeStages();
    rig.select(12, "Oboe");
    EXPECT_EQ(rig.takeStages(),
              handled({"bank/no-mapping",
                       "bank/name-fallback-rejected reason=non-unique-name-or-target"}));
    rig.select(13, "horns");  // unique without regard to case
    EXPECT_EQ(rig.takeStages(), handled({"bank/no-mapping",
                                         "bank/send-attempted signature=track:13|target:group:G-1 "
                                         "resolution=unique-name:mapped-track-6"}));
}

TEST(TrackSelectionRouter, OffModeIgnoresUnmappedRowsLearnCapturesThemAndNotesAreReleased) {
    RoutingRig rig;
    mapNote(rig.store, 3, "", 60, 2);
    rig.takeLog();
    // Off: an unmapped row is logged and sends nothing.
    rig.select(12, "Flute");
    EXPECT_EQ(rig.takeLog(), (Lines{"Off mode: ignoring unmapped track | track=12 name=Flute"}));
    EXPECT_TRUE(rig.takeMIDI().empty());

    // Learn: a new row gets the defaults, is saved and sends at once.
    rig.learn.setMode(LearnMode::learn);
    rig.router.setAddTracksModeActive(true);
    rig.advance(4.0);
    rig.select(12, "Flute");
    const MIDIMapping learned{MappingEventType::programChange, 11, {}, 1, "Flute"};
    EXPECT_EQ(rig.store.midiMapping(12), learned);
    EXPECT_TRUE(rig.console.contains("[MenuBar] Learn: captured track=12 name=Flute"));
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0xC0, 11}}));
    auto log = rig.takeLog();
    EXPECT_NE(std::find(log.begin(), log.end(),
                        "New mapping captured | Track 12 \"Flute\" was added while Add Tracks "
                        "was active."),
              log.end());
    // The store was saved: its file has the row.
    EXPECT_EQ(readProfile(rig.store.fileURL()).trackIndexToName.at(12), "Flute");

    // Learn on a mapped row keeps its values and plays them; the Add Tracks note is for new rows.
    rig.select(3, "Keys");
    EXPECT_EQ(rig.store.midiMapping(3), (MIDIMapping{MappingEventType::note, {}, 60, 2, "Keys"}));
    for (const auto& line : rig.takeLog())
        EXPECT_EQ(line.find("New mapping captured"), std::string::npos);
    EXPECT_EQ(TrackSelectionRouter::learnedProgramChange(0), 0);
    EXPECT_EQ(TrackSelectionRouter::learnedProgramChange(500), 127);

    // A mapped note is released after its length.
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0x91, 60, 100}}));
    EXPECT_TRUE(rig.console.contains("[MenuBar] Sent mapped NOTE=60 ch=2 for track=3"));
    rig.advance(0.099);
    EXPECT_TRUE(rig.takeMIDI().empty());
    rig.advance(0.001);
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0x81, 60, 0}}));
    ASSERT_EQ(rig.focusEvents.size(), 2u);
    EXPECT_EQ(rig.focusEvents[1].userInfo.string("eventType"), "note");
    EXPECT_EQ(rig.focusEvents[1].userInfo.integer("value"), 60);
}

// A direct navigation confirmed by the observer; its echo is swallowed for 0.75 s.
TEST(TrackSelectionRouter, DirectNavigationConfirmedThenItsEchoSwallowed) {
    RoutingRig rig;
    mapBass(rig);
    mapPC(rig.store, 6, "Cello", 2);
    rig.select(5, "Bass");  // a bank focus that the navigation will make stale
    rig.drain();
    rig.advance(5.0);

    rig.router.beginDirectNavigation({"REQ-1", "B-5", std::string("Strings")}, 5,
                                     std::string("Bass"));
    rig.select(5, "Bass");
    EXPECT_TRUE(rig.takeStages().empty());  // consumed before the router
    EXPECT_EQ(rig.takeLog(),
              (Lines{"Direct navigation confirmed | Logic's normal selection observer "
                     "confirmed the mapped track. requestID=REQ-1 -> track 5"}));
    auto osc = rig.takeOSC();
    ASSERT_EQ(osc.size(), 1u);
    EXPECT_EQ(osc[0].first, "/tessiva/navigation/direct/result");
    EXPECT_EQ(osc[0].second[0], OSCArgument::string("REQ-1"));
    EXPECT_EQ(osc[0].second[2], OSCArgument::string("success"));
    EXPECT_FALSE(rig.router.lastSentBankFocusSignature().has_value());

    rig.advance(0.5);
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages(), (Lines{"router/consumed-direct-navigation-echo remainingMs=250"}));
    rig.select(6, "Cello");  // another row is handled normally
    EXPECT_EQ(rig.takeStages()[1], "handler/started");
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0xC0, 2}}));

    rig.advance(0.25);  // exactly at the deadline: still an echo
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages(), (Lines{"router/consumed-direct-navigation-echo remainingMs=0"}));
    rig.advance(0.001);  // past it: routed, the echo row forgotten
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages()[0], "router/accepted");
    EXPECT_FALSE(rig.router.directNavigationEchoSuppressionTrackIndex().has_value());
    EXPECT_EQ(rig.router.directNavigationEchoSuppressionDeadline(), 0);
}

// No confirmation within the time-out fails a direct navigation; a late report routes; a newer
// request supersedes.
TEST(TrackSelectionRouter, DirectNavigationTimesOutOrIsSuperseded) {
    RoutingRig rig;
    mapBass(rig);
    rig.router.beginDirectNavigation({"REQ-2", "B-5", std::nullopt}, 5, std::string("Bass"));
    rig.advance(kDirectNavigationTimeoutSeconds - 0.001);
    EXPECT_TRUE(rig.router.pendingDirectNavigationRequest().has_value());
    rig.advance(0.001);
    EXPECT_FALSE(rig.router.pendingDirectNavigationRequest().has_value());
    EXPECT_EQ(rig.takeLog(),
              (Lines{"Direct navigation failed | Logic did not report the selection of track "
                     "5 in time. requestID=REQ-2 -> track 5"}));
    auto osc = rig.takeOSC();
    ASSERT_EQ(osc.size(), 1u);
    EXPECT_EQ(osc[0].second[2], OSCArgument::string("failure"));
    rig.select(5, "Bass");
    EXPECT_EQ(rig.takeStages()[1], "handler/started");

    // A newer request supersedes; the old time-out is stale.
    rig.drain();
    rig.router.beginDirectNavigation({"A", "B-1", std::nullopt}, 1, std::nullopt);
    rig.advance(2.0);
    rig.router.beginDirectNavigation({"B", "B-2", std::nullopt}, 2, std::nullopt);
    rig.advance(1.5);  // A's time-out would have fired here
    EXPECT_EQ(rig.router.pendingDirectNavigationTrackIndex(), 2);
    auto log = rig.takeLog();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].rfind("Direct navigation failed | Superseded", 0), 0u);
}

TEST(TrackSelectionRouter, ResetAndPlayMapping) {
    RoutingRig rig;
    mapBass(rig);
    rig.select(5, "Bass");
    rig.drain();
    // A project change forgets dedupe and the last bank focus.
    rig.router.resetSelectionState("Logic project changed");
    EXPECT_FALSE(rig.router.lastLogicSelection().has_value());
    EXPECT_FALSE(rig.router.lastSentBankFocusTrackIndex().has_value());
    EXPECT_EQ(rig.takeLog(), (Lines{"Selection state reset | Logic project changed"}));
    rig.select(5, "Bass");  // at once: neither dedupe applies, the focus goes out again
    EXPECT_EQ(rig.takeStages().at(1), "handler/started");
    EXPECT_EQ(rig.takeOSC().size(), 1u);

    // Play mapping sends without gates and says why it cannot.
    mapNote(rig.store, 3, "Keys", 60, 16);
    mapPC(rig.store, 8, "Empty", std::nullopt);
    mapNote(rig.store, 9, "", std::nullopt);
    rig.projectKeys.set(std::string("a"), std::string("b"));
    rig.drain();
    for (int row : {5, 3, 8, 9, 40})
        rig.router.playMapping(row);
    EXPECT_EQ(rig.takeLog(), (Lines{"Played mapping (PC) | track=5 PC=4 ch=1",
                                    "Played mapping (Note) | track=3 NOTE=60 ch=16",
                                    "Play mapping skipped | No Program Change value for track",
                                    "Play mapping skipped | No Note value for track",
                                    "Play mapping skipped | No Program Change value for track"}));
    EXPECT_EQ(rig.takeMIDI(), (Bytes{{0xC0, 4}, {0x9F, 60, 100}}));
    EXPECT_TRUE(rig.takeOSC().empty());
    EXPECT_EQ(rig.focusEvents.size(), 4u);  // two selections, two plays
}

}  // namespace
}  // namespace tessiva
