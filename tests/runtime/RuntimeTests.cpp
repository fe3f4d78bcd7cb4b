#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/defaults/JsonFileUserDefaults.h"
#include "runtime/AtomicFile.h"
#include "runtime/Console.h"
#include "runtime/DateFormat.h"
#include "runtime/NotificationCenter.h"
#include "runtime/Paths.h"
#include "runtime/RepeatingTimer.h"
#include "runtime/Text.h"
#include "runtime/UUID.h"
#include "runtime/VirtualScheduler.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

// Each queue's work runs as that queue, the test thread playing the main thread.
TEST(VirtualScheduler, RunsDueWorkOnItsQueueInTimeOrderWithTiesInSchedulingOrder) {
    VirtualScheduler scheduler;
    auto serial = scheduler.makeSerialQueue("tessiva.logic.selection");
    EXPECT_EQ(serial->name(), "tessiva.logic.selection");
    EXPECT_TRUE(scheduler.mainQueue().isCurrent());
    EXPECT_FALSE(serial->isCurrent());
    std::vector<std::string> ran;
    auto on = [&](Queue& queue, std::string label) {
        return [&, label] { ran.push_back(queue.isCurrent() ? label : label + " off its queue"); };
    };
    scheduler.mainQueue().postAfter(0.5, on(scheduler.mainQueue(), "main 0.5 a"));
    serial->postAfter(0.2, [&] {
        ran.push_back(serial->isCurrent() && !scheduler.mainQueue().isCurrent() ? "serial 0.2"
                                                                                : "main current");
    });
    serial->postAfter(0.5, on(*serial, "serial 0.5 b"));
    scheduler.mainQueue().postAfter(0.5, on(scheduler.mainQueue(), "main 0.5 c"));
    scheduler.mainQueue().post(on(scheduler.mainQueue(), "main now"));

    EXPECT_EQ(scheduler.advance(0.49), 2u);
    EXPECT_EQ(ran, (std::vector<std::string>{"main now", "serial 0.2"}));
    EXPECT_EQ(scheduler.advance(0.01), 3u);
    EXPECT_EQ(ran, (std::vector<std::string>{"main now", "serial 0.2", "main 0.5 a", "serial 0.5 b",
                                             "main 0.5 c"}));
}

TEST(VirtualScheduler, ClockStandsAtDueTimeWhileWorkRunsAndChainedWorkRunsInTheSameAdvance) {
    VirtualScheduler scheduler(100.0);
    std::vector<double> times;
    scheduler.mainQueue().postAfter(1.0, [&] {
        times.push_back(scheduler.now());
        // Scheduled by due work: due at 101.5, still inside the advance window.
        scheduler.mainQueue().postAfter(0.5, [&] { times.push_back(scheduler.now()); });
        // Due at 103: outside the window.
        scheduler.mainQueue().postAfter(2.0, [&] { times.push_back(scheduler.now()); });
    });
    scheduler.advance(2.0);
    EXPECT_EQ(times, (std::vector<double>{101.0, 101.5}));
    EXPECT_DOUBLE_EQ(scheduler.now(), 102.0);
    EXPECT_EQ(scheduler.pendingCount(), 1u);
    scheduler.advance(1.0);
    EXPECT_EQ(times.back(), 103.0);
}

TEST(VirtualScheduler, CancelledWorkNeverRunsAndCancelAfterRunIsHarmless) {
    VirtualScheduler scheduler;
    int runs = 0;
    WorkItem cancelled = scheduler.mainQueue().postAfter(1.0, [&] { ++runs; });
    WorkItem kept = scheduler.mainQueue().postAfter(1.0, [&] { ++runs; });
    EXPECT_TRUE(cancelled.isPending());
    cancelled.cancel();
    EXPECT_FALSE(cancelled.isPending());
    EXPECT_EQ(scheduler.pendingCount(), 1u);
    scheduler.advance(5.0);
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(kept.isPending());
    kept.cancel();        // already ran: nothing happens
    WorkItem().cancel();  // never armed, as debounced work is at first: nothing happens either
    EXPECT_EQ(runs, 1);
}

