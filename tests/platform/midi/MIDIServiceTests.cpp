#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/rtmidi/MIDIApiChoice.h"
#include "platform/rtmidi/RtMidiService.h"
#include "platform/simulated/midi/SimulatedMIDIService.h"

namespace tessiva {
namespace {

TEST(SimulatedMIDIService, RecordsWhatIsSentAndEmittedAndFailsOnDemand) {
    SimulatedMIDIService midi;
    auto client = midi.createClient("Tessiva Focus");
    ASSERT_TRUE(client.ok());
    const auto iac = midi.addDestination("IAC Bus 1");
    const auto network = midi.addDestination("Network Session 1");
    EXPECT_EQ(client.object->destinations(),
              (std::vector<MIDIDestination>{{iac, "IAC Bus 1"}, {network, "Network Session 1"}}));

    auto port = client.object->createOutputPort("Output");
    ASSERT_TRUE(port.ok());
    const std::uint8_t pc[] = {0xC0, 5};
    EXPECT_EQ(port.object->send({network, "Network Session 1"}, pc), 0);
    ASSERT_EQ(midi.sentMessages().size(), 1u);
    EXPECT_EQ(midi.sentMessages()[0],
              (SimulatedMIDIService::SentMessage{
                  "Tessiva Focus", "Output", network, "Network Session 1", {0xC0, 5}}));

    SCOPED_TRACE("a removed destination is not found and records nothing");
    midi.removeDestination(network);
    EXPECT_EQ(port.object->send({network, "Network Session 1"}, pc), midistatus::kObjectNotFound);
    EXPECT_EQ(midi.sentMessages().size(), 1u);

    SCOPED_TRACE("virtual sources exist while their object lives");
    {
        auto source = client.object->createVirtualSource("Tessiva MIDI");
        ASSERT_TRUE(source.ok());
        EXPECT_EQ(midi.virtualSourceNames(), (std::vector<std::string>{"Tessiva MIDI"}));
        const std::uint8_t note[] = {0x90, 60, 100};
        EXPECT_EQ(source.object->emit(note), 0);
        midi.setFailure(SimulatedMIDIOperation::emit, -10838);
        EXPECT_EQ(source.object->emit(note), -10838);
        EXPECT_EQ(midi.emittedCount(), 1u);
    }
    EXPECT_TRUE(midi.virtualSourceNames().empty());

    SCOPED_TRACE("a failure names the operation");
    midi.setFailure(SimulatedMIDIOperation::createClient, -10839);
    EXPECT_EQ(midi.createClient("Other").description, "simulated createClient failure");
}

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
