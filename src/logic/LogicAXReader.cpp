#include "logic/LogicAXReader.h"

#include <algorithm>
#include <array>
#include <deque>
#include <utility>

#include "platform/ax/AXNames.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

constexpr std::array<const char*, 3> kHeaderAttributes = {ax::kTitle, ax::kDescription, ax::kValue};

bool isTrackContentsName(const std::string& lower) {
    return lower == "tracks contents";
}

}  // namespace

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

bool LogicAXReader::exists(const AXElement& element) const {
    if (!element)
        return false;
    return port_.copyAttributeValue(element, ax::kRole).error != AXError::invalidUIElement;
}

std::optional<std::string> LogicAXReader::headerText(const AXElement& element,
                                                     HeaderSource source) const {
    if (source.attribute) {
        auto text = string(element, source.attribute);
        if (text && isTrackHeaderText(*text))
            return text;
    }
    for (const char* attribute : kHeaderAttributes) {
        if (attribute == source.attribute)
            continue;
        auto text = string(element, attribute);
        if (text && isTrackHeaderText(*text))
            return text;
    }
    return std::nullopt;
}

std::optional<ParsedTrackHeader> LogicAXReader::header(const AXElement& element,
                                                       HeaderSource source) const {
    auto text = headerText(element, source);
    if (!text)
        return std::nullopt;
    return parseTrackHeader(*text);
}

std::optional<TrackSelection> LogicAXReader::selectionFromHeader(const AXElement& element,
                                                                 HeaderSource source) const {
    auto parsed = rowHeader(element, source);
    if (!parsed)
        return std::nullopt;
    return TrackSelection{parsed->index, parsed->name};
}

std::optional<ParsedTrackHeader> LogicAXReader::rowHeader(const AXElement& row,
                                                          HeaderSource source) const {
    if (auto parsed = header(row, source))
        return parsed;
    const auto children = elements(row, ax::kChildren);
    const auto examined = std::min(children.size(), kRowChildrenExamined);
    for (std::size_t i = 0; i < examined; ++i) {
        if (auto parsed = header(children[i], source))
            return parsed;
    }
    return std::nullopt;
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

AXElement LogicAXReader::arrangeWindow(const AXElement& application) const {
    const AXElement main = mainOrFocusedWindow(application);
    const auto subrole = string(main, ax::kSubrole);
    // Older Logic reports no subrole: its main window is the one to use.
    if (main && (!subrole || *subrole == ax::kSubroleStandardWindow))
        return main;
    auto windows = port_.copyAttributeValue(application, ax::kWindows);
    // A fresh attachment's first window-list read fails with cannot-complete and succeeds at once
    // when asked again.
    if (windows.error == AXError::cannotComplete)
        windows = port_.copyAttributeValue(application, ax::kWindows);
    if (windows.ok()) {
        for (const auto& window : axElements(windows.value)) {
            if (string(window, ax::kSubrole) != ax::kSubroleStandardWindow)
                continue;
            const auto title = string(window, ax::kTitle);
            if (title && !text::trimmed(*title).empty())
                return window;
        }
    }
    return {};
}

std::optional<std::string> LogicAXReader::windowTitle(const AXElement& application) const {
    return string(arrangeWindow(application), ax::kTitle);
}

bool LogicAXReader::isListCandidate(const AXElement& element, std::optional<std::string>* title,
                                    std::optional<std::string>* description) const {
    const auto role = string(element, ax::kRole);
    if (!role)
        return false;
    const bool list = *role == ax::kRoleTable || *role == ax::kRoleOutline;
    if (!list && *role != ax::kRoleGroup)
        return false;
    *title = string(element, ax::kTitle);
    *description = string(element, ax::kDescription);
    if (list)
        return true;
    return TrackListAnchorScore::namesTrackHeaders(title->value_or("") + " " +
                                                   description->value_or(""));
}

LogicAXReader::CandidateScore LogicAXReader::scoreCandidate(
    const AXElement& candidate, const std::optional<std::string>& title,
    const std::optional<std::string>& description) const {
    CandidateScore result;
    result.score = TrackListAnchorScore::forTexts(title, description);
    const auto children = elements(candidate, ax::kChildren);
    const auto examined = std::min(children.size(), TrackListAnchorScore::kChildrenExamined);
    auto found = [&](const AXElement& element) -> const char* {
        for (const char* attribute : kHeaderAttributes) {
            auto text = string(element, attribute);
            if (text && isTrackHeaderText(*text))
                return attribute;
        }
        return nullptr;
    };
    for (std::size_t i = 0; i < examined; ++i) {
        const char* attribute = found(children[i]);
        if (!attribute) {
            const auto grandchildren = elements(children[i], ax::kChildren);
            const auto inner =
                std::min(grandchildren.size(), TrackListAnchorScore::kGrandchildrenExamined);
            for (std::size_t j = 0; j < inner && !attribute; ++j)
                attribute = found(grandchildren[j]);
        }
        if (attribute) {
            result.score += TrackListAnchorScore::kHeaderChildBonus;
            result.hasHeaderChildren = true;
            result.headers.attribute = attribute;
            return result;
        }
    }
    return result;
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
        std::optional<std::string> title;
        std::optional<std::string> description;
        if (!isListCandidate(current, &title, &description))
            return true;
        const auto scored = scoreCandidate(current, title, description);
        // Texts alone are no evidence: the Inspector and empty decoys carry them too.
        if (!scored.hasHeaderChildren)
            return true;
        if (!best.element || scored.score > best.score) {
            best.element = current;
            best.score = scored.score;
            best.headers = scored.headers;
            best.isRail = string(current, ax::kRole) == ax::kRoleGroup;
        }
        if (TrackListAnchorScore::takesAtOnce(scored.score)) {
            best.stoppedEarly = true;
            return false;
        }
        return true;
    });
    return best;
}

