#pragma once

#include "app/TrackSelectionRouter.h"
#include "logic/LogicObserver.h"
#include "midi/DestinationStatusStore.h"
#include "osc/OSCDiscoveryManager.h"
#include "runtime/DebugEvent.h"

namespace tessiva {

// The notification names the coordinator, the windows and the other subsystems share. Names that
// another layer posts are defined there and only listed here; each entry says who posts it and
// who acts on it. The headless program has no windows: where a window is the only producer or
// consumer, the name is reserved for it.

// Posted by the mappings window's Save button; the coordinator saves the current profile.
inline constexpr const char* kSaveMappingsRequestedNotification = "tessiva.saveMappingsRequested";
// Posted by the iPad link (OSCDiscoveryManager::kHandshakeStatusChanged); the coordinator shows
// it in the iPad status line.
// Posted by the "Show Mappings…" command; the mappings window opens.
inline constexpr const char* kShowMappingsWindowNotification = "tessiva.showMappingsWindow";
// Posted by the MIDI relay (kMIDIDestinationChangedNotification); the menu and the setup guide.
// Posted by the Logic observer (kTrackListSnapshotUpdatedNotification); the coordinator applies
// the names to the mappings.
// Posted by components without the event log (kDebugEventNotification); the event log.
// Posted by the mappings window's refresh button; the coordinator asks the active iPad for its
// workspace, or on its next "/ping" when none is linked.
inline constexpr const char* kWorkspaceSnapshotRequestRequestedNotification =
    "tessiva.workspaceSnapshotRequestRequested";
// Posted by the events window's Clear button; the coordinator empties the event log.
inline constexpr const char* kClearEventsLogNotification = "tessiva.clearEventsLog";
// Posted by the "About Tessiva Focus…" command; the about window opens.
inline constexpr const char* kShowAboutWindowNotification = "tessiva.showAboutWindow";
// Posted by the "Setup Guide…" command; the setup guide opens.
inline constexpr const char* kShowSetupGuideNotification = "tessiva.showSetupGuide";
// Posted by the "Show Events…" commands; the events window opens.
inline constexpr const char* kShowEventsWindowNotification = "tessiva.showEventsWindow";
// Posted by the mappings window's follow toggle; the mappings window scrolls to the focused row.
inline constexpr const char* kFollowFocusInMappingsListNotification =
    "tessiva.followFocusInMappingsList";
// Posted by the articulation-set import and navigation-export features when their invitation is
// answered; the mappings window hides the invitation.
inline constexpr const char* kHideArticulationSetImportInvitationNotification =
    "tessiva.hideArticulationSetImportInvitation";
inline constexpr const char* kHideNavigationExportInvitationNotification =
    "tessiva.hideNavigationExportInvitation";
// Posted by the mappings window's Play button with kMappingPlaybackRowKey (integer: the Logic
// row); the coordinator sends that row's MIDI mapping.
inline constexpr const char* kTriggerMappingPlaybackNotification = "tessiva.triggerMappingPlayback";
inline constexpr const char* kMappingPlaybackRowKey = "row";
// Posted by the events window's recorder controls; the Logic observer arms or stops its flight
// recorder. Start takes kAXFlightRecorderSecondsKey (a number of seconds, default and at most 45).
inline constexpr const char* kStopAXFlightRecorderNotification = "tessiva.stopAXFlightRecorder";
inline constexpr const char* kStartAXFlightRecorderNotification = "tessiva.startAXFlightRecorder";
inline constexpr const char* kAXFlightRecorderSecondsKey = "seconds";
// Posted by the selection router (kFocusEventSentNotification) after each focus message.

}  // namespace tessiva
