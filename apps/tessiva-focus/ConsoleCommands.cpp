#include "ConsoleCommands.h"

#include <fmt/format.h>

#include <charconv>

#include "app/MenuBarController.h"
#include "mapping/MappingStore.h"

namespace tessiva {

namespace {

constexpr const char* kCommandList =
    "menu TITLE [--answer BUTTON] [--path FILE], review, review apply N, review apply-all, "
    "status, help";

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Takes " --NAME VALUE" off the end of `text` (the value runs to the end of the line or to the
// next option).
std::optional<std::string> takeOption(std::string& text, std::string_view name) {
    const std::string marker = " --" + std::string(name) + " ";
    const auto at = text.find(marker);
    if (at == std::string::npos)
        return std::nullopt;
    auto end = text.find(" --", at + marker.size());
    std::string value(trimmed(std::string_view(text).substr(
        at + marker.size(),
        end == std::string::npos ? std::string::npos : end - at - marker.size())));
    text.erase(at, end == std::string::npos ? std::string::npos : end - at);
    return value;
}

std::string describe(const EstimatedAutoAssignReview::Row& row, std::size_t number) {
    return fmt::format(
        "{}. track {} \"{}\" → {} \"{}\" (confidence {:.2f}, candidate {} of {}): {}", number,
        row.trackIndex, row.trackName, autoAssignTargetKindName(row.targetKind), row.targetName,
        row.confidence, row.candidateNumber, row.candidateCount, row.reason);
}

std::string outcome(const AutoAssignCoordinator::ApplyOutcome& result) {
    return fmt::format("applied {}, skipped {}", result.applied, result.skipped);
}

}  // namespace

ConsoleCommands::ConsoleCommands(MenuBarController& controller)
    : controller_(controller), runner_(controller), review_(controller.autoAssign()) {}

std::vector<std::string> ConsoleCommands::execute(std::string_view line) {
    const std::string_view text = trimmed(line);
    if (text.empty())
        return {};
    const auto space = text.find(' ');
    const std::string_view word = text.substr(0, space);
    const std::string_view rest =
        space == std::string_view::npos ? std::string_view() : trimmed(text.substr(space));
    if (word == "menu")
        return menu(rest);
    if (word == "review")
        return review(rest);
    if (word == "status" && rest.empty())
        return status();
    if (word == "help" && rest.empty())
        return {std::string("Commands: ") + kCommandList};
    return {"Unknown command \"" + std::string(text) + "\". Commands: " + kCommandList};
}

std::vector<std::string> ConsoleCommands::menu(std::string_view arguments) {
    if (arguments.empty())
        return {"\"menu\" needs a menu title, e.g. \"menu Save Mappings\""};
    std::string text(arguments);
    MenuRequest request;
    request.answer = takeOption(text, "answer");
    request.path = takeOption(text, "path");
    request.item = std::string(trimmed(text));
    return {runner_.run(request)};
}

std::vector<std::string> ConsoleCommands::review(std::string_view arguments) {
    if (arguments.empty()) {
        if (auto answer = review_.open())
            return {answer->title + ": " + answer->message};
        std::vector<std::string> lines;
        const auto rows = review_.rows();
        lines.push_back(fmt::format("{} estimated match{} to review:", rows.size(),
                                    rows.size() == 1 ? "" : "es"));
        for (std::size_t i = 0; i < rows.size(); ++i)
            lines.push_back(describe(rows[i], i + 1));
        return lines;
    }
    if (arguments == "apply-all") {
        if (review_.rows().empty())
            return {"No estimated matches are waiting; nothing was applied"};
        return {"Applied all remaining estimated matches: " + outcome(review_.applyAllRemaining())};
    }
    if (arguments.starts_with("apply ")) {
        const std::string_view number = trimmed(arguments.substr(6));
        std::size_t index = 0;
        const auto [end, error] =
            std::from_chars(number.data(), number.data() + number.size(), index);
        const auto rows = review_.rows();
        if (error != std::errc() || end != number.data() + number.size() || index < 1 ||
            index > rows.size()) {
            return {fmt::format("\"review apply\" needs the number of a listed match (1 to {})",
                                rows.size())};
        }
        const auto row = rows[index - 1];
        return {"Applied " + describe(row, index) + ": " + outcome(review_.apply(row.matchID))};
    }
    return {"Unknown review command \"" + std::string(arguments) +
            "\". Use: review, review apply N, review apply-all"};
}

std::vector<std::string> ConsoleCommands::status() const {
    const MenuState state = controller_.menuState();
    const MappingStore& store = controller_.mappingStore();
    std::vector<std::string> lines = {
        MenuModel::ipadStatusLine(state),
        MenuModel::logicStatusLine(state),
        MenuModel::mappingsStatusLine(state),
        std::string("Add Tracks: ") + (state.learnMode == LearnMode::learn ? "On" : "Off"),
        fmt::format("Rows: {} named, {} linked to a bank or group",
                    store.trackIndexToName().value().size(),
                    store.oscBankFocusMappingsByTrackIndex().value().size()),
        fmt::format("Estimated matches waiting: {}",
                    controller_.autoAssign().pendingEstimatedAutoAssignMatches().value().size())};
    const std::string& summary = controller_.autoAssign().latestSummaryMessage();
    lines.push_back(summary.empty() ? "Auto assign: not run yet"
                                    : "Auto assign: " + summary.substr(0, summary.find('\n')));
    return lines;
}

}  // namespace tessiva
