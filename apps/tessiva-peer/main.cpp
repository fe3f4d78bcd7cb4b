// tessiva-peer: a command-line stand-in for the Tessiva iPad app. It speaks the iPad's side of the
// OSC link to a Mac running Tessiva Focus and prints every datagram it receives as one line. It
// listens on one UDP socket and sends from it too, or, with --source-port, from a second socket
// as some iPads do. Commands run in the order given.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "PeerSocket.h"
#include "PeerTransfers.h"
#include "osc/OSCCodec.h"
#include "osc/WorkspaceSnapshotChunkAssembler.h"
#include "runtime/AtomicFile.h"
#include "runtime/UUID.h"

namespace {

using tessiva::OSCArgument;
using tessiva::peer::PeerSocket;
using tessiva::peer::Received;
using Clock = std::chrono::steady_clock;

// One readable line per message: control characters escaped, long texts shortened.
std::string describe(const std::vector<OSCArgument>& arguments) {
    constexpr std::size_t kLongest = 160;
    std::vector<OSCArgument> shown;
    for (const auto& argument : arguments) {
        const std::string* text = argument.asString();
        if (!text) {
            shown.push_back(argument);
            continue;
        }
        std::string line;
        for (char c : *text) {
            if (c == '\n')
                line += "\\n";
            else if (c == '\r')
                line += "\\r";
            else if (c == '\t')
                line += "\\t";
            else
                line += c;
        }
        if (line.size() > kLongest) {
            std::size_t cut = kLongest;
            while (cut > 0 && (static_cast<unsigned char>(line[cut]) & 0xC0) == 0x80)
                --cut;
            line = line.substr(0, cut) + "...(" + std::to_string(text->size()) + " bytes)";
        }
        shown.push_back(OSCArgument::string(std::move(line)));
    }
    return tessiva::describeArguments(shown);
}

// Exit codes the integration tests read.
constexpr int kExitUsage = 2;
constexpr int kExitTimedOut = 3;
constexpr int kExitFailed = 4;

struct Session {
    PeerSocket socket;
    // Bound with --source-port: everything is sent from it; replies still arrive on `socket`.
    std::optional<PeerSocket> sourceSocket;
    std::string macHost;
    std::uint16_t macPort = 12111;
    std::string deviceName;
    bool answerPings = true;
    // With --answer-snapshot: the workspace sent whenever the Mac asks for it.
    std::string answerSnapshotFile;
    int answerSnapshotChunks = 1;
    std::vector<std::string> seenAddresses;
    // The iPad's side of the articulation-set import and the navigation export.
    std::optional<tessiva::peer::PeerTransfers> transfers;

    PeerSocket& sendingSocket() { return sourceSocket ? *sourceSocket : socket; }

    int send(std::string_view address, const std::vector<OSCArgument>& arguments) {
        auto bytes = tessiva::encodeMessage(address, arguments);
        if (auto error = sendingSocket().sendTo(macHost, macPort, bytes)) {
            std::cerr << "send " << address << " failed: " << *error << "\n";
            return kExitFailed;
        }
        std::cout << "TX " << address << " " << describe(arguments) << std::endl;
        return 0;
    }

    // The workspace JSON in `file`, whole or in `count` chunks sent in `order` (default ascending).
    int sendSnapshot(const std::string& file, int count, const std::string& transferID,
                     const std::vector<int>& order) {
        std::string error;
        auto json = tessiva::readWholeFile(file, &error);
        if (!json) {
            std::cerr << "cannot read " << file << ": " << error << "\n";
            return kExitFailed;
        }
        if (count == 1)
            return send("/tessiva/workspace/snapshot", {OSCArgument::string(*json)});
        auto parts = tessiva::splitIntoChunks(*json, static_cast<std::size_t>(count));
        const std::string transfer = transferID.empty() ? tessiva::makeUUID() : transferID;
        std::vector<int> indices = order;
        if (indices.empty()) {
            for (std::size_t i = 0; i < parts.size(); ++i)
                indices.push_back(static_cast<int>(i));
        }
        for (int index : indices) {
            if (index < 0 || static_cast<std::size_t>(index) >= parts.size())
                continue;
            tessiva::WorkspaceSnapshotChunk chunk{transfer, index,
                                                  static_cast<std::int32_t>(parts.size()),
                                                  parts[static_cast<std::size_t>(index)]};
            if (int rc = send("/tessiva/workspace/snapshot/chunk", chunk.arguments()))
                return rc;
        }
        return 0;
    }

