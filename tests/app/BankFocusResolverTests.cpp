#include <gtest/gtest.h>

#include "app/BankFocusResolver.h"

namespace tessiva {
namespace {

OSCBankFocusMapping bank(int row, std::string trackName, std::string uuid) {
    OSCBankFocusMapping mapping;
    mapping.trackIndex = row;
    mapping.trackName = std::move(trackName);
    mapping.bankUUID = std::move(uuid);
    mapping.bankName = "Bank " + mapping.bankUUID;
    return mapping;
}

TEST(BankFocusResolver, OwnRowFirstThenUniqueNameFallback) {
    RowKeyed<OSCBankFocusMapping> mappings{{3, bank(3, "Bass", "B-3")},
                                           {7, bank(7, "Cello", "B-7")},
                                           {8, bank(8, "Horn", "B-8")},
                                           {9, bank(9, "horn", "B-9")}};

    auto own =
        resolveBankFocus(3, "Anything", mappings, BankFocusLookup::ownRowThenUniqueName, true);
    ASSERT_TRUE(own);
    EXPECT_EQ(own.mapping, &mappings.at(3));
    EXPECT_EQ(own.resolution, "mapped-index");
    EXPECT_FALSE(own.rowHadNoMapping);

    // Row 12 has no mapping: the one row named "Cello" answers.
    auto byName =
        resolveBankFocus(12, "cello", mappings, BankFocusLookup::ownRowThenUniqueName, true);
    ASSERT_TRUE(byName);
    EXPECT_TRUE(byName.rowHadNoMapping);
    EXPECT_EQ(byName.mapping, &mappings.at(7));
    EXPECT_EQ(byName.resolution, "unique-name:mapped-track-7");

    // Two rows named Horn (case-insensitively): ambiguous.
    auto twice =
        resolveBankFocus(12, "Horn", mappings, BankFocusLookup::ownRowThenUniqueName, true);
    EXPECT_FALSE(twice);
    EXPECT_EQ(twice.fallbackRejectedReason, "non-unique-name-or-target");

    // No such name at all.
    auto none =
        resolveBankFocus(12, "Flute", mappings, BankFocusLookup::ownRowThenUniqueName, true);
    EXPECT_FALSE(none);
    EXPECT_EQ(none.fallbackRejectedReason, "non-unique-name-or-target");

    // Gates use the fallback only, even when the row has its own mapping.
    auto gated = resolveBankFocus(3, "Cello", mappings, BankFocusLookup::uniqueNameOnly, true);
    ASSERT_TRUE(gated);
    EXPECT_FALSE(gated.rowHadNoMapping);
    EXPECT_EQ(gated.mapping, &mappings.at(7));

    // Another project's profile: the fallback refuses.
    auto project = resolveBankFocus(3, "Cello", mappings, BankFocusLookup::uniqueNameOnly, false);
    EXPECT_FALSE(project);
    EXPECT_EQ(project.fallbackRejectedReason, "project-mismatch");

    // A unique name without a target UUID is no target.
    mappings[7].bankUUID.clear();
    EXPECT_FALSE(resolveBankFocus(12, "Cello", mappings, BankFocusLookup::uniqueNameOnly, true));
}

TEST(BankFocusResolver, SignatureNamesRowAndTarget) {
    auto mapping = bank(4, "Strings", "BANK-1");
    EXPECT_EQ(bankFocusSignature(4, mapping), "track:4|target:bank:BANK-1");
    mapping.groupUUID = "GROUP-9";
    EXPECT_EQ(bankFocusSignature(11, mapping), "track:11|target:group:GROUP-9");
    mapping.groupUUID = "";  // an empty group focuses the bank
    EXPECT_EQ(bankFocusSignature(4, mapping), "track:4|target:bank:BANK-1");
}

}  // namespace
}  // namespace tessiva
