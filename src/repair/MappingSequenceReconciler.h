#pragma once

#include <map>
#include <string>
#include <vector>

#include "mapping/RowMap.h"

namespace tessiva {

// Compares the saved mapping order with Logic's live track order and proposes new rows only for
// mappings inside high-confidence runs of uniquely named tracks; additions, missing tracks and
// repeated names are left where they are for review. The user-invoked counterpart of the repair
// engine and its stable-sequence fallback. Pure: never edits the store; main queue; tests use
// the reconciler itself.
//
// Run rule: exact pairs (a name used once among the mapping rows and once live) are ordered by
// their mapping row; a run is a maximal stretch of consecutive pairs in that order that share one
// offset (live row - mapping row). Rows between the pairs need not be consecutive, because
// unmapped or renamed tracks may sit between mapped ones; an equal offset already keeps the
// relative order. A run is trusted when it has at least max(2, minimumRunLength) pairs.
//
// Context: a name present on both sides but not unique is settled by its neighbours when the
// nearest exact pairs before and after its mapping row lie in the same trusted run and the live
// row at its mapping row plus that run's offset carries the name. Settled rows are counted in
// `contextResolvedCount` and still not moved: a repeated name is never remapped.
class MappingSequenceReconciler {
  public:
    static constexpr int kMinimumRunLength = 3;
    static constexpr double kDensityThreshold = 0.85;

    struct MoveGroup {
        std::vector<int> sourceIndices;
        std::vector<int> destinationIndices;
        std::vector<std::string> names;

        bool operator==(const MoveGroup&) const = default;
    };

    struct Plan {
        int liveTrackCount = 0;
        int mappedTrackCount = 0;
        double snapshotDensity = 0;
        bool snapshotLooksComplete = false;
        int alreadyCorrectCount = 0;
        std::map<int, int> proposedRemap;
        std::vector<MoveGroup> moveGroups;
        int contextResolvedCount = 0;
        int addedLiveTrackCount = 0;
        int missingMappedTrackCount = 0;
        int ambiguousMappedTrackCount = 0;
    };

    struct ExactPair {
        int oldIndex = 0;
        int newIndex = 0;
        std::string name;
    };

    struct SequenceCandidate {
        std::vector<ExactPair> pairs;
    };

    // `mapped`: mapping row -> recorded name; `live`: Logic row -> shown name.
    static Plan plan(const RowMap& mapped, const RowMap& live,
                     int minimumRunLength = kMinimumRunLength,
                     double densityThreshold = kDensityThreshold);
};

}  // namespace tessiva
