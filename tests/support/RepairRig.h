#pragma once

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "repair/StructuralCaptureSource.h"
#include "repair/StructuralRepairOrchestrator.h"
#include "support/StoreHarness.h"

namespace tessiva {

// Logic's visible track list as the test scripts it: each capture hands out the front of
// `queued` (then `rows`), one main-queue turn later, as the observer does.
class ScriptedCaptureSource final : public StructuralCaptureSource {
  public:
    explicit ScriptedCaptureSource(Queue& mainQueue) : mainQueue_(mainQueue) {}
    void captureVisibleTrackList(std::function<void(std::optional<RowMap>)> done) override {
        ++captures;
        std::optional<RowMap> answer = rows;
        if (!queued.empty()) {
            answer = queued.front();
            queued.erase(queued.begin());
        }
        mainQueue_.post([done = std::move(done), answer] { done(answer); });
    }
    bool isQuarantined() const override { return quarantined; }

    std::optional<RowMap> rows;
    std::vector<std::optional<RowMap>> queued;
    bool quarantined = false;
    int captures = 0;

  private:
    Queue& mainQueue_;
};

// The orchestration with a real mapping store in `folder`, a scripted Logic and virtual time.
struct RepairRig : StoreHarness {
    explicit RepairRig(std::filesystem::path profileFolder) : folder(std::move(profileFolder)) {
        (void)store.open(folder);
        scheduler.runUntilIdle();
    }

    // Rows 1...count named "<prefix> n".
    static RowMap namedRows(int count, const std::string& prefix = "Track") {
        RowMap rows;
        for (int row = 1; row <= count; ++row)
            rows[row] = prefix + " " + std::to_string(row);
        return rows;
    }
    // Maps each row to Program Change row-1 (mod 128) and a bank named after the track.
    void mapRows(const RowMap& rows) {
        for (const auto& [row, name] : rows) {
            MIDIMapping midi;
            midi.programChange = (row - 1) % 128;
            midi.trackName = name;
            (void)store.setMIDIMapping(row, midi);
            OSCBankFocusMapping bank;
            char id[40];
            std::snprintf(id, sizeof id, "00000000-0000-4000-8000-%012d", row);
            bank.id = id;
            bank.trackName = name;
            bank.bankUUID = "BANK-" + name;
            bank.bankName = name;
            (void)store.setBankMapping(row, bank);
        }
    }
    // `rows` with `names` inserted before row `at`.
    static RowMap inserted(const RowMap& rows, int at, const std::vector<std::string>& names) {
        RowMap result;
        const int k = static_cast<int>(names.size());
        for (const auto& [row, name] : rows)
            result[row < at ? row : row + k] = name;
        for (int i = 0; i < k; ++i)
            result[at + i] = names[static_cast<std::size_t>(i)];
        return result;
    }
    static RowMap deleted(const RowMap& rows, int at) {
        RowMap result;
        for (const auto& [row, name] : rows) {
            if (row != at)
                result[row < at ? row : row - 1] = name;
        }
        return result;
    }
    // Row i + 1 shows the track of row order[i].
    static RowMap reordered(const RowMap& rows, const std::vector<int>& order) {
        RowMap result;
        for (std::size_t i = 0; i < order.size(); ++i)
            result[static_cast<int>(i) + 1] = rows.at(order[i]);
        return result;
    }

    // Logic shows `rows` and the observer publishes them.
    void publish(const RowMap& rows, const std::string& reason = "test") {
        captures.rows = rows;
        repair.snapshotPublished(rows, reason);
    }
    // Logic runs `command` and then shows `rows`; `seconds` of virtual time pass.
    void command(LogicStructuralCommand command, std::optional<RowMap> rows, double seconds = 0) {
        captures.rows = std::move(rows);
        repair.logicCommand(command, std::nullopt);
        scheduler.advance(seconds);
    }
    // Logic shows `rows` from now on; the first capture of them becomes the baseline.
    void trust(const RowMap& rows) {
        publish(rows);
        scheduler.advance(3.0);
    }
    void mapAndTrust(const RowMap& rows) {
        mapRows(rows);
        trust(rows);
    }
    std::optional<std::string> detailOf(const std::string& title) const {
        const auto* found = entry(title);
        return found ? found->detail : std::nullopt;
    }

    std::filesystem::path folder;
    ScriptedCaptureSource captures{scheduler.mainQueue()};
    std::optional<std::string> profileKey = std::string("song");
    StructuralRepairOrchestrator repair{{scheduler.mainQueue(), scheduler.clock(), console, log,
                                         store, captures, [this] { return profileKey; }}};
};

}  // namespace tessiva
