#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ax/AccessibilityPort.h"
#include "platform/simulated/SimulatedInputEvents.h"
#include "platform/simulated/logic/SimulatedAXNotifications.h"
#include "platform/simulated/logic/SimulatedAXTree.h"
#include "platform/simulated/logic/SimulatedLogicOptions.h"

namespace tessiva {

class Clock;

// Key codes of the Logic commands the simulation answers besides those the observer reacts to.
namespace simulated_keycode {
inline constexpr int kD = 2;
inline constexpr int kZ = 6;
inline constexpr int kDelete = 51;
}  // namespace simulated_keycode

// An in-memory Logic Pro behind the Accessibility port, in one of two shapes (see
// SimulatedLogicOptions): Logic 12 as recorded live (a window "Song - Tracks" whose Arrange rail,
// an AXGroup "Tracks header", holds AXLayoutItem headers reading `Track 7 “Bass”`, with the
// Inspector's outline, the track rows under "Tracks contents", the Mixer pane and the Control Bar
// beside it; header elements stay at their positions), or the older table/outline (an AXOutline
// of AXRow headers, each tied to its track, and a Mixer window). Both have Track Stacks, modal
// sheets and dialogs, a tempo slider, a publish lag for selections, locales, error knobs, and
// user actions that change the tree, send the input events and post what Logic posts. Track
// numbers in the action API are the numbers Logic shows (1-based, hidden tracks counted). Reads
// are thread-safe; actions are made from the test or demo thread. It stands in for the macOS
// adapter in unit, integration and benchmark runs.
class SimulatedLogic final : public AccessibilityPort {
  public:
    static constexpr const char* kBundleIdentifier = "com.apple.logic10";

    SimulatedLogic(const Clock& clock, SimulatedLogicOptions options = {});
    ~SimulatedLogic() override;
    SimulatedLogic(const SimulatedLogic&) = delete;
    SimulatedLogic& operator=(const SimulatedLogic&) = delete;

    SimulatedInputEvents& input() { return input_; }

    // Options. Setting them while Logic runs rebuilds its tree (every element is new).
    SimulatedLogicOptions options() const;
    void setOptions(SimulatedLogicOptions options);

    // Process and workspace.
    void launch();
    void quit();
    void relaunch();
    bool isRunning() const;
    ProcessId pid() const;
    void setFrontmost(bool frontmost);
    void setTrusted(bool trusted);
    // Opens another project: Logic 12 replaces its window with a new element; the table/outline
    // Logic retitles the window it has.
    void setProjectName(std::string name);
    std::string windowTitle() const;
    void setSelectionSettleDelay(double seconds);
    // After `afterSuccesses` more observers are created, the next `count` creations fail.
    void failNextObserverCreations(int count, int afterSuccesses = 0);
    // The next AXWindows read fails with cannot-complete, as the first one of a new attachment.
    // Busy Logic: reads wait `busyReadDelay` (through the sleep function) or fail.
    void setBusy(SimulatedLogicBusy busy);
    // How a slow read waits; virtual-time tests pass one that advances their clock. Called
    // outside the lock. Default: the thread sleeps.
    void setSleepFunction(std::function<void(double seconds)> sleep);
    // Called with each attribute name read, outside the lock (tests use it to cost reads).
    void setAttributeReadHook(std::function<void(std::string_view)> hook);

    // Project content, set up without notifications.
    void addTrack(std::string name);
    void addStack(std::string name, std::vector<std::string> members);
    int trackCount() const;
    // Visible header rows: number to name, as a snapshot should read them.
    std::map<int, std::string> visibleRows() const;
    std::vector<int> selectedTrackNumbers() const;
    // When Logic publishes (or published) the latest selection change; 0 before any.
    double latestSelectionPublishTime() const;
    // The header text Logic shows for a track in the current locale (`Spur 3 „Bass“`).
    std::string headerText(int number, const std::string& name) const;

