#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tessiva {

class Queue;

// What to advertise: a UDP service type ("_tessiva-osc._udp"), an instance name ("Tessiva Focus")
// and the port it listens on, in the default domain with no TXT record.
struct ServiceAdvertisement {
    std::string type;
    std::string name;
    std::uint16_t port = 0;
};

// What became of an advertisement. `registered` carries the name the responder settled on (it may
// rename on a conflict); `failed` the responder's error ("no mDNS responder is running").
struct AdvertisingEvent {
    enum class Kind { registered, failed };
    static constexpr std::array<std::string_view, 2> kKindNames = {"registered", "failed"};
    static_assert(kKindNames.size() == static_cast<std::size_t>(Kind::failed) + 1,
                  "one name per Kind");
    Kind kind = Kind::failed;
    std::string detail;
};

// The DNS-SD port: advertises one service until stopped. Events are posted to the queue given to
// `advertise`, never run on the responder's thread. Adapters: dns_sd.h (Bonjour on macOS, Avahi's
// compatibility library on Linux) from makeServiceAdvertiser; InMemoryServiceAdvertiser in tests.
class ServiceAdvertiser {
  public:
    using EventHandler = std::function<void(const AdvertisingEvent&)>;

    virtual ~ServiceAdvertiser() = default;
    // Replaces any previous advertisement.
    virtual void advertise(const ServiceAdvertisement& service, Queue& eventQueue,
                           EventHandler handler) = 0;
    // Withdraws the advertisement; no event follows. Idempotent.
    virtual void stop() = 0;
};

// The platform's advertiser over dns_sd.h.
std::unique_ptr<ServiceAdvertiser> makeServiceAdvertiser();

}  // namespace tessiva
