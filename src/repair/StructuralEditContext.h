#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "mapping/RowMap.h"

namespace tessiva {

// A Logic track as a selection named it: the row Logic showed and its header name.
struct StructuralSelection {
    int index = 0;
    std::optional<std::string> name;

    bool operator==(const StructuralSelection&) const = default;
};

// "5 "Violins"" (or "5" without a name): how repair texts name a selection.
std::string describeSelection(const std::optional<StructuralSelection>& selection);

// Which Logic command is believed to be under way, so that the next settled capture is read in
// its light: an undo is looked up in the history before anything is computed, a deletion that
// turns out to have added rows ends the context. Lives at most kLifetimeSeconds and belongs to
// one mappings profile. A value held by the repair orchestration on the main queue; tests build
// it directly.
struct StructuralEditContext {
    enum class Kind { duplication, insertion, deletion, reorder, undo, redo, count };

    static constexpr double kLifetimeSeconds = 30.0;

    Kind kind = Kind::reorder;
    std::string reason;
    std::optional<StructuralSelection> sourceSelection;
    RowMap visibleBaseline;
    int trustedMaximum = 0;
    std::optional<std::string> mappingProfileKey;
    double startedAt = 0;

    // Still in force at `now` for the profile `profileKey`.
    bool isValid(double now, const std::optional<std::string>& profileKey) const {
        return now - startedAt <= kLifetimeSeconds && now >= startedAt &&
               profileKey == mappingProfileKey;
    }

    // Whether a settled capture whose highest row is `capturedMaximum` contradicts the command:
    // a deletion that added rows, a duplication or insertion that lost rows. Undo, redo and
    // reorder may go either way.
    bool isContradictedBy(int capturedMaximum) const;

    // "kind=deletion source=5 "Violins" trustedMax=40 reason=…": the retained-context text.
    std::string describe() const;
};

inline constexpr std::array<std::string_view,
                            static_cast<std::size_t>(StructuralEditContext::Kind::count)>
    kStructuralEditKindNames{"duplication", "insertion", "deletion", "reorder", "undo", "redo"};
static_assert(kStructuralEditKindNames.size() == 6, "one label per structural edit kind");

inline std::string_view name(StructuralEditContext::Kind kind) {
    return kStructuralEditKindNames[static_cast<std::size_t>(kind)];
}

}  // namespace tessiva
