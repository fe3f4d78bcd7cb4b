#include "platform/rtmidi/JackServerProbe.h"

#include <jack/jack.h>

namespace tessiva {

namespace {
void quiet(const char*) {}
}  // namespace

bool jackServerIsRunning() {
    // No server is an expected answer here, not an error for standard error.
    auto* const previous = jack_error_callback;
    jack_set_error_function(&quiet);
    jack_status_t status{};
    jack_client_t* client = jack_client_open("tessiva-probe", JackNoStartServer, &status);
    jack_set_error_function(previous);
    if (client == nullptr)
        return false;
    jack_client_close(client);
    return true;
}

}  // namespace tessiva
