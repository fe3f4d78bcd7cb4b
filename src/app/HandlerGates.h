#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tessiva {

// The gates that may stop a handled selection from driving output, in the order they are
// applied. `open` means every gate passed.
enum class HandlerGate { open, nameMismatch, projectMismatch, structuralRepair };

// What the gates look at, gathered by the handler before it decides.
struct HandlerGateInputs {
    std::optional<std::string> savedName;  // the row's MIDI mapping name, else its bank mapping's
    std::string selectedName;              // the selection's trimmed name
    std::optional<std::string> currentProjectKey;
    std::optional<std::string> loadedProjectKey;
    std::optional<int> pendingStructuralDelta;  // a structural repair is pending for this delta
};

// The trimmed selection name, or nothing when it is absent or only white space: such a selection
// never drives output.
std::optional<std::string> usableSelectionName(const std::optional<std::string>& name);

// Track names compare after the light normalisation (no-break spaces, trimming) and ignoring
// letter case: renaming "violins" to "Violins" in Logic does not make it another instrument.
bool trackNamesMatch(std::string_view a, std::string_view b);

// The project gate is open when both keys are known and equal, or when neither is known (no
// project tracking and no keyed profile: nothing to contradict).
bool projectKeysMatch(const std::optional<std::string>& current,
                      const std::optional<std::string>& loaded);

// The first closed gate, in the order name, project, structural repair. Pure.
HandlerGate firstClosedGate(const HandlerGateInputs& inputs);

}  // namespace tessiva
