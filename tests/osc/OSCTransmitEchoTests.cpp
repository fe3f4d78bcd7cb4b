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
template <typename... Arguments>
std::vector<OSCArgument> args(Arguments... arguments) {
    return {arguments...};
}

TEST(OSCTransmitEcho, SummarisesImportsHidesHeartbeatsAndDescribesTheRest) {
    const std::string import = "/tessiva/articulationset/import";
    const std::string begin = import + "/begin", chunk = import + "/chunk";
    const struct {
        std::string address;
        std::vector<OSCArgument> arguments;
        bool logHeartbeats;
        std::optional<std::string> line;
    } cases[] = {
        // Articulation-set imports: payloads are never echoed.
        {import, args(s("a.plist"), s("T1"), s(std::string(5000, 'p'))), false,
         "[file=a.plist, transferID=T1, payloadBytes=5000]"},
        {begin, args(s("b"), s("T2"), i(9000), i(3)), false,
         "[file=b, transferID=T2, payloadBytes=9000, chunks=3]"},
        {chunk, args(s("T2"), i(0), i(3), s("Flöte")), false,
         "[transferID=T2, chunk=1, chunks=3, chunkBytes=6]"},
        {import + "/end", args(s("T2"), i(3)), false, "[transferID=T2, chunks=3]"},
        // Missing or wrong kinds.
        {chunk, args(i(5), s("0")), true,
         "[transferID=<missing>, chunk=<missing>, chunks=<unknown>, chunkBytes=<missing>]"},
        {import, args(), false, "[file=<missing>, transferID=<missing>, payloadBytes=<missing>]"},
        {begin, args(s("a"), s("b"), OSCArgument::float32(1), s("3")), false,
         "[file=a, transferID=b, payloadBytes=<missing>, chunks=<unknown>]"},
        // The index is shown from 1 even at the int32 limit.
        {chunk, args(s("T"), i(2147483647)), false,
         "[transferID=T, chunk=2147483648, chunks=<unknown>, chunkBytes=<missing>]"},
        // Heartbeat traffic only when asked for.
        {"/ping", args(i(12111)), false, std::nullopt},
        {"/ping", args(i(12111)), true, "[i:12111]"},
        // Everything else; only the exact import addresses are summarised.
        {"/tessiva/logic/tempo", args(OSCArgument::float32(96.0f)), false, "[f:96.0]"},
        {import + "/ack", args(s("T")), false, "[s:T]"},
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
