// The DNS-SD adapter over dns_sd.h: Bonjour on macOS, Avahi's compatibility library on Linux.
#include <arpa/inet.h>
#include <dns_sd.h>
#include <poll.h>

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "platform/dnssd/ServiceAdvertiser.h"
#include "runtime/Queue.h"

namespace tessiva {

namespace {

// Bonjour's kDNSServiceErr_ServiceNotRunning; Avahi's header does not name it.
constexpr DNSServiceErrorType kServiceNotRunning = -65563;

std::string describe(DNSServiceErrorType error) {
    switch (error) {
        case kServiceNotRunning:
            return "no mDNS responder is running (error " + std::to_string(error) + ")";
        case kDNSServiceErr_Unknown:
            return "the mDNS responder could not be reached (error " + std::to_string(error) + ")";
        case kDNSServiceErr_NameConflict:
            return "the service name is already taken (error " + std::to_string(error) + ")";
        case kDNSServiceErr_BadParam:
            return "the service description was refused (error " + std::to_string(error) + ")";
        case kDNSServiceErr_NoMemory:
            return "the responder ran out of memory (error " + std::to_string(error) + ")";
        default:
            return "DNS-SD error " + std::to_string(error);
    }
}

class DnsSdServiceAdvertiser final : public ServiceAdvertiser {
  public:
    DnsSdServiceAdvertiser() {
        // Avahi's compatibility layer otherwise prints a banner to stderr on first use.
        ::setenv("AVAHI_COMPAT_NOWARN", "1", 0);
    }
    ~DnsSdServiceAdvertiser() override { stop(); }
    DnsSdServiceAdvertiser(const DnsSdServiceAdvertiser&) = delete;
    DnsSdServiceAdvertiser& operator=(const DnsSdServiceAdvertiser&) = delete;

    void advertise(const ServiceAdvertisement& service, Queue& eventQueue,
                   EventHandler handler) override {
        stop();
        auto context = std::make_shared<Context>(&eventQueue, std::move(handler));
        DNSServiceRef ref = nullptr;
        const DNSServiceErrorType error = DNSServiceRegister(
            &ref, 0, 0, service.name.c_str(), service.type.c_str(), nullptr, nullptr,
            htons(service.port), 0, nullptr, &DnsSdServiceAdvertiser::registered, context.get());
        if (error != kDNSServiceErr_NoError || !ref) {
            context->post(AdvertisingEvent{AdvertisingEvent::Kind::failed, describe(error)});
            return;
        }
        ref_ = ref;
        context_ = context;
        stopping_.store(false);
        // The responder's replies are read on this thread; results go to the owner's queue.
        thread_ = std::thread([this, ref] {
            const int fd = DNSServiceRefSockFD(ref);
            while (!stopping_.load()) {
                pollfd descriptor{fd, POLLIN, 0};
                const int ready = ::poll(&descriptor, 1, 100);
                if (ready > 0) {
                    const DNSServiceErrorType processed = DNSServiceProcessResult(ref);
                    if (processed != kDNSServiceErr_NoError) {
                        context_->post(
                            AdvertisingEvent{AdvertisingEvent::Kind::failed, describe(processed)});
                        return;
                    }
                } else if (ready < 0 && errno != EINTR) {
                    return;
                }
            }
        });
    }

    void stop() override {
        stopping_.store(true);
        if (thread_.joinable())
            thread_.join();
        if (ref_) {
            DNSServiceRefDeallocate(ref_);
            ref_ = nullptr;
        }
        if (context_)
            context_->cancelled.store(true);
        context_.reset();
    }

  private:
    struct Context {
        Queue* queue;
        EventHandler handler;
        std::atomic<bool> cancelled{false};
        Context(Queue* q, EventHandler h) : queue(q), handler(std::move(h)) {}
        void post(AdvertisingEvent event) {
            if (cancelled.load())
                return;
            queue->post([handler = handler, event = std::move(event)] { handler(event); });
        }
    };

    static void DNSSD_API registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType error,
                                     const char* name, const char*, const char*, void* context) {
        auto* shared = static_cast<Context*>(context);
        if (error == kDNSServiceErr_NoError) {
            shared->post(AdvertisingEvent{AdvertisingEvent::Kind::registered, name ? name : ""});
        } else {
            shared->post(AdvertisingEvent{AdvertisingEvent::Kind::failed, describe(error)});
        }
    }

    DNSServiceRef ref_ = nullptr;
    std::shared_ptr<Context> context_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

}  // namespace

std::unique_ptr<ServiceAdvertiser> makeServiceAdvertiser() {
    return std::make_unique<DnsSdServiceAdvertiser>();
}

}  // namespace tessiva
