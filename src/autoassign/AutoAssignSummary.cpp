#include "autoassign/AutoAssignSummary.h"

#include <algorithm>

namespace tessiva {

namespace {

void appendExamples(std::vector<std::string>& lines, const char* heading,
                    const std::vector<std::string>& examples, std::size_t limit) {
    if (examples.empty())
        return;
    lines.emplace_back(heading);
    const std::size_t shown = std::min(limit, examples.size());
    lines.insert(lines.end(), examples.begin(),
                 examples.begin() + static_cast<std::ptrdiff_t>(shown));
}

}  // namespace

std::string autoAssignSummaryMessage(const AutoAssignSummary& summary,
                                     const std::vector<std::string>& linkedExamples,
                                     const std::vector<std::string>& ambiguousExamples) {
    std::vector<std::string> lines{
        "Linked: " + std::to_string(summary.linked),
        "Skipped already mapped: " + std::to_string(summary.alreadyMapped),
        "Skipped no track name: " + std::to_string(summary.missingTrackName),
        "Skipped no exact match: " + std::to_string(summary.noExactMatch),
        "Skipped ambiguous: " + std::to_string(summary.ambiguous),
        "Estimated matches awaiting confirmation: " + std::to_string(summary.estimated),
    };
    appendExamples(lines, "Linked examples:", linkedExamples, AutoAssignText::kLinkedExampleLimit);
    appendExamples(lines, "Ambiguous examples:", ambiguousExamples,
                   AutoAssignText::kAmbiguousExampleLimit);
    std::string message;
    for (const auto& line : lines) {
        if (!message.empty())
            message.push_back('\n');
        message += line;
    }
    return message;
}

}  // namespace tessiva
