#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "AllocationCounter.h"
#include "midi/MIDIRunPlan.h"
#include "midi/MIDIRunScheduler.h"
#include "midi/MirroredMIDIEvent.h"
#include "midi/VirtualMIDIBridge.h"
#include "platform/midi/MIDIService.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

std::vector<OSCArgument> event(std::string type, std::int32_t channel, std::int32_t d1,
                               std::int32_t d2) {
    return {OSCArgument::string(std::move(type)), OSCArgument::int32(channel),
            OSCArgument::int32(d1), OSCArgument::int32(d2)};
}

MirroredMIDIDecodeResult decode(const std::vector<OSCArgument>& args) {
    return decodeMirroredMIDIEvent(args, "127.0.0.1:53001");
}

TEST(MirroredMIDIEvent, EverySpellingDecodesAndValuesAreClampedNotRefused) {
    std::vector<std::pair<std::string, MIDIEventKind>> table{
        {"pressure", MIDIEventKind::channelPressure},
        {"aftertouch", MIDIEventKind::channelPressure}};
    // Each two-word name is read run together, with an underscore and with a hyphen.
    const std::tuple<std::string, std::string, MIDIEventKind> words[] = {
        {"note", "on", MIDIEventKind::noteOn},
        {"note", "off", MIDIEventKind::noteOff},
        {"control", "change", MIDIEventKind::controlChange},
        {"program", "change", MIDIEventKind::programChange},
        {"channel", "pressure", MIDIEventKind::channelPressure},
        {"pitch", "bend", MIDIEventKind::pitchBend},
    };
    for (const auto& [first, second, kind] : words) {
        for (const char* joint : {"", "_", "-"})
            table.emplace_back(first + joint + second, kind);
    }
    for (const auto& [name, kind] : table) {
        EXPECT_EQ(decode(event(name, 3, 60, 100)).event, (MirroredMIDIEvent{kind, 2, 60, 100}))
            << name;
    }

    SCOPED_TRACE("names are trimmed and compared without case");
    for (const std::string name :
         {"Note_On", "NOTEON", "  note-on\n", "\tNoteOn\u00A0", "\u2003NOTE_ON\r\n"}) {
        EXPECT_EQ(decode(event(name, 1, 1, 1)).event,
                  (MirroredMIDIEvent{MIDIEventKind::noteOn, 0, 1, 1}))
            << name;
    }

    SCOPED_TRACE("channel and data are clamped, not refused");
    // Status 0x90 for channel 1 and below, 0x9F for 16 and above.
    for (const auto& [given, channel] : {std::pair{0, 0}, {-7, 0}, {1, 0}, {16, 15}, {20, 15}})
        EXPECT_EQ(decode(event("noteon", given, 60, 1)).event->channel, channel) << given;
    EXPECT_EQ(decode(event("controlchange", 2, 200, -5)).event,
              (MirroredMIDIEvent{MIDIEventKind::controlChange, 1, 127, 0}));
    EXPECT_EQ(decode(event("pitchbend", INT32_MIN, INT32_MAX, INT32_MIN)).event,
              (MirroredMIDIEvent{MIDIEventKind::pitchBend, 0, 127, 0}));
}

