#pragma once

#include <optional>

#include "platform/dnssd/ServiceAdvertiser.h"

namespace tessiva {

// An advertiser that only remembers what it was asked to advertise and answers with a result the
// owner chose: registered by default, or a failure such as a missing responder. The backend for
// unit tests and for running without mDNS. Used on one queue at a time.
class InMemoryServiceAdvertiser final : public ServiceAdvertiser {
  public:
    // nullopt: registration succeeds under the requested name.
    explicit InMemoryServiceAdvertiser(std::optional<std::string> failure = std::nullopt)
        : failure_(std::move(failure)) {}

    void advertise(const ServiceAdvertisement& service, Queue& eventQueue,
                   EventHandler handler) override;
    void stop() override { current_.reset(); }

    const std::optional<ServiceAdvertisement>& current() const { return current_; }

  private:
    std::optional<std::string> failure_;
    std::optional<ServiceAdvertisement> current_;
};

}  // namespace tessiva