    // Prints one received datagram; answers "/ping" with "/pong" and the device name at the port
    // the Mac announced, and a snapshot request with --answer-snapshot's file.
    void handle(const Received& received) {
        const auto bytes = tessiva::OSCBytes(received.bytes);
        const auto address = tessiva::decodeAddress(bytes);
        const auto arguments = tessiva::decodeArguments(bytes);
        const std::string from = received.host + ":" + std::to_string(received.port);
        if (!address) {
            std::cout << "RX <undecodable " << received.bytes.size() << " bytes> from " << from
                      << std::endl;
            return;
        }
        std::cout << "RX " << *address << " "
                  << (arguments ? describe(*arguments) : "<bad arguments>") << " from " << from
                  << std::endl;
        seenAddresses.emplace_back(*address);
        if (answerPings && *address == "/ping") {
            // The Mac pings from a sending socket and announces where it listens.
            std::uint16_t replyPort = received.port;
            if (auto announced = tessiva::firstInt32Argument(bytes);
                announced && *announced > 0 && *announced <= 65535) {
                replyPort = static_cast<std::uint16_t>(*announced);
            }
            // Like the iPad app, answer the Mac where its "/ping" says it listens from now on.
            macHost = received.host;
            macPort = replyPort;
            auto pong = tessiva::encodeMessage("/pong", {OSCArgument::string(deviceName)});
            if (!sendingSocket().sendTo(received.host, replyPort, pong)) {
                std::cout << "TX /pong [s:" << deviceName << "] to " << received.host << ":"
                          << replyPort << std::endl;
            }
        }
        if (!answerSnapshotFile.empty() && *address == "/tessiva/workspace/snapshot/request")
            (void)sendSnapshot(answerSnapshotFile, answerSnapshotChunks, {}, {});
        if (transfers && arguments)
            (void)transfers->handle(*address, *arguments);
    }

