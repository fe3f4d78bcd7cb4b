#include "app/BankFocusResolver.h"

#include "app/HandlerGates.h"

namespace tessiva {

namespace {

BankFocusResolution uniqueNameFallback(BankFocusResolution result, std::string_view selectedName,
                                       const RowKeyed<OSCBankFocusMapping>& mappings,
                                       bool projectMatches) {
    if (!projectMatches) {
        result.fallbackRejectedReason = "project-mismatch";
        return result;
    }
    const OSCBankFocusMapping* found = nullptr;
    int foundRow = 0;
    int matches = 0;
    for (const auto& [mappedRow, mapping] : mappings) {
        if (!trackNamesMatch(mapping.trackName, selectedName))
            continue;
        if (++matches > 1)
            break;
        found = &mapping;
        foundRow = mappedRow;
    }
    if (matches != 1 || found->targetUUID().empty()) {
        result.fallbackRejectedReason = "non-unique-name-or-target";
        return result;
    }
    result.mapping = found;
    result.usedUniqueName = true;
    result.resolution = "unique-name:mapped-track-" + std::to_string(foundRow);
    return result;
}

}  // namespace

BankFocusResolution resolveBankFocus(int row, std::string_view selectedName,
                                     const RowKeyed<OSCBankFocusMapping>& mappings,
                                     BankFocusLookup lookup, bool projectMatches) {
    BankFocusResolution result;
    if (lookup == BankFocusLookup::ownRowThenUniqueName) {
        auto own = mappings.find(row);
        if (own != mappings.end()) {
            result.mapping = &own->second;
            result.resolution = kResolutionMappedIndex;
            return result;
        }
        result.rowHadNoMapping = true;
    }
    return uniqueNameFallback(std::move(result), selectedName, mappings, projectMatches);
}

std::string bankFocusSignature(int row, const OSCBankFocusMapping& mapping) {
    std::string signature = "track:" + std::to_string(row) + "|target:";
    signature += mapping.targetsGroup() ? "group:" : "bank:";
    signature += mapping.targetUUID();
    return signature;
}

}  // namespace tessiva
