#include <gtest/gtest.h>

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

}  // namespace
}  // namespace tessiva
