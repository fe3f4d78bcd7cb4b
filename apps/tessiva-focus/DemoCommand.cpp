#include "DemoCommand.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>

#include "HeadlessProgram.h"
#include "app/AppDelegate.h"
#include "app/SelectionStageRecorder.h"
#include "mapping/MappingProfileFile.h"
#include "mapping/MappingStore.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"
#include "runtime/AtomicFile.h"
#include "runtime/ChildProcess.h"
#include "runtime/Console.h"
#include "runtime/UUID.h"

namespace tessiva {

namespace {

namespace fs = std::filesystem;

// The template: three Track Stacks of eight rows each (the stack's own header row first).
const std::vector<std::pair<std::string, std::vector<std::string>>> kOrchestra = {
    {"Strings", {"Violins I", "Violins II", "Violas", "Cellos", "Basses", "Harp", "Celesta"}},
    {"Brass",
     {"Horns", "Trumpets", "Tenor Trombones", "Bass Trombone", "Tuba", "Timpani", "Cymbals"}},
    {"Woodwinds",
     {"Piccolo", "Flutes", "Oboes", "Cor Anglais", "Clarinets", "Bass Clarinet", "Bassoons"}},
};
const std::vector<std::pair<std::string, std::vector<std::string>>> kCue = {
    {"Strings", {"Violins", "Violas", "Cellos", "Basses"}},
    {"Choir", {"Sopranos", "Altos", "Tenors", "Basses (Choir)"}},
};

struct DemoBank {
    std::string uuid;
    std::string name;
    std::string section;
};

// Bank UUIDs shared by the profiles and the iPad's workspace, so the two agree.
const std::vector<DemoBank> kBanks = {
    {"6F1C2A10-0000-4000-8000-000000000001", "Violins I Legato", "Strings"},
    {"6F1C2A10-0000-4000-8000-000000000002", "Cellos Spiccato", "Strings"},
    {"6F1C2A10-0000-4000-8000-000000000003", "Horns Sustain", "Brass"},
    {"6F1C2A10-0000-4000-8000-000000000004", "Choir Ah", "Choir"},
};

// Logic numbers every row, stack headers included.
std::vector<std::string> rowNames(
    const std::vector<std::pair<std::string, std::vector<std::string>>>& stacks) {
    std::vector<std::string> rows;
    for (const auto& [stack, members] : stacks) {
        rows.push_back(stack);
        rows.insert(rows.end(), members.begin(), members.end());
    }
    return rows;
}

MappingProfileSnapshot profileFor(const std::vector<std::string>& rows,
                                  const std::vector<std::pair<int, const DemoBank*>>& banks,
                                  int firstProgram) {
    MappingProfileSnapshot snapshot;
    snapshot.version = kMappingProfileVersion;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const int row = static_cast<int>(i) + 1;
        snapshot.trackIndexToPC[row] = firstProgram + static_cast<int>(i);
        snapshot.trackIndexToName[row] = rows[i];
        snapshot.trackIndexToChannel[row] = 1;
        snapshot.trackIndexToEventType[row] = MappingEventType::programChange;
    }
    for (const auto& [row, bank] : banks) {
        OSCBankFocusMapping mapping;
        mapping.id = makeUUID();
        mapping.trackIndex = row;
        mapping.trackName = rows[static_cast<std::size_t>(row - 1)];
        mapping.bankUUID = bank->uuid;
        mapping.bankName = bank->name;
        mapping.sectionName = bank->section;
        mapping.updatedAt = 800'000'000.0;
        snapshot.oscBankFocusMappingsByTrackIndex[row] = mapping;
    }
    return snapshot;
}

std::string workspaceJSON() {
    nlohmann::json sections = nlohmann::json::array();
    for (const std::string section : {"Strings", "Brass", "Choir"}) {
        nlohmann::json banks = nlohmann::json::array();
        for (const auto& bank : kBanks) {
            if (bank.section != section)
                continue;
            banks.push_back(
                {{"uuid", bank.uuid},
                 {"name", bank.name},
                 {"sectionName", bank.section},
                 {"articulationCount", 4},
                 {"articulationNames", {"Legato", "Sustain", "Staccato", "Pizzicato"}}});
        }
        sections.push_back({{"name", section}, {"banks", banks}});
    }
    return nlohmann::json{{"workspaceUUID", "6F1C2A10-0000-4000-8000-0000000000AA"},
                          {"workspaceName", "Demo Orchestra"},
                          {"sections", sections}}
        .dump();
}

Scenario demoScenario() {
    Scenario scenario;
    scenario.project = "Orchestral Template";
    // Logic 12 as recorded: the header rail, a selection published about 0.35 s after the
    // gesture, and no notification for it.
    scenario.version = SimulatedLogicVersion::logic12;
    scenario.notifications = SimulatedLogicNotifications::none;
    scenario.selectionSettleDelay = 0.35;
    scenario.selectionSettleJitter = 0.05;
    for (const auto& [stack, members] : kOrchestra)
        scenario.tracks.emplace_back(Scenario::Stack{stack, members});
    using A = Scenario::Action;
    auto step = [](double at, A action, int track = 0, std::string text = {}) {
        Scenario::Step s;
        s.at = at;
        s.action = action;
        s.track = track;
        s.text = std::move(text);
        return s;
    };
    scenario.steps = {
        step(3.0, A::click, 2, "plain"),   // Violins I: bank and Program Change
        step(4.0, A::click, 5, "plain"),   // Cellos
        step(5.0, A::click, 10, "plain"),  // Horns
        step(5.8, A::click, 10, "plain"),  // the same track again: nothing sent twice
        step(8.0, A::setProject, 0, "Cue 2"),
        step(13.0, A::click, 6, "plain"),  // Cue 2's Choir stack: its bank and Program Change
        step(14.0, A::click, 3, "plain"),  // Violas in Cue 2: Program Change only
    };
    scenario.endAfter = 15.5;
    return scenario;
}

// Prints the transcript: each line with the time since the demo began.
class TranscriptConsole final : public Console {
  public:
    explicit TranscriptConsole(bool verbose)
        : verbose_(verbose), start_(std::chrono::steady_clock::now()) {}
    void line(std::string_view text) override {
        std::lock_guard lock(mutex_);
        all_.emplace_back(text);
        if (!verbose_ && !worthShowing(text))
            return;
        const double elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
        std::cout << fmt::format("{:6.2f}s  {}\n", elapsed, text) << std::flush;
    }
    bool saw(std::string_view text) const {
        std::lock_guard lock(mutex_);
        for (const auto& line : all_) {
            if (line.find(text) != std::string::npos)
                return true;
        }
        return false;
    }