TEST(RepeatingTimer, FiresAfterFirstDelayThenEveryIntervalUntilStopped) {
    VirtualScheduler scheduler(0.0);
    RepeatingTimer timer;
    std::vector<double> ticks;
    timer.start(scheduler.mainQueue(), 5.0, 10.0, [&] { ticks.push_back(scheduler.now()); });
    scheduler.advance(4.999);
    EXPECT_TRUE(ticks.empty());
    scheduler.advance(30.001);
    EXPECT_EQ(ticks, (std::vector<double>{5.0, 15.0, 25.0, 35.0}));
    timer.stop();
    scheduler.advance(100.0);
    EXPECT_EQ(ticks.size(), 4u);

    // A tick may stop its own timer.
    RepeatingTimer selfStopping;
    int count = 0;
    selfStopping.start(scheduler.mainQueue(), 1.0, 1.0, [&] {
        if (++count == 2)
            selfStopping.stop();
    });
    scheduler.advance(10.0);
    EXPECT_EQ(count, 2);
    EXPECT_FALSE(selfStopping.isRunning());
}

TEST(NotificationCenter, DeliversByNameWithUserInfoAndStopsWhenTokenGoes) {
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    std::vector<std::string> seen;
    auto token =
        center.addObserver("tessiva.oscHandshakeStatusChanged", [&](const Notification& n) {
            seen.push_back(n.name + ":" +
                           (n.userInfo.boolean("connected").value_or(false) ? "up" : "down"));
        });
    auto other = center.addObserver("tessiva.debugEvent", [&](const Notification& n) {
        seen.push_back(n.userInfo.string("title").value_or("?"));
    });
    center.post("tessiva.oscHandshakeStatusChanged", {{"connected", true}});
    center.post("tessiva.debugEvent", {{"title", std::string("Mapped output blocked")}});
    EXPECT_EQ(seen, (std::vector<std::string>{"tessiva.oscHandshakeStatusChanged:up",
                                              "Mapped output blocked"}));
    token.reset();
    center.post("tessiva.oscHandshakeStatusChanged", {{"connected", false}});
    EXPECT_EQ(seen.size(), 2u);

    UserInfo info{{"count", std::int64_t{3}}};
    EXPECT_EQ(info.integer("count"), 3);
    EXPECT_FALSE(info.string("count").has_value());  // wrong type reads as absent

    SCOPED_TRACE("an observer may remove itself while it is being delivered to");
    int calls = 0;
    ObserverToken self;
    self = center.addObserver("n", [&](const Notification&) {
        ++calls;
        self.reset();
    });
    center.post("n");
    center.post("n");
    EXPECT_EQ(calls, 1);
}

TEST(NotificationCenter, PostsOffTheMainQueueHopToItInPostingOrder) {
    VirtualScheduler scheduler;
    NotificationCenter center(scheduler.mainQueue());
    auto serial = scheduler.makeSerialQueue("tessiva.focus.osc.discovery");
    std::vector<std::int64_t> order;
    bool onMain = false;
    auto token = center.addObserver("n", [&](const Notification& n) {
        onMain = scheduler.mainQueue().isCurrent();
        order.push_back(*n.userInfo.integer("i"));
    });
    serial->post([&] {
        center.post("n", {{"i", std::int64_t{1}}});
        center.post("n", {{"i", std::int64_t{2}}});
        EXPECT_TRUE(order.empty());  // not delivered on the serial queue
    });
    std::thread foreign([&] { center.post("n", {{"i", std::int64_t{3}}}); });
    foreign.join();
    scheduler.runUntilIdle();
    EXPECT_TRUE(onMain);
    ASSERT_EQ(order.size(), 3u);
    // The foreign thread posted before the serial work ran.
    EXPECT_EQ(order, (std::vector<std::int64_t>{3, 1, 2}));
}

