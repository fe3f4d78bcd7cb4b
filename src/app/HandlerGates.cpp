#include "app/HandlerGates.h"

#include "runtime/Text.h"

namespace tessiva {

std::optional<std::string> usableSelectionName(const std::optional<std::string>& name) {
    if (!name)
        return std::nullopt;
    std::string trimmed = text::trimmed(*name);
    if (trimmed.empty())
        return std::nullopt;
    return trimmed;
}

bool trackNamesMatch(std::string_view a, std::string_view b) {
    const std::string left = text::lightNormalizedTrackName(a);
    const std::string right = text::lightNormalizedTrackName(b);
    if (left == right)
        return true;
    return text::lowercased(left) == text::lowercased(right);
}

bool projectKeysMatch(const std::optional<std::string>& current,
                      const std::optional<std::string>& loaded) {
    return current == loaded;
}

HandlerGate firstClosedGate(const HandlerGateInputs& inputs) {
    if (inputs.savedName && !text::trimmed(*inputs.savedName).empty() &&
        !trackNamesMatch(*inputs.savedName, inputs.selectedName)) {
        return HandlerGate::nameMismatch;
    }
    if (!projectKeysMatch(inputs.currentProjectKey, inputs.loadedProjectKey)) {
        return HandlerGate::projectMismatch;
    }
    if (inputs.pendingStructuralDelta)
        return HandlerGate::structuralRepair;
    return HandlerGate::open;
}

}  // namespace tessiva
