#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "autoassign/AutoAssignGroupContextResolver.h"
#include "autoassign/AutoAssignTarget.h"
#include "autoassign/PrincipalInstrument.h"

namespace tessiva {

// A target with its name already normalised.
struct PreparedAutoAssignTarget {
    AutoAssignTarget target;
    std::vector<std::string> tokens;
    std::string normalizedName;
    std::optional<InstrumentFamily> principal;
};

// The targets of one run, normalised once and indexed by the ways a track name can relate to
// them, so a run over thousands of rows and targets looks at the few targets each row can match
// instead of all of them. Built per run; read-only afterwards, so any thread may read it.
class AutoAssignTargetIndex {
  public:
    explicit AutoAssignTargetIndex(std::vector<AutoAssignTarget> targets);
    // The index holds views into its own targets.
    AutoAssignTargetIndex(const AutoAssignTargetIndex&) = delete;
    AutoAssignTargetIndex& operator=(const AutoAssignTargetIndex&) = delete;

    std::size_t size() const { return targets_.size(); }
    const PreparedAutoAssignTarget& operator[](std::size_t i) const { return targets_[i]; }

    // Targets whose normalised name is exactly `normalizedName`, in target order.
    const std::vector<std::size_t>& named(std::string_view normalizedName) const;
    // Targets whose tokens are `stem` plus one trailing desk/voice suffix.
    const std::vector<std::size_t>& namedWithSuffix(std::string_view stem) const;
    // Targets whose normalised name starts with `prefix` and is longer, in target order.
    std::vector<std::size_t> startingWith(std::string_view prefix) const;
    // Targets whose normalised name is a proper prefix of `name`, in target order.
    std::vector<std::size_t> prefixesOf(std::string_view name) const;
    // Targets holding `token`.
    const std::vector<std::size_t>& holding(std::string_view token) const;
    const std::vector<std::size_t>& ofFamily(InstrumentFamily family) const;
    // The groups of the targets of one family, each once, for the stack-header context.
    const std::vector<AutoAssignGroupContextResolver::Candidate>& groupsOfFamily(
        InstrumentFamily family) const {
        return groupsByFamily_[static_cast<std::size_t>(family)];
    }
    // The tokens of a group's name, by group UUID; empty for an unknown group.
    const std::vector<std::string>& groupTokens(std::string_view groupUUID) const;
    // How many distinct tokens a target has.
    std::size_t distinctTokenCount(std::size_t i) const { return distinctTokenCounts_[i]; }

  private:
    struct StringHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>{}(text);
        }
    };
    using Lists =
        std::unordered_map<std::string, std::vector<std::size_t>, StringHash, std::equal_to<>>;
    static const std::vector<std::size_t>& lookUp(const Lists& lists, std::string_view key);

    std::vector<PreparedAutoAssignTarget> targets_;
    std::vector<std::size_t> distinctTokenCounts_;
    Lists byName_;
    Lists byStem_;
    Lists byToken_;
    std::unordered_map<std::string, std::vector<std::string>, StringHash, std::equal_to<>>
        groupTokens_;
    std::vector<std::vector<std::size_t>> byFamily_;
    std::vector<std::vector<AutoAssignGroupContextResolver::Candidate>> groupsByFamily_;
    // (normalised name, target) sorted by name, for prefix searches.
    std::vector<std::pair<std::string_view, std::size_t>> sortedNames_;
};

}  // namespace tessiva