namespace fs = std::filesystem;

TEST(UUID, UpperCaseVersion4AndUnique) {
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i) {
        const std::string id = makeUUID();
        ASSERT_TRUE(isUUIDString(id)) << id;
        EXPECT_EQ(id[14], '4');
        EXPECT_NE(std::string("89AB").find(id[19]), std::string::npos);
        EXPECT_EQ(id.find_first_of("abcdef"), std::string::npos);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
    EXPECT_FALSE(isUUIDString("E621E1F8C36C495A93FC0C247A3E6E5F"));
}

TEST(Dates, ReferenceEpochIsFirstJanuary2001Utc) {
    EXPECT_DOUBLE_EQ(unixSecondsFromDate(0.0), 978307200.0);
    EXPECT_DOUBLE_EQ(dateFromUnixSeconds(978307200.0 + 86400.0), 86400.0);
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(compactLocalTimestamp(0.0), "20010101-000000");
    EXPECT_EQ(compactLocalTimestamp(86400.0 * 365 + 3661.5), "20020101-010101");
    EXPECT_EQ(displayLocalTimestamp(1.25), "2001-01-01 00:00:01.250");
}

TEST(Paths, EnvironmentOverrideAndPlatformDefault) {
    // Nothing else in this binary reads the variable.
    setenv("TESSIVA_FOCUS_HOME", "/tmp/tessiva-home", 1);
    EXPECT_EQ(applicationSupportFolder(), fs::path("/tmp/tessiva-home"));
    unsetenv("TESSIVA_FOCUS_HOME");
    EXPECT_EQ(applicationSupportFolder().filename(), "Tessiva Focus");
}

TEST(AtomicFile, ReplacesWholeFilesKeepsTheOldOneOnFailureAndRemovesOnlyItsOwnLeftovers) {
    TempFolder folder;
    const fs::path target = folder.path() / "sub" / "profile.json";
    ASSERT_TRUE(writeFileAtomically(target, "first").ok());
    ASSERT_TRUE(writeFileAtomically(target, "second").ok());
    EXPECT_EQ(readWholeFile(target).value(), "second");

    if (geteuid() != 0) {  // root ignores folder permissions
        fs::permissions(target.parent_path(), fs::perms::owner_read | fs::perms::owner_exec);
        Status failed = writeFileAtomically(target, "third");
        EXPECT_FALSE(failed.ok());
        EXPECT_NE(failed.error().find("could not create"), std::string::npos);
        fs::permissions(target.parent_path(), fs::perms::owner_all);
    }
    // A target that is a folder cannot be replaced: the write fails and leaves nothing behind.
    fs::create_directories(folder.path() / "busy.json" / "inside");
    EXPECT_FALSE(writeFileAtomically(folder.path() / "busy.json", "x").ok());
    EXPECT_EQ(readWholeFile(target).value(), "second");
    for (const auto& entry : fs::directory_iterator(target.parent_path())) {
        EXPECT_EQ(entry.path().extension(), ".json") << "temporary left: " << entry.path();
    }
    std::string error;
    EXPECT_FALSE(readWholeFile(folder.path() / "missing.json", &error).has_value());
    EXPECT_NE(error.find("missing.json"), std::string::npos);

    SCOPED_TRACE("only its own old leftovers of interrupted saves are removed");
    const auto make = [&](const std::string& name, std::chrono::seconds age) {
        const fs::path path = folder.path() / name;
        std::ofstream(path) << "x";
        fs::last_write_time(path, fs::file_time_type::clock::now() - age);
        return path;
    };
    using std::chrono::seconds;
    const fs::path oldLeftover = make(".profile.json.0A1b2C3d.tmp", seconds(120));
    const std::vector<fs::path> kept = {
        make(".profile.json.0A1B2C3D.tmp", seconds(10)),  // a save may still be writing it
        make(".profile.json.0A1B2C3.tmp", seconds(120)),  // seven digits
        make(".profile.json.0A1B2C3G.tmp", seconds(120)),
        make("profile.json.0A1B2C3D.tmp", seconds(120)),  // not hidden
        make(".0A1B2C3D.tmp", seconds(120)),              // no target name
        make(".profile.json.0A1B2C3D.tmpx", seconds(120)),
        make("profile.json", seconds(120)),
    };
    EXPECT_EQ(removeInterruptedSaveLeftovers(folder.path()), 1);
    EXPECT_FALSE(fs::exists(oldLeftover));
    for (const fs::path& path : kept)
        EXPECT_TRUE(fs::exists(path)) << path;
    EXPECT_EQ(removeInterruptedSaveLeftovers(folder.path() / "missing"), 0);
}

