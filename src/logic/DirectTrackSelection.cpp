#include "logic/DirectTrackSelection.h"

#include <algorithm>

#include "platform/ax/AXNames.h"
#include "runtime/Text.h"

namespace tessiva {

namespace direct_selection_message {

std::string notUnique(int number) {
    return "Focus could not uniquely verify visible Logic track " + std::to_string(number);
}

std::string collapsedStack(int number, const std::optional<std::string>& expectedName) {
    std::string designation = "Logic track " + std::to_string(number);
    if (expectedName && !expectedName->empty())
        designation += " “" + *expectedName + "”";
    return designation +
           " is hidden inside a collapsed Track Stack. Expand that Logic stack or navigate to its "
           "visible stack header.";
}

std::string nameDiffers(int number, const std::string& expectedName, const std::string& found) {
    return "Mapped track " + std::to_string(number) + " “" + expectedName +
           "” but Logic currently exposes “" + found + "”. Reconcile mappings first.";
}

std::string notVerified(int number) {
    return "Logic did not show track " + std::to_string(number) +
           " as selected after any selection method.";
}

}  // namespace direct_selection_message

// ---- pure decisions ---------------------------------------------------------------------------

std::optional<std::string> DirectSelectionRules::refusal(bool trusted, bool logicFrontmost,
                                                         const ModalDeadlines& deadlines,
                                                         double now) {
    if (!trusted)
        return direct_selection_message::kNoAccessibility;
    if (!logicFrontmost)
        return direct_selection_message::kNotFrontmost;
    if (deadlines.isQuarantined(now))
        return direct_selection_message::kBusy;
    return std::nullopt;
}

DirectSelectionRules::Location DirectSelectionRules::locate(
    const std::vector<ParsedTrackHeader>& rows, int number) {
    Location location;
    int carrying = 0;
    bool below = false;
    bool above = false;
    int nearestBelow = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const int index = rows[i].index;
        if (index == number) {
            ++carrying;
            location.row = i;
        } else if (index < number) {
            if (!below || index > nearestBelow) {
                nearestBelow = index;
                if (carrying == 0)
                    location.row = i;
            }
            below = true;
        } else {
            above = true;
        }
    }
    if (carrying == 1) {
        location.placement = Placement::found;
    } else if (carrying > 1) {
        location.placement = Placement::notUnique;
    } else if (below && above) {
        location.placement = Placement::hiddenInGap;
    } else if (below) {
        location.placement = Placement::missingAfterLast;
    }
    return location;
}

bool DirectSelectionRules::namesMatch(const std::string& expected, const std::string& found) {
    const std::string left = text::lightNormalizedTrackName(expected);
    const std::string right = text::lightNormalizedTrackName(found);
    return left == right || text::lowercased(left) == text::lowercased(right);
}

// ---- the selection ----------------------------------------------------------------------------

DirectTrackSelection::DirectTrackSelection(ObservationContext& context, AttemptMade onAttempt,
                                           ListAdopted onListAdopted)
    : context_(context),
      onAttempt_(std::move(onAttempt)),
      onListAdopted_(std::move(onListAdopted)) {}

void DirectTrackSelection::select(int number, std::optional<std::string> expectedName,
                                  Completion completion) {
    auto request = std::make_shared<Request>();
    {
        std::lock_guard lock(mutex_);
        request->generation = ++generation_;
    }
    request->number = number;
    request->expectedName = std::move(expectedName);
    request->completion = std::move(completion);
    const auto refused =
        DirectSelectionRules::refusal(context_.ax.isProcessTrusted(), context_.logicFrontmost(),
                                      context_.modalDeadlines(), context_.now());
    if (refused) {
        finish(request, {false, std::nullopt, *refused});
        return;
    }
    context_.selectionWorkQueue->post(
        context_.guarded([this, request] { locateAndAttempt(request); }));
}

bool DirectTrackSelection::isCurrent(const Request& request) const {
    std::lock_guard lock(mutex_);
    return request.generation == generation_;
}

void DirectTrackSelection::finish(const RequestPtr& request, DirectSelectionResult result) {
    context_.mainQueue.post(context_.guarded([request, result = std::move(result)] {
        if (request->completion)
            request->completion(result);
    }));
}

TrackListAnchor DirectTrackSelection::currentList() {
    auto& reader = context_.reader;
    TrackListAnchor list = context_.anchor();
    if (list && reader.exists(list.element))
        return list;
    // No list anchored yet, or it died: anchor the Arrange list now.
    const AXElement application = context_.appElement();
    if (!application)
        return {};
    const auto search = reader.findTrackList(reader.arrangeWindow(application));
    list = search.anchor();
    if (list) {
        context_.setAnchor(list);
        context_.mainQueue.post(context_.guarded([this, list] { onListAdopted_(list); }));
    }
    return list;
}

