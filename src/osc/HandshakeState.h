#pragma once

namespace tessiva {

// Whether the iPad link is up, and what a change means: going from down to up plays the
// connection sound and announces this Mac to the iPad. A pure value type owned by
// OSCDiscoveryManager on its discovery queue.
class HandshakeState {
  public:
    struct Transition {
        bool wasConnected = false;
        bool isConnected = false;
        bool becameConnected() const { return !wasConnected && isConnected; }
    };

    Transition update(bool connected) {
        Transition transition{connected_, connected};
        connected_ = connected;
        return transition;
    }
    bool isConnected() const { return connected_; }

  private:
    bool connected_ = false;
};

}  // namespace tessiva