TEST(MirroredMIDIEvent, EverySkippedEventSaysWhy) {
    const std::string undecodable = "Could not decode /tessiva/midi/event from 127.0.0.1:53001";
    SCOPED_TRACE("the argument list must be exactly s i i i");
    for (const std::string tags : {"", "sii", "siiii", "isii", "sfii", "siis"}) {
        std::vector<OSCArgument> args;
        for (char tag : tags) {
            args.push_back(tag == 's'   ? OSCArgument::string("noteon")
                           : tag == 'f' ? OSCArgument::float32(1.0f)
                                        : OSCArgument::int32(1));
        }
        const auto result = decode(args);
        EXPECT_FALSE(result.event) << tags;
        EXPECT_EQ(result.skippedDetail, undecodable);
    }

    SCOPED_TRACE("unknown types name the normalised type and the raw values");
    auto poly = decode(event(" Poly_Pressure ", 0, 200, -5));
    EXPECT_FALSE(poly.event);
    EXPECT_EQ(poly.skippedDetail,
              "Unsupported mirrored MIDI type poly_pressure. channel=0 data1=200 data2=-5");
    EXPECT_EQ(decode(event("", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type . channel=1 data1=2 data2=3");
    EXPECT_EQ(decode(event("SystemExclusiveMessage", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type systemexclusivemessage. channel=1 data1=2 data2=3");
    EXPECT_EQ(decode(event("NOTEÖN", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type noteön. channel=1 data1=2 data2=3");
    EXPECT_EQ(decode(event("note on", 1, 2, 3)).skippedDetail,
              "Unsupported mirrored MIDI type note on. channel=1 data1=2 data2=3");
}

using Logged = std::vector<std::pair<std::string, std::string>>;  // title, detail

// The main queue, the notification center and the debug events posted on it.
struct LoggingRig {
    // Whether an event with this title was logged with `part` in its detail.
    bool wasLogged(const std::string& title, const std::string& part = "") const {
        return std::any_of(logged.begin(), logged.end(), [&](const auto& event) {
            return event.first == title && event.second.find(part) != std::string::npos;
        });
    }

    VirtualScheduler scheduler;
    NotificationCenter center{scheduler.mainQueue()};
    CapturingConsole console;
    Logged logged;
    ObserverToken token =
        center.addObserver(kDebugEventNotification, [this](const Notification& n) {
            logged.emplace_back(n.userInfo.string(kDebugEventTitleKey).value_or(""),
                                n.userInfo.string(kDebugEventDetailKey).value_or(""));
        });
};

struct BridgeFixture : LoggingRig {
    std::vector<std::vector<int>> emitted() const {
        std::vector<std::vector<int>> result;
        for (const auto& message : midi.emittedMessages())
            result.emplace_back(message.bytes.begin(), message.bytes.end());
        return result;
    }

    SimulatedMIDIService midi;
    VirtualMIDIBridge bridge{midi, center, console};
};

TEST(VirtualMIDIBridge, FailuresAndUnsupportedTypesAreLoggedAndLaterAttemptsSucceed) {
    BridgeFixture f;
    f.midi.setFailure(SimulatedMIDIOperation::createClient, -10839);
    EXPECT_FALSE(f.bridge.start());
    EXPECT_FALSE(f.bridge.isStarted());
    EXPECT_EQ(f.console.lines(),
              (std::vector<std::string>{"[VirtualMIDIBridge] MIDIClientCreate failed: -10839"}));
    EXPECT_FALSE(f.bridge.send(MIDIEventKind::noteOn, 0, 60, 100));
    EXPECT_FALSE(f.bridge.send(MIDIEventKind::noteOn, 0, 60, 100));
    EXPECT_EQ(f.console.count("Dropping mirrored MIDI"), 1u);  // said once, not per event
    EXPECT_EQ(f.bridge.mirroredEventCount(), 0u);

    SCOPED_TRACE("then the source");
    f.midi.setFailure(SimulatedMIDIOperation::createClient, 0);
    f.midi.setFailure(SimulatedMIDIOperation::createVirtualSource, -10831);
    EXPECT_FALSE(f.bridge.start());
    EXPECT_TRUE(f.console.contains("[VirtualMIDIBridge] MIDISourceCreate failed: -10831"));
    EXPECT_EQ(
        f.logged,
        (Logged{{"Virtual MIDI source failed", "MIDIClientCreate failed with status -10839"},
                {"Virtual MIDI source failed", "MIDISourceCreate failed with status -10831"}}));
    f.midi.setFailure(SimulatedMIDIOperation::createVirtualSource, 0);
    EXPECT_TRUE(f.bridge.start());
    EXPECT_EQ(f.midi.clientNames().size(), 1u);  // the client was kept
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::noteOn, 0, 60, 100));

    SCOPED_TRACE("a failed send is logged per event and does not stop the bridge");
    f.logged.clear();
    f.console.clear();
    f.midi.setFailure(SimulatedMIDIOperation::emit, -10838);
    EXPECT_FALSE(f.bridge.send(MIDIEventKind::programChange, 9, 12, 0));
    EXPECT_TRUE(f.console.contains("[VirtualMIDIBridge] MIDIReceived failed: -10838"));
    f.midi.setFailure(SimulatedMIDIOperation::emit, 0);
    // How wire names and values decode is the MirroredMIDIEvent tests' part; here, what mirror()
    // does with the outcome.
    EXPECT_TRUE(f.bridge.mirror(" Note_On ", 0, 200, -5));
    EXPECT_FALSE(f.bridge.mirror("poly_pressure", 3, 60, 70));
    EXPECT_EQ(f.emitted(), (std::vector<std::vector<int>>{{0x90, 60, 100}, {0x90, 127, 0}}));
    EXPECT_EQ(f.logged, (Logged{{"Virtual MIDI send failed",
                                 "MIDIReceived failed with status -10838 for programChange "
                                 "channel=10 data1=12 data2=0"},
                                {"Mirrored MIDI skipped",
                                 "Unsupported mirrored MIDI type poly_pressure. channel=3 data1=60 "
                                 "data2=70"}}));
    EXPECT_TRUE(f.console.contains(
        "[VirtualMIDIBridge] Unsupported mirrored MIDI type poly_pressure. channel=3"));
    EXPECT_EQ(f.bridge.mirroredEventCount(), 2u);
}

TEST(VirtualMIDIBridge, StartsOnceThenEmitsTheTableBytesAndCountsQuietly) {
    BridgeFixture f;
    ASSERT_TRUE(f.bridge.start());
    EXPECT_TRUE(f.bridge.isStarted());
    EXPECT_EQ(f.midi.clientNames(), (std::vector<std::string>{"Tessiva Focus Virtual MIDI"}));
    EXPECT_EQ(f.midi.virtualSourceNames(), (std::vector<std::string>{"Tessiva MIDI"}));
    EXPECT_EQ(f.console.lines(),
              (std::vector<std::string>{
                  "[VirtualMIDIBridge] Created virtual MIDI source: Tessiva MIDI"}));
    ASSERT_EQ(f.logged.size(), 1u);
    EXPECT_EQ(f.logged[0].second,
              "Created CoreMIDI source \u201cTessiva MIDI\u201d. Logic can receive mirrored iPad "
              "MIDI from this source while Tessiva Focus is running.");
    SCOPED_TRACE("starting again changes nothing");
    EXPECT_TRUE(f.bridge.start());
    EXPECT_EQ(f.midi.virtualSourceNames().size(), 1u);
    f.console.clear();
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::noteOn, 0, 60, 100));
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::noteOff, 15, 60, 0));
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::controlChange, 1, 64, 127));
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::programChange, 2, 5, 99));
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::channelPressure, 3, 40, 99));
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::pitchBend, 4, 0, 64));
    EXPECT_TRUE(f.bridge.send(MIDIEventKind::noteOn, 200, 255, 128));  // cannot corrupt status
    EXPECT_EQ(f.emitted(), (std::vector<std::vector<int>>{{0x90, 60, 100},
                                                          {0x8F, 60, 0},
                                                          {0xB1, 64, 127},
                                                          {0xC2, 5},
                                                          {0xD3, 40},
                                                          {0xE4, 0, 64},
                                                          {0x9F, 127, 127}}));
    EXPECT_EQ(f.console.lines(),
              (std::vector<std::string>{"[VirtualMIDIBridge] Mirrored MIDI active: 1 events sent. "
                                        "latest=noteOn channel=1 data1=60 data2=100"}));

    SCOPED_TRACE("then every 250th event, and nothing in the event log");
    for (int i = 7; i < 500; ++i)
        f.bridge.send(MIDIEventKind::controlChange, 0, 1, i % 128);
    EXPECT_EQ(f.bridge.mirroredEventCount(), 500u);
    // Three lines, the last at 500: the second was at 250.
    ASSERT_EQ(f.console.lines().size(), 3u);
    EXPECT_EQ(f.console.lines()[2],
              "[VirtualMIDIBridge] Mirrored MIDI active: 500 events sent. latest=controlChange "
              "channel=1 data1=1 data2=115");
    EXPECT_EQ(f.logged.size(), 1u);  // only "source created"
}

