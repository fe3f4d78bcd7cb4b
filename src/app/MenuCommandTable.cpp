#include "app/MenuCommandTable.h"

namespace tessiva {

namespace {

std::string trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return std::string(text.substr(first, last - first + 1));
}

// "..." → "…", and the parts of a path trimmed and joined by " > ".
std::string normalised(std::string_view title) {
    std::string text;
    for (std::size_t i = 0; i < title.size(); ++i) {
        if (title.compare(i, 3, "...") == 0) {
            text += "…";
            i += 2;
        } else {
            text += title[i];
        }
    }
    std::string path;
    std::size_t start = 0;
    while (true) {
        const auto next = text.find('>', start);
        const std::string part = trimmed(std::string_view(text).substr(
            start, next == std::string::npos ? std::string::npos : next - start));
        path += path.empty() ? part : std::string(kMenuPathSeparator) + part;
        if (next == std::string::npos)
            break;
        start = next + 1;
    }
    return path;
}

std::string_view leaf(std::string_view path) {
    const auto at = path.rfind(kMenuPathSeparator);
    return at == std::string_view::npos ? path : path.substr(at + kMenuPathSeparator.size());
}

}  // namespace

std::optional<MenuTitleMatch> menuCommandForTitle(std::string_view title) {
    const std::string wanted = normalised(title);
    if (wanted.empty())
        return std::nullopt;
    for (const auto& entry : kMenuCommandTitles) {
        if (entry.path == wanted)
            return MenuTitleMatch{entry.command, &entry, {}};
    }
    const MenuCommandTitle* byLeaf = nullptr;
    for (const auto& entry : kMenuCommandTitles) {
        if (entry.path != leaf(entry.path) && leaf(entry.path) == wanted) {
            if (byLeaf)
                return std::nullopt;
            byLeaf = &entry;
        }
    }
    if (byLeaf)
        return MenuTitleMatch{byLeaf->command, byLeaf, {}};
    if (wanted.starts_with(kCreateProjectProfilePrefix) &&
        wanted.ends_with(kCreateProjectProfileSuffix) &&
        wanted.size() > kCreateProjectProfilePrefix.size() + kCreateProjectProfileSuffix.size()) {
        return MenuTitleMatch{MenuCommand::createProjectProfile, nullptr,
                              wanted.substr(kCreateProjectProfilePrefix.size(),
                                            wanted.size() - kCreateProjectProfilePrefix.size() -
                                                kCreateProjectProfileSuffix.size())};
    }
    const std::string recentPrefix =
        std::string(kLoadMappingsSubmenuTitle) + std::string(kMenuPathSeparator);
    if (wanted.starts_with(recentPrefix) && wanted.size() > recentPrefix.size())
        return MenuTitleMatch{MenuCommand::loadRecentMappings, nullptr,
                              wanted.substr(recentPrefix.size())};
    return std::nullopt;
}

}  // namespace tessiva
