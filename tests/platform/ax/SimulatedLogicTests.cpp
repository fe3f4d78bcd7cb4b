#include <gtest/gtest.h>

#include <vector>

#include "platform/ax/AXNames.h"
#include "platform/simulated/SimulatedInputEvents.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

struct Fixture {
    Fixture() : logic(scheduler.clock(), SimulatedLogicOptions::tableOutlineProfile()) {
        for (const char* name : {"Piano", "Bass", "Drums", "Guitar", "Vocals"})
            logic.addTrack(name);
    }
    std::optional<std::string> text(const AXElement& element, const char* attribute) {
        return axString(logic.copyAttributeValue(element, attribute).value);
    }

    VirtualScheduler scheduler;
    SimulatedLogic logic;
};

TEST(SimulatedLogic, NotificationsFollowRegistrationsAndSuspension) {
    Fixture f;
    std::vector<std::string> log;
    auto observer = f.logic
                        .createObserver(f.logic.pid(), f.scheduler.mainQueue(),
                                        [&](const AXElement& element, const std::string& name) {
                                            EXPECT_EQ(element, f.logic.trackListElement());
                                            log.push_back(name);
                                        })
                        .value;
    const auto outline = f.logic.trackListElement();
    ASSERT_EQ(observer->addNotification(outline, ax::kSelectedRowsChanged), AXError::success);
    ASSERT_EQ(observer->addNotification(outline, ax::kSelectedChildrenChanged), AXError::success);
    EXPECT_EQ(observer->addNotification(outline, ax::kSelectedRowsChanged),
              AXError::notificationAlreadyRegistered);
    {
        SCOPED_TRACE("delivered on the queue, in order, once each");
        f.logic.clickTrack(2);
        EXPECT_TRUE(log.empty());
        f.scheduler.runUntilIdle();
        EXPECT_EQ(log, (std::vector<std::string>{ax::kSelectedRowsChanged,
                                                 ax::kSelectedChildrenChanged}));
    }
    {
        SCOPED_TRACE("suspended delivery loses notifications and keeps registrations");
        log.clear();
        observer->suspendDelivery();
        const auto dropped = f.logic.droppedNotificationCount();
        f.logic.clickTrack(4);
        f.scheduler.runUntilIdle();
        EXPECT_TRUE(log.empty());
        EXPECT_EQ(f.logic.droppedNotificationCount(), dropped + 2);
        observer->resumeDelivery();
        f.logic.clickTrack(5);
        f.scheduler.runUntilIdle();
        EXPECT_EQ(log.size(), 2u);
    }
    {
        SCOPED_TRACE("removing and destroying end delivery");
        log.clear();
        EXPECT_EQ(observer->removeNotification(outline, ax::kSelectedRowsChanged),
                  AXError::success);
        f.logic.clickTrack(1);
        observer.reset();  // the posted delivery must not reach the destroyed observer
        f.scheduler.runUntilIdle();
        EXPECT_TRUE(log.empty());
    }
}

TEST(SimulatedLogic, IsFoundByItsBundleQuitInvalidatesElementsAndRelaunchMakesNewOnes) {
    Fixture f;
    const auto oldRow = f.logic.rowElement(1);
    const auto oldPid = f.logic.pid();
    // That the running Logic is found is every observer test's first step.
    EXPECT_TRUE(f.logic.runningApplications("com.apple.mail").empty());
    EXPECT_EQ(f.text(f.logic.applicationElement(oldPid), ax::kRole), "AXApplication");
    EXPECT_FALSE(f.logic.applicationElement(oldPid + 1));
    // An outline of untitled rows.
    EXPECT_EQ(f.text(f.logic.trackListElement(), ax::kRole), "AXOutline");
    EXPECT_EQ(f.logic.copyAttributeValue(oldRow, ax::kTitle).error, AXError::noValue);
    f.logic.quit();
    EXPECT_FALSE(f.logic.applicationElement(oldPid));
    EXPECT_TRUE(f.logic.runningApplications("com.apple.logic10").empty());
    EXPECT_EQ(f.logic.copyAttributeValue(oldRow, ax::kDescription).error,
              AXError::invalidUIElement);
    EXPECT_FALSE(f.logic.createObserver(oldPid, f.scheduler.mainQueue(), {}).ok());
    f.logic.launch();
    EXPECT_NE(f.logic.pid(), oldPid);
    EXPECT_NE(f.logic.rowElement(1), oldRow);
    EXPECT_EQ(f.text(f.logic.rowElement(1), ax::kDescription), "Track 1 \u201CPiano\u201D");
    f.logic.setTrusted(false);
    EXPECT_EQ(f.logic.copyAttributeValue(f.logic.rowElement(1), ax::kDescription).error,
              AXError::apiDisabled);
}

// As the window server does, a monitor hears only the event types it asked for.
TEST(SimulatedInputEvents, MonitorsHearOnlyTheirMaskedTypes) {
    VirtualScheduler scheduler;
    SimulatedInputEvents input;
    std::vector<InputEventType> heard;
    auto monitor =
        input.addGlobalMonitor(inputEventMaskBit(InputEventType::keyDown), scheduler.mainQueue(),
                               [&](const InputEvent& event) { heard.push_back(event.type); });
    for (const InputEventType type : {InputEventType::leftMouseDown, InputEventType::keyDown,
                                      InputEventType::leftMouseDragged}) {
        InputEvent event;
        event.type = type;
        input.deliverToMonitors(event);
    }
    scheduler.runUntilIdle();
    EXPECT_EQ(heard, std::vector<InputEventType>{InputEventType::keyDown});
}

}  // namespace
}  // namespace tessiva
