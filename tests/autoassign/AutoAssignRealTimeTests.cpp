#include <gtest/gtest.h>

#include "autoassign/AutoAssignCoordinator.h"
#include "autoassign/AutoAssignTestSupport.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingStore.h"
#include "osc/RemoteWorkspaceStore.h"
#include "runtime/AsioDispatcher.h"
#include "runtime/Console.h"
#include "support/TempFolder.h"

namespace tessiva {
namespace {

// On the production queues: the workspace the run asked for is published from the link's own
// queue, hops to the main loop and starts the run well before the fallback would.
TEST(AutoAssignRealTime, RequestedWorkspaceFromAnotherQueueStartsTheRun) {
    TempFolder folder;
    AsioDispatcher dispatcher;
    auto linkQueue = dispatcher.makeSerialQueue("tessiva.test.link");
    NullConsole console;
    NotificationCenter notifications(dispatcher.mainQueue());
    DebugLogStore log(dispatcher.mainQueue(), dispatcher.clock());
    MappingStore store({dispatcher.mainQueue(), dispatcher.clock(), console, log});
    RemoteWorkspaceStore workspace(dispatcher.mainQueue());
    AutoAssignCoordinator coordinator(
        {dispatcher.mainQueue(), notifications, console, log, store, workspace,
         [&](const std::string&) {
             linkQueue->postAfter(0.05, [&] {
                 RemoteWorkspaceSnapshot snapshot;
                 snapshot.sections = {{"Strings", {workspaceBank("V1", "Violas")}}};
                 workspace.publish(std::move(snapshot));
             });
             return true;
         }});

    std::optional<AutoAssignSummary> summary;
    double finishedAfter = -1.0;
    dispatcher.mainQueue().post([&] {
        store.open(folder.path());
        ASSERT_TRUE(
            store.setMIDIMapping(1, {MappingEventType::programChange, 0, {}, 1, "Viola"}).ok());
        const double start = dispatcher.clock().now();
        coordinator.runAfterWorkspaceRefresh("test", [&, start](const auto& result) {
            summary = result;
            finishedAfter = dispatcher.clock().now() - start;
            dispatcher.stopMainLoop();
        });
    });
    dispatcher.runMainLoopFor(AutoAssignCoordinator::kWorkspaceRefreshFallbackDelay * 2);

    ASSERT_TRUE(summary);
    EXPECT_EQ(summary->linked, 1);
    EXPECT_LT(finishedAfter, AutoAssignCoordinator::kWorkspaceRefreshFallbackDelay);
    EXPECT_EQ(store.bankMapping(1)->bankUUID, "V1");
}

}  // namespace
}  // namespace tessiva