// A virtual source that records each message with the time it left, into room reserved up front
// so that emitting allocates nothing.
class RecordingMIDIService final : public MIDIService {
  public:
    struct Sent {
        double time = 0;
        std::size_t size = 0;
        std::array<int, 3> bytes{};
    };
    explicit RecordingMIDIService(const Clock& clock) : clock_(clock) { sent_.reserve(4096); }
    MIDICreation<MIDIClient> createClient(const std::string&) override {
        return MIDICreation<MIDIClient>::success(std::make_unique<Client>(*this));
    }
    std::vector<Sent> sent() const {
        std::lock_guard guard(lock_);
        return sent_;
    }

  private:
    struct Source final : MIDIVirtualSource {
        explicit Source(RecordingMIDIService& owner) : owner(owner) {}
        MIDIStatusCode emit(std::span<const std::uint8_t> message) override {
            Sent sent{owner.clock_.now(), std::min<std::size_t>(message.size(), 3), {}};
            std::copy_n(message.begin(), sent.size, sent.bytes.begin());
            std::lock_guard guard(owner.lock_);
            owner.sent_.push_back(sent);
            return 0;
        }
        RecordingMIDIService& owner;
    };
    struct Client final : MIDIClient {
        explicit Client(RecordingMIDIService& owner) : owner(owner) {}
        MIDICreation<MIDIOutputPort> createOutputPort(const std::string&) override {
            return MIDICreation<MIDIOutputPort>::failure(-1, "not needed");
        }
        MIDICreation<MIDIVirtualSource> createVirtualSource(const std::string&) override {
            return MIDICreation<MIDIVirtualSource>::success(std::make_unique<Source>(owner));
        }
        std::vector<MIDIDestination> destinations() override { return {}; }
        RecordingMIDIService& owner;
    };
    const Clock& clock_;
    mutable std::mutex lock_;
    std::vector<Sent> sent_;
};

