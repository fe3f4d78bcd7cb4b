#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/dnssd/InMemoryServiceAdvertiser.h"
#include "platform/dnssd/ServiceAdvertiser.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

const ServiceAdvertisement kService{"_tessiva-osc._udp", "Tessiva Focus", 12111};

TEST(ServiceAdvertiser, AdvertisersReportOnTheOwnersQueue) {
    VirtualScheduler scheduler;
    auto queue = scheduler.makeSerialQueue("tessiva.focus.osc.discovery");
    std::vector<AdvertisingEvent> events;
    auto record = [&](const AdvertisingEvent& event) { events.push_back(event); };

    InMemoryServiceAdvertiser advertiser;
    advertiser.advertise(kService, *queue, record);
    EXPECT_TRUE(events.empty());  // posted, not called inline
    scheduler.runUntilIdle();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, AdvertisingEvent::Kind::registered);
    EXPECT_EQ(events[0].detail, "Tessiva Focus");
    EXPECT_EQ(advertiser.current()->port, 12111);
    advertiser.stop();
    EXPECT_FALSE(advertiser.current().has_value());

    InMemoryServiceAdvertiser failing("no mDNS responder is running");
    failing.advertise(kService, *queue, record);
    scheduler.runUntilIdle();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[1].kind, AdvertisingEvent::Kind::failed);
    EXPECT_FALSE(failing.current().has_value());

    // The dns_sd adapter with no responder to talk to: it must report a failure, not hang or
    // throw. Pointing the system bus at nothing keeps it away from any responder on the machine.
    SCOPED_TRACE("dns_sd without a responder");
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/tessiva-no-bus", 1);
    auto dnssd = makeServiceAdvertiser();
    dnssd->advertise(kService, *queue, record);
    scheduler.runUntilIdle();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[2].kind, AdvertisingEvent::Kind::failed);
    EXPECT_FALSE(events[2].detail.empty());
    dnssd->stop();
    dnssd->stop();  // idempotent
}

}  // namespace
}  // namespace tessiva
