#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "repair/StructuralMappingRepairEngine.h"

namespace tessiva::repair {

using Engine = StructuralMappingRepairEngine;

// Working records of one evaluation. Pure values; main queue.

struct Anchor {
    int index = 0;
    std::string name;
};

// A half-open run of rows moved as one block: a visible anchor and the rows after it that no
// anchor claims (members of a collapsed Track Stack travel with their header).
struct Unit {
    int start = 0;
    int endExclusive = 0;
    std::string name;
};

// One explanation of the visible rows. `denseRemap` maps every row that moves (mapped or not);
// the repair's `mappingRemap` keeps only the mapped ones.
struct Candidate {
    Engine::AppliedRepair repair;
    std::map<int, int> denseRemap;
    int score = 0;
    std::string detail;
    // Offset candidates are scored first and completed only if they win: the first row of the
    // inserted or deleted block.
    int offsetStart = 0;
    // Every projected anchor is seen where the explanation puts it and every shown anchor is
    // accounted for.
    bool exact = false;
    // False for an explanation that a Track Stack opening or closing at the end of the list
    // mimics: it still makes rival explanations ambiguous but never wins itself.
    bool mayWin = true;
};

// What a projected row finds in the current capture.
enum class RowFinding { confirmed, contradicted, hidden };

// The inputs of one evaluation in dense form: names interned to integers and the current capture
// as an array by row, so that every pivot of a 2,000-row list is scored in constant time.
class RepairInputs {
  public:
    static constexpr int kAbsent = -1;  // row not in the capture (hidden in a collapsed stack)
    static constexpr int kBlank = -2;   // row shown without a usable name
    static constexpr int kNoName = -3;  // a name that no anchor carries

    RepairInputs(const Engine::State& state, const Engine::Evidence& evidence,
                 const RowMap& baselineAnchors, const RowMap& currentAnchors);

    // Name id of the current capture at `row`, or kAbsent / kBlank.
    int currentAt(int row) const {
        if (row < 1 || row >= static_cast<int>(current_.size()))
            return kAbsent;
        return current_[static_cast<std::size_t>(row)];
    }
    RowFinding find(int row, int nameId) const {
        const int found = currentAt(row);
        if (found == kAbsent)
            return RowFinding::hidden;
        return found == nameId ? RowFinding::confirmed : RowFinding::contradicted;
    }
    // Id of an already normalised name; kNoName when no interned name matches.
    int idOf(const std::string& normalizedName) const;
    // Name id of the baseline anchor at `row`, kNoName when there is none.
    int baselineIdAt(int row) const;
    const std::string& nameOf(int id) const { return names_[static_cast<std::size_t>(id)]; }
    // Current anchors on rows [first, last].
    int currentAnchorsBetween(int first, int last) const;

    const Engine::State& state;
    const Engine::Evidence& evidence;
    const RowMap& baselineAnchors;
    const RowMap& currentAnchors;
    std::vector<std::pair<int, int>> baseline;   // (row, name id), ascending rows
    std::vector<std::pair<int, int>> ownership;  // ownership-baseline anchors likewise
    std::vector<std::pair<int, int>> mapped;     // mapped rows with the recorded name's id
    int trustedMax = 0;                          // M: the trusted maximum row
    int currentMax = 0;                          // highest current anchor row
    int currentAnchorCount = 0;
    bool sparseVisibility = false;
    int terminalIndex = 0;  // 0 when there is no session-end anchor
    int terminalNameId = kNoName;
    bool hasHint = false;  // a selection hint with a positive row
    int hintIndex = 0;
    int hintNameId = kNoName;  // kNoName when the hint carries no usable name
    bool mappedBeyondTrustedMax = false;

  private:
    int intern(const std::string& normalizedName);

    std::unordered_map<std::string, int> ids_;
    std::vector<std::string> names_;
    std::vector<int> current_;
    std::vector<int> currentAnchorPrefix_;  // anchors on rows < index
};

}  // namespace tessiva::repair