// Decoding and sending run on the mirrored-MIDI queue for every datagram, console lines included.
TEST(VirtualMIDIBridge, DecodeAndSendAllocateNothing) {
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    NullConsole console;
    RecordingMIDIService midi(scheduler.clock());
    VirtualMIDIBridge bridge(midi, center, console);
    ASSERT_TRUE(bridge.start());
    const auto arguments = event("channel_pressure", 7, 99, 0);
    std::size_t allocations = 0;
    {
        test::AllocationCounter counter;
        for (int i = 0; i < 600; ++i) {
            if (auto result = decode(arguments); result.event)
                bridge.send(*result.event);
        }
        allocations = counter.count();
    }
    EXPECT_EQ(allocations, 0u);
    const auto sent = midi.sent();
    ASSERT_EQ(sent.size(), 600u);
    EXPECT_EQ(sent.back().size, 2u);
    EXPECT_EQ(sent.back().bytes, (std::array<int, 3>{0xD6, 99, 0}));
}

constexpr std::int64_t kMs = 1'000'000;

std::string run(const std::string& overrides = "", const std::string& notes = "[60,62,64]") {
    return std::string(R"({"version":1,"runID":"R1","startDelayNanoseconds":100000000,)") +
           R"("intervalNanoseconds":50000000,"gateNanoseconds":40000000,)" +
           R"("overlapNanoseconds":0,"legato":false,"channelOneBased":3,"velocity":90,)" +
           overrides + R"("notes":)" + notes + "}";
}

