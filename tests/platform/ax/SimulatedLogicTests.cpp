#include <gtest/gtest.h>

#include "platform/ax/AXNames.h"
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
    std::vector<AXElement> list(const AXElement& element, const char* attribute) {
        return axElements(logic.copyAttributeValue(element, attribute).value);
    }
    std::vector<std::string> headers() {
        std::vector<std::string> out;
        for (const auto& row : list(logic.trackListElement(), ax::kChildren)) {
            out.push_back(text(row, ax::kDescription).value_or("?"));
        }
        return out;
    }
    // An observer recording "notification@identity" strings.
    std::unique_ptr<AXObserver> observe(std::vector<std::string>& log) {
        auto created =
            logic.createObserver(logic.pid(), scheduler.mainQueue(),
                                 [&log](const AXElement& element, const std::string& name) {
                                     log.push_back(name + "@" + std::to_string(element.identity()));
                                 });
        EXPECT_TRUE(created.ok());
        return std::move(created.value);
    }
    static std::string at(const char* name, const AXElement& element) {
        return std::string(name) + "@" + std::to_string(element.identity());
    }

    VirtualScheduler scheduler;
    SimulatedLogic logic;
};

TEST(SimulatedLogic, TreeLooksLikeLogic) {
    Fixture f;
    const auto app = f.logic.applicationElement(f.logic.pid());
    ASSERT_TRUE(app);
    EXPECT_EQ(f.logic.runningApplications("com.apple.logic10"),
              (std::vector<ProcessId>{f.logic.pid()}));
    EXPECT_TRUE(f.logic.runningApplications("com.apple.mail").empty());
    EXPECT_EQ(f.logic.frontmostApplicationBundleIdentifier(), "com.apple.logic10");
    EXPECT_EQ(f.text(app, ax::kRole), "AXApplication");
    const auto window = axElement(f.logic.copyAttributeValue(app, ax::kMainWindow).value);
    EXPECT_EQ(f.text(window, ax::kTitle), "Song.logicx - Tracks");
    EXPECT_EQ(f.text(f.logic.trackListElement(), ax::kRole), "AXOutline");
    EXPECT_EQ(f.text(f.logic.trackListElement(), ax::kDescription), "Tracks header");
    EXPECT_EQ(f.headers()[1], "Track 2 \u201CBass\u201D");
    const auto parent =
        axElement(f.logic.copyAttributeValue(f.logic.nameFieldElement(2), ax::kParent).value);
    EXPECT_EQ(parent, f.logic.rowElement(2));
    EXPECT_EQ(f.logic.copyAttributeValue(f.logic.rowElement(2), ax::kTitle).error,
              AXError::noValue);
    const auto slider = f.logic.tempoSliderElement();
    EXPECT_EQ(f.text(slider, ax::kDescription), "Tempo");
    f.logic.setTempo(96.5);
    EXPECT_EQ(axNumber(f.logic.copyAttributeValue(slider, ax::kValue).value), 96.5);
}

TEST(SimulatedLogic, StructuralActionsRenumberRows) {
    Fixture f;
    f.logic.insertTrack(2, "Synth");
    EXPECT_EQ(f.headers()[2], "Track 3 \u201CSynth\u201D");
    EXPECT_EQ(f.logic.selectedTrackNumbers(), (std::vector<int>{3}));
    f.logic.deleteTrack(1);
    EXPECT_EQ(f.headers()[0], "Track 1 \u201CBass\u201D");
    f.logic.duplicateTrack(1);
    EXPECT_EQ(
        f.logic.visibleRows(),
        (std::map<int, std::string>{
            {1, "Bass"}, {2, "Bass"}, {3, "Synth"}, {4, "Drums"}, {5, "Guitar"}, {6, "Vocals"}}));
    f.logic.moveTrack(6, 1);
    EXPECT_EQ(f.logic.visibleRows().at(1), "Vocals");
    f.logic.renameTrack(1, "Lead Vox");
    EXPECT_EQ(f.headers()[0], "Track 1 \u201CLead Vox\u201D");
    EXPECT_EQ(f.text(f.logic.nameFieldElement(1), ax::kValue), "Lead Vox");
}

