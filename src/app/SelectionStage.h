#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace tessiva {

// Every decision the selection path takes, in the diagnostic vocabulary shared with the Logic
// observation recorder ("router/deduplicated", "bank/send-attempted", ...).
enum class SelectionStage {
    routerConsumedDirectNavigationEcho,
    routerDeduplicated,
    routerAccepted,
    handlerRejectedEmptyName,
    handlerDeduplicated,
    handlerStarted,
    handlerBlockedNameMismatch,
    handlerBlockedProjectMismatch,
    handlerBlockedStructuralRepair,
    bankNoMapping,
    bankNameFallbackRejected,
    bankDeduplicated,
    bankSendAttempted,
    bankSendSkippedNoPeer,
};

inline constexpr std::array<std::string_view, 14> kSelectionStageTitles = {
    "router/consumed-direct-navigation-echo",
    "router/deduplicated",
    "router/accepted",
    "handler/rejected-empty-name",
    "handler/deduplicated",
    "handler/started",
    "handler/blocked-name-mismatch",
    "handler/blocked-project-mismatch",
    "handler/blocked-structural-repair",
    "bank/no-mapping",
    "bank/name-fallback-rejected",
    "bank/deduplicated",
    "bank/send-attempted",
    "bank/send-skipped-no-peer",
};
static_assert(kSelectionStageTitles.size() ==
                  static_cast<std::size_t>(SelectionStage::bankSendSkippedNoPeer) + 1,
              "one title per SelectionStage");

inline std::string_view selectionStageTitle(SelectionStage stage) {
    return kSelectionStageTitles[static_cast<std::size_t>(stage)];
}

}  // namespace tessiva
