#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/rtmidi/RtMidiService.h"

namespace tessiva {
namespace {

// Real MIDI services that are not there must come back as failure values, never as a crash or
// an exception. (With a running service, tests/integration/midi covers the success paths.) Nothing
// else in this binary reads the variables set here.
TEST(RtMidiService, MissingServicesAreFailureValues) {
    RtMidiService service;
    auto clientWith = [&](const char* api) {
        ::setenv("TESSIVA_MIDI_API", api, 1);
        return service.createClient("Tessiva Focus");
    };
    SCOPED_TRACE("JACK forced while no server by that name runs");
    const std::string absent = "tessiva-absent-" + std::to_string(::getpid());
    ::setenv("JACK_DEFAULT_SERVER", absent.c_str(), 1);
    auto jack = clientWith("jack");
    EXPECT_FALSE(jack.ok());
    EXPECT_EQ(jack.status, midistatus::kServerStartError);
    EXPECT_NE(jack.description.find(absent), std::string::npos) << jack.description;

    SCOPED_TRACE("an API this build does not have, and a misspelt one");
    EXPECT_EQ(clientWith("coremidi").status, midistatus::kInvalidClient);
    EXPECT_EQ(clientWith("midi2").status, midistatus::kInvalidClient);

    SCOPED_TRACE("ALSA forced: without a sequencer device it fails, with one it works");
    auto alsa = clientWith("alsa");
    if (std::filesystem::exists("/dev/snd/seq")) {
        ASSERT_TRUE(alsa.ok()) << alsa.description;
        auto source = alsa.object->createVirtualSource("Tessiva MIDI");
        EXPECT_TRUE(source.ok()) << source.description;
    } else {
        EXPECT_FALSE(alsa.ok());
        EXPECT_EQ(alsa.status, midistatus::kServerStartError);
        EXPECT_FALSE(alsa.description.empty());
    }
}

}  // namespace
}  // namespace tessiva
