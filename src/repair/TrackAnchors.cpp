#include "repair/TrackAnchors.h"

#include <algorithm>
#include <cctype>

#include "runtime/Text.h"

namespace tessiva::repair {

std::string normalizedTrackName(std::string_view name) {
    // Most names are plain ASCII: trim them here and leave Unicode white space to the text
    // helpers, which a 2,000-row capture would otherwise pay for on every row.
    const bool ascii = std::all_of(name.begin(), name.end(),
                                   [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (!ascii)
        return text::lightNormalizedTrackName(name);
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    std::size_t first = 0;
    std::size_t last = name.size();
    while (first < last && isSpace(name[first]))
        ++first;
    while (last > first && isSpace(name[last - 1]))
        --last;
    return std::string(name.substr(first, last - first));
}

bool namesEquivalent(std::string_view a, std::string_view b) {
    const std::string left = normalizedTrackName(a);
    if (left.empty())
        return false;
    return left == normalizedTrackName(b);
}

RowMap anchorsOf(const RowMap& rows) {
    RowMap anchors;
    for (const auto& [row, name] : rows) {
        if (row < 1)
            continue;
        std::string normalized = normalizedTrackName(name);
        if (!normalized.empty())
            anchors.emplace_hint(anchors.end(), row, std::move(normalized));
    }
    return anchors;
}

bool isAnchorMap(const RowMap& rows) {
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    return std::all_of(rows.begin(), rows.end(), [&](const auto& entry) {
        const std::string& name = entry.second;
        return entry.first >= 1 && !name.empty() && !isSpace(name.front()) &&
               !isSpace(name.back()) && std::all_of(name.begin(), name.end(), [](char c) {
                   return static_cast<unsigned char>(c) < 0x80;
               });
    });
}

bool sameAnchors(const RowMap& a, const RowMap& b) {
    if (a.size() != b.size())
        return false;
    // Anchor names are normalised already.
    return std::equal(a.begin(), a.end(), b.begin(), [](const auto& left, const auto& right) {
        return left.first == right.first && !left.second.empty() && left.second == right.second;
    });
}

std::optional<int> highestRow(const RowMap& rows) {
    if (rows.empty())
        return std::nullopt;
    return rows.rbegin()->first;
}

int mappedCoverage(const RowMap& anchors, const std::set<int>& mappedRows) {
    int covered = 0;
    for (const auto& [row, name] : anchors)
        covered += mappedRows.contains(row) ? 1 : 0;
    return covered;
}

bool shouldReplaceOwnershipBaseline(const RowMap& existing, const RowMap& newAnchors,
                                    const std::set<int>& mappedRows, std::string_view reason) {
    if (newAnchors.empty())
        return false;
    if (existing.empty())
        return true;
    std::string lowered(reason);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const bool userConfirmed = lowered.find("manual") != std::string::npos ||
                               lowered.find("reconcil") != std::string::npos ||
                               lowered.find("profile loaded") != std::string::npos;
    const auto newCoverage = [&] { return mappedCoverage(newAnchors, mappedRows); };
    const auto oldCoverage = [&] { return mappedCoverage(existing, mappedRows); };
    if (userConfirmed) {
        if (newAnchors.size() <= existing.size())
            return true;
        return newCoverage() >= oldCoverage();
    }
    if (newAnchors.size() < existing.size())
        return true;
    if (newAnchors.size() > existing.size())
        return false;
    return newCoverage() >= oldCoverage();
}

namespace {

// Every anchor of `inner` stands in `outer` at the same row with an equivalent name.
bool containsAnchors(const RowMap& outer, const RowMap& inner) {
    for (const auto& [row, name] : inner) {
        const auto found = outer.find(row);
        if (found == outer.end() || found->second != name)
            return false;
    }
    return true;
}

}  // namespace

// Conditions: both non-empty; equal highest rows; one side's anchors all stand on the other side
// unchanged (stacks expanded or collapsed); every current mapped anchor carries its mapping's
// recorded name; every current anchor agrees with the names known from earlier views.
bool isVisibilityOnlyChange(const RowMap& baselineAnchors, const RowMap& currentAnchors,
                            const std::set<int>& mappedRows, const RowMap& mappedNamesByIndex,
                            const RowMap& knownNames) {
    if (baselineAnchors.empty() || currentAnchors.empty())
        return false;
    if (baselineAnchors.rbegin()->first != currentAnchors.rbegin()->first)
        return false;
    const bool expanded = containsAnchors(currentAnchors, baselineAnchors);
    const bool collapsed = containsAnchors(baselineAnchors, currentAnchors);
    if (!expanded && !collapsed)
        return false;
    for (const auto& [row, name] : currentAnchors) {
        if (mappedRows.contains(row)) {
            const auto recorded = mappedNamesByIndex.find(row);
            if (recorded == mappedNamesByIndex.end() || !namesEquivalent(recorded->second, name))
                return false;
        }
        const auto known = knownNames.find(row);
        if (known != knownNames.end() && known->second != name)
            return false;
    }
    return true;
}

std::string rowRangeText(int first, int last) {
    if (first == last)
        return std::to_string(first);
    return std::to_string(first) + "-" + std::to_string(last);
}

}  // namespace tessiva::repair
