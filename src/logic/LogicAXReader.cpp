#include "logic/LogicAXReader.h"

#include <deque>
#include <utility>

#include "platform/ax/AXNames.h"
#include "runtime/Text.h"

namespace tessiva {

std::optional<std::string> LogicAXReader::string(const AXElement& element,
                                                 const char* attribute) const {
    if (!element)
        return std::nullopt;
    auto result = port_.copyAttributeValue(element, attribute);
    if (!result.ok())
        return std::nullopt;
    return axString(result.value);
}

AXElement LogicAXReader::element(const AXElement& element, const char* attribute) const {
    if (!element)
        return {};
    auto result = port_.copyAttributeValue(element, attribute);
    if (!result.ok())
        return {};
    return axElement(result.value);
}

std::vector<AXElement> LogicAXReader::elements(const AXElement& element,
                                               const char* attribute) const {
    if (!element)
        return {};
    auto result = port_.copyAttributeValue(element, attribute);
    if (!result.ok())
        return {};
    return axElements(result.value);
}

std::optional<bool> LogicAXReader::boolean(const AXElement& element, const char* attribute) const {
    if (!element)
        return std::nullopt;
    auto result = port_.copyAttributeValue(element, attribute);
    if (!result.ok())
        return std::nullopt;
    return axBool(result.value);
}

std::optional<AXFrame> LogicAXReader::frame(const AXElement& element) const {
    if (!element)
        return std::nullopt;
    auto position = port_.copyAttributeValue(element, ax::kPosition);
    auto size = port_.copyAttributeValue(element, ax::kSize);
    const auto* origin = std::get_if<AXPoint>(&position.value);
    const auto* extent = std::get_if<AXSize>(&size.value);
    if (!position.ok() || !size.ok() || !origin || !extent)
        return std::nullopt;
    return AXFrame{*origin, *extent};
}

std::optional<std::string> LogicAXReader::headerText(const AXElement& element) const {
    for (const char* attribute : {ax::kTitle, ax::kDescription, ax::kValue}) {
        auto text = string(element, attribute);
        if (text && isTrackHeaderText(*text))
            return text;
    }
    return std::nullopt;
}

std::optional<ParsedTrackHeader> LogicAXReader::header(const AXElement& element) const {
    auto text = headerText(element);
    if (!text)
        return std::nullopt;
    return parseTrackHeader(*text);
}

std::optional<TrackSelection> LogicAXReader::selectionFromHeader(const AXElement& element) const {
    auto parsed = header(element);
    if (!parsed)
        return std::nullopt;
    return TrackSelection{parsed->index, parsed->name};
}

AXElement LogicAXReader::mainOrFocusedWindow(const AXElement& application) const {
    if (auto window = element(application, ax::kMainWindow))
        return window;
    return element(application, ax::kFocusedWindow);
}

AXElement LogicAXReader::focusedOrMainWindow(const AXElement& application) const {
    if (auto window = element(application, ax::kFocusedWindow))
        return window;
    return element(application, ax::kMainWindow);
}

std::optional<std::string> LogicAXReader::windowTitle(const AXElement& application) const {
    if (auto window = element(application, ax::kMainWindow)) {
        if (auto title = string(window, ax::kTitle))
            return title;
    }
    if (auto window = element(application, ax::kFocusedWindow))
        return string(window, ax::kTitle);
    return std::nullopt;
}

bool LogicAXReader::isListRole(const AXElement& element) const {
    const auto role = string(element, ax::kRole);
    return role && (*role == ax::kRoleTable || *role == ax::kRoleOutline);
}

int LogicAXReader::scoreCandidate(const AXElement& candidate) const {
    int score = TrackListAnchorScore::forTexts(string(candidate, ax::kTitle),
                                               string(candidate, ax::kDescription));
    const auto children = elements(candidate, ax::kChildren);
    const auto examined = std::min(children.size(), TrackListAnchorScore::kChildrenExamined);
    for (std::size_t i = 0; i < examined; ++i) {
        if (headerText(children[i]))
            return score + TrackListAnchorScore::kHeaderChildBonus;
        const auto grandchildren = elements(children[i], ax::kChildren);
        const auto inner =
            std::min(grandchildren.size(), TrackListAnchorScore::kGrandchildrenExamined);
        for (std::size_t j = 0; j < inner; ++j) {
            auto title = string(grandchildren[j], ax::kTitle);
            if (title && isTrackHeaderText(*title))
                return score + TrackListAnchorScore::kHeaderChildBonus;
        }
    }
    return score;
}

template <typename Visit>
std::size_t LogicAXReader::walkBreadthFirst(const AXElement& window, AXSearchLimits limits,
                                            Visit&& visit) const {
    std::size_t visited = 0;
    if (!window)
        return visited;
    std::deque<std::pair<AXElement, int>> queue{{window, 0}};
    while (!queue.empty() && visited < limits.maxElements) {
        auto [current, depth] = std::move(queue.front());
        queue.pop_front();
        ++visited;
        if (!visit(current))
            break;
        if (depth <= limits.maxExpandDepth) {
            for (auto& child : elements(current, ax::kChildren)) {
                queue.emplace_back(std::move(child), depth + 1);
            }
        }
    }
    return visited;
}

LogicAXReader::AnchorSearch LogicAXReader::findTrackList(const AXElement& window,
                                                         AXSearchLimits limits) const {
    AnchorSearch best;
    best.visited = walkBreadthFirst(window, limits, [&](const AXElement& current) {
        if (!isListRole(current))
            return true;
        const int score = scoreCandidate(current);
        if (!best.element || score > best.score) {
            best.element = current;
            best.score = score;
        }
        if (TrackListAnchorScore::takesAtOnce(score)) {
            best.stoppedEarly = true;
            return false;
        }
        return true;
    });
    return best;
}

std::vector<AXElement> LogicAXReader::findListsNamed(const AXElement& window,
                                                     const std::vector<std::string>& names,
                                                     AXSearchLimits limits) const {
    std::vector<AXElement> found;
    walkBreadthFirst(window, limits, [&](const AXElement& current) {
        if (!isListRole(current))
            return true;
        for (const char* attribute : {ax::kTitle, ax::kDescription}) {
            const auto text = string(current, attribute);
            if (!text)
                continue;
            const auto lower = text::lowercased(*text);
            if (std::find(names.begin(), names.end(), lower) != names.end()) {
                found.push_back(current);
                break;
            }
        }
        return true;
    });
    return found;
}

std::optional<TrackSelection> LogicAXReader::firstParsed(
    const std::vector<AXElement>& elements) const {
    if (elements.empty())
        return std::nullopt;
    return selectionFromHeader(elements.front());
}

std::optional<TrackSelection> LogicAXReader::readSelection(const AXElement& container) const {
    if (!container)
        return std::nullopt;
    if (auto selected = firstParsed(elements(container, ax::kSelectedChildren)))
        return selected;
    if (auto selected = firstParsed(elements(container, ax::kSelectedRows)))
        return selected;
    for (const auto& row : elements(container, ax::kChildren)) {
        if (boolean(row, ax::kSelected) == true) {
            if (auto selected = selectionFromHeader(row))
                return selected;
        }
    }
    return std::nullopt;
}

std::optional<TrackSelection> LogicAXReader::resolveToTrack(const AXElement& start,
                                                            int maxAncestors,
                                                            AXElement* row) const {
    AXElement current = start;
    for (int level = 0; current && level <= maxAncestors; ++level) {
        if (auto selection = selectionFromHeader(current)) {
            if (row)
                *row = current;
            return selection;
        }
        if (level < maxAncestors)
            current = element(current, ax::kParent);
    }
    return std::nullopt;
}

std::optional<TrackSelection> LogicAXReader::readSelectionWithoutList(
    const AXElement& application) const {
    if (auto focused = element(application, ax::kFocusedUIElement)) {
        if (auto selection = resolveToTrack(focused, 3))
            return selection;
        if (isListRole(focused)) {
            if (auto selection = readSelection(focused))
                return selection;
        }
    }
    const auto search = findTrackList(mainOrFocusedWindow(application));
    return readSelection(search.element);
}

LogicAXReader::Rows LogicAXReader::readRows(const AXElement& container) const {
    Rows rows;
    for (const auto& row : elements(container, ax::kChildren)) {
        ++rows.rowCount;
        if (auto parsed = header(row))
            rows.snapshot.add(*parsed);
    }
    return rows;
}

TrackListSnapshot LogicAXReader::walkWindow(const AXElement& window, AXSearchLimits limits) const {
    TrackListSnapshot snapshot;
    walkBreadthFirst(window, limits, [&](const AXElement& current) {
        if (auto parsed = header(current))
            snapshot.add(*parsed);
        return true;
    });
    return snapshot;
}

}  // namespace tessiva