  private:
    static bool worthShowing(std::string_view text) {
        static const std::vector<std::string_view> kept = {"[Demo]",
                                                           "[Scenario]",
                                                           "[iPad]",
                                                           "[MIDI out]",
                                                           "[Stage]",
                                                           "Status:",
                                                           "OSC TX: /tessiva/bank/focus",
                                                           "Sent mapped",
                                                           "Auto-loaded mappings",
                                                           "Recall prompt",
                                                           "Project auto-restore observed",
                                                           "Handshake",
                                                           "handshake",
                                                           "Mappings profile loaded",
                                                           "[VirtualMIDIBridge]"};
        for (auto needle : kept) {
            if (text.find(needle) != std::string_view::npos)
                return true;
        }
        return false;
    }
    bool verbose_;
    std::chrono::steady_clock::time_point start_;
    mutable std::mutex mutex_;
    std::vector<std::string> all_;
};

std::string hexBytes(const std::vector<std::uint8_t>& bytes) {
    std::string out;
    for (auto byte : bytes)
        out += fmt::format("{}{:02X}", out.empty() ? "" : " ", byte);
    return out;
}

int runDemo(const std::string& peerPath, bool keepFolder, bool verbose) {
    TranscriptConsole console(verbose);
    const fs::path home = fs::temp_directory_path() / ("tessiva-demo-" + makeUUID().substr(0, 8));
    fs::create_directories(home);
    console.line(
        "[Demo] Tessiva Focus demo: Logic Pro is simulated, the iPad is tessiva-peer on 127.0.0.1");
    console.line("[Demo] Profiles and preferences in " + home.string());

    const auto orchestraRows = rowNames(kOrchestra);
    const auto cueRows = rowNames(kCue);
    if (Status written = MappingProfileFile::write(
            home / "Orchestral Template.json",
            profileFor(orchestraRows, {{2, &kBanks[0]}, {5, &kBanks[1]}, {10, &kBanks[2]}}, 0));
        !written) {
        std::cerr << "demo: " << written.error() << "\n";
        return 1;
    }
    (void)MappingProfileFile::write(home / "Cue 2.json",
                                    profileFor(cueRows, {{6, &kBanks[3]}}, 40));
    const fs::path workspaceFile = home / "workspace.json";
    (void)writeFileAtomically(workspaceFile, workspaceJSON());

    Scenario scenario = demoScenario();
    HeadlessOptions options;
    options.homeFolder = home;
    options.port = 0;
    options.bindHost = "127.0.0.1";
    options.advertiseBonjour = false;  // the demo's iPad connects by address on loopback
    options.midiBackend = "memory";
    options.recallAnswer = ProjectRecallAnswer::load;
    options.localDeviceName = "Demo Mac";
    options.scenario = scenario;
    options.quitWhenScenarioEnds = true;
    HeadlessProgram program(options, console);
    program.start();

    std::atomic<int> bankFocusReceived{0};
    std::unique_ptr<ChildProcess> peer;
    program.postAfter(0.5, [&] {
        const std::string port = std::to_string(program.listenPort());
        console.line("[Demo] The iPad (tessiva-peer) connects to 127.0.0.1:" + port);
        peer = std::make_unique<ChildProcess>(
            std::vector<std::string>{
                peerPath,    "--host",    "127.0.0.1", "--port",    port,
                "--name",    "Demo iPad", "ping",      "wait-for",  "/pong",
                "--timeout", "5",         "snapshot",  "--file",    workspaceFile.string(),
                "--chunks",  "3",         "listen",    "--seconds", "6",
                "midi",      "--type",    "noteOn",    "--channel", "1",
                "--data1",   "60",        "--data2",   "100",       "midi",
                "--type",    "noteOff",   "--channel", "1",         "--data1",
                "60",        "--data2",   "0",         "listen",    "--seconds",
                "9"},
            [&console, &bankFocusReceived](const std::string& line) {
                if (line.find("/tessiva/bank/focus") != std::string::npos)
                    ++bankFocusReceived;
                if (line.find("/ping") != std::string::npos && line.find("RX") == 0)
                    return;
                console.line("[iPad] " + line);
            });
        if (!peer->started())
            console.line("[Demo] could not start " + peerPath);
    });

    // Before the project switch, Logic's second project gets its own tracks.
    program.postAfter(7.9, [&] {
        SimulatedLogic& logic = program.logic();
        while (logic.trackCount() > 0)
            logic.deleteTrack(1);
        for (const auto& [stack, members] : kCue)
            logic.addStack(stack, members);
        console.line("[Demo] Logic now has the \"Cue 2\" project's 10 tracks ready");
    });

    // Live MIDI and stage lines for the transcript.
    std::size_t sentSeen = 0;
    std::size_t emittedSeen = 0;
    std::optional<std::uint64_t> lastStage;
    std::function<void()> watch = [&] {
        if (SimulatedMIDIService* midi = program.recordedMIDI()) {
            const auto sent = midi->sentMessages();
            for (; sentSeen < sent.size(); ++sentSeen) {
                console.line("[MIDI out] " + sent[sentSeen].destinationName + ": " +
                             hexBytes(sent[sentSeen].bytes));
            }
            const auto emitted = midi->emittedMessages();
            for (; emittedSeen < emitted.size(); ++emittedSeen) {
                console.line("[MIDI out] " + emitted[emittedSeen].sourceName +
                             " (virtual source): " + hexBytes(emitted[emittedSeen].bytes));
            }
        }
        for (const auto& record :
             program.appDelegate().menuBarController().stageRecorder().entries()) {
            if (lastStage && record.sequence <= *lastStage)
                continue;
            lastStage = record.sequence;
            console.line("[Stage] " + record.line());
        }
        program.postAfter(0.1, watch);
    };
    program.post(watch);

    program.run();
    if (peer) {
        peer->terminate();
        peer->wait();
    }

    struct Check {
        std::string what;
        bool passed;
    };
    SimulatedMIDIService* midi = program.recordedMIDI();
    const auto sent =
        midi ? midi->sentMessages() : std::vector<SimulatedMIDIService::SentMessage>{};
    const auto emitted =
        midi ? midi->emittedMessages() : std::vector<SimulatedMIDIService::EmittedMessage>{};
    auto timesSent = [&](std::uint8_t value) {
        std::size_t times = 0;
        for (const auto& message : sent)
            times += message.bytes == std::vector<std::uint8_t>{0xC0, value} ? 1 : 0;
        return times;
    };
    auto sentProgram = [&](std::uint8_t value) { return timesSent(value) > 0; };
    const std::vector<Check> checks = {
        {"the iPad connected (handshake)", console.saw("[iPad] RX /pong")},
        {"the project's own profile was restored at start",
         console.saw("Auto-loaded mappings for Logic project: Orchestral Template")},
        {"the iPad received bank focus messages", bankFocusReceived.load() >= 3},
        {"Program Changes were sent for the clicked tracks",
         sentProgram(1) && sentProgram(4) && sentProgram(9)},
        // Logic publishes nothing new for a click on the selected track; a Logic that re-reports
        // it is stopped by the dedupe.
        {"the repeated click sent nothing twice", timesSent(9) == 1},
        {"the project change loaded the Cue 2 profile",
         console.saw("Recall prompt \"Saved mappings found for Cue 2\"")},
        {"Cue 2's mappings were used after the switch", sentProgram(45) && sentProgram(42)},
        {"MIDI played on the iPad came out of \"Tessiva MIDI\"", emitted.size() >= 2},
    };
    console.line("[Demo] Summary:");
    bool allPassed = true;
    for (const auto& check : checks) {
        console.line(std::string("[Demo]   ") + (check.passed ? "ok      " : "MISSING ") +
                     check.what);
        allPassed = allPassed && check.passed;
    }
    if (!keepFolder) {
        std::error_code ec;
        fs::remove_all(home, ec);
    }
    console.line(allPassed ? "[Demo] Demo finished: every step happened."
                           : "[Demo] Demo finished with missing steps.");
    return allPassed ? 0 : 1;
}

}  // namespace

void addDemoCommand(CLI::App& app, int& exitCode) {
    auto peerPath = std::make_shared<std::string>(TESSIVA_PEER_PATH);
    auto keep = std::make_shared<bool>(false);
    auto verbose = std::make_shared<bool>(false);
    CLI::App* demo = app.add_subcommand(
        "demo", "Play a short story with a simulated Logic Pro and the command-line iPad");
    demo->add_option("--peer", *peerPath, "Path of the tessiva-peer program")
        ->capture_default_str();
    demo->add_flag("--keep", *keep, "Keep the demo's profile folder");
    demo->add_flag("--verbose", *verbose, "Print every console line, not only the story");
    demo->callback(
        [peerPath, keep, verbose, &exitCode] { exitCode = runDemo(*peerPath, *keep, *verbose); });
}

}  // namespace tessiva
