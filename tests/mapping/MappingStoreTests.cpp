#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include "mapping/MappingProfileFile.h"
#include "mapping/MappingStore.h"
#include "mapping/ProfileCodec.h"
#include "runtime/AtomicFile.h"
#include "runtime/DateFormat.h"
#include "runtime/UUID.h"
#include "support/StoreHarness.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

namespace fs = std::filesystem;

OSCBankFocusMapping bank(const std::string& uuid, std::optional<std::string> group = {}) {
    OSCBankFocusMapping m;
    m.bankUUID = uuid;
    m.bankName = "Bank " + uuid;
    m.groupUUID = std::move(group);
    m.trackName = "Track";
    return m;
}

MIDIMapping pc(int value, int channel = 1, std::string name = "Track") {
    MIDIMapping m;
    m.programChange = value;
    m.channel = channel;
    m.trackName = std::move(name);
    return m;
}

MappingProfileSnapshot decodeFile(const fs::path& file) {
    const auto data = readWholeFile(file);
    EXPECT_TRUE(data.has_value()) << file;
    auto decoded = ProfileCodec::decode(data.value_or(""));
    EXPECT_TRUE(decoded.ok()) << decoded.error.describe();
    return decoded.snapshot.value_or(MappingProfileSnapshot{});
}

TEST(MappingStore, SnapshotsRestoreAtOnceAndPublishOnlyChanges) {
    StoreHarness h;
    MappingStore& store = h.store;
    ASSERT_TRUE(store.setMIDIMapping(5, pc(12, 3, "Horn")).ok());
    ASSERT_TRUE(store.setBankMapping(5, bank("B5")).ok());
    const MappingProfileSnapshot before = store.snapshot();

    std::vector<std::string> heard;
    std::size_t bankRowsSeenByPCObserver = 99;
    auto t1 = store.trackIndexToPC().subscribe([&](const RowKeyed<int>&) {
        heard.push_back("pc");
        // Every map is already in place when the first observer hears.
        bankRowsSeenByPCObserver = store.oscBankFocusMappingsByTrackIndex()->size();
    });
    auto t2 = store.trackIndexToName().subscribe([&](const RowMap&) { heard.push_back("name"); });
    auto t3 = store.oscBankFocusMappingsByTrackIndex().subscribe(
        [&](const RowKeyed<OSCBankFocusMapping>&) { heard.push_back("bank"); });

    // Restoring what is already there changes nothing and tells nobody.
    store.restore(before);
    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(store.snapshot(), before);

    MappingProfileSnapshot other;
    other.trackIndexToPC = {{1, 1}};
    other.trackIndexToName = before.trackIndexToName;
    store.restore(other);
    EXPECT_EQ(heard, (std::vector<std::string>{"pc", "bank"}));
    EXPECT_EQ(bankRowsSeenByPCObserver, 0u);
    EXPECT_EQ(store.snapshot(), other);

    store.restore(before);
    t1.reset();
    heard.clear();
    store.restore(other);
    EXPECT_EQ(heard, (std::vector<std::string>{"bank"}));
}

