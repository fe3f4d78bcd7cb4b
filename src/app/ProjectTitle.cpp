#include "app/ProjectTitle.h"

#include "runtime/Text.h"

namespace tessiva {

namespace {

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The suffix that ends `lowered`, with non-empty text before it; empty when none does.
std::string_view matchingSuffix(std::string_view lowered) {
    for (std::string_view suffix : ProjectTitle::kWindowKindSuffixes) {
        const std::string lowerSuffix = text::lowercased(suffix);
        if (endsWith(lowered, lowerSuffix) && lowered.size() > lowerSuffix.size())
            return suffix;
    }
    return {};
}

}  // namespace

bool ProjectTitle::isProjectTitle(std::string_view title) {
    const std::string lowered = text::lowercased(title);
    if (lowered.find(".logicx") != std::string::npos ||
        lowered.find(".logic") != std::string::npos) {
        return true;
    }
    if (lowered.empty())
        return false;
    return !matchingSuffix(lowered).empty();
}

std::string ProjectTitle::baseName(std::string_view title) {
    const std::string trimmedTitle = text::trimmed(title);
    if (trimmedTitle.empty())
        return "Untitled";
    const std::string lowered = text::lowercased(trimmedTitle);
    // Lower-casing can change byte lengths outside ASCII; the markers are ASCII, so search the
    // original with the same case-insensitive rule.
    auto cutBefore = [&](std::string_view marker) -> std::optional<std::string> {
        for (std::size_t i = 0; i + marker.size() <= trimmedTitle.size(); ++i) {
            bool match = true;
            for (std::size_t j = 0; j < marker.size() && match; ++j) {
                char c = trimmedTitle[i + j];
                if (c >= 'A' && c <= 'Z')
                    c = static_cast<char>(c - 'A' + 'a');
                match = c == marker[j];
            }
            if (match)
                return text::trimmed(std::string_view(trimmedTitle).substr(0, i));
        }
        return std::nullopt;
    };
    if (auto base = cutBefore(".logicx"))
        return *base;
    if (auto base = cutBefore(".logic"))
        return *base;
    const std::string_view suffix = matchingSuffix(lowered);
    if (!suffix.empty()) {
        return text::trimmed(
            std::string_view(trimmedTitle).substr(0, trimmedTitle.size() - suffix.size()));
    }
    return text::trimmed(trimmedTitle);
}

std::string ProjectTitle::keyForBaseName(std::string_view baseName) {
    return text::lowercased(text::trimmed(baseName));
}

std::string ProjectTitle::projectKey(std::string_view title) {
    return keyForBaseName(baseName(title));
}

std::string ProjectTitle::profileFileName(std::string_view title) {
    const std::string base = baseName(title);
    if (base.empty() || base.find('/') != std::string::npos || base == "." || base == "..")
        return {};
    return base + ".json";
}

}  // namespace tessiva
