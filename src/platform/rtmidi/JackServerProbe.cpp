#include "platform/rtmidi/JackServerProbe.h"

#include <jack/jack.h>

#include <chrono>
#include <thread>

namespace tessiva {

namespace {
void quiet(const char*) {}
}  // namespace

bool jackServerIsRunning() {
    // No server is an expected answer here, not an error for standard error.
    auto* const previous = jack_error_callback;
    jack_set_error_function(&quiet);
    jack_client_t* client = nullptr;
    // A busy server now and then refuses a client handshake outright, so one refusal is not proof
    // that no server runs. Without a server this costs about 0.3 s, once, at start-up.
    auto pause = std::chrono::milliseconds(20);
    for (int attempt = 0; attempt < 5; ++attempt) {
        jack_status_t status{};
        client = jack_client_open("tessiva-probe", JackNoStartServer, &status);
        if (client != nullptr || attempt == 4)
            break;
        std::this_thread::sleep_for(pause);
        pause *= 2;
    }
    jack_set_error_function(previous);
    if (client == nullptr)
        return false;
    jack_client_close(client);
    return true;
}

}  // namespace tessiva
