#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "app/SelectionStage.h"
#include "runtime/Clock.h"

namespace tessiva {

// One recorded decision of the selection path.
struct SelectionStageRecord {
    std::uint64_t sequence = 0;  // running number since launch, never reused
    SelectionStage stage{};
    int row = 0;
    std::string name;    // the selection's name as delivered, "<none>" when absent
    std::string detail;  // key=value pairs, empty when the stage has none
    double time = 0;     // monotonic seconds (Clock::now)
    Date date = 0;       // wall clock, for transcripts

    std::string_view title() const { return selectionStageTitle(stage); }
    // "router/deduplicated row=5 name=Bass windowMs=500 ageMs=120": the transcript form.
    std::string line() const;
};

// The last few hundred selection-path decisions, oldest first, for the diagnostic tool that
// explains why a click did or did not reach the iPad. A bounded ring: recording never allocates
// past the capacity and never blocks the main queue. Main queue only; tests use the real one.
class SelectionStageRecorder {
  public:
    static constexpr std::size_t kDefaultCapacity = 512;

    explicit SelectionStageRecorder(const Clock& clock, std::size_t capacity = kDefaultCapacity);
    SelectionStageRecorder(const SelectionStageRecorder&) = delete;
    SelectionStageRecorder& operator=(const SelectionStageRecorder&) = delete;

    void record(SelectionStage stage, int row, const std::optional<std::string>& name,
                std::string detail = {});

    // Oldest first.
    std::vector<SelectionStageRecord> entries() const;
    std::optional<SelectionStageRecord> last() const;
    std::size_t size() const { return count_; }
    std::size_t capacity() const { return ring_.size(); }
    // Everything recorded since launch, including what the ring has already dropped.
    std::uint64_t totalRecorded() const { return nextSequence_; }
    void clear();

  private:
    const Clock& clock_;
    std::vector<SelectionStageRecord> ring_;
    std::size_t head_ = 0;  // slot of the next record
    std::size_t count_ = 0;
    std::uint64_t nextSequence_ = 0;
};

}  // namespace tessiva
