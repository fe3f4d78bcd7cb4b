#include <gtest/gtest.h>

#include "platform/activation/ActivationEventSource.h"
#include "platform/simulated/logic/SimulatedLogic.h"
#include "runtime/VirtualScheduler.h"
#include "scenario/Scenario.h"
#include "scenario/ScenarioPlayer.h"

namespace tessiva {
namespace {

TEST(Scenario, ParsesProjectStacksProfileAndStepsInTimeOrderAndRefusalsNameTheStepAndKey) {
    auto defaults = std::get<Scenario>(Scenario::parse("{}"));
    EXPECT_EQ(defaults.version, SimulatedLogicVersion::logic12);
    EXPECT_EQ(defaults.locale, SimulatedLogicLocale::en);
    EXPECT_EQ(defaults.notifications, SimulatedLogicNotifications::none);
    EXPECT_DOUBLE_EQ(defaults.selectionSettleDelay, 0.35);
    auto parsed = Scenario::parse(R"({
        "logic": {"project": "Film Cue", "selectionSettleDelay": 0.05, "selectionSettleJitter": 0.1,
                  "version": 10, "locale": "ko", "notifications": "table",
                  "tracks": ["Piano", {"stack": "Strings", "tracks": ["Violins", "Cellos"]}]},
        "steps": [
            {"at": 2.0, "do": "delete", "track": 3},
            {"at": 0.5, "do": "click", "track": 2, "modifier": "command"},
            {"at": 1.0, "do": "move", "from": 1, "to": 4},
            {"at": 1.0, "do": "setFrontmost", "value": false},
            {"at": 3.0, "do": "undo"}, {"at": 3.5, "do": "redo"},
            {"at": 4, "do": "openModal", "title": "Save?", "kind": "dialog"},
            {"at": 4.2, "do": "mixerClick", "track": 2}
        ],
        "endAfter": 4.5})");
    ASSERT_TRUE(std::holds_alternative<Scenario>(parsed)) << std::get<std::string>(parsed);
    const Scenario& scenario = std::get<Scenario>(parsed);
    EXPECT_EQ(scenario.project, "Film Cue");
    EXPECT_DOUBLE_EQ(scenario.selectionSettleDelay, 0.05);
    EXPECT_DOUBLE_EQ(scenario.selectionSettleJitter, 0.1);
    EXPECT_EQ(scenario.version, SimulatedLogicVersion::logic10);
    EXPECT_EQ(scenario.locale, SimulatedLogicLocale::ko);
    EXPECT_EQ(scenario.notifications, SimulatedLogicNotifications::table);
    ASSERT_EQ(scenario.tracks.size(), 2u);
    EXPECT_EQ(std::get<Scenario::Stack>(scenario.tracks[1]).members,
              (std::vector<std::string>{"Violins", "Cellos"}));
    std::vector<Scenario::Action> actions;
    for (const auto& step : scenario.steps)
        actions.push_back(step.action);
    // Equal times keep their order in the file.
    using A = Scenario::Action;
    EXPECT_EQ(actions, (std::vector<A>{A::click, A::move, A::setFrontmost, A::remove, A::undo,
                                       A::redo, A::openModal, A::mixerClick}));
    EXPECT_EQ(scenario.steps[0].text, "command");
    EXPECT_EQ(scenario.steps[1].other, 4);
    EXPECT_FALSE(scenario.steps[2].flag);
    EXPECT_EQ(scenario.steps[6].modalKind, SimulatedModalKind::dialog);
    EXPECT_EQ(scenario.steps[7].track, 2);
    EXPECT_EQ(scenario.endAfter, 4.5);