TEST(MappingStore, EditsLookupsIdentitiesAndLogicTrackNames) {
    StoreHarness h;
    MappingStore& store = h.store;

    // MIDI mapping: set, read back, refuse bad input without touching anything.
    MIDIMapping note;
    note.eventType = MappingEventType::note;
    note.note = 60;
    note.channel = 16;
    note.trackName = "Celli";
    ASSERT_TRUE(store.setMIDIMapping(40, note).ok());
    EXPECT_EQ(store.midiMapping(40), note);
    EXPECT_FALSE(store.midiMapping(41).has_value());
    EXPECT_FALSE(store.trackIndexToPC()->contains(40));

    const MappingProfileSnapshot beforeRefusals = store.snapshot();
    EXPECT_FALSE(store.setMIDIMapping(-1, pc(1)).ok());
    EXPECT_FALSE(store.setMIDIMapping(MappingStore::kMaxMappingRow + 1, pc(1)).ok());
    EXPECT_FALSE(store.setMIDIMapping(3, pc(128)).ok());
    EXPECT_FALSE(store.setMIDIMapping(3, pc(1, 0)).ok());
    EXPECT_FALSE(store.setMIDIMapping(3, pc(1, 17)).ok());
    EXPECT_FALSE(store.setBankMapping(3, bank("")).ok());
    EXPECT_EQ(store.snapshot(), beforeRefusals);
    EXPECT_TRUE(h.console.contains("[MappingStore] Refused MIDI mapping for row 3: channel"));
    EXPECT_TRUE(h.logged("Mapping change refused"));

    // Replacing a note mapping with a program change drops the note.
    ASSERT_TRUE(store.setMIDIMapping(40, pc(7, 2, "Celli")).ok());
    EXPECT_EQ(store.midiMapping(40)->programChange, std::optional<int>(7));
    EXPECT_FALSE(store.midiMapping(40)->note.has_value());
    EXPECT_EQ(store.midiMapping(40)->eventType, MappingEventType::programChange);

    // Identities: first use keeps the row; a clash or an inserted track draws on the serial.
    EXPECT_EQ(store.trackIdentity(40), std::optional<std::string>("logic-row-40"));
    store.restore([&] {
        MappingProfileSnapshot moved = store.snapshot();
        moved.oscTrackIdentityByIndex = {{41, "logic-row-40"}};
        return moved;
    }());
    EXPECT_EQ(store.ensureTrackIdentity(40), "inserted-1");
    EXPECT_EQ(*store.oscInsertedTrackSerial(), 1);
    EXPECT_EQ(store.makeInsertedTrackIdentity(), "inserted-2");
    EXPECT_EQ(store.ensureTrackIdentity(40), "inserted-1");

    // Bank mappings are stamped with row, id, identity and the current date.
    h.scheduler.advance(12.5);
    ASSERT_TRUE(store.setBankMapping(7, bank("B1", "G1")).ok());
    ASSERT_TRUE(store.setBankMapping(9, bank("B1")).ok());
    const OSCBankFocusMapping stored = *store.bankMapping(7);
    EXPECT_EQ(stored.trackIndex, 7);
    EXPECT_TRUE(isUUIDString(stored.id));
    EXPECT_EQ(stored.trackIdentity, std::optional<std::string>("logic-row-7"));
    EXPECT_DOUBLE_EQ(stored.updatedAt, h.scheduler.clock().date());
    EXPECT_EQ(stored.targetUUID(), "G1");
    EXPECT_EQ(store.rowsMappedTo("B1"), (std::vector<int>{7, 9}));
    EXPECT_EQ(store.rowsMappedTo("G1"), (std::vector<int>{7}));
    EXPECT_TRUE(store.rowsMappedTo("").empty());

    EXPECT_TRUE(store.removeBankMapping(9));
    EXPECT_FALSE(store.removeBankMapping(9));
    EXPECT_TRUE(store.clearMIDIMapping(40));
    EXPECT_FALSE(store.clearMIDIMapping(40));
    EXPECT_FALSE(store.midiMapping(40).has_value());

    store.clearAllMappings();
    EXPECT_TRUE(store.oscBankFocusMappingsByTrackIndex()->empty());
    EXPECT_TRUE(store.oscTrackIdentityByIndex()->empty());
    EXPECT_EQ(*store.oscInsertedTrackSerial(), 2);  // identities are never handed out twice

    // Logic's track names: published once per change, dated, cleared.
    int heard = 0;
    auto token = store.logicTrackNames().subscribe([&](const RowMap&) { ++heard; });
    h.scheduler.advance(3.0);
    store.applyLogicTrackNameSnapshot({{{1, "Piano"}, {3, "Bass"}}, {3}, {2}});
    EXPECT_EQ(*store.logicTrackNames(), (RowMap{{1, "Piano"}, {3, "Bass"}}));
    EXPECT_EQ(store.liveLogicTrackNames(), *store.logicTrackNames());
    EXPECT_EQ(*store.lastLogicSnapshotRefreshDate(),
              std::optional<Date>(h.scheduler.clock().date()));
    store.applyLogicTrackNameSnapshot({{{1, "Piano"}, {3, "Bass"}}, {}, {}});
    EXPECT_EQ(heard, 1);

    store.clearLogicTrackNameSnapshot();
    EXPECT_TRUE(store.logicTrackNames()->empty());
    EXPECT_FALSE(store.lastLogicSnapshotRefreshDate()->has_value());
    EXPECT_TRUE(h.console.contains("Logic track-name snapshot cleared"));
    EXPECT_TRUE(h.logged("Logic track-name snapshot cleared"));
}

