#include <gtest/gtest.h>

#include "platform/rtmidi/MIDIApiChoice.h"

namespace tessiva {
namespace {

TEST(MIDIApiChoice, ForcedValueWinsOtherwiseJackWhileItRunsThenAlsa) {
    const std::vector<MIDIApi> linux{MIDIApi::alsa, MIDIApi::jack};
    int probes = 0;
    auto running = [&] {
        ++probes;
        return true;
    };
    auto stopped = [&] {
        ++probes;
        return false;
    };

    SCOPED_TRACE("automatic");
    EXPECT_EQ(chooseMIDIApi(std::nullopt, linux, running).api, MIDIApi::jack);
    EXPECT_EQ(chooseMIDIApi(std::nullopt, linux, stopped).api, MIDIApi::alsa);
    EXPECT_EQ(chooseMIDIApi("", linux, stopped).api, MIDIApi::alsa);
    EXPECT_EQ(chooseMIDIApi(std::nullopt, {MIDIApi::jack}, stopped).api, MIDIApi::jack);
    probes = 0;
    EXPECT_EQ(chooseMIDIApi(std::nullopt, {MIDIApi::coreMIDI}, running).api, MIDIApi::coreMIDI);
    EXPECT_EQ(probes, 0);  // no JACK question where CoreMIDI exists

    SCOPED_TRACE("forced, in any case and with spaces");
    probes = 0;
    EXPECT_EQ(chooseMIDIApi("jack", linux, stopped).api, MIDIApi::jack);
    EXPECT_EQ(chooseMIDIApi(" ALSA\n", linux, running).api, MIDIApi::alsa);
    EXPECT_EQ(probes, 0);

    SCOPED_TRACE("refused with a reason");
    auto missing = chooseMIDIApi("coremidi", linux, running);
    EXPECT_FALSE(missing.api);
    EXPECT_EQ(missing.problem,
              "TESSIVA_MIDI_API=coremidi asks for an API this RtMidi was built without");
    auto typo = chooseMIDIApi("jackd", linux, running);
    EXPECT_FALSE(typo.api);
    EXPECT_EQ(typo.problem, "TESSIVA_MIDI_API=jackd is not one of coremidi, jack, alsa");
    auto none = chooseMIDIApi(std::nullopt, {}, running);
    EXPECT_FALSE(none.api);
    EXPECT_FALSE(none.problem.empty());
}

}  // namespace
}  // namespace tessiva
