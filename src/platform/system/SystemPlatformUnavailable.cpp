#include "platform/system/SystemPlatform.h"

namespace tessiva {

std::unique_ptr<SystemPlatform> makeSystemPlatform(Queue&, const Clock&, ActivationEventSource&,
                                                   Console&) {
    return nullptr;
}

}  // namespace tessiva
