#include <gtest/gtest.h>

#include "app/LearnModeStore.h"

namespace tessiva {
namespace {

TEST(LearnModeStore, PublishesCurrentModeThenChangesOnly) {
    LearnModeStore store;
    std::vector<LearnMode> seen;
    auto token = store.observe([&](LearnMode mode) { seen.push_back(mode); });
    store.setMode(LearnMode::learn);
    store.setMode(LearnMode::learn);  // no change, no notice
    store.setMode(LearnMode::off);
    EXPECT_EQ(seen, (std::vector<LearnMode>{LearnMode::off, LearnMode::learn, LearnMode::off}));

    token.reset();
    store.setMode(LearnMode::learn);
    EXPECT_EQ(seen.size(), 3u);
    EXPECT_EQ(store.mode(), LearnMode::learn);

    EXPECT_EQ(learnModeName(LearnMode::learn), "learn");
    EXPECT_EQ(learnModeFromName("off"), LearnMode::off);
    EXPECT_EQ(learnModeFromName("On"), std::nullopt);
}

}  // namespace
}  // namespace tessiva
