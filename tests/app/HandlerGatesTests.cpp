#include <gtest/gtest.h>

#include "app/HandlerGates.h"

namespace tessiva {
namespace {

TEST(HandlerGates, EmptyNamesAndNameComparison) {
    EXPECT_EQ(usableSelectionName(std::nullopt), std::nullopt);
    EXPECT_EQ(usableSelectionName(std::string("   \n\t")), std::nullopt);
    EXPECT_EQ(usableSelectionName(std::string("\u00A0")), std::nullopt);
    EXPECT_EQ(usableSelectionName(std::string("  Bass \n")), "Bass");

    EXPECT_TRUE(trackNamesMatch("Violins", "violins"));
    EXPECT_TRUE(trackNamesMatch("Flöte", "FLÖTE"));
    EXPECT_TRUE(trackNamesMatch("Solo\u00A0Cello", " Solo Cello"));
    EXPECT_FALSE(trackNamesMatch("Violins 1", "Violins 2"));
}

TEST(HandlerGates, GatesCloseInOrderNameProjectStructural) {
    HandlerGateInputs inputs{std::string("Bass"), "Cello", std::string("a"), std::string("b"), 1};
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::nameMismatch);
    inputs.savedName = std::nullopt;  // no saved name: the name gate does not apply
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::projectMismatch);
    inputs.loadedProjectKey = "a";
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::structuralRepair);
    inputs.pendingStructuralDelta = std::nullopt;
    EXPECT_EQ(firstClosedGate(inputs), HandlerGate::open);
}

TEST(HandlerGates, ProjectKeysMatchOnlyWhenBothAgree) {
    EXPECT_FALSE(projectKeysMatch(std::nullopt, std::string("song-a")));
    EXPECT_FALSE(projectKeysMatch(std::string("song-a"), std::nullopt));
    EXPECT_TRUE(projectKeysMatch(std::nullopt, std::nullopt));
    EXPECT_FALSE(projectKeysMatch(std::string("Song-A"), std::string("song-a")));
}

}  // namespace
}  // namespace tessiva
