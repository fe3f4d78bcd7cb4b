#include <gtest/gtest.h>

#include <climits>
#include <sstream>
#include <string>

#include "repair/CandidateRanking.h"
#include "repair/CheckedArithmetic.h"
#include "repair/StructuralMappingRepairEngine.h"
#include "repair/TrackAnchors.h"

namespace tessiva {
namespace {

using Engine = StructuralMappingRepairEngine;
using Kind = Engine::Decision::Kind;

// Rows 1..n from space-separated names; "-" leaves a row out (hidden in a collapsed stack).
RowMap rows(const std::string& names) {
    RowMap map;
    std::istringstream words(names);
    int row = 1;
    for (std::string name; words >> name; ++row) {
        if (name != "-")
            map.emplace(row, name);
    }
    return map;
}

// A capture with every listed row mapped under the name it shows, and row `selected` (unless 0)
// selected.
Engine::Evidence evidence(const RowMap& current, const RowMap& mapped, int selected = 0) {
    Engine::Evidence result;
    result.currentVisibleSnapshot = current;
    for (const auto& [row, name] : mapped) {
        result.mappedIndices.insert(row);
        result.mappedNamesByIndex.emplace(row, name);
    }
    if (selected != 0)
        result.selectedHint = Engine::SelectionHint{selected, current.at(selected)};
    result.reason = "test capture";
    return result;
}

Engine engineWith(const RowMap& baseline, const RowMap& mapped) {
    Engine engine;
    std::set<int> mappedRows;
    for (const auto& [row, name] : mapped)
        mappedRows.insert(row);
    engine.acceptBaseline(baseline, mappedRows, "profile loaded");
    return engine;
}

TEST(StructuralRepairEngine, FirstEvidenceEmptyCapturesAndCosmeticNames) {
    Engine engine;
    auto decision = engine.evaluate(evidence({}, {}));
    EXPECT_EQ(decision.kind, Kind::hold);
    EXPECT_EQ(decision.text, "Current Logic visible-anchor snapshot is empty.");
    EXPECT_EQ(engine.evaluate(evidence(RowMap{{1, ""}, {2, " \u00A0"}}, {})).kind, Kind::hold);

    // Whatever the first capture shows, it is trusted, not repaired.
    decision = engine.evaluate(evidence(rows("Piano - Bass"), rows("Piano")));
    EXPECT_EQ(decision.kind, Kind::noChange);
    EXPECT_EQ(decision.text, "Accepted first structural evidence as the reconciliation baseline.");
    EXPECT_EQ(engine.state.maxObservedIndex, 3);
    EXPECT_EQ(engine.state.terminalAnchorIndex, 3);
    EXPECT_EQ(engine.state.terminalAnchorName, "Bass");
    EXPECT_EQ(engine.state.ownershipBaseline, rows("Piano - Bass"));

    decision = engine.evaluate(evidence(RowMap{{1, "\u00A0Piano "}, {3, " Bass\n"}}, {}));
    EXPECT_EQ(decision.kind, Kind::noChange);
    EXPECT_EQ(decision.text, "Settled Logic snapshot matches the trusted reconciliation baseline.");

    engine.reset();
    EXPECT_EQ(engine.state, Engine::State{});
    engine.acceptBaseline(RowMap{{1, ""}, {2, " "}}, {}, "accepted visible structural baseline");
    EXPECT_EQ(engine.state, Engine::State{});
}

TEST(StructuralRepairEngine, StackVisibilityChangesRefreshWithoutRepair) {
    const RowMap expanded = rows("Piano Strings Violins Cellos Choir");
    const RowMap collapsed = rows("Piano Strings - - Choir");
    Engine engine = engineWith(collapsed, rows("Piano Strings"));
    const RowMap ownership = engine.state.ownershipBaseline;

    for (const RowMap& shown : {expanded, collapsed}) {
        const auto decision = engine.evaluate(evidence(shown, rows("Piano Strings")));
        EXPECT_EQ(decision.kind, Kind::noChange);
        EXPECT_EQ(decision.text, "Accepted AX visibility-only structural baseline refresh.");
        EXPECT_EQ(engine.state.visibleBaseline, shown);
        EXPECT_EQ(engine.state.ownershipBaseline, ownership);
    }
}

// Kind, rows inserted (+) or deleted (-), then each mapping moved: "insertionOffset +2: 2>3".
std::string describe(const Engine::AppliedRepair& repair) {
    std::string text(name(repair.kind));
    for (const int row : repair.insertedIndices)
        text += " +" + std::to_string(row);
    for (const int row : repair.deletedIndices)
        text += " -" + std::to_string(row);
    text += ":";
    for (const auto& [from, to] : repair.mappingRemap)
        text += " " + std::to_string(from) + ">" + std::to_string(to);
    return text;
}

// Every applied repair moves the mappings to their tracks' new rows and takes the capture as the
// new baseline, its last shown row as the end of the list. Its confidence adds up its evidence:
// rows confirmed where the edit puts them (capped), the moved rows' new neighbours, the tracks
// owned before the stack closed, and a selection that agrees with the edit.
TEST(StructuralRepairEngine, AppliedEditsShiftMappingsAndTakeTheCaptureAsBaseline) {
    const char* five = "Piano Bass Strings Choir Drums";
    const char* fourMapped = "Piano Bass - Choir";
    const char* synthAtTwo = "Piano Synth Bass Strings Choir Drums";
    const char* bassGone = "Piano Strings Choir Drums";
    const char* six = "A B C D E F";
    const char* dUp = "A D B C E F";
    struct Case {
        const char *baseline, *mapped, *current, *repair;
        int confidence;
        int selected = 0;               // the row selected, 0: none
        const char* summary = nullptr;  // nullptr: not checked
        const char* owned = nullptr;    // nullptr: the capture
        bool lastRowNotOwned = false;
    };
    const char* synthIn = "insertionOffset +2: 2>3 3>4 4>5 5>6";
    const char* bassOut = "deletionOffset -2: 3>2 4>3 5>4";
    const char* dMoved = "blockMove: 2>3 3>4 4>2";
    const Case cases[] = {
        {five, fourMapped, synthAtTwo, "insertionOffset +2: 2>3 4>5", 197, 0,
         "Inserted 1 Logic row(s) at row 2; shifted mappings at/after that row upward."},
        {five, five, synthAtTwo, synthIn, 197},
        {five, five, synthAtTwo, synthIn, 217, 2},  // the new row selected
        {five, five, synthAtTwo, synthIn, 225, 1},
        {five, five, synthAtTwo, synthIn, 225, 4},
        {five, fourMapped, "Piano Choir Drums", "deletionOffset -2 -3: 4>2", 191, 0,
         "Deleted 2 Logic row(s) from row 2; removed affected mappings and shifted later "
         "mappings downward."},
        {five, five, bassGone, bassOut, 199},
        {five, five, bassGone, bassOut, 259, 2},  // the row that took its place selected
        {five, five, bassGone, bassOut, 217, 3},
        {five, five, bassGone, bassOut, 205, 1},
        // A selection above the cut on a name repeated below counts as above it (6), not moved
        // (18).
        {"A A B C", "A A B C", "A A C", "deletionOffset -3: 4>3", 169, 1},
        // No row below the last track confirms the shift; the end itself is seen.
        {five, fourMapped, "Piano Bass Strings Choir", "deletionOffset -5:", 131},
        // The highest shown row stays where it was; the row hidden above it stays owned.
        {six, "A - C", "A - C D", "deletionOffset -5 -6:", 127, 0, nullptr, "A B C D"},
        {six, six, dUp, dMoved, 291, 0,
         "Moved Logic block rows 4 to row 2 after the visible anchor sequence rotated exactly."},
        {six, six, dUp, dMoved, 307, 3},  // the row it passed selected
        {six, six, dUp, dMoved, 321, 0, nullptr, "A D B C E", true},
        {six, six, "A C D E F B", "blockMove: 2>6 3>2 4>3 5>4 6>5", 299},
        // A selected row that was hidden before the move adds nothing.
        {"A B C D - F", "A B C D - F", "A D B C E F", dMoved, 249, 5, nullptr, "A D B C - F"},
        // Two pairs swapped: the first pair is the block moved.
        {six, six, "C D A B E F", "blockMove: 1>3 2>4 3>1 4>2", 317},
        {six, six, "A E C D B F", "blockMove: 2>5 5>2", 275, 0,
         "Swapped Logic rows 2 and 5 after visible mapped names crossed over exactly."},
        {"A B C D E F G H I J K L M N", "A B C D E F G H I J K L M N",
         "A J B C D E F G H I K L M N", "blockMove: 2>3 3>4 4>5 5>6 6>7 7>8 8>9 9>10 10>2", 397},
        // A duplicated track no mapping depends on: which copy is new does not matter.
        {"Piano Bass Strings Choir", "Piano - Strings", "Piano Bass Bass Strings Choir",
         "insertionOffset +2: 3>4", 179},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.current << ", row " << c.selected << " selected");
        const RowMap current = rows(c.current);
        Engine engine = engineWith(rows(c.baseline), rows(c.mapped));
        if (c.lastRowNotOwned)
            engine.state.ownershipBaseline.erase(std::prev(engine.state.ownershipBaseline.end()));
        const auto decision = engine.evaluate(evidence(current, rows(c.mapped), c.selected));
        ASSERT_EQ(decision.kind, Kind::apply) << decision.text;
        EXPECT_EQ(describe(*decision.repair), c.repair);
        EXPECT_EQ(decision.repair->confidence, c.confidence);
        if (c.summary) {
            EXPECT_EQ(decision.repair->summary, c.summary);
        }
        const auto& [last, lastName] = *current.rbegin();
        EXPECT_EQ(engine.state.maxObservedIndex, last);
        EXPECT_EQ(engine.state.terminalAnchorIndex, last);
        EXPECT_EQ(engine.state.terminalAnchorName, lastName);
        EXPECT_EQ(engine.state.visibleBaseline, current);
        EXPECT_EQ(engine.state.ownershipBaseline, c.owned ? rows(c.owned) : current);
    }
}

// Every hold leaves the state as it was; where the engine names a reason, the text says it.
TEST(StructuralRepairEngine, HoldsKeepStateAndNameTheReason) {
    const char* four = "Piano Bass Strings Choir";
    struct Case {
        const char *baseline, *mapped, *current;
        const char* text = nullptr;  // nullptr: any reason
        bool textIsStart = false;
        int selected = 0;  // the row selected, 0: none
    };
    const Case cases[] = {
        // The rows crossed over but the mappings there were recorded under other names: a swap
        // would carry them to the wrong tracks.
        {"A B C D E F", "A X C D Y F", "A E C D B F"},
        // "B A A" is row 1 moved down one row or to the end: two exact rotations, no guess.
        {"A B A", "A B A", "B A A",
         "Exact visible block rotation remained ambiguous. candidates=", true},
        // An insertion, a deletion or a reorder that also renamed a row.
        {four, "Piano Bass", "Piano Organ New Strings Choir",
         "No watertight insertion candidate explained the visible anchors. delta=1."},
        {four, "Piano Bass", "Organ Strings Choir",
         "No watertight deletion candidate explained the visible anchors. delta=-1."},
        {four, "Piano Bass", "Bass Piano Strings Organ",
         "No watertight reorder/block move candidate explained the visible anchors. delta=0."},
        // Cutting rows 3-4 or rows 2-3 leaves the same capture; they disagree about row 2's
        // mapping.
        {"Piano Inst Synth Inst Bass", "Piano Inst - - Bass", "Piano Inst Bass",
         "Structural edit remained ambiguous. candidates=deletionOffset:", true},
        // A row inserted among copies of one name: the mapped copy may or may not move.
        {"A I I B", "- - I", "A I I I B",
         "Structural edit remained ambiguous. candidates=insertionOffset:", true},
        // A second "Piano" above or below the first: the selection on row 1 adds to "inserted at
        // row 1" (175 without it).
        {"Piano Bass Strings", "Piano Bass Strings", "Piano Piano Bass Strings",
         "Structural edit remained ambiguous. candidates=insertionOffset:195 pivot=1 ", true, 1},
        // The last shown row moved while a mapped row hides behind it, in an order unknown.
        {"A B C D E", "A B C D E F", "A B C E D"},
        // Which "Bass" is the copy matters to a mapping on "Bass" itself.
        {four, "Piano Bass Strings", "Piano Bass Bass Strings Choir"},
        // A Track Stack opening or closing at the end of the list looks like rows added or cut at
        // the end; the mappings on its members must stay.
        {"Piano Bass Choir Drums Strings Violins Cellos", "Piano - - - - Violins",
         "Piano Bass Choir Drums Strings"},
        {"Trumpets Piano Synth Violas Violas_2 Violas", "- - - - Violas_2 Violas",
         "Trumpets Piano Synth Violas"},
        {"Piano Bass Choir Strings - -", "Piano - - - Violins Cellos",
         "Piano Bass Choir Strings Violins Cellos"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.current);
        Engine engine = engineWith(rows(c.baseline), rows(c.mapped));
        const Engine::State state = engine.state;
        const auto decision =
            engine.evaluate(evidence(rows(c.current), rows(c.mapped), c.selected));
        EXPECT_EQ(decision.kind, Kind::hold) << decision.text;
        EXPECT_EQ(engine.state, state);
        if (c.text) {
            const std::string text(c.text);
            EXPECT_EQ(c.textIsStart ? decision.text.substr(0, text.size()) : decision.text, text);
        }
    }
}

repair::Candidate scored(int score, std::string summary) {
    repair::Candidate candidate;
    candidate.score = score;
    candidate.repair.summary = std::move(summary);
    candidate.detail = "d" + std::to_string(score);
    return candidate;
}

TEST(StructuralRepairRanking, ThresholdsAndOrder) {
    struct Case {
        std::vector<int> scores;
        bool wins;
    };
    const Case cases[] = {{{100}, true},      {{99}, false},      {{130, 116}, false},
                          {{130, 115}, true}, {{115, 130}, true}, {{120, 120}, false}};
    for (const Case& c : cases) {
        std::vector<repair::Candidate> candidates;
        for (const int score : c.scores)
            candidates.push_back(scored(score, "s" + std::to_string(score)));
        EXPECT_EQ(!repair::rankAndFindHold(candidates).has_value(), c.wins) << c.scores.front();
    }
    std::vector<repair::Candidate> weak{scored(99, "x")};
    EXPECT_EQ(repair::rankAndFindHold(weak),
              "Best structural candidate was too weak: score=99. d99");

    std::vector<repair::Candidate> tied{scored(120, "b"), scored(120, "a"), scored(90, "c"),
                                        scored(120, "c"), scored(10, "e")};
    EXPECT_EQ(repair::rankAndFindHold(tied),
              "Structural edit remained ambiguous. candidates=insertionOffset:120 d120 | "
              "insertionOffset:120 d120 | insertionOffset:120 d120 | insertionOffset:90 d90");
    // Equal scores in summary order.
    EXPECT_EQ(tied[0].repair.summary + tied[1].repair.summary + tied[2].repair.summary, "abc");

    std::vector<repair::Candidate> none;
    EXPECT_EQ(repair::rankAndFindHold(none), "No structural candidate survived scoring.");
}

TEST(StructuralRepairVocabulary, OwnershipReplacementRule) {
    const RowMap three = rows("A B C");
    const RowMap two = rows("A - C");
    const RowMap otherTwo = rows("A B");
    struct Case {
        RowMap existing;
        RowMap next;
        std::set<int> mapped;
        const char* reason;
        bool replaces;
    };
    const Case cases[] = {
        {three, {}, {}, "any", false},
        {{}, three, {}, "any", true},
        {three, two, {}, "settled offset insertion repair", true},
        {two, three, {1, 2, 3}, "settled offset insertion repair", false},
        {two, otherTwo, {2}, "matching track selection", true},
        {otherTwo, two, {2}, "matching track selection", false},
        {two, three, {2}, "Manual mapping sync", true},
        {three, rows("A B C D"), {3}, "Profile Loaded", true},
        {three, rows("- - - D"), {}, "reconcile", true},
        {rows("A"), rows("- B C"), {1}, "reconciliation", false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(repair::shouldReplaceOwnershipBaseline(c.existing, c.next, c.mapped, c.reason),
                  c.replaces)
            << c.reason << " " << c.existing.size() << "->" << c.next.size();
    }
}

// Padded names matching and single-row texts show in the engine's decisions above.
TEST(StructuralRepairVocabulary, NamesAnchorsAndRanges) {
    EXPECT_FALSE(repair::namesEquivalent(" ", " "));
    EXPECT_FALSE(repair::namesEquivalent("Violins", "violins"));
    EXPECT_EQ(repair::anchorsOf({{0, "Zero"}, {1, " "}, {2, "\u00A0Bass"}, {-3, "Neg"}}),
              (RowMap{{2, "Bass"}}));
    EXPECT_EQ(repair::rowRangeText(7, 9), "7-9");
}

TEST(StructuralRepairVocabularyDeathTest, RowOverflowStopsTheProgram) {
    EXPECT_DEATH(repair::checkedAdd(INT_MAX, 1), "");
    EXPECT_DEATH(repair::checkedSub(INT_MIN, 1), "");
    Engine engine = engineWith(rows("A B"), {});
    engine.state.maxObservedIndex = INT_MIN;
    EXPECT_DEATH(engine.evaluate(evidence(rows("A B C"), {})), "");
}

}  // namespace
}  // namespace tessiva
