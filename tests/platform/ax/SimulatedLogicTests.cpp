// The simulated Logic as the observer sees it through Accessibility: Logic 12 as recorded from
// the real one, then the older table/outline Logic.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "platform/ax/AXNames.h"
#include "platform/simulated/SimulatedInputEvents.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/VirtualScheduler.h"

namespace tessiva {
namespace {

// Logic 12's defaults changed by `tweak`.
SimulatedLogicOptions logic12(const std::function<void(SimulatedLogicOptions&)>& tweak) {
    SimulatedLogicOptions options;
    tweak(options);
    return options;
}

// Logic 12 with the defaults a user of the simulation gets, unless told otherwise.
struct Rig {
    explicit Rig(SimulatedLogicOptions options = {}) : logic(scheduler.clock(), options) {
        for (const char* name : {"Piano", "Bass", "Drums"})
            logic.addTrack(name);
        logic.addStack("Strings", {"Violins", "Cellos"});
        logic.addTrack("Choir");
    }
    AXResult<AXValue> get(const AXElement& element, const char* attribute) {
        return logic.copyAttributeValue(element, attribute);
    }
    std::string text(const AXElement& element, const char* attribute) {
        return axString(get(element, attribute).value).value_or("<none>");
    }
    AXElement parent(const AXElement& element) {
        return axElement(get(element, ax::kParent).value);
    }
    std::vector<AXElement> list(const AXElement& element, const char* attribute) {
        return axElements(get(element, attribute).value);
    }
    std::vector<std::string> childTexts(const AXElement& element, const char* attribute) {
        std::vector<std::string> out;
        for (const auto& child : list(element, ax::kChildren))
            out.push_back(text(child, attribute));
        return out;
    }
    // The selected headers of the rail, read through `rail`.
    std::vector<std::string> selectedThrough(const AXElement& rail) {
        std::vector<std::string> out;
        for (const auto& header : list(rail, ax::kSelectedChildren))
            out.push_back(text(header, ax::kDescription));
        return out;
    }
    // Records into `heard` each of `names` Logic posts on `element`, by default its application,
    // and into `heardFrom` the element of the latest.
    std::unique_ptr<AXObserver> listen(std::initializer_list<const char*> names,
                                       AXElement element = {}) {
        auto observer = logic
                            .createObserver(logic.pid(), scheduler.mainQueue(),
                                            [this](const AXElement& from, const std::string& name) {
                                                heard.push_back(name);
                                                heardFrom = from;
                                            })
                            .value;
        for (const char* name : names)
            observer->addNotification(element ? element : logic.applicationElementNow(), name);
        return observer;
    }
    // Every element under the window whose description is `description`.
    int countDescribed(const AXElement& root, const std::string& description) {
        int count = text(root, ax::kDescription) == description ? 1 : 0;
        for (const auto& child : list(root, ax::kChildren))
            count += countDescribed(child, description);
        return count;
    }