    // User actions.
    void clickTrack(int number, SimulatedClick kind = SimulatedClick::plain);
    void clickArrangeBackground(SimulatedClick kind = SimulatedClick::plain);
    void pressArrowKey(bool down);
    // Moves the keyboard focus to a track's header row without selecting it.
    void focusTrack(int number);
    void pressKey(int keyCode);
    void insertTrack(int afterNumber, std::string name);
    void deleteTrack(int number);
    void duplicateTrack(int number);
    void moveTrack(int fromNumber, int toNumber);
    // Logic's commands from the keyboard: Cmd-Z undoes the last insert, delete, duplicate or
    // move; Shift-Cmd-Z redoes it; Cmd-D duplicates the selected track; Cmd-Delete deletes the
    // selected tracks. Each sends its key event; none acts while a modal is open.
    void pressUndo();
    void pressRedo();
    void pressDuplicate();
    void pressDelete();
    // The same commands chosen from Logic's menus by title: "Undo", "Redo", "Delete" (the
    // selected tracks) and "New Track With Duplicate Settings" (the selected track). Logic posts
    // AXMenuItemSelected for the item; none acts while a modal is open. Other titles only post.
    void chooseMenuItem(const std::string& title);
    // A pointer drag of a track header onto another row, in three steps so time can pass:
    // press on the header, move over the rows, release (which moves the track).
    // Presses and holds the pointer in the regions area beside the track headers.
    void pressRegionArea();
    // Releases a held pointer where it is.
    void releasePointer();
    void beginTrackDrag(int fromNumber);
    void dragPointerTo(int overNumber);
    void endTrackDrag(int toNumber);
    void renameTrack(int number, std::string name);
    void setStackCollapsed(int stackNumber, bool collapsed);
    void openModal(std::string title, SimulatedModalKind kind = SimulatedModalKind::sheet);
    // A left click on the modal's default button: the click that confirms and closes it.
    void clickModalButton();
    void dismissModal();
    bool isModalOpen() const;
    // Logic 12 shows the Mixer as a pane of the main window; the table/outline Logic as a window.
    void openMixer();
    void closeMixer();
    void clickMixerStrip(int number);
    // A plug-in editor window (an AXDialog titled with the track's name) over the main window.
    void openPluginWindow(int number);
    void closePluginWindow();
    // The control bar's tempo: AXValue the number, AXValueDescription its short text ("96.5"),
    // and an AXValueChanged from the slider.
    void setTempo(double bpm);
    // The slider's AXValue as text, which the tempo reader must parse or ignore ("120 ", "abc").
    void setTempoText(const std::string& text);
    // Logic 12 with `exposedRailRows`: scrolls the Arrange so this visible position (from 0)
    // is the first row shown.
    void scrollRailTo(int firstPosition);
    // One moment of playback in Logic 12: the playhead and a meter change and each posts
    // AXValueChanged, which observers on the application element hear (whatever the
    // notification profile). The table/outline Logic has no playhead.
    void advancePlayback();

    // Elements for tests.
    AXElement applicationElementNow() const;
    AXElement mainWindowElement() const;
    // The outline (10) or the "Tracks header" rail (12).
    AXElement trackListElement() const;
    AXElement decoyTableElement() const;
    // The Inspector's outline ("Icon:", "Channel:" rows; Logic 12).
    AXElement inspectorOutlineElement() const;
    // The header showing track `number` (none while it is hidden).
    AXElement rowElement(int number) const;
    AXElement nameFieldElement(int number) const;
    // Logic 12: the track's row under "Tracks contents", the stack's disclosure triangle.
    AXElement contentsRowElement(int number) const;
    AXElement disclosureTriangleElement(int stackNumber) const;
    // The Mixer's strip container and a track's strip (while the Mixer is shown).
    AXElement mixerStripsElement() const;
    AXElement mixerStripElement(int number) const;
    AXElement modalElement() const;
    AXElement pluginWindowElement() const;
    AXElement tempoSliderElement() const;
    std::size_t mainWindowElementCount() const;

    // Counters.
    std::uint64_t attributeReadCount() const { return attributeReads_.load(); }
    void resetAttributeReadCount() { attributeReads_.store(0); }
    std::uint64_t deliveredNotificationCount() const { return notifications_.deliveredCount(); }
    std::uint64_t droppedNotificationCount() const { return notifications_.droppedCount(); }

    // AccessibilityPort.
    bool isProcessTrusted() const override;
    std::vector<ProcessId> runningApplications(std::string_view bundleIdentifier) const override;
    std::optional<std::string> frontmostApplicationBundleIdentifier() const override;
    AXElement applicationElement(ProcessId pid) override;
    AXResult<AXValue> copyAttributeValue(const AXElement& element,
                                         std::string_view attribute) override;
    AXResult<bool> isAttributeSettable(const AXElement& element,
                                       std::string_view attribute) override;
    AXError setAttributeValue(const AXElement& element, std::string_view attribute,
                              const AXValue& value) override;
    AXResult<std::vector<std::string>> copyActionNames(const AXElement& element) override;
    AXError performAction(const AXElement& element, std::string_view action) override;
    AXResult<std::unique_ptr<AXObserver>> createObserver(ProcessId pid, Queue& deliveryQueue,
                                                         AXNotificationHandler handler) override;

  private:
    using Node = SimulatedAXTree::Node;
    using NodeKind = SimulatedNodeKind;
    struct Track {
        std::uint64_t key = 0;
        std::string name;
        // The Mixer strip's name: the name the track was made with; renaming keeps it.
        std::string channelName;
        bool isStackHeader = false;
        bool collapsed = false;
        std::uint64_t stackKey = 0;
        // Table/outline profile: the track's own row and name field.
        std::uint64_t rowNode = 0;
        std::uint64_t nameNode = 0;
        std::uint64_t stripNode = 0;
    };
    // Logic 12: the elements at one rail position, whatever track they show.
    struct HeaderSlot {
        std::uint64_t header = 0;
        std::uint64_t nameField = 0;
        std::uint64_t focusRadio = 0;
        std::uint64_t triangle = 0;
        std::uint64_t contentsRow = 0;
    };
    struct Published {
        double at = 0;
        std::vector<std::uint64_t> keys;
    };
    struct Edit {
        std::vector<Track> tracks;
        std::vector<std::uint64_t> selection;
    };