TEST(JsonFileUserDefaults, PersistsEveryTypeAndSurvivesACorruptFile) {
    TempFolder folder;
    CapturingConsole console;
    const fs::path file = folder.path() / "Preferences.json";
    {
        JsonFileUserDefaults defaults(file, console);
        defaults.setBool("tessivaFocus.hasCompletedInitialSetup", true);
        defaults.setInteger("port", 12111);
        defaults.setString("host", "192.0.2.1");
        defaults.setStringList("tessiva.recentMappingsProfilePaths", {"/a.json", "/b.json"});
        defaults.setString("gone", "x");
        defaults.remove("gone");
    }
    JsonFileUserDefaults reopened(file, console);
    EXPECT_EQ(reopened.boolValue("tessivaFocus.hasCompletedInitialSetup"), true);
    EXPECT_EQ(reopened.integer("port"), 12111);
    EXPECT_EQ(reopened.string("host"), "192.0.2.1");
    EXPECT_EQ(reopened.stringList("tessiva.recentMappingsProfilePaths"),
              (std::vector<std::string>{"/a.json", "/b.json"}));
    EXPECT_FALSE(reopened.string("gone").has_value());
    EXPECT_FALSE(reopened.boolValue("port").has_value());

    ASSERT_TRUE(writeFileAtomically(file, "{not json").ok());
    JsonFileUserDefaults corrupt(file, console);
    EXPECT_FALSE(corrupt.integer("port").has_value());
    EXPECT_TRUE(console.contains("Ignoring unreadable preferences file"));
    corrupt.setInteger("port", 1);
    JsonFileUserDefaults repaired(file, console);
    EXPECT_EQ(repaired.integer("port"), 1);
}

TEST(Text, TrimsAndLowercasesEveryScriptKeepingMalformedBytes) {
    EXPECT_EQ(text::trimmed("\u00A0Violins\u00A0"), "Violins");
    EXPECT_EQ(text::trimmed(" \t\r\n First Violins \u2028\u3000"), "First Violins");
    EXPECT_EQ(text::trimmed("\u0085"), "");
    EXPECT_EQ(text::trimmed(""), "");
    EXPECT_EQ(text::trimmed("Horn"), "Horn");
    // Malformed bytes are content, not white space.
    EXPECT_EQ(text::trimmed(" \xFF "), "\xFF");
    EXPECT_EQ(text::lowercased("Flöte"), "flöte");
    EXPECT_EQ(text::lowercased("ÉTUDE Ω"), "étude ω");
    EXPECT_EQ(text::lowercased("CELLO\xC3"), "cello\xC3");
    EXPECT_EQ(text::replacingNoBreakSpaces("A\u00A0B"), "A B");
    EXPECT_EQ(text::lightNormalizedTrackName("\u00A0 Solo\u00A0Cello \n"), "Solo Cello");
    EXPECT_TRUE(text::isAlphanumeric(U'é'));
    EXPECT_TRUE(text::isAlphanumeric(U'7'));
    EXPECT_FALSE(text::isAlphanumeric(U'-'));
}

}  // namespace
}  // namespace tessiva