    VirtualScheduler scheduler;
    SimulatedLogic logic;
    std::vector<std::string> heard;
    AXElement heardFrom;
};

TEST(SimulatedLogic12, TreeHasTheRecordedShape) {
    Rig f;
    const auto window = f.logic.mainWindowElement();
    EXPECT_EQ(f.text(window, ax::kSubrole), "AXStandardWindow");
    EXPECT_EQ(f.text(window, ax::kDocument), "file:///Users/musician/Music/Logic/Song.logicx");

    const auto rail = f.logic.trackListElement();
    EXPECT_EQ(f.text(rail, ax::kRole), "AXGroup");
    std::vector<std::string> ancestors;
    for (auto up = f.parent(rail); up && up != window; up = f.parent(up))
        ancestors.push_back(f.text(up, ax::kRole) + " " + f.text(up, ax::kDescription));
    EXPECT_EQ(ancestors, (std::vector<std::string>{"AXScrollArea <none>", "AXSplitGroup <none>",
                                                   "AXGroup Tracks"}));
    EXPECT_EQ(f.childTexts(rail, ax::kRole), std::vector<std::string>(7, "AXLayoutItem"));
    EXPECT_EQ(f.childTexts(rail, ax::kDescription)[3], "Track 4 \u201CStrings\u201D");

    const auto header = f.logic.rowElement(2);
    EXPECT_EQ(f.text(header, ax::kTitle), "");
    EXPECT_EQ(f.get(header, ax::kValue).error, AXError::noValue);
    EXPECT_EQ(f.childTexts(header, ax::kRole),
              (std::vector<std::string>{"AXRadioButton", "AXSplitter", "AXCheckBox", "AXCheckBox",
                                        "AXCheckBox", "AXCheckBox", "AXSlider", "AXSlider",
                                        "AXTextField"}));
    EXPECT_EQ(f.childTexts(header, ax::kDescription).front(), "Has Focus");
    f.logic.focusTrack(2);
    EXPECT_EQ(f.get(f.list(header, ax::kChildren).front(), ax::kValue).value,
              AXValue{std::int64_t{1}});
    EXPECT_EQ(f.get(header, ax::kSelected).value, AXValue{false});  // focus is not selection
    EXPECT_EQ(f.get(header, ax::kFocused).value, AXValue{true});
    // Only headers are selectable; their name fields are not.
    EXPECT_EQ(f.get(f.logic.nameFieldElement(2), ax::kSelected).error,
              AXError::attributeUnsupported);
    EXPECT_EQ(f.get(f.logic.rowElement(1), ax::kFocused).value, AXValue{false});
    EXPECT_EQ(f.text(f.logic.nameFieldElement(2), ax::kDescription), "Bass");
    EXPECT_FALSE(f.logic.nameFieldElement(0));

    {
        SCOPED_TRACE("a stack's main track has the triangle; collapsing hides and skips members");
        const auto triangle = f.logic.disclosureTriangleElement(4);
        EXPECT_EQ(f.list(f.logic.rowElement(4), ax::kChildren)[2], triangle);
        EXPECT_EQ(f.text(triangle, ax::kRole), "AXDisclosureTriangle");
        EXPECT_EQ(f.get(triangle, ax::kValue).value, AXValue{std::int64_t{1}});
        f.logic.setStackCollapsed(4, true);
        EXPECT_EQ(f.get(triangle, ax::kValue).value, AXValue{std::int64_t{0}});
        EXPECT_EQ(f.list(rail, ax::kChildren).size(), 5u);
        EXPECT_FALSE(f.logic.rowElement(5));
        f.logic.setStackCollapsed(4, false);
    }
    {
        SCOPED_TRACE("decoys: the Inspector's outline, contents rows, the Library, the Mixer");
        const auto inspector = f.logic.inspectorOutlineElement();
        EXPECT_EQ(f.text(inspector, ax::kRole), "AXOutline");
        std::vector<std::string> labels;
        for (const auto& row : f.list(inspector, ax::kChildren))
            labels.push_back(f.text(f.list(row, ax::kChildren).front(), ax::kValue));
        EXPECT_EQ(std::vector<std::string>(labels.begin(), labels.begin() + 3),
                  (std::vector<std::string>{"Icon:", "Channel:", "MIDI Input:"}));
        EXPECT_EQ(f.text(f.logic.contentsRowElement(6), ax::kRole), "AXLayoutArea");
        EXPECT_EQ(f.countDescribed(window, "Track 6 \u201CCellos\u201D"), 2);
        f.logic.openMixer();
        const auto strips = f.logic.mixerStripsElement();
        EXPECT_EQ(f.text(strips, ax::kDescription), "Mixer");
        EXPECT_EQ(f.text(f.parent(strips), ax::kDescription), "Mixer");
        EXPECT_EQ(f.text(f.logic.mixerStripElement(2), ax::kDescription), "Bass");
        EXPECT_EQ(f.text(f.logic.mixerStripElement(2), ax::kRole), "AXLayoutItem");
        EXPECT_TRUE(f.logic.mixerStripElement(7) && !f.logic.mixerStripElement(8));
        EXPECT_EQ(f.logic.mainWindowElement(), window);
        // Other containers of layout items answer AXSelectedChildren too.
        EXPECT_TRUE(f.get(strips, ax::kSelectedChildren).ok());
        // Strips the Mixer does not show cannot be clicked: a collapsed stack's members...
        const std::vector<int> selected = f.logic.selectedTrackNumbers();
        f.logic.setStackCollapsed(4, true);
        f.logic.clickMixerStrip(5);
        EXPECT_EQ(f.logic.selectedTrackNumbers(), selected);
        f.logic.setStackCollapsed(4, false);
        // Closing the pane takes its strips out of the main window, which stays.
        f.logic.closeMixer();
        EXPECT_FALSE(f.get(strips, ax::kRole).ok());
        EXPECT_EQ(f.logic.mainWindowElement(), window);
        // ...nor any strip once the pane is closed.
        f.logic.clickMixerStrip(2);
        EXPECT_EQ(f.logic.selectedTrackNumbers(), selected);
    }
    {
        SCOPED_TRACE("the Tempo slider sits in a Control Bar inside a Control Bar");
        const auto slider = f.logic.tempoSliderElement();
        EXPECT_EQ(f.text(f.parent(slider), ax::kDescription), "Control Bar");
        EXPECT_EQ(f.text(f.parent(f.parent(slider)), ax::kDescription), "Control Bar");
        EXPECT_EQ(f.text(slider, ax::kValueDescription), "120");
    }
    {
        SCOPED_TRACE("a header offers only its menu: a press is accepted and selects nothing");
        EXPECT_EQ(f.logic.copyActionNames(header).value, (std::vector<std::string>{"AXShowMenu"}));
        EXPECT_EQ(f.logic.performAction(header, ax::kActionPress), AXError::success);
        EXPECT_TRUE(f.logic.selectedTrackNumbers().empty());
        EXPECT_EQ(f.get(rail, ax::kSelectedRows).error, AXError::attributeUnsupported);
    }
}

TEST(SimulatedLogic12, PostsNoSelectionNotificationsButPlaybackValueChanges) {
    Rig f;
    const auto observer = f.listen({ax::kSelectedRowsChanged, ax::kSelectedChildrenChanged,
                                    ax::kRowCountChanged, ax::kLayoutChanged, ax::kValueChanged});
    f.logic.clickTrack(2);
    f.logic.pressArrowKey(true);
    f.logic.insertTrack(1, "New");
    f.scheduler.runUntilIdle();
    EXPECT_TRUE(f.heard.empty());
    f.logic.advancePlayback();
    f.scheduler.runUntilIdle();
    EXPECT_EQ(f.heard, (std::vector<std::string>{ax::kValueChanged, ax::kValueChanged}));
}

TEST(SimulatedLogic12, SelectionsPublishLateAndHeldElementsReadStale) {
    Rig f;
    const auto heldRail = f.logic.trackListElement();
    f.logic.clickTrack(3);
    f.scheduler.advance(0.349);
    EXPECT_TRUE(f.selectedThrough(f.logic.trackListElement()).empty());
    EXPECT_EQ(f.get(f.logic.rowElement(3), ax::kSelected).value, AXValue{false});
    f.scheduler.advance(0.001);
    EXPECT_EQ(f.selectedThrough(f.logic.trackListElement()),
              (std::vector<std::string>{"Track 3 \u201CDrums\u201D"}));
    // The rail fetched before the click still answers from before it.
    f.scheduler.advance(1.099);
    EXPECT_TRUE(f.selectedThrough(heldRail).empty());
    f.scheduler.advance(0.001);
    EXPECT_EQ(f.selectedThrough(heldRail), (std::vector<std::string>{"Track 3 \u201CDrums\u201D"}));
    // A shorter staleness brings a held element up to date sooner.
    Rig sooner(logic12([](auto& o) { o.heldElementStaleness = 0.5; }));
    const auto quickRail = sooner.logic.trackListElement();
    sooner.logic.clickTrack(3);
    sooner.scheduler.advance(0.8);
    EXPECT_TRUE(sooner.selectedThrough(quickRail).empty());
    sooner.scheduler.advance(0.1);
    EXPECT_EQ(sooner.selectedThrough(quickRail).size(), 1u);

    // Jitter draws each lag within its bounds, the same way for the same seed.
    auto publishTime = [&] {
        Rig g(logic12([](auto& o) { o.selectionSettleJitter = 0.1; }));
        g.logic.clickTrack(2);
        double waited = 0;
        while (g.selectedThrough(g.logic.trackListElement()).empty() && waited < 1.0) {
            g.scheduler.advance(0.001);
            waited += 0.001;
        }
        return waited;
    };
    const double first = publishTime();
    EXPECT_GE(first, 0.25 - 1e-6);
    EXPECT_LE(first, 0.45 + 1e-6);
    EXPECT_DOUBLE_EQ(publishTime(), first);
}

TEST(SimulatedLogic12, ReadErrors) {
    Rig f;
    const auto app = f.logic.applicationElementNow();
    {
        SCOPED_TRACE("the first window-list read of a launch cannot complete");
        EXPECT_EQ(f.get(app, ax::kWindows).error, AXError::cannotComplete);
        const auto windows = f.list(app, ax::kWindows);
        ASSERT_EQ(windows.size(), 2u);
        EXPECT_EQ(f.text(windows[0], ax::kTitle), "");  // a utility window comes first
        EXPECT_EQ(windows[1], f.logic.mainWindowElement());
        f.logic.relaunch();
        EXPECT_EQ(f.get(f.logic.applicationElementNow(), ax::kWindows).error,
                  AXError::cannotComplete);
    }
    {
        SCOPED_TRACE("busy Logic is slow through the sleep function, or fails");
        std::vector<double> slept;
        f.logic.setSleepFunction([&](double seconds) { slept.push_back(seconds); });
        f.logic.setBusy(SimulatedLogicBusy::slow);
        EXPECT_TRUE(f.get(f.logic.trackListElement(), ax::kRole).ok());
        EXPECT_EQ(slept, (std::vector<double>{2.0}));
        f.logic.setBusy(SimulatedLogicBusy::failing);
        EXPECT_EQ(f.get(f.logic.trackListElement(), ax::kRole).error, AXError::cannotComplete);
    }
    {
        SCOPED_TRACE("a share of child reads fails");
        Rig g(logic12([](auto& o) { o.childrenReadFailureShare = 0.5; }));
        int failed = 0;
        for (int i = 0; i < 200; ++i)
            failed += g.get(g.logic.trackListElement(), ax::kChildren).error == AXError::failure;
        EXPECT_GT(failed, 60);
        EXPECT_LT(failed, 140);
        EXPECT_TRUE(g.get(g.logic.trackListElement(), ax::kDescription).ok());
    }
}

TEST(SimulatedLogic12, RowsScrolledOutOfViewCanBeHidden) {
    Rig f(logic12([](auto& o) {
        o.selectionSettleDelay = 0;
        o.exposedRailRows = 3;
    }));
    const auto rail = f.logic.trackListElement();
    EXPECT_EQ(f.list(rail, ax::kChildren).size(), 3u);
    f.logic.clickTrack(5);  // out of view: the user cannot click it
    EXPECT_TRUE(f.logic.selectedTrackNumbers().empty());
    f.logic.clickTrack(3);
    f.logic.pressArrowKey(true);  // the Arrange scrolls to the new selection
    EXPECT_EQ(f.childTexts(rail, ax::kDescription).back(), "Track 4 \u201CStrings\u201D");
    f.logic.scrollRailTo(4);
    EXPECT_EQ(f.childTexts(rail, ax::kDescription),
              (std::vector<std::string>{"Track 5 \u201CViolins\u201D", "Track 6 \u201CCellos\u201D",
                                        "Track 7 \u201CChoir\u201D"}));
}

TEST(SimulatedLogic12, LocalesShapeHeadersRailAndTitle) {
    struct Case {
        SimulatedLogicLocale locale;
        const char* header;
        const char* rail;
        const char* title;
    };
    const Case cases[] = {
        {SimulatedLogicLocale::en, "Track 2 \u201CBass\u201D", "Tracks header", "Song - Tracks"},
        {SimulatedLogicLocale::de, "Spur 2 \u201EBass\u201C", "Tracks header", "Song - Spuren"},
        {SimulatedLogicLocale::ja, "\u30C8\u30E9\u30C3\u30AF2\u306E\u201CBass\u201D",
         "\u30C8\u30E9\u30C3\u30AF\u30D8\u30C3\u30C0", "Song - \u30C8\u30E9\u30C3\u30AF"},
        {SimulatedLogicLocale::ko, "2\uAC1C\uC758 \u2018Bass\u2019 \uD2B8\uB799",
         "\uD2B8\uB799 \uD5E4\uB354", "Song - \uD2B8\uB799"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(kSimulatedLogicLocaleNames[static_cast<std::size_t>(c.locale)]);
        Rig f(logic12([&](auto& o) { o.locale = c.locale; }));
        EXPECT_EQ(f.text(f.logic.rowElement(2), ax::kDescription), c.header);
        EXPECT_EQ(f.text(f.logic.contentsRowElement(2), ax::kDescription), c.header);
        EXPECT_EQ(f.text(f.logic.trackListElement(), ax::kDescription), c.rail);
        EXPECT_EQ(f.text(f.logic.mainWindowElement(), ax::kTitle), c.title);
    }
    // Options changed while Logic runs rebuild what it shows.
    Rig running;
    running.logic.setOptions(logic12([](auto& o) { o.locale = SimulatedLogicLocale::de; }));
    EXPECT_EQ(running.text(running.logic.rowElement(2), ax::kDescription),
              "Spur 2 \u201EBass\u201C");
}

TEST(SimulatedLogic12, DialogsAndPluginWindowsBecomeTheMainWindow) {
    Rig f;
    const auto app = f.logic.applicationElementNow();
    const auto arrange = f.logic.mainWindowElement();
    auto mainWindow = [&] { return axElement(f.get(app, ax::kMainWindow).value); };
    const auto observer = f.listen({ax::kMainWindowChanged});
    f.logic.openModal("New Tracks");  // a sheet leaves the main window alone
    EXPECT_EQ(mainWindow(), arrange);
    f.logic.dismissModal();
    f.scheduler.runUntilIdle();
    EXPECT_TRUE(f.heard.empty());
    f.logic.openModal("Save changes?", SimulatedModalKind::dialog);
    EXPECT_EQ(mainWindow(), f.logic.modalElement());
    EXPECT_EQ(f.text(mainWindow(), ax::kSubrole), "AXDialog");
    f.logic.clickModalButton();
    EXPECT_EQ(mainWindow(), arrange);
    f.scheduler.runUntilIdle();
    EXPECT_EQ(f.heard.size(), 2u);  // the dialog came and went
    f.logic.openPluginWindow(2);
    EXPECT_EQ(f.text(mainWindow(), ax::kTitle), "Bass");
    EXPECT_EQ(f.text(mainWindow(), ax::kSubrole), "AXDialog");
    f.logic.closePluginWindow();
    EXPECT_EQ(mainWindow(), arrange);
    f.scheduler.runUntilIdle();
    EXPECT_EQ(f.heard.size(), 4u);

    // Where a plug-in window is not the main window, opening and closing one announce nothing.
    Rig g(logic12([](auto& o) { o.pluginWindowIsMain = false; }));
    const auto gObserver = g.listen({ax::kMainWindowChanged});
    g.logic.openPluginWindow(2);
    EXPECT_EQ(axElement(g.get(g.logic.applicationElementNow(), ax::kMainWindow).value),
              g.logic.mainWindowElement());
    g.logic.closePluginWindow();
    g.scheduler.runUntilIdle();
    EXPECT_TRUE(g.heard.empty());
}

TEST(SimulatedLogic12, ElementsFollowPositionsAndAProjectSwitchMakesANewWindow) {
    Rig f;
    const auto first = f.logic.rowElement(1);
    f.logic.moveTrack(3, 1);
    // Drums moved up: the first position's element now shows it, Piano has another one.
    EXPECT_EQ(f.logic.rowElement(1), first);
    EXPECT_NE(f.logic.rowElement(2), first);
    EXPECT_EQ(f.text(first, ax::kDescription), "Track 1 \u201CDrums\u201D");

    const auto window = f.logic.mainWindowElement();
    f.logic.setProjectName("Cue 2");
    EXPECT_NE(f.logic.mainWindowElement(), window);
    EXPECT_EQ(f.get(window, ax::kTitle).error, AXError::invalidUIElement);
    EXPECT_EQ(f.get(first, ax::kDescription).error, AXError::invalidUIElement);
    EXPECT_EQ(f.text(f.logic.mainWindowElement(), ax::kTitle), "Cue 2 - Tracks");
}

TEST(SimulatedLogic12, UndoRedoDuplicateAndDeleteCommands) {
    Rig f;
    std::vector<std::pair<int, std::uint32_t>> keys;
    auto monitor = f.logic.input().addGlobalMonitor(
        kLogicGestureEventMask, f.scheduler.mainQueue(), [&](const InputEvent& e) {
            if (e.type == InputEventType::keyDown)
                keys.emplace_back(e.keyCode, e.modifiers);
        });
    const auto before = f.logic.visibleRows();
    f.logic.insertTrack(1, "Synth");
    f.logic.moveTrack(2, 4);
    f.logic.pressUndo();
    f.logic.pressUndo();
    EXPECT_EQ(f.logic.visibleRows(), before);
    f.logic.pressRedo();
    EXPECT_EQ(f.logic.visibleRows().at(2), "Synth");
    f.logic.clickTrack(2);
    f.logic.pressDuplicate();
    EXPECT_EQ(f.logic.visibleRows().at(3), "Synth");
    f.logic.pressDelete();  // the selected copy
    EXPECT_EQ(f.logic.visibleRows().at(3), "Bass");
    f.logic.pressUndo();
    EXPECT_EQ(f.logic.visibleRows().at(3), "Synth");
    f.scheduler.runUntilIdle();
    const auto cmd = static_cast<std::uint32_t>(InputModifier::command);
    const auto shiftCmd = cmd | static_cast<std::uint32_t>(InputModifier::shift);
    EXPECT_EQ(keys, (std::vector<std::pair<int, std::uint32_t>>{
                        {6, cmd}, {6, cmd}, {6, shiftCmd}, {2, cmd}, {51, cmd}, {6, cmd}}));
    f.logic.openModal("Rename");
    f.logic.pressUndo();  // a modal takes the key
    EXPECT_EQ(f.logic.visibleRows().at(3), "Synth");
}

TEST(SimulatedLogic, NotificationsFollowRegistrationsAndSuspension) {
    Rig f(SimulatedLogicOptions::tableOutlineProfile());
    const auto outline = f.logic.trackListElement();
    auto observer = f.listen({ax::kSelectedRowsChanged, ax::kSelectedChildrenChanged}, outline);
    EXPECT_EQ(observer->addNotification(outline, ax::kSelectedRowsChanged),
              AXError::notificationAlreadyRegistered);
    {
        SCOPED_TRACE("delivered on the queue, in order, once each");
        f.logic.clickTrack(2);
        EXPECT_TRUE(f.heard.empty());
        f.scheduler.runUntilIdle();
        EXPECT_EQ(f.heard, (std::vector<std::string>{ax::kSelectedRowsChanged,
                                                     ax::kSelectedChildrenChanged}));
        EXPECT_EQ(f.heardFrom, outline);
    }
    {
        SCOPED_TRACE("suspended delivery loses notifications and keeps registrations");
        f.heard.clear();
        observer->suspendDelivery();
        const auto dropped = f.logic.droppedNotificationCount();
        f.logic.clickTrack(4);
        f.scheduler.runUntilIdle();
        EXPECT_TRUE(f.heard.empty());
        EXPECT_EQ(f.logic.droppedNotificationCount(), dropped + 2);
        observer->resumeDelivery();
        f.logic.clickTrack(5);
        f.scheduler.runUntilIdle();
        EXPECT_EQ(f.heard.size(), 2u);
    }
    {
        SCOPED_TRACE("removing and destroying end delivery");
        f.heard.clear();
        EXPECT_EQ(observer->removeNotification(outline, ax::kSelectedRowsChanged),
                  AXError::success);
        f.logic.clickTrack(1);
        observer.reset();  // the posted delivery must not reach the destroyed observer
        f.scheduler.runUntilIdle();
        EXPECT_TRUE(f.heard.empty());
    }
}

TEST(SimulatedLogic, IsFoundByItsBundleQuitInvalidatesElementsAndRelaunchMakesNewOnes) {
    Rig f(SimulatedLogicOptions::tableOutlineProfile());
    const auto oldRow = f.logic.rowElement(1);
    const auto oldPid = f.logic.pid();
    // That the running Logic is found is every observer test's first step.
    EXPECT_TRUE(f.logic.runningApplications("com.apple.mail").empty());
    EXPECT_EQ(f.text(f.logic.applicationElement(oldPid), ax::kRole), "AXApplication");
    EXPECT_FALSE(f.logic.applicationElement(oldPid + 1));
    // An outline of untitled rows.
    EXPECT_EQ(f.text(f.logic.trackListElement(), ax::kRole), "AXOutline");
    EXPECT_EQ(f.get(oldRow, ax::kTitle).error, AXError::noValue);
    f.logic.quit();
    EXPECT_FALSE(f.logic.applicationElement(oldPid));
    EXPECT_TRUE(f.logic.runningApplications("com.apple.logic10").empty());
    EXPECT_EQ(f.get(oldRow, ax::kDescription).error, AXError::invalidUIElement);
    EXPECT_FALSE(f.logic.createObserver(oldPid, f.scheduler.mainQueue(), {}).ok());
    f.logic.launch();
    EXPECT_NE(f.logic.pid(), oldPid);
    EXPECT_NE(f.logic.rowElement(1), oldRow);
    EXPECT_EQ(f.text(f.logic.rowElement(1), ax::kDescription), "Track 1 \u201CPiano\u201D");
    f.logic.setTrusted(false);
    EXPECT_EQ(f.get(f.logic.rowElement(1), ax::kDescription).error, AXError::apiDisabled);
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