TEST(MIDIRunPlan, RefusesWhatCannotPlaySafelyAndLaysOutGateLegatoOverlapAndRepeats) {
    struct Case {
        std::string json;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {"[1,2]", "it is not a JSON object"},
        {R"({"version":2})", "\"version\" is 2, not a whole number from 1 to 1"},
        {run(R"("channelOneBased":17,)"), "\"channelOneBased\" is 17"},
        {run(R"("velocity":0,)"), "\"velocity\" is 0"},
        {run(R"("gateNanoseconds":0,)"), "\"gateNanoseconds\" is 0"},
        {run(R"("intervalNanoseconds":-5,)"), "\"intervalNanoseconds\" is -5"},
        {run(R"("intervalNanoseconds":1.5,)"), "\"intervalNanoseconds\" is 1.5"},
        {run(R"("legato":"yes",)"), "\"legato\" is missing or not true or false"},
        {run("", "[60,128]"), "note 2 is 128"},
        {run("", "[]"), "\"notes\" holds 0 notes"},
        {run("", R"("C4")"), "\"notes\" is not an array"},
        {run(R"("intervalNanoseconds":59000000000,)", "[1,2,3,4,5,6,7,8,9,10,11,12]"),
         "a run lasts at most 600 s"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json);
        auto parsed = parseMIDIRunPlan(c.json);
        ASSERT_TRUE(std::holds_alternative<std::string>(parsed));
        EXPECT_NE(std::get<std::string>(parsed).find(c.reason), std::string::npos)
            << std::get<std::string>(parsed);
    }
    // A float that is whole is accepted (encoders differ).
    auto parsed = parseMIDIRunPlan(run(R"("velocity":90.0,)"));
    ASSERT_TRUE(std::holds_alternative<MIDIRunPlan>(parsed)) << std::get<std::string>(parsed);
    EXPECT_EQ(std::get<MIDIRunPlan>(parsed).velocity, 90);

    using E = MIDIRunEvent;
    SCOPED_TRACE("gate: each note held for its gate");
    EXPECT_EQ(
        layOutMIDIRun({60, 62}, 50 * kMs, 40 * kMs, 5 * kMs, false),
        (std::vector<E>{
            {0, true, 60}, {40 * kMs, false, 60}, {50 * kMs, true, 62}, {90 * kMs, false, 62}}));
    SCOPED_TRACE("legato: held into the next note by the overlap; the last keeps its gate");
    EXPECT_EQ(layOutMIDIRun({60, 62, 64}, 50 * kMs, 40 * kMs, 5 * kMs, true),
              (std::vector<E>{{0, true, 60},
                              {50 * kMs, true, 62},
                              {55 * kMs, false, 60},
                              {100 * kMs, true, 64},
                              {105 * kMs, false, 62},
                              {140 * kMs, false, 64}}));
    SCOPED_TRACE("a pitch struck again while held is released at the strike, before it");
    EXPECT_EQ(
        layOutMIDIRun({60, 60}, 50 * kMs, 80 * kMs, 0, false),
        (std::vector<E>{
            {0, true, 60}, {50 * kMs, false, 60}, {50 * kMs, true, 60}, {130 * kMs, false, 60}}));
    SCOPED_TRACE("legato into the same pitch: release then strike at the same instant");
    EXPECT_EQ(
        layOutMIDIRun({60, 60}, 50 * kMs, 40 * kMs, 10 * kMs, true),
        (std::vector<E>{
            {0, true, 60}, {50 * kMs, false, 60}, {50 * kMs, true, 60}, {90 * kMs, false, 60}}));
}

struct RunRig : LoggingRig {
    RunRig() { bridge.start(); }
    // (milliseconds after t0, status, note) of everything sent so far.
    std::vector<std::tuple<long, int, int>> sent(double t0) const {
        std::vector<std::tuple<long, int, int>> result;
        for (const auto& s : midi.sent())
            result.emplace_back(std::lround((s.time - t0) * 1000.0), s.bytes[0], s.bytes[1]);
        return result;
    }

    RecordingMIDIService midi{scheduler.clock()};
    VirtualMIDIBridge bridge{midi, center, console};
    std::optional<MIDIRunScheduler> runs{std::in_place, scheduler, bridge, center, console};
};

