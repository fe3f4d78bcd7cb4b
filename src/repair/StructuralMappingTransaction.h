#pragma once

#include <map>
#include <vector>

#include "mapping/MappingProfileSnapshot.h"

namespace tessiva {

// The mapping side of one structural repair as pure values: the complete snapshot a repair
// proposes, and the check that a snapshot really is that proposal. The orchestration installs
// the proposal in the store, reads the store back and keeps it only when the check passes;
// otherwise the whole pre-repair snapshot goes back. Main queue; tests use the functions
// directly.
struct StructuralMappingTransaction {
    std::map<int, int> remap;   // old row -> new row, for rows that move
    std::vector<int> deleted;   // rows whose mappings go
    std::vector<int> inserted;  // new Logic rows: each gets a fresh "inserted-<n>" identity

    // `before` with every row's MIDI mapping, name, identity and bank mapping moved by `remap`,
    // deleted rows dropped and inserted rows given identities. Two rows landing on one row keep
    // the later: the check below then fails, so such a proposal is never kept.
    MappingProfileSnapshot propose(const MappingProfileSnapshot& before) const;

    // Whether `after` carries every surviving row's payload of `before` exactly at its
    // destination, nothing on deleted rows, and nothing else (the exact forward state).
    bool reproducedBy(const MappingProfileSnapshot& before,
                      const MappingProfileSnapshot& after) const;
};

}  // namespace tessiva
