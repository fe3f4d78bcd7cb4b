#include "platform/dnssd/InMemoryServiceAdvertiser.h"

#include "runtime/Queue.h"

namespace tessiva {

void InMemoryServiceAdvertiser::advertise(const ServiceAdvertisement& service, Queue& eventQueue,
                                          EventHandler handler) {
    AdvertisingEvent event;
    if (failure_) {
        current_.reset();
        event = AdvertisingEvent{AdvertisingEvent::Kind::failed, *failure_};
    } else {
        current_ = service;
        event = AdvertisingEvent{AdvertisingEvent::Kind::registered, service.name};
    }
    eventQueue.post([handler = std::move(handler), event] { handler(event); });
}

}  // namespace tessiva
