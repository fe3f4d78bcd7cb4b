#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mapping/RowMap.h"

namespace tessiva {

// Which iPad group a track belongs to, judged from the Logic rows above it: in an orchestral
// template a Track Stack header ("Strings", "Violins") sits above the tracks it holds, so the
// nearest row above whose name identifies one group gives the track its group. Pure functions;
// any thread.
//
// A row identifies a group when every token of the row's name occurs in the group's name, and
// the row has at least one token that is not a desk/voice number. When one row identifies
// several groups, the group whose normalised name equals the row's wins; otherwise that row is
// passed over. Only names of three or more tokens are resolved: a short name ("Violins 1") is
// already as specific as any header could make it.
namespace AutoAssignGroupContextResolver {

inline constexpr std::size_t kMinimumTrackTokens = 3;
// Visible rows looked at above the track, nearest first: enough for a large stack.
inline constexpr std::size_t kRowsLookedAbove = 64;

struct Candidate {
    std::string id;  // the group UUID
    std::optional<std::string> groupName;
    // The group name's tokens when the caller has them already (a run tokenises each group once).
    std::vector<std::string> tokens;
};

struct Resolution {
    std::string groupID;
    std::string groupName;
    int anchorTrackIndex = 0;
    std::string anchorTrackName;

    bool operator==(const Resolution&) const = default;
};

// The visible Logic rows with their names tokenised once per run.
struct VisibleRow {
    std::string name;
    std::vector<std::string> tokens;
    std::size_t distinctTokenCount = 0;
};
using VisibleRows = std::map<int, VisibleRow>;
VisibleRows tokenizedRows(const RowMap& rows);

std::optional<Resolution> resolve(int trackIndex, std::size_t trackTokenCount,
                                  const std::vector<Candidate>& candidates,
                                  const VisibleRows& rows);
std::optional<Resolution> resolve(int trackIndex, const std::string& trackName,
                                  const std::vector<Candidate>& candidates, const RowMap& rows);

// "<header name> identified group <group name>", for reasons.
std::string describe(const Resolution& resolution);

}  // namespace AutoAssignGroupContextResolver

}  // namespace tessiva
