#pragma once

namespace tessiva {

// True when a JACK server (JACK_DEFAULT_SERVER, else "default") accepts clients right now.
// Never starts a server. Builds without JACK answer false.
bool jackServerIsRunning();

}  // namespace tessiva