TEST(MappingStore, OpeningChoosesMigratesAndSetsAside) {
    MappingProfileSnapshot legacy;  // also what the six-key file below holds
    legacy.trackIndexToPC = {{0, 1}, {5, 2}, {40, 3}};
    {
        SCOPED_TRACE("first start: nothing there, a fresh file is written with every key");
        TempFolder folder;
        StoreHarness h;
        const fs::path profiles = folder / "deep/Tessiva Focus";
        EXPECT_EQ(h.store.open(profiles), ProfileReadOutcome::missing);
        EXPECT_EQ(h.store.fileURL(), profiles / kDefaultProfileFileName);
        EXPECT_EQ(decodeFile(h.store.fileURL()), MappingProfileSnapshot{});
    }
    {
        SCOPED_TRACE("only the legacy file: read it and write it under the new name at once");
        TempFolder folder;
        ASSERT_TRUE(MappingProfileFile::write(folder / kLegacyProfileFileName, legacy).ok());
        StoreHarness h;
        EXPECT_EQ(h.store.open(folder.path()), ProfileReadOutcome::loaded);
        EXPECT_EQ(h.store.snapshot(), legacy);
        EXPECT_EQ(h.store.fileURL(), folder / kDefaultProfileFileName);
        EXPECT_EQ(decodeFile(folder / kDefaultProfileFileName), legacy);
        EXPECT_TRUE(fs::exists(folder / kLegacyProfileFileName));
        EXPECT_TRUE(h.logged("Legacy mappings profile migrated"));

        SCOPED_TRACE("both files: the new name wins");
        MappingProfileSnapshot changed = legacy;
        changed.trackIndexToPC = {{9, 9}};
        ASSERT_TRUE(MappingProfileFile::write(folder / kDefaultProfileFileName, changed).ok());
        StoreHarness again;
        again.store.open(folder.path());
        EXPECT_EQ(again.store.snapshot(), changed);

        SCOPED_TRACE("another name never falls back to the legacy file");
        StoreHarness named;
        EXPECT_EQ(named.store.open(folder.path(), "Song.json"), ProfileReadOutcome::missing);
        EXPECT_TRUE(named.store.trackIndexToPC()->empty());
        EXPECT_TRUE(fs::exists(folder / "Song.json"));
    }
    {
        SCOPED_TRACE(
            "six keys only: defaults, and saving adds the optional keys; opening "
            "removes what a killed save left behind");
        TempFolder folder;
        const fs::path leftover = folder / ".Tessiva Focus Mappings.json.0A1B2C3D.tmp";
        ASSERT_TRUE(writeFileAtomically(leftover, "{").ok());
        fs::last_write_time(leftover, fs::file_time_type::clock::now() - std::chrono::minutes(2));
        const std::string sixKeys =
            R"({"version":1,"trackIndexToPC":{"0":1,"5":2,"40":3},"trackIndexToName":{},)"
            R"("trackIndexToChannel":{},"trackIndexToEventType":{},"trackIndexToNote":{}})";
        ASSERT_TRUE(writeFileAtomically(folder / kDefaultProfileFileName, sixKeys).ok());
        StoreHarness h;
        EXPECT_EQ(h.store.open(folder.path()), ProfileReadOutcome::loaded);
        EXPECT_FALSE(fs::exists(leftover));
        EXPECT_TRUE(h.console.contains("Removed 1 temporary file(s) left by interrupted saves"));
        EXPECT_EQ(h.store.snapshot(), legacy);
        EXPECT_EQ(readWholeFile(folder / kDefaultProfileFileName).value(), sixKeys);
        ASSERT_TRUE(h.store.save().ok());
        EXPECT_EQ(readWholeFile(folder / kDefaultProfileFileName).value(),
                  sixKeys.substr(0, sixKeys.size() - 1) +
                      R"(,"oscTrackIdentityByIndex":{},"oscInsertedTrackSerial":0,)"
                      R"("oscBankFocusMappingsByTrackIndex":{}})");
    }
    {
        SCOPED_TRACE("unreadable profile: moved aside, logged, and a fresh file started");
        TempFolder folder;
        const std::string broken = R"({"version":1,"trackIndexToPC":{"1":)";
        ASSERT_TRUE(writeFileAtomically(folder / kDefaultProfileFileName, broken).ok());
        StoreHarness h;
        EXPECT_EQ(h.store.open(folder.path()), ProfileReadOutcome::unreadable);
        const fs::path aside =
            folder / ("Tessiva Focus Mappings.unreadable-" +
                      compactLocalTimestamp(h.scheduler.clock().date()) + ".json");
        EXPECT_EQ(readWholeFile(aside).value_or(""), broken);
        EXPECT_EQ(decodeFile(folder / kDefaultProfileFileName), MappingProfileSnapshot{});
        EXPECT_TRUE(h.console.contains("moved aside to " + aside.string()));
        const auto* entry = h.entry("Unreadable mappings profile set aside");
        ASSERT_NE(entry, nullptr);
        EXPECT_NE(entry->detail->find(aside.string()), std::string::npos);
        EXPECT_NE(entry->detail->find("byte offset"), std::string::npos);

        SCOPED_TRACE("a second set-aside in the same second keeps the first");
        ASSERT_TRUE(writeFileAtomically(folder / kDefaultProfileFileName, "[]").ok());
        StoreHarness again;
        again.store.open(folder.path());
        EXPECT_EQ(readWholeFile(aside).value(), broken);
        fs::path second = aside;
        second.replace_filename(aside.stem().string() + "-2.json");
        EXPECT_EQ(readWholeFile(second).value_or(""), "[]");
    }
}

