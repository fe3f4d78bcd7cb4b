#include <gtest/gtest.h>

#include "app/SelectionStageRecorder.h"

namespace tessiva {
namespace {

TEST(SelectionStageRecorder, RecordsTitleRowNameDetailAndTimeInABoundedRing) {
    ManualClock clock(50.0, 700'000'000.0);
    SelectionStageRecorder recorder(clock, 3);
    recorder.record(SelectionStage::routerAccepted, 5, std::string("Bass"));
    clock.advance(0.25);
    recorder.record(SelectionStage::routerDeduplicated, 5, std::nullopt, "windowMs=500 ageMs=250");

    auto entries = recorder.entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].title(), "router/accepted");
    EXPECT_EQ(entries[0].line(), "router/accepted row=5 name=Bass");
    EXPECT_EQ(entries[1].name, "<none>");
    EXPECT_EQ(entries[1].detail, "windowMs=500 ageMs=250");
    EXPECT_DOUBLE_EQ(entries[1].time, 50.25);
    EXPECT_DOUBLE_EQ(entries[1].date, 700'000'000.25);

    // Past capacity the oldest go first; sequence numbers keep counting.
    recorder.record(SelectionStage::handlerStarted, 6, std::string("Cello"));
    recorder.record(SelectionStage::bankSendAttempted, 6, std::string("Cello"), "signature=x");
    entries = recorder.entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries.front().stage, SelectionStage::routerDeduplicated);
    EXPECT_EQ(entries.back().stage, SelectionStage::bankSendAttempted);
    EXPECT_EQ(entries.back().sequence, 3u);
    EXPECT_EQ(recorder.totalRecorded(), 4u);
    EXPECT_EQ(recorder.last()->detail, "signature=x");

    recorder.clear();
    EXPECT_TRUE(recorder.entries().empty());
    EXPECT_FALSE(recorder.last());
    EXPECT_EQ(SelectionStageRecorder(clock).capacity(), 512u);
}

}  // namespace
}  // namespace tessiva
