#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "mapping/RowMap.h"

namespace tessiva::repair {

// The vocabulary structural repair reasons in: light name normalisation, anchors (the named rows
// that can prove where a track went), the ownership-baseline rule and the visibility-only test.
// Pure functions on row maps; main queue, no test double needed.

// No-break spaces become spaces, then white space and newlines are trimmed at both ends.
std::string normalizedTrackName(std::string_view name);

// Both names present, non-empty after normalisation and equal after it.
bool namesEquivalent(std::string_view a, std::string_view b);

// Entries with row >= 1 and a non-empty normalised name, keeping the normalised name.
RowMap anchorsOf(const RowMap& rows);

// Whether every entry is already an anchor in normalised form (checked without allocating for
// plain ASCII names; any other name answers false).
bool isAnchorMap(const RowMap& rows);

// Same anchor rows with equivalent names at every row (both arguments are anchor maps).
bool sameAnchors(const RowMap& a, const RowMap& b);

// Highest row of a row map; absent when empty.
std::optional<int> highestRow(const RowMap& rows);

// How many anchor rows are also mapped rows.
int mappedCoverage(const RowMap& anchors, const std::set<int>& mappedRows);

// Whether new anchors replace the collapsed-header ownership baseline. A more collapsed view
// (fewer rows) owns more hidden rows per header, so it is preferred; a user-confirmed reason
// ("manual", "reconcil", "profile loaded") may replace a view of equal or greater size when it
// covers at least as many mapped rows.
bool shouldReplaceOwnershipBaseline(const RowMap& existing, const RowMap& newAnchors,
                                    const std::set<int>& mappedRows, std::string_view reason);

// Whether baseline anchors and current anchors show the same track list with only Track Stack
// visibility changed (see the .cpp for the conditions). All maps but `mappedNamesByIndex` are
// anchor maps. `mappedNamesByIndex` are the names the
// mappings recorded; `knownNames` are the ownership anchors (or the visible baseline when there
// are none) overlaid with the visible-baseline anchors.
bool isVisibilityOnlyChange(const RowMap& baselineAnchors, const RowMap& currentAnchors,
                            const std::set<int>& mappedRows, const RowMap& mappedNamesByIndex,
                            const RowMap& knownNames);

// A moved range of rows for log texts: "7" for one row, "7-9" otherwise. A hyphen is safe because
// rows are never negative, and it stays plain ASCII in the console.
std::string rowRangeText(int first, int last);

}  // namespace tessiva::repair