TEST(MIDIRunScheduler, PlaysEachNoteAtReceiptPlusDelayPlusItsOffsetAndLogsRefusals) {
    RunRig rig;
    const double received = rig.scheduler.now();
    rig.scheduler.advance(0.030);  // the datagram took 30 ms to reach the scheduler
    rig.runs->schedule(run(), received, "127.0.0.1:9000");
    rig.scheduler.advance(1.0);
    // Channel 3: note-on 0x92, note-off 0x82.
    EXPECT_EQ(rig.sent(received), (std::vector<std::tuple<long, int, int>>{{100, 0x92, 60},
                                                                           {140, 0x82, 60},
                                                                           {150, 0x92, 62},
                                                                           {190, 0x82, 62},
                                                                           {200, 0x92, 64},
                                                                           {240, 0x82, 64}}));
    EXPECT_EQ(rig.midi.sent()[0].bytes[2], 90);
    EXPECT_EQ(rig.runs->activeRunCount(), 0u);
    EXPECT_TRUE(rig.wasLogged("MIDI run finished"));

    SCOPED_TRACE("refusals are logged and play nothing");
    rig.runs->schedule(run(R"("channelOneBased":0,)"), rig.scheduler.now(), "127.0.0.1:9000");
    rig.runs->cancel(R"({"runID":"nope","channelOneBased":1,"notes":[]})", "127.0.0.1:9000");
    rig.scheduler.advance(1.0);
    EXPECT_EQ(rig.midi.sent().size(), 6u);
    EXPECT_TRUE(rig.wasLogged("MIDI run refused",
                              "Refused the MIDI run from 127.0.0.1:9000: "
                              "\"channelOneBased\" is 0"));
    EXPECT_TRUE(rig.wasLogged("MIDI run cancel ignored"));

    SCOPED_TRACE("a seventeenth run at once is refused");
    for (int i = 1; i <= 17; ++i) {
        std::string text = run();
        text.replace(text.find("R1"), 2, "Run" + std::to_string(i));
        rig.runs->schedule(text, rig.scheduler.now(), "127.0.0.1:9000");
    }
    EXPECT_EQ(rig.runs->activeRunCount(), 16u);
    EXPECT_TRUE(rig.wasLogged("MIDI run refused",
                              "Refused the MIDI run Run17 from 127.0.0.1:9000: "
                              "16 runs are already playing."));
}

TEST(MIDIRunScheduler, CancelReplaceLostLinkAndQuitReleaseEverySoundingNote) {
    struct Case {
        const char* name;
        std::function<void(RunRig&)> stop;
        const char* title;
        const char* detail;
    };
    const std::vector<Case> cases = {
        {"cancel",
         [](RunRig& r) {
             r.runs->cancel(R"({"runID":"R1","channelOneBased":3,"notes":[60,62]})", "iPad");
         },
         "MIDI run cancelled", "after 2 note(s); released 2 sounding note(s)"},
        {"replaced by a run with the same ID",
         [](RunRig& r) { r.runs->schedule(run("", "[70]"), r.scheduler.now() + 10.0, "iPad"); },
         "MIDI run replaced", "released 2 note(s)"},
        {"link lost", [](RunRig& r) { r.runs->stopAll("the iPad link went down"); },
         "MIDI runs stopped", "released 2 sounding note(s): the iPad link went down"},
        {"quit", [](RunRig& r) { r.runs.reset(); }, "MIDI runs stopped",
         "released 2 sounding note(s): Tessiva Focus is quitting"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        RunRig rig;
        const double t0 = rig.scheduler.now();
        // Legato with a long overlap: two notes sound at once at 160 ms, the lowest pitch among
        // them so that the release covers the whole range.
        rig.runs->schedule(run(R"("legato":true,"overlapNanoseconds":30000000,)", "[0,62,64]"), t0,
                           "iPad");
        rig.scheduler.advance(0.160);
        c.stop(rig);
        rig.scheduler.advance(5.0);
        const auto sent = rig.sent(t0);
        // Every note-on has its note-off; nothing plays after the stop.
        std::map<int, int> balance;
        for (const auto& [ms, status, note] : sent) {
            if (status == 0x92)
                ++balance[note];
            else if (status == 0x82)
                --balance[note];
            EXPECT_LE(ms, 160) << "played after the stop";
        }
        for (const auto& [note, open] : balance)
            EXPECT_EQ(open, 0) << "note " << note << " left hanging";
        // Released lowest first, at velocity 0.
        EXPECT_EQ(rig.midi.sent().back().bytes, (std::array<int, 3>{0x82, 62, 0}));
        EXPECT_TRUE(rig.wasLogged(c.title, c.detail)) << testing::PrintToString(rig.logged);
    }
}

}  // namespace
}  // namespace tessiva