TEST(SimulatedLogic, TrackStacksHideTheirMembers) {
    VirtualScheduler scheduler;
    SimulatedLogic logic(scheduler.clock(), SimulatedLogicOptions::tableOutlineProfile());
    logic.addTrack("Piano");
    logic.addStack("Strings", {"Violins", "Celli"});
    logic.addTrack("Horn");
    logic.setStackCollapsed(2, true);
    EXPECT_EQ(logic.visibleRows(),
              (std::map<int, std::string>{{1, "Piano"}, {2, "Strings"}, {5, "Horn"}}));
    EXPECT_EQ(
        axElements(logic.copyAttributeValue(logic.trackListElement(), ax::kChildren).value).size(),
        3u);
    logic.clickTrack(3);  // hidden: nothing happens
    EXPECT_TRUE(logic.selectedTrackNumbers().empty());
    logic.setStackCollapsed(2, false);
    EXPECT_EQ(logic.visibleRows().size(), 5u);
    logic.deleteTrack(2);  // the stack goes with its members
    EXPECT_EQ(logic.visibleRows(), (std::map<int, std::string>{{1, "Piano"}, {2, "Horn"}}));
}

TEST(SimulatedLogic, NotificationsFollowRegistrationsAndSuspension) {
    Fixture f;
    std::vector<std::string> log;
    auto observer = f.observe(log);
    const auto app = f.logic.applicationElementNow();
    const auto outline = f.logic.trackListElement();
    ASSERT_EQ(observer->addNotification(outline, ax::kSelectedRowsChanged), AXError::success);
    ASSERT_EQ(observer->addNotification(outline, ax::kSelectedChildrenChanged), AXError::success);
    EXPECT_EQ(observer->addNotification(outline, ax::kSelectedRowsChanged),
              AXError::notificationAlreadyRegistered);
    ASSERT_EQ(observer->addNotification(app, ax::kValueChanged), AXError::success);
    {
        SCOPED_TRACE("delivered on the queue, in order, once each");
        f.logic.clickTrack(2);
        EXPECT_TRUE(log.empty());
        f.scheduler.runUntilIdle();
        EXPECT_EQ(log,
                  (std::vector<std::string>{Fixture::at(ax::kSelectedRowsChanged, outline),
                                            Fixture::at(ax::kSelectedChildrenChanged, outline)}));
    }
    {
        SCOPED_TRACE("an application registration hears its descendants");
        log.clear();
        f.logic.renameTrack(3, "Kit");
        f.logic.insertTrack(0, "New");  // row-count and layout are not registered
        f.scheduler.runUntilIdle();
        ASSERT_FALSE(log.empty());
        EXPECT_EQ(log.front(), Fixture::at(ax::kValueChanged, f.logic.nameFieldElement(4)));
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

TEST(SimulatedLogic, SelectionSettlesAfterTheConfiguredDelay) {
    Fixture f;
    f.logic.clickTrack(3);
    f.logic.setSelectionSettleDelay(0.1);
    f.logic.clickTrack(5);
    const auto outline = f.logic.trackListElement();
    auto selected = [&] {
        auto rows = f.list(outline, ax::kSelectedChildren);
        return rows.empty() ? std::string() : f.text(rows[0], ax::kDescription).value_or("");
    };
    EXPECT_EQ(selected(), "Track 3 \u201CDrums\u201D");
    EXPECT_EQ(axBool(f.logic.copyAttributeValue(f.logic.rowElement(5), ax::kSelected).value),
              false);
    f.scheduler.advance(0.099);
    EXPECT_EQ(selected(), "Track 3 \u201CDrums\u201D");
    f.scheduler.advance(0.001);
    EXPECT_EQ(selected(), "Track 5 \u201CVocals\u201D");
}

TEST(SimulatedLogic, QuitInvalidatesElementsAndRelaunchMakesNewOnes) {
    Fixture f;
    const auto oldRow = f.logic.rowElement(1);
    const auto oldPid = f.logic.pid();
    f.logic.quit();
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

TEST(SimulatedLogic, CountsReadsAndSetsSelection) {
    Fixture f;
    std::vector<std::string> read;
    f.logic.setAttributeReadHook([&](std::string_view attribute) { read.emplace_back(attribute); });
    f.logic.resetAttributeReadCount();
    f.text(f.logic.rowElement(1), ax::kDescription);
    f.text(f.logic.rowElement(1), ax::kTitle);
    EXPECT_EQ(f.logic.attributeReadCount(), 2u);
    EXPECT_EQ(read, (std::vector<std::string>{"AXDescription", "AXTitle"}));
    EXPECT_EQ(f.logic.isAttributeSettable(f.logic.rowElement(2), ax::kSelected).value, true);
    EXPECT_EQ(f.logic.setAttributeValue(f.logic.rowElement(2), ax::kSelected, true),
              AXError::success);
    EXPECT_EQ(f.logic.selectedTrackNumbers(), (std::vector<int>{2}));
    EXPECT_EQ(f.logic.setAttributeValue(f.logic.trackListElement(), ax::kSelectedChildren,
                                        std::vector<AXElement>{f.logic.rowElement(4)}),
              AXError::success);
    EXPECT_EQ(f.logic.selectedTrackNumbers(), (std::vector<int>{4}));
    EXPECT_EQ(f.logic.copyActionNames(f.logic.rowElement(1)).value.front(), "AXPress");
    EXPECT_EQ(f.logic.performAction(f.logic.rowElement(1), ax::kActionPress), AXError::success);
    EXPECT_EQ(f.logic.selectedTrackNumbers(), (std::vector<int>{1}));
    EXPECT_EQ(f.logic.performAction(f.logic.tempoSliderElement(), ax::kActionPress),
              AXError::actionUnsupported);
}

TEST(SimulatedLogic, InputReachesTapsBeforeNotificationsAndMonitorsAfter) {
    Fixture f;
    std::vector<std::string> order;
    auto tap = f.logic.input().createPreDispatchMouseTap(
        f.scheduler.mainQueue(), [&](const InputEvent& e) {
            order.push_back("tap:" + std::string(inputEventTypeName(e.type)));
        });
    auto monitor = f.logic.input().addGlobalMonitor(
        kLogicGestureEventMask, f.scheduler.mainQueue(), [&](const InputEvent& e) {
            order.push_back("monitor:" + std::string(inputEventTypeName(e.type)));
        });
    auto observer = f.logic.createObserver(
        f.logic.pid(), f.scheduler.mainQueue(),
        [&](const AXElement&, const std::string& name) { order.push_back(name); });
    observer.value->addNotification(f.logic.trackListElement(), ax::kSelectedRowsChanged);
    f.logic.clickTrack(2, SimulatedClick::command);
    f.scheduler.runUntilIdle();
    EXPECT_EQ(order, (std::vector<std::string>{"tap:leftMouseDown", "AXSelectedRowsChanged",
                                               "monitor:leftMouseDown", "monitor:leftMouseUp"}));
    {
        SCOPED_TRACE("Return closes a sheet after the monitor heard it");
        order.clear();
        observer.value->addNotification(f.logic.applicationElementNow(), ax::kFocusedWindowChanged);
        f.logic.openModal("Rename");
        f.logic.pressKey(keycode::kReturn);
        f.scheduler.runUntilIdle();
        EXPECT_EQ(order, (std::vector<std::string>{"AXFocusedWindowChanged", "monitor:keyDown",
                                                   "AXFocusedWindowChanged"}));
        EXPECT_FALSE(f.logic.isModalOpen());
    }
    f.logic.input().setTapAvailable(false);
    EXPECT_EQ(f.logic.input().createPreDispatchMouseTap(f.scheduler.mainQueue(), {}), nullptr);
    tap.reset();
    EXPECT_EQ(f.logic.input().tapCount(), 0u);
    EXPECT_EQ(f.logic.input().monitorCount(), 1u);
}

}  // namespace
}  // namespace tessiva
