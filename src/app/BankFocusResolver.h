#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "mapping/OSCBankFocusMapping.h"
#include "mapping/RowMap.h"

namespace tessiva {

// Which mappings a bank-focus lookup may use. A gate that holds MIDI back still lets a bank focus
// through when the selected name points at exactly one saved mapping elsewhere.
enum class BankFocusLookup { ownRowThenUniqueName, uniqueNameOnly };

// The outcome of resolving the iPad target for one selected row.
struct BankFocusResolution {
    // The mapping to focus; points into the map handed to resolveBankFocus. Null: send nothing.
    const OSCBankFocusMapping* mapping = nullptr;
    // "mapped-index" or "unique-name:mapped-track-<row>".
    std::string resolution;
    bool usedUniqueName = false;
    // The row has no mapping of its own ("bank/no-mapping" was reached).
    bool rowHadNoMapping = false;
    // Why the unique-name fallback refused: "non-unique-name-or-target" or "project-mismatch".
    std::optional<std::string> fallbackRejectedReason;

    explicit operator bool() const { return mapping != nullptr; }
};

inline constexpr std::string_view kResolutionMappedIndex = "mapped-index";

// Resolves the bank focus for `row` selected under `selectedName` (already trimmed). The fallback
// takes the one stored mapping whose saved track name matches (the same comparison as the name
// gate), provided exactly one row carries that name and it names a target; with
// `projectMatches` false the fallback always refuses. Pure.
BankFocusResolution resolveBankFocus(int row, std::string_view selectedName,
                                     const RowKeyed<OSCBankFocusMapping>& mappings,
                                     BankFocusLookup lookup, bool projectMatches);

// "track:<row>|target:group:<groupUUID>" or "track:<row>|target:bank:<bankUUID>": identifies what
// the iPad was last told to show, so the same focus is not sent twice in a row.
std::string bankFocusSignature(int row, const OSCBankFocusMapping& mapping);

}  // namespace tessiva
