#include <gtest/gtest.h>

#include "logic/ModalDeadlines.h"

namespace tessiva {
namespace {

TEST(ModalDeadlines, QuarantineIsTheLaterOfCooldownAndConfirmation) {
    ModalDeadlines deadlines;
    EXPECT_FALSE(deadlines.isQuarantined(0.0));
    deadlines.enterQuarantine(100.0, 1.5);
    EXPECT_TRUE(deadlines.isQuarantined(101.49));
    EXPECT_FALSE(deadlines.isQuarantined(101.5));
    // The confirmation deadline extending the quarantine is the observer's modal tests'.
    deadlines.armPotentialConfirmation(100.0, 3.0);
    EXPECT_FALSE(deadlines.isQuarantined(103.0));
    EXPECT_DOUBLE_EQ(deadlines.selectionRouteResumeTime(), 103.0);
    EXPECT_DOUBLE_EQ(deadlines.windowRouteResumeTime(), 101.5);
}

TEST(ModalDeadlines, EntriesNeverShortenADeadline) {
    ModalDeadlines deadlines;
    deadlines.enterQuarantine(100.0, 1.5);
    deadlines.enterQuarantine(99.0, 1.5);
    EXPECT_DOUBLE_EQ(deadlines.quarantine, 101.5);
    deadlines.armPotentialConfirmation(100.0, 30.0);
    deadlines.armPotentialConfirmation(101.0, 3.0);
    EXPECT_DOUBLE_EQ(deadlines.potentialConfirmation, 130.0);
    deadlines.armPrimaryDetection(100.0, 0.75);
    deadlines.armPrimaryDetection(99.5, 0.75);
    EXPECT_DOUBLE_EQ(deadlines.primaryDetection, 100.75);
    deadlines.modalOpened(90.0, 30.0);
    EXPECT_DOUBLE_EQ(deadlines.potentialConfirmation, 130.0);
}

TEST(ModalDeadlines, GestureDetectionAndConfirmation) {
    ModalDeadlines deadlines;
    deadlines.armPrimaryDetection(10.0, 0.75);
    EXPECT_TRUE(deadlines.suspectsModal(10.74));
    EXPECT_FALSE(deadlines.suspectsModal(10.75));
    EXPECT_FALSE(deadlines.awaitsConfirmation(10.1));
    EXPECT_FALSE(deadlines.isQuarantined(10.1));
    deadlines.modalOpened(10.5, 30.0);
    EXPECT_TRUE(deadlines.awaitsConfirmation(40.49));
    EXPECT_TRUE(deadlines.isQuarantined(40.49));
    EXPECT_FALSE(deadlines.isQuarantined(40.5));
    deadlines.modalConfirmed();
    EXPECT_FALSE(deadlines.awaitsConfirmation(11.0));
    EXPECT_FALSE(deadlines.suspectsModal(11.0));
}

}  // namespace
}  // namespace tessiva
