#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/rtmidi/RtMidiService.h"

namespace tessiva {
namespace {

// Sets an environment variable for one scope.
class ScopedEnvironment {
  public:
    ScopedEnvironment(const char* name, const std::string& value) : name_(name) {
        if (const char* old = std::getenv(name))
            old_ = old;
        ::setenv(name, value.c_str(), 1);
    }
    ~ScopedEnvironment() {
        if (old_) {
            ::setenv(name_, old_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  private:
    const char* name_;
    std::optional<std::string> old_;
};

// Real MIDI services that are not there must come back as failure values, never as a crash or
// an exception. (With a running service, tests/integration/midi covers the success paths.)
TEST(RtMidiService, MissingServicesAreFailureValues) {
    RtMidiService service;
    SCOPED_TRACE("JACK forced while no server by that name runs");
    {
        ScopedEnvironment api("TESSIVA_MIDI_API", "jack");
        ScopedEnvironment server("JACK_DEFAULT_SERVER",
                                 "tessiva-absent-" + std::to_string(::getpid()));
        auto client = service.createClient("Tessiva Focus");
        EXPECT_FALSE(client.ok());
        EXPECT_EQ(client.status, midistatus::kServerStartError);
        EXPECT_NE(client.description.find("tessiva-absent-"), std::string::npos)
            << client.description;
    }
    SCOPED_TRACE("an API this build does not have, and a misspelt one");
    {
        ScopedEnvironment api("TESSIVA_MIDI_API", "coremidi");
        auto client = service.createClient("Tessiva Focus");
        EXPECT_FALSE(client.ok());
        EXPECT_EQ(client.status, midistatus::kInvalidClient);
    }
    {
        ScopedEnvironment api("TESSIVA_MIDI_API", "midi2");
        EXPECT_EQ(service.createClient("Tessiva Focus").status, midistatus::kInvalidClient);
    }
    SCOPED_TRACE("ALSA forced: without a sequencer device it fails, with one it works");
    {
        ScopedEnvironment api("TESSIVA_MIDI_API", "alsa");
        auto client = service.createClient("Tessiva Focus");
        if (std::filesystem::exists("/dev/snd/seq")) {
            ASSERT_TRUE(client.ok()) << client.description;
            auto source = client.object->createVirtualSource("Tessiva MIDI");
            EXPECT_TRUE(source.ok()) << source.description;
        } else {
            EXPECT_FALSE(client.ok());
            EXPECT_EQ(client.status, midistatus::kServerStartError);
            EXPECT_FALSE(client.description.empty());
        }
    }
}

}  // namespace
}  // namespace tessiva
