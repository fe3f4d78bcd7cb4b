#include <gtest/gtest.h>

#include "osc/OSCTransmitEcho.h"

namespace tessiva {
namespace {

OSCArgument s(std::string text) {
    return OSCArgument::string(std::move(text));
}
OSCArgument i(std::int32_t value) {
    return OSCArgument::int32(value);
}

TEST(OSCTransmitEcho, SummarisesImportsHidesHeartbeatsAndDescribesTheRest) {
    const std::string import = "/tessiva/articulationset/import";
    const struct {
        std::string address;
        std::vector<OSCArgument> arguments;
        bool logHeartbeats;
        std::optional<std::string> line;
    } cases[] = {
        // Articulation-set imports: payloads are never echoed.
        {import,
         {s("Strings.plist"), s("T1"), s(std::string(5000, 'p'))},
         false,
         "[file=Strings.plist, transferID=T1, payloadBytes=5000]"},
        {import + "/begin",
         {s("Brass.plist"), s("T2"), i(9000), i(3)},
         false,
         "[file=Brass.plist, transferID=T2, payloadBytes=9000, chunks=3]"},
        {import + "/chunk",
         {s("T2"), i(0), i(3), s("Flöte")},
         false,
         "[transferID=T2, chunk=1, chunks=3, chunkBytes=6]"},
        {import + "/end", {s("T2"), i(3)}, false, "[transferID=T2, chunks=3]"},
        // Missing or wrong kinds.
        {import + "/chunk",
         {i(5), s("0")},
         true,
         "[transferID=<missing>, chunk=<missing>, chunks=<unknown>, chunkBytes=<missing>]"},
        {import, {}, false, "[file=<missing>, transferID=<missing>, payloadBytes=<missing>]"},
        {import + "/begin",
         {s("a"), s("b"), OSCArgument::float32(1), s("3")},
         false,
         "[file=a, transferID=b, payloadBytes=<missing>, chunks=<unknown>]"},
        // The index is shown from 1 even at the int32 limit.
        {import + "/chunk",
         {s("T"), i(2147483647)},
         false,
         "[transferID=T, chunk=2147483648, chunks=<unknown>, chunkBytes=<missing>]"},
        // Heartbeat traffic only when asked for.
        {"/ping", {i(12111)}, false, std::nullopt},
        {"/tessiva/midi/event", {}, false, std::nullopt},
        {"/ping", {i(12111)}, true, "[i:12111]"},
        {"/pong", {}, true, "[]"},
        // Everything else; only the exact import addresses are summarised.
        {"/tessiva/logic/tempo", {OSCArgument::float32(96.0f)}, false, "[f:96.0]"},
        {"/tessiva/workspace/snapshot/request", {}, false, "[]"},
        {import + "/ack", {s("T")}, false, "[s:T]"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.address);
        const auto expected =
            c.line ? std::optional<std::string>("OSC TX: " + c.address + " " + *c.line)
                   : std::nullopt;
        EXPECT_EQ(transmitEchoLine(c.address, c.arguments, c.logHeartbeats), expected);
    }
}

}  // namespace
}  // namespace tessiva