    SCOPED_TRACE("refusals name the step and key");
    struct Case {
        const char* json;
        const char* error;  // "<parsed>" when the file is accepted
    };
    const Case cases[] = {
        {"{", "scenario is not valid JSON"},
        {"[]", "scenario must be a JSON object"},
        {R"({"steps": [{"at": 1, "do": "fly"}]})", "steps[0]: unknown action \"fly\""},
        {R"({"steps": [{"do": "click", "track": 1}]})", "steps[0]: missing \"at\""},
        {R"({"steps": [{"at": 0, "do": "quit"}, {"at": 1, "do": "click", "track": "7"}]})",
         "steps[1]: \"track\" must be an integer"},
        {R"({"steps": [{"at": -1, "do": "quit"}]})", "steps[0]: \"at\" must not be negative"},
        {R"({"steps": [{"at": 1, "do": "arrow", "direction": "left"}]})",
         "steps[0]: \"direction\" must be up or down"},
        {R"({"logic": {"tracks": [3]}})", "logic.tracks[0]: must be a name or a stack object"},
        {R"({"logic": {"version": 11}})", "logic: \"version\" must be 12 or 10"},
        {R"({"logic": {"version": "12"}})", "<parsed>"},
        {R"({"logic": {"locale": "fr"}})", "logic: \"locale\" must be en, de, ja or ko"},
        {R"({"logic": {"notifications": "all"}})",
         "logic: \"notifications\" must be none or table"},
        {R"({"logic": {"selectionSettleDelay": -0.1}})",
         "logic: \"selectionSettleDelay\" must not be negative"},
        {R"({"steps": [{"at": 1, "do": "openModal", "title": "X", "kind": "alert"}]})",
         "steps[0]: \"kind\" must be sheet or dialog"},
        {R"({"steps": [{"at": 1, "do": "menu", "item": "Save Everything"}]})",
         "steps[0]: unknown menu item \"Save Everything\""},
        {R"({"steps": [{"at": 1, "do": "menu", "item": "Save Mappings As…", "path": 3}]})",
         "steps[0]: \"path\" must be a string"},
        {R"({"steps": [{"at": 1, "do": "delete", "via": "mouse"}]})",
         "steps[0]: \"via\" must be key or menu"},
        {R"({"steps": [{"at": 1, "do": "duplicate", "via": "key", "track": 2}]})",
         "steps[0]: \"track\" cannot be given with \"via\""},
        {R"({"steps": [{"at": 1, "do": "undo", "via": "voice"}]})",
         "steps[0]: \"via\" must be key or menu"},
        {R"({"steps": [{"at": 1, "do": "delete", "via": "menu"}, )"
         R"({"at": 2, "do": "redo", "via": "menu"}]})",
         "<parsed>"},
    };
    for (const Case& c : cases) {
        auto result = Scenario::parse(c.json);
        EXPECT_EQ(std::holds_alternative<std::string>(result) ? std::get<std::string>(result)
                                                              : std::string("<parsed>"),
                  c.error)
            << c.json;
    }
}

TEST(ScenarioPlayer, MenuAndWakeStepsGoToTheirHandlersAndTheTranscript) {
    auto parsed = Scenario::parse(R"({"steps": [
        {"at": 0.5, "do": "menu", "item": "Clear All Mappings…", "answer": "Clear"},
        {"at": 1.0, "do": "menu", "item": "Save Mappings As…", "path": "Cue.json"},
        {"at": 1.5, "do": "wake"}]})");
    ASSERT_TRUE(std::holds_alternative<Scenario>(parsed)) << std::get<std::string>(parsed);
    VirtualScheduler scheduler;
    SimulatedLogic logic(scheduler.clock());
    ActivationEventSource activation;
    std::vector<ActivationEvent> fired;
    auto token = activation.addObserver([&](ActivationEvent event) { fired.push_back(event); });
    std::vector<std::string> told;
    std::vector<MenuRequest> requests;
    ScenarioPlayer player(scheduler.mainQueue(), logic,
                          [&](const std::string& line) { told.push_back(line); });
    player.setActivationEvents(&activation);
    player.setMenuHandler([&](const MenuRequest& request) {
        requests.push_back(request);
        return std::string("done");
    });
    player.play(std::get<Scenario>(parsed));
    scheduler.advance(1.4);
    ASSERT_EQ(requests.size(), 2u);
    EXPECT_EQ(requests[0].item, "Clear All Mappings…");
    EXPECT_EQ(requests[0].answer, "Clear");
    EXPECT_FALSE(requests[0].path);
    EXPECT_EQ(requests[1].path, "Cue.json");
    EXPECT_TRUE(fired.empty());
    scheduler.advance(0.2);
    EXPECT_EQ(fired, std::vector<ActivationEvent>{ActivationEvent::systemDidWake});
    EXPECT_EQ(told, (std::vector<std::string>{
                        "choose menu item \"Clear All Mappings…\", answer \"Clear\"", "done",
                        "choose menu item \"Save Mappings As…\", file Cue.json", "done",
                        "wake the Mac from sleep"}));
}

}  // namespace
}  // namespace tessiva