void DirectTrackSelection::locateAndAttempt(RequestPtr request) {
    if (!isCurrent(*request))
        return;
    if (context_.isQuarantined()) {
        finish(request, {false, std::nullopt, direct_selection_message::kBusy});
        return;
    }
    auto& reader = context_.reader;
    const TrackListAnchor list = currentList();
    if (!list) {
        finish(request, {false, std::nullopt, direct_selection_message::kNoTrackList});
        return;
    }
    // Rows through a handle fetched now: a held one may show what Logic showed a second ago.
    bool gone = false;
    const AXElement handle = reader.freshListHandle(list, &gone);
    std::vector<AXElement> elements;
    std::vector<ParsedTrackHeader> rows;
    for (auto& row : reader.elements(gone ? AXElement{} : handle, ax::kChildren)) {
        if (auto parsed = reader.rowHeader(row, list.headers)) {
            rows.push_back(*parsed);
            elements.push_back(std::move(row));
        }
    }
    if (rows.empty()) {
        finish(request, {false, std::nullopt, direct_selection_message::kNoTrackList});
        return;
    }
    const int number = request->number;
    const auto location = DirectSelectionRules::locate(rows, number);
    using Placement = DirectSelectionRules::Placement;
    bool collapsed = location.placement == Placement::hiddenInGap;
    if (location.placement == Placement::missingAfterLast) {
        // Past the last row: hidden only when that row is a collapsed stack's header.
        for (const auto& child : reader.elements(elements[location.row], ax::kChildren)) {
            if (reader.string(child, ax::kRole) != ax::kRoleDisclosureTriangle)
                continue;
            auto value = context_.ax.copyAttributeValue(child, ax::kValue);
            collapsed = value.ok() && axNumber(value.value) == 0.0;
        }
    }
    if (collapsed) {
        finish(request, {false, std::nullopt,
                         direct_selection_message::collapsedStack(number, request->expectedName)});
        return;
    }
    if (location.placement != Placement::found) {
        finish(request, {false, std::nullopt, direct_selection_message::notUnique(number)});
        return;
    }
    const auto& found = rows[location.row];
    if (request->expectedName && !request->expectedName->empty() &&
        !DirectSelectionRules::namesMatch(*request->expectedName, found.name.value_or(""))) {
        finish(request, {false, std::nullopt,
                         direct_selection_message::nameDiffers(number, *request->expectedName,
                                                               found.name.value_or(""))});
        return;
    }
    request->list = list;
    request->list.element = handle;
    request->row = elements[location.row];
    auto settable = [&](const AXElement& element, const char* attribute) {
        const auto answer = context_.ax.isAttributeSettable(element, attribute);
        return answer.ok() && answer.value;
    };
    if (settable(request->row, ax::kSelected))
        request->methods.push_back(DirectSelectionMethod::rowSelected);
    if (settable(handle, ax::kSelectedChildren))
        request->methods.push_back(DirectSelectionMethod::containerSelectedChildren);
    const auto actions = context_.ax.copyActionNames(request->row);
    if (actions.ok() && std::find(actions.value.begin(), actions.value.end(), ax::kActionPress) !=
                            actions.value.end()) {
        request->methods.push_back(DirectSelectionMethod::rowPress);
    }
    if (request->methods.empty()) {
        finish(request, {false, std::nullopt, direct_selection_message::kNoSafeAction});
        return;
    }
    attemptNext(std::move(request));
}

bool DirectTrackSelection::perform(const Request& request, DirectSelectionMethod method) {
    auto& ax = context_.ax;
    switch (method) {
        case DirectSelectionMethod::rowSelected:
            return ax.setAttributeValue(request.row, ax::kSelected, AXValue{true}) ==
                   AXError::success;
        case DirectSelectionMethod::containerSelectedChildren:
            return ax.setAttributeValue(request.list.element, ax::kSelectedChildren,
                                        AXValue{std::vector<AXElement>{request.row}}) ==
                   AXError::success;
        case DirectSelectionMethod::rowPress:
            return ax.performAction(request.row, ax::kActionPress) == AXError::success;
        case DirectSelectionMethod::count:
            break;
    }
    return false;
}

void DirectTrackSelection::attemptNext(RequestPtr request) {
    if (!isCurrent(*request))
        return;
    while (request->nextMethod < request->methods.size()) {
        const auto method = request->methods[request->nextMethod++];
        if (context_.isQuarantined()) {
            finish(request, {false, std::nullopt, direct_selection_message::kBusy});
            return;
        }
        if (!perform(*request, method))
            continue;
        const double at = context_.now();
        context_.mainQueue.post(context_.guarded([this, at] { onAttempt_(at); }));
        verify(std::move(request), method, at + kVerificationWindow);
        return;
    }
    finish(request, {false, std::nullopt, direct_selection_message::notVerified(request->number)});
}

void DirectTrackSelection::verify(RequestPtr request, DirectSelectionMethod method,
                                  double deadline) {
    if (!isCurrent(*request))
        return;
    // The anchored list as read everywhere else: Logic 12's rail through a fresh handle.
    TrackListAnchor list = context_.anchor();
    if (!list)
        list = request->list;
    const auto read = context_.reader.readSelectionDetailed(list);
    if (read.selection && read.selection->index == request->number) {
        finish(request,
               {true, method,
                std::string(kDirectSelectionMethodLabels[static_cast<std::size_t>(method)])});
        return;
    }
    if (context_.now() + kVerificationPollInterval > deadline + 1e-9) {
        attemptNext(std::move(request));
        return;
    }
    context_.selectionWorkQueue->postAfter(
        kVerificationPollInterval,
        context_.guarded([this, request = std::move(request), method, deadline]() mutable {
            verify(std::move(request), method, deadline);
        }));
}

}  // namespace tessiva