TEST(MappingStore, AFailedSaveOrLoadKeepsWhatWasThere) {
    TempFolder folder;
    StoreHarness h;
    h.store.open(folder.path());
    ASSERT_TRUE(h.store.setMIDIMapping(1, pc(1)).ok());
    ASSERT_TRUE(h.store.save().ok());
    const fs::path file = h.store.fileURL();
    const std::string old = readWholeFile(file).value();
    const MappingProfileSnapshot before = h.store.snapshot();

    // Loading a bad, absent or huge (sparse here) file changes nothing; size refuses before
    // reading.
    ASSERT_TRUE(writeFileAtomically(folder / "bad.json", R"({"version":"one"})").ok());
    { std::ofstream(folder / "huge.json").put('{'); }
    fs::resize_file(folder / "huge.json", ProfileCodec::kMaxBytes + 1);
    const Status bad = h.store.load(folder / "bad.json");
    ASSERT_FALSE(bad.ok());
    EXPECT_NE(bad.error().find("\"version\""), std::string::npos);
    EXPECT_FALSE(h.store.load(folder / "absent.json").ok());
    const Status huge = h.store.load(folder / "huge.json");
    ASSERT_FALSE(huge.ok());
    EXPECT_NE(huge.error().find("larger than a profile can be"), std::string::npos);
    EXPECT_EQ(h.store.snapshot(), before);
    EXPECT_EQ(h.store.fileURL(), file);
    EXPECT_EQ(readWholeFile(folder / "bad.json").value(), R"({"version":"one"})");
    fs::remove(folder / "bad.json");
    fs::remove(folder / "huge.json");

    // A file-size limit makes the write itself fail, for root too.
    for (int row = 2; row < 200; ++row)
        ASSERT_TRUE(h.store.setMIDIMapping(row, pc(row % 128)).ok());
    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto previousHandler = signal(SIGXFSZ, SIG_IGN);
    rlimit small = saved;
    small.rlim_cur = old.size() + 16;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const Status status = h.store.save();
    setrlimit(RLIMIT_FSIZE, &saved);
    signal(SIGXFSZ, previousHandler);

    ASSERT_FALSE(status.ok());
    EXPECT_TRUE(h.console.contains("[MappingStore] Failed to save: " + status.error()));
    EXPECT_EQ(readWholeFile(file).value(), old);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator{}), 1)
        << "no temporary file left behind";

    // A folder in the profile's place is neither moved nor overwritten.
    fs::create_directories(folder / "taken.json");
    StoreHarness other;
    EXPECT_EQ(other.store.open(folder.path(), "taken.json"), ProfileReadOutcome::unreadable);
    EXPECT_TRUE(other.logged("Unreadable mappings profile kept"));
    EXPECT_FALSE(other.store.save().ok());
    EXPECT_TRUE(other.console.contains("[MappingStore] Failed to save: "));
    EXPECT_TRUE(fs::is_directory(folder / "taken.json"));
}

}  // namespace
}  // namespace tessiva