    // Receives and prints until `seconds` have passed, or until `address` arrives (true).
    bool pump(double seconds, std::optional<std::string> address = std::nullopt) {
        const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
        const std::size_t alreadySeen = seenAddresses.size();
        for (;;) {
            const double left = std::chrono::duration<double>(deadline - Clock::now()).count();
            if (left <= 0)
                return false;
            auto received = socket.receive(left);
            if (!received)
                continue;
            handle(*received);
            if (address) {
                for (std::size_t i = alreadySeen; i < seenAddresses.size(); ++i) {
                    if (seenAddresses[i] == *address)
                        return true;
                }
            }
        }
    }
};

// "i:12", "s:text", "f:1.5"; anything else is a string.
OSCArgument parseArgument(const std::string& text) {
    if (text.size() >= 2 && text[1] == ':') {
        const std::string value = text.substr(2);
        try {
            if (text[0] == 'i')
                return OSCArgument::int32(std::stoi(value));
            if (text[0] == 'f')
                return OSCArgument::float32(std::stof(value));
        } catch (const std::exception&) {
            return OSCArgument::string(text);
        }
        if (text[0] == 's')
            return OSCArgument::string(value);
    }
    return OSCArgument::string(text);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "tessiva-peer: plays the Tessiva iPad app's side of the OSC link to a Mac running "
        "Tessiva Focus.\nCommands run in the order given and may repeat, for example:\n"
        "  tessiva-peer --port 12111 ping wait-for /pong snapshot --file ws.json --chunks 3 "
        "listen --seconds 2\n"
        "Every received datagram is printed as \"RX <address> [<arguments>] from <host:port>\"; "
        "a \"/ping\" from the Mac is answered with \"/pong\" and the device name at the port it "
        "announces."};
    Session session;
    std::string bindHost = "127.0.0.1";
    int bindPort = 0;
    int macPort = 12111;
    session.macHost = "127.0.0.1";
    session.deviceName = "Tessiva Peer";
    app.add_option("--host", session.macHost, "The Mac's IPv4 address")->capture_default_str();
    app.add_option("--port", macPort, "The Mac's OSC listen port")
        ->capture_default_str()
        ->check(CLI::Range(1, 65535));
    app.add_option("--bind", bindHost, "Local IPv4 address to bind")->capture_default_str();
    app.add_option("--bind-port", bindPort, "Local port to bind and reply from (0: any)")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535));
    int sourcePort = -1;
    app.add_option("--source-port", sourcePort,
                   "Send from a second socket bound to this port (0: any); replies still arrive "
                   "on the bound one")
        ->check(CLI::Range(0, 65535));
    app.add_option("--name", session.deviceName, "This iPad's device name")->capture_default_str();
    app.add_option("--answer-snapshot", session.answerSnapshotFile,
                   "Answer /tessiva/workspace/snapshot/request with this workspace JSON file");
    app.add_option("--answer-chunks", session.answerSnapshotChunks,
                   "Send the answered workspace in N chunks (1: one message)")
        ->check(CLI::Range(1, 4096));
    app.add_flag("!--no-auto-pong", session.answerPings, "Do not answer the Mac's /ping");
    tessiva::peer::PeerTransfers::Options transferOptions;
    app.add_option("--accept-imports", transferOptions.importFolder,
                   "Save received articulation sets in this folder (they are acknowledged "
                   "whether or not it is given)");
    app.add_option("--drop-import-acks", transferOptions.dropImportAcks,
                   "Lose this many articulation-set acknowledgements before sending one")
        ->check(CLI::Range(0, 1000));
    app.add_option("--answer-export", transferOptions.exportFile,
                   "Answer /tessiva/navigation/export/request with this file");
    app.add_option("--export-chunks", transferOptions.exportChunks,
                   "Send the navigation export in N chunks")
        ->capture_default_str()
        ->check(CLI::Range(1, 4096));
    app.add_option("--export-vanish-after", transferOptions.exportVanishAfterChunks,
                   "Exit after sending this many export chunks, as a closed iPad would")
        ->check(CLI::Range(0, 4096));

    using Action = std::function<int(Session&)>;
    std::vector<Action> actions;
    auto command = [&](const std::string& name, const std::string& help) {
        CLI::App* sub = app.add_subcommand(name, help);
        sub->immediate_callback();
        return sub;
    };

    // ping
    auto* ping = command("ping", "Send /ping with the reply port and the device name");
    int replyPort = -1;
    ping->add_option("--reply-port", replyPort, "Reply port to announce (default: the bound one)");
    ping->callback([&] {
        actions.push_back([replyPort](Session& s) {
            const int port = replyPort >= 0 ? replyPort : s.socket.boundPort();
            return s.send("/ping", {OSCArgument::int32(port), OSCArgument::string(s.deviceName)});
        });
        replyPort = -1;
    });

    // pong
    auto* pong = command("pong", "Send /pong with the device name");
    pong->callback([&] {
        actions.push_back(
            [](Session& s) { return s.send("/pong", {OSCArgument::string(s.deviceName)}); });
    });

    // name
    auto* name = command("name", "Announce the device name with /tessiva/device/name");
    name->callback([&] {
        actions.push_back([](Session& s) {
            return s.send("/tessiva/device/name", {OSCArgument::string(s.deviceName)});
        });
    });

    // snapshot
    auto* snapshot = command("snapshot", "Send a workspace snapshot from a JSON file");
    std::string snapshotFile;
    int chunks = 1;
    std::string transferID;
    snapshot->add_option("--file", snapshotFile, "The snapshot JSON file")->required();
    snapshot
        ->add_option("--chunks", chunks,
                     "Send in N /tessiva/workspace/snapshot/chunk messages (1: one message)")
        ->check(CLI::Range(1, 4096));
    snapshot->add_option("--transfer-id", transferID, "Transfer ID for chunks (default: a UUID)");
    snapshot->add_option("--order", "Chunk order, e.g. 2,0,1 (default: ascending)");
    std::vector<int> order;
    snapshot->get_option("--order")->each([&](const std::string& v) {
        std::stringstream stream(v);
        std::string item;
        while (std::getline(stream, item, ','))
            order.push_back(std::stoi(item));
    });
    snapshot->callback([&] {
        actions.push_back(
            [file = snapshotFile, count = chunks, id = transferID, chunkOrder = order](Session& s) {
                return s.sendSnapshot(file, count, id, chunkOrder);
            });
        order.clear();
        transferID.clear();
        chunks = 1;
    });

    // midi
    auto* midi = command("midi", "Send mirrored MIDI events (/tessiva/midi/event)");
    std::string midiType = "noteon";
    int channel = 1, data1 = 60, data2 = 100, count = 1;
    double intervalMs = 0;
    midi->add_option("--type", midiType,
                     "noteon, noteoff, controlchange, programchange, "
                     "pressure, pitchbend")
        ->capture_default_str();
    midi->add_option("--channel", channel, "Channel 1-16")->capture_default_str();
    midi->add_option("--data1", data1)->capture_default_str();
    midi->add_option("--data2", data2)->capture_default_str();
    midi->add_option("--count", count, "How many events")->capture_default_str();
    midi->add_option("--interval-ms", intervalMs, "Pause between events")->capture_default_str();
    midi->callback([&] {
        actions.push_back([=](Session& s) {
            for (int n = 0; n < count; ++n) {
                if (int rc = s.send("/tessiva/midi/event",
                                    {OSCArgument::string(midiType), OSCArgument::int32(channel),
                                     OSCArgument::int32(data1), OSCArgument::int32(data2)})) {
                    return rc;
                }
                if (intervalMs > 0)
                    s.pump(intervalMs / 1000.0);
            }
            return 0;
        });
    });

    // query
    auto* query = command("query", "Ask which track a bank is mapped to");
    std::string queryBank;
    query->add_option("--bank", queryBank, "Bank UUID")->required();
    query->callback([&] {
        actions.push_back([bank = queryBank](Session& s) {
            return s.send("/tessiva/focus/mapping/query", {OSCArgument::string(bank)});
        });
    });

    // learn
    auto* learn = command("learn", "Ask the Mac to learn a bank for the selected track");
    std::vector<std::string> learnFields(7);
    learn->add_option("--bank", learnFields[0], "Bank UUID")->required();
    learn->add_option("--bank-name", learnFields[1]);
    learn->add_option("--section", learnFields[2]);
    learn->add_option("--group", learnFields[3], "Group UUID");
    learn->add_option("--group-name", learnFields[4]);
    learn->add_option("--workspace", learnFields[5], "Workspace UUID");
    learn->add_option("--workspace-name", learnFields[6]);
    learn->callback([&] {
        actions.push_back([fields = learnFields](Session& s) {
            std::size_t used = 3;
            for (std::size_t i = 3; i < fields.size(); ++i) {
                if (!fields[i].empty())
                    used = i + 1;
            }
            std::vector<OSCArgument> arguments;
            for (std::size_t i = 0; i < used; ++i)
                arguments.push_back(OSCArgument::string(fields[i]));
            return s.send("/tessiva/bank/focus/learn", arguments);
        });
    });

    // select
    auto* select = command("select", "Ask the Mac to select the track mapped to a bank");
    std::string requestID, selectBank, selectName;
    select->add_option("--request", requestID, "Request ID (default: a UUID)");
    select->add_option("--bank", selectBank, "Bank UUID")->required();
    select->add_option("--bank-name", selectName);
    select->callback([&] {
        actions.push_back([id = requestID, bank = selectBank, bankName = selectName](Session& s) {
            std::vector<OSCArgument> arguments{
                OSCArgument::string(id.empty() ? tessiva::makeUUID() : id),
                OSCArgument::string(bank)};
            if (!bankName.empty())
                arguments.push_back(OSCArgument::string(bankName));
            return s.send("/tessiva/navigation/direct/select", arguments);
        });
    });

    // send (raw)
    auto* raw = command("send", "Send any message: ADDRESS then arguments as i:1 s:text f:1.5");
    std::string rawAddress;
    std::vector<std::string> rawArguments;
    raw->add_option("address", rawAddress, "OSC address")->required();
    raw->add_option("arguments", rawArguments, "Typed arguments");
    raw->callback([&] {
        std::vector<OSCArgument> arguments;
        for (const auto& text : rawArguments)
            arguments.push_back(parseArgument(text));
        actions.push_back(
            [address = rawAddress, arguments](Session& s) { return s.send(address, arguments); });
        rawArguments.clear();
    });

    // run
    auto* run = command("run", "Schedule a MIDI run on the Mac (/tessiva/midi/run/schedule)");
    std::string runID = "run-1";
    std::string runNotes = "60,62,64";
    double runDelayMs = 0, runIntervalMs = 50, runGateMs = 40, runOverlapMs = 0;
    bool runLegato = false;
    int runChannel = 1, runVelocity = 100;
    std::string runRaw;
    run->add_option("--id", runID)->capture_default_str();
    run->add_option("--notes", runNotes, "Comma-separated note numbers")->capture_default_str();
    run->add_option("--delay-ms", runDelayMs, "Start delay")->capture_default_str();
    run->add_option("--interval-ms", runIntervalMs)->capture_default_str();
    run->add_option("--gate-ms", runGateMs)->capture_default_str();
    run->add_option("--overlap-ms", runOverlapMs)->capture_default_str();
    run->add_flag("--legato", runLegato);
    run->add_option("--channel", runChannel)->capture_default_str();
    run->add_option("--velocity", runVelocity)->capture_default_str();
    run->add_option("--raw", runRaw, "Send this text as the payload instead (malformed runs)");
    run->callback([&] {
        auto nanos = [](double ms) { return static_cast<long long>(ms * 1'000'000.0); };
        std::string payload = runRaw;
        if (payload.empty()) {
            payload = "{\"version\":1,\"runID\":\"" + runID +
                      "\",\"startDelayNanoseconds\":" + std::to_string(nanos(runDelayMs)) +
                      ",\"intervalNanoseconds\":" + std::to_string(nanos(runIntervalMs)) +
                      ",\"gateNanoseconds\":" + std::to_string(nanos(runGateMs)) +
                      ",\"overlapNanoseconds\":" + std::to_string(nanos(runOverlapMs)) +
                      ",\"legato\":" + (runLegato ? "true" : "false") +
                      ",\"channelOneBased\":" + std::to_string(runChannel) +
                      ",\"velocity\":" + std::to_string(runVelocity) + ",\"notes\":[" + runNotes +
                      "]}";
        }
        actions.push_back([payload](Session& s) {
            return s.send("/tessiva/midi/run/schedule", {OSCArgument::string(payload)});
        });
        runRaw.clear();
    });

    // cancel-run
    auto* cancelRun = command("cancel-run", "Cancel a MIDI run (/tessiva/midi/run/cancel)");
    std::string cancelID = "run-1", cancelNotes;
    int cancelChannel = 1;
    cancelRun->add_option("--id", cancelID)->capture_default_str();
    cancelRun->add_option("--channel", cancelChannel)->capture_default_str();
    cancelRun->add_option("--notes", cancelNotes, "Comma-separated note numbers");
    cancelRun->callback([&] {
        const std::string payload = "{\"runID\":\"" + cancelID +
                                    "\",\"channelOneBased\":" + std::to_string(cancelChannel) +
                                    ",\"notes\":[" + cancelNotes + "]}";
        actions.push_back([payload](Session& s) {
            return s.send("/tessiva/midi/run/cancel", {OSCArgument::string(payload)});
        });
    });

    // listen
    auto* listen = command("listen", "Print what arrives for a while");
    double listenSeconds = 1.0;
    listen->add_option("--seconds", listenSeconds)->capture_default_str();
    listen->callback([&] {
        actions.push_back([seconds = listenSeconds](Session& s) {
            s.pump(seconds);
            return 0;
        });
    });

    // wait-for
    auto* waitFor =
        command("wait-for", "Wait until a message with ADDRESS arrives (exit 3 if not)");
    std::string waitAddress;
    double waitSeconds = 5.0;
    waitFor->add_option("address", waitAddress)->required();
    waitFor->add_option("--timeout", waitSeconds)->capture_default_str();
    waitFor->callback([&] {
        actions.push_back([address = waitAddress, seconds = waitSeconds](Session& s) {
            for (const auto& seen : s.seenAddresses) {
                if (seen == address)
                    return 0;
            }
            if (s.pump(seconds, address))
                return 0;
            std::cout << "TIMEOUT waiting for " << address << std::endl;
            return kExitTimedOut;
        });
    });

    app.footer(
        "Commands (each takes --help):\n"
        "  ping [--reply-port N]            /ping with the reply port and the device name\n"
        "  pong                             /pong with the device name\n"
        "  name                             /tessiva/device/name with the device name\n"
        "  snapshot --file F [--chunks N] [--transfer-id ID] [--order 2,0,1]\n"
        "                                   the workspace JSON, whole or in N chunks\n"
        "  midi [--type T] [--channel C] [--data1 A] [--data2 B] [--count N] [--interval-ms M]\n"
        "                                   /tessiva/midi/event\n"
        "  query --bank UUID                /tessiva/focus/mapping/query\n"
        "  learn --bank UUID [--bank-name] [--section] [--group] [--group-name] [--workspace]\n"
        "        [--workspace-name]         /tessiva/bank/focus/learn\n"
        "  select --bank UUID [--request ID] [--bank-name N]\n"
        "                                   /tessiva/navigation/direct/select\n"
        "  run [--id R] [--notes 60,62] [--delay-ms D] [--interval-ms I] [--gate-ms G]\n"
        "      [--overlap-ms O] [--legato] [--channel C] [--velocity V] [--raw JSON]\n"
        "                                   /tessiva/midi/run/schedule\n"
        "  cancel-run [--id R] [--channel C] [--notes 60,62]  /tessiva/midi/run/cancel\n"
        "  send ADDRESS [i:1 s:text f:1.5 ...]  any message\n"
        "  listen [--seconds S]             print what arrives for S seconds\n"
        "  wait-for ADDRESS [--timeout S]   wait for a message; exit 3 on time-out\n"
        "With --answer-snapshot F, every /tessiva/workspace/snapshot/request is answered with F\n"
        "while the commands pump (listen, wait-for). With --accept-imports D articulation sets\n"
        "are saved in D and acknowledged; with --answer-export F the navigation export request\n"
        "is answered with F in --export-chunks N chunks.\n"
        "Exit codes: 0 done, 2 usage, 3 time-out, 4 socket or file failure.");
    app.require_subcommand(1, 0);
    app.fallthrough();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const int rc = app.exit(error);
        return rc == 0 ? 0 : kExitUsage;
    }

    session.macPort = static_cast<std::uint16_t>(macPort);
    session.transfers.emplace(
        transferOptions,
        [&session](std::string_view address, const std::vector<OSCArgument>& arguments) {
            return session.send(address, arguments);
        });
    if (auto error = session.socket.bind(bindHost, static_cast<std::uint16_t>(bindPort))) {
        std::cerr << "cannot bind " << bindHost << ":" << bindPort << ": " << *error << "\n";
        return kExitFailed;
    }
    std::cout << "BOUND " << bindHost << ":" << session.socket.boundPort() << std::endl;
    if (sourcePort >= 0) {
        session.sourceSocket.emplace();
        if (auto error =
                session.sourceSocket->bind(bindHost, static_cast<std::uint16_t>(sourcePort))) {
            std::cerr << "cannot bind " << bindHost << ":" << sourcePort << ": " << *error << "\n";
            return kExitFailed;
        }
        std::cout << "SENDING FROM " << bindHost << ":" << session.sourceSocket->boundPort()
                  << std::endl;
    }
    for (auto& action : actions) {
        if (int rc = action(session))
            return rc;
    }
    return 0;
}