std::vector<AXElement> LogicAXReader::findArrangeLists(const AXElement& window,
                                                       AXSearchLimits limits) const {
    std::vector<AXElement> found;
    walkBreadthFirst(window, limits, [&](const AXElement& current) {
        std::optional<std::string> title;
        std::optional<std::string> description;
        if (!isListCandidate(current, &title, &description))
            return true;
        for (const auto& text : {title, description}) {
            if (!text)
                continue;
            const auto lower = text::lowercased(*text);
            if (TrackListAnchorScore::namesTrackHeaders(lower) || isTrackContentsName(lower)) {
                found.push_back(current);
                break;
            }
        }
        return true;
    });
    return found;
}

std::optional<TrackSelection> LogicAXReader::firstParsed(const std::vector<AXElement>& elements,
                                                         HeaderSource source) const {
    if (elements.empty())
        return std::nullopt;
    return selectionFromHeader(elements.front(), source);
}

AXElement LogicAXReader::freshHandle(const TrackListAnchor& list, bool* gone) const {
    auto parent = port_.copyAttributeValue(list.element, ax::kParent);
    if (parent.error == AXError::invalidUIElement) {
        *gone = true;
        return {};
    }
    auto children = port_.copyAttributeValue(axElement(parent.value), ax::kChildren);
    // A read that merely failed this time (Logic drops some) is no sign the list is gone.
    if (!parent.ok() || !children.ok())
        return list.element;
    for (auto& child : axElements(children.value)) {
        if (child == list.element)
            return child;
    }
    // Not found under its parent: the list has been taken out of the window.
    *gone = true;
    return {};
}

AXElement LogicAXReader::freshListHandle(const TrackListAnchor& list, bool* gone) const {
    if (!list.element || !list.refetchBeforeRead)
        return list.element;
    return freshHandle(list, gone);
}

LogicAXReader::SelectionRead LogicAXReader::readSelectionDetailed(
    const TrackListAnchor& list, const AXElement& unchangedIf) const {
    SelectionRead read;
    if (!list.element)
        return read;
    AXElement handle = list.element;
    if (list.refetchBeforeRead) {
        handle = freshHandle(list, &read.listGone);
        if (read.listGone)
            return read;
    }
    auto selected = port_.copyAttributeValue(handle, ax::kSelectedChildren);
    if (selected.error == AXError::invalidUIElement) {
        read.listGone = true;
        return read;
    }
    const auto children = axElements(selected.value);
    if (!children.empty()) {
        read.firstSelected = children.front();
        if (unchangedIf && read.firstSelected == unchangedIf) {
            read.unchanged = true;
            return read;
        }
        read.selection = selectionFromHeader(children.front(), list.headers);
        if (read.selection)
            return read;
    }
    // The rail answers for its selection itself; walking a thousand headers for AXSelected
    // would only repeat that answer at a thousand times the cost.
    if (list.refetchBeforeRead && selected.ok())
        return read;
    if (auto rows = firstParsed(elements(handle, ax::kSelectedRows), list.headers)) {
        read.selection = rows;
        return read;
    }
    for (const auto& row : elements(handle, ax::kChildren)) {
        if (boolean(row, ax::kSelected) == true) {
            if (auto parsed = selectionFromHeader(row, list.headers)) {
                read.firstSelected = row;
                read.selection = parsed;
                return read;
            }
        }
    }
    return read;
}

std::optional<TrackSelection> LogicAXReader::readSelection(const TrackListAnchor& list) const {
    return readSelectionDetailed(list).selection;
}

std::optional<TrackSelection> LogicAXReader::resolveToTrack(const AXElement& start,
                                                            int maxAncestors,
                                                            AXElement* row) const {
    AXElement current = start;
    for (int level = 0; current && level <= maxAncestors; ++level) {
        if (auto parsed = header(current)) {
            if (row)
                *row = current;
            return TrackSelection{parsed->index, parsed->name};
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
        std::optional<std::string> title;
        std::optional<std::string> description;
        if (isListCandidate(focused, &title, &description)) {
            if (auto selection = readSelection(TrackListAnchor{focused, {}}))
                return selection;
        }
    }
    const auto search = findTrackList(arrangeWindow(application));
    return readSelection(search.anchor());
}

LogicAXReader::Rows LogicAXReader::readRows(const TrackListAnchor& list) const {
    Rows rows;
    for (const auto& row : elements(list.element, ax::kChildren)) {
        ++rows.rowCount;
        if (auto parsed = rowHeader(row, list.headers))
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
