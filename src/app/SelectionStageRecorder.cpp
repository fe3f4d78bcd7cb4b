#include "app/SelectionStageRecorder.h"

#include <algorithm>

namespace tessiva {

std::string SelectionStageRecord::line() const {
    std::string text(title());
    text += " row=" + std::to_string(row) + " name=" + name;
    if (!detail.empty())
        text += " " + detail;
    return text;
}

SelectionStageRecorder::SelectionStageRecorder(const Clock& clock, std::size_t capacity)
    : clock_(clock), ring_(std::max<std::size_t>(capacity, 1)) {}

void SelectionStageRecorder::record(SelectionStage stage, int row,
                                    const std::optional<std::string>& name, std::string detail) {
    SelectionStageRecord& slot = ring_[head_];
    slot.sequence = nextSequence_++;
    slot.stage = stage;
    slot.row = row;
    slot.name = name ? *name : std::string("<none>");
    slot.detail = std::move(detail);
    slot.time = clock_.now();
    slot.date = clock_.date();
    head_ = (head_ + 1) % ring_.size();
    count_ = std::min(count_ + 1, ring_.size());
}

std::vector<SelectionStageRecord> SelectionStageRecorder::entries() const {
    std::vector<SelectionStageRecord> result;
    result.reserve(count_);
    const std::size_t start = (head_ + ring_.size() - count_) % ring_.size();
    for (std::size_t i = 0; i < count_; ++i)
        result.push_back(ring_[(start + i) % ring_.size()]);
    return result;
}

std::optional<SelectionStageRecord> SelectionStageRecorder::last() const {
    if (count_ == 0)
        return std::nullopt;
    return ring_[(head_ + ring_.size() - 1) % ring_.size()];
}

void SelectionStageRecorder::clear() {
    head_ = 0;
    count_ = 0;
}

}  // namespace tessiva