    // All private helpers expect mutex_ held.
    bool isLogic12() const { return options_.version == SimulatedLogicVersion::logic12; }
    bool postsTableNotifications() const {
        return options_.notifications == SimulatedLogicNotifications::table;
    }
    double heldElementStaleness() const;
    void buildTree();
    void publishRows();
    void tearDownTree();
    // Logic10Tree.cpp
    void buildLogic10Window();
    void makeLogic10TrackNodes(Track& track);
    void publishLogic10Rows();
    // Logic12Tree.cpp
    void buildLogic12Window();
    void buildLogic12MixerPane();
    void publishLogic12Rows();
    void publishMixerStrips();
    std::string localizedHeader(int number, const std::string& name) const;
    std::uint64_t headerNodeOf(std::uint64_t key) const;
    std::uint64_t nameFieldNodeOf(std::uint64_t key) const;
    int visiblePositionOf(std::uint64_t key) const;
    bool isScrolledOut(int position) const;
    // Scrolls so the selection's last row is shown, as Logic does for keyboard selection.
    void revealSelection();

    AXElement elementFor(std::uint64_t id) const;
    const Node* nodeFor(const AXElement& element) const;
    std::string titleText() const;
    std::string documentURL() const;
    bool isHidden(const Track& track) const;
    int numberOf(std::uint64_t key) const;
    Track* trackAt(int number);
    std::vector<std::uint64_t> visibleTrackKeys() const;
    // The selection Logic shows through an element fetched at `fetchedAt` (now for a fresh one).
    std::vector<std::uint64_t> readableSelection(double fetchedAt) const;
    std::vector<std::uint64_t> publishedSelectionAt(double time) const;
    void selectOnly(std::vector<std::uint64_t> keys);
    void rememberEdit();
    void restoreEdit(Edit edit);
    void insertTrackLocked(int afterNumber, std::string name);
    void deleteTrackLocked(int number);
    void duplicateTrackLocked(int number);
    void commandKey(int keyCode, std::uint32_t modifiers);
    void undoLocked();
    void redoLocked();
    void deleteSelectionLocked();
    void closeModal();
    // After rows were inserted or removed: select, renumber, and post what Logic posts.
    void finishTrackListEdit(std::vector<std::uint64_t> selection);
    void queueNotification(std::uint64_t node, std::string name);
    void deliverPending();
    void pointerEvent(InputEventType type, AXPoint at, std::uint32_t modifiers = 0,
                      bool tapped = true);
    AXPoint rowCenter(std::uint64_t key) const;
    void structuralChangeNotifications(bool selectionChanged);
    void selectionNotifications();
    AXResult<AXValue> read(const AXElement& element, std::string_view attribute);
    std::uint64_t mainWindowForReads() const;
    std::uint64_t focusedWindow() const;

    const Clock& clock_;
    SimulatedLogicOptions options_;
    SimulatedInputEvents input_;

    mutable std::mutex mutex_;
    bool running_ = false;
    bool frontmost_ = true;
    bool trusted_ = true;
    ProcessId pid_ = 0;
    ProcessId nextPid_ = 4100;
    int failObserverCreations_ = 0;
    int observerCreationsBeforeFailure_ = 0;
    bool failNextWindowsRead_ = false;
    SimulatedLogicBusy busy_ = SimulatedLogicBusy::responsive;
    std::function<void(double)> sleep_;
    std::function<void(std::string_view)> readHook_;
    std::mt19937 random_;
    SimulatedAXTree tree_;
    SimulatedAXNotifications notifications_;
    std::vector<Track> tracks_;
    std::uint64_t nextTrackKey_ = 1;
    std::vector<std::uint64_t> selection_;
    std::vector<Published> published_;
    std::vector<Edit> undo_, redo_;
    std::uint64_t focusedNode_ = 0;
    bool modalOpen_ = false;
    SimulatedModalKind modalKind_ = SimulatedModalKind::sheet;
    bool mixerOpen_ = false;
    bool mixerFocused_ = false;
    double tempo_ = 120.0;
    std::uint64_t app_ = 0, mainWindow_ = 0, utilityWindow_ = 0, outline_ = 0, decoy_ = 0,
                  inspectorOutline_ = 0, contents_ = 0, slider_ = 0, sheet_ = 0, mixerWindow_ = 0,
                  mixerPane_ = 0, mixerTracks_ = 0, playhead_ = 0, meter_ = 0;
    std::int64_t playbackTicks_ = 0;
    int railScrollTop_ = 0;
    std::vector<HeaderSlot> slots_;
    std::vector<std::uint64_t> pluginWindows_;
    std::vector<InputEvent> pendingEvents_;
    int dragFrom_ = 0;
    AXPoint dragPoint_;

    std::atomic<std::uint64_t> attributeReads_{0};
};

}  // namespace tessiva
