#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "RecordingMIDIService.h"
#include "midi/MIDIRunPlan.h"
#include "midi/MIDIRunScheduler.h"
#include "midi/VirtualMIDIBridge.h"
#include "runtime/Console.h"
#include "runtime/DebugEvent.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

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

struct RunRig {
    RunRig() {
        bridge.start();
        token = center.addObserver(kDebugEventNotification, [this](const Notification& n) {
            logged.emplace_back(n.userInfo.string(kDebugEventTitleKey).value_or(""),
                                n.userInfo.string(kDebugEventDetailKey).value_or(""));
        });
    }
    // (milliseconds after t0, status, note) of everything sent so far.
    std::vector<std::tuple<long, int, int>> sent(double t0) const {
        std::vector<std::tuple<long, int, int>> result;
        for (const auto& s : midi.sent())
            result.emplace_back(std::lround((s.time - t0) * 1000.0), s.bytes[0], s.bytes[1]);
        return result;
    }
    // Whether an event with this title was logged with `part` in its detail.
    bool wasLogged(const std::string& title, const std::string& part = "") const {
        return std::any_of(logged.begin(), logged.end(), [&](const auto& event) {
            return event.first == title && event.second.find(part) != std::string::npos;
        });
    }

    VirtualScheduler scheduler;
    NotificationCenter center{scheduler.mainQueue()};
    CapturingConsole console;
    test::RecordingMIDIService midi{scheduler.clock()};
    VirtualMIDIBridge bridge{midi, center, console};
    std::optional<MIDIRunScheduler> runs{std::in_place, scheduler, bridge, center, console};
    ObserverToken token;
    std::vector<std::pair<std::string, std::string>> logged;  // title, detail
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
