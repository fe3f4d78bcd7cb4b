#include <gtest/gtest.h>

#include "osc/OSCTransmitEcho.h"

namespace tessiva {
namespace {

using Args = std::vector<OSCArgument>;

TEST(OSCTransmitEcho, SummarisesImportsHidesHeartbeatsAndDescribesTheRest) {
    const std::string plist(5000, 'p');
    SCOPED_TRACE("articulation-set import, payloads never echoed");
    EXPECT_EQ(transmitEchoLine("/tessiva/articulationset/import",
                               Args{OSCArgument::string("Strings.plist"), OSCArgument::string("T1"),
                                    OSCArgument::string(plist)},
                               false),
              "OSC TX: /tessiva/articulationset/import [file=Strings.plist, transferID=T1, "
              "payloadBytes=5000]");
    EXPECT_EQ(transmitEchoLine("/tessiva/articulationset/import/begin",
                               Args{OSCArgument::string("Brass.plist"), OSCArgument::string("T2"),
                                    OSCArgument::int32(9000), OSCArgument::int32(3)},
                               false),
              "OSC TX: /tessiva/articulationset/import/begin [file=Brass.plist, transferID=T2, "
              "payloadBytes=9000, chunks=3]");
    EXPECT_EQ(transmitEchoLine("/tessiva/articulationset/import/chunk",
                               Args{OSCArgument::string("T2"), OSCArgument::int32(0),
                                    OSCArgument::int32(3), OSCArgument::string("Flöte")},
                               false),
              "OSC TX: /tessiva/articulationset/import/chunk [transferID=T2, chunk=1, chunks=3, "
              "chunkBytes=6]");
    EXPECT_EQ(transmitEchoLine("/tessiva/articulationset/import/end",
                               Args{OSCArgument::string("T2"), OSCArgument::int32(3)}, false),
              "OSC TX: /tessiva/articulationset/import/end [transferID=T2, chunks=3]");

    SCOPED_TRACE("missing or wrong kinds");
    EXPECT_EQ(
        transmitEchoLine("/tessiva/articulationset/import/chunk",
                         Args{OSCArgument::int32(5), OSCArgument::string("0")}, true),
        "OSC TX: /tessiva/articulationset/import/chunk [transferID=<missing>, chunk=<missing>, "
        "chunks=<unknown>, chunkBytes=<missing>]");
    EXPECT_EQ(transmitEchoLine("/tessiva/articulationset/import", Args{}, false),
              "OSC TX: /tessiva/articulationset/import [file=<missing>, transferID=<missing>, "
              "payloadBytes=<missing>]");
    EXPECT_EQ(transmitEchoLine("/tessiva/articulationset/import/begin",
                               Args{OSCArgument::string("a"), OSCArgument::string("b"),
                                    OSCArgument::float32(1), OSCArgument::string("3")},
                               false),
              "OSC TX: /tessiva/articulationset/import/begin [file=a, transferID=b, "
              "payloadBytes=<missing>, chunks=<unknown>]");
    // The index is shown from 1 even at the int32 limit.
    EXPECT_EQ(
        transmitEchoLine("/tessiva/articulationset/import/chunk",
                         Args{OSCArgument::string("T"), OSCArgument::int32(2147483647)}, false),
        "OSC TX: /tessiva/articulationset/import/chunk [transferID=T, chunk=2147483648, "
        "chunks=<unknown>, chunkBytes=<missing>]");

    SCOPED_TRACE("heartbeat traffic");
    EXPECT_FALSE(transmitEchoLine("/ping", Args{OSCArgument::int32(12111)}, false));
    EXPECT_FALSE(transmitEchoLine("/tessiva/midi/event", Args{}, false));
    EXPECT_EQ(transmitEchoLine("/ping", Args{OSCArgument::int32(12111)}, true),
              "OSC TX: /ping [i:12111]");
    EXPECT_EQ(transmitEchoLine("/pong", Args{}, true), "OSC TX: /pong []");

    SCOPED_TRACE("everything else");
    EXPECT_EQ(transmitEchoLine("/tessiva/logic/tempo", Args{OSCArgument::float32(96.0f)}, false),
              "OSC TX: /tessiva/logic/tempo [f:96.0]");
    EXPECT_EQ(transmitEchoLine("/tessiva/workspace/snapshot/request", Args{}, false),
              "OSC TX: /tessiva/workspace/snapshot/request []");
    // Only the exact import addresses are summarised.
    EXPECT_EQ(transmitEchoLine("/tessiva/articulationset/import/ack",
                               Args{OSCArgument::string("T")}, false),
              "OSC TX: /tessiva/articulationset/import/ack [s:T]");
}

}  // namespace
}  // namespace tessiva
