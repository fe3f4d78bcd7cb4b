#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/ax/AccessibilityPort.h"
#include "platform/simulated/SimulatedInputEvents.h"
#include "platform/simulated/logic/SimulatedAXNotifications.h"
#include "platform/simulated/logic/SimulatedAXTree.h"
#include "platform/simulated/logic/SimulatedLogicOptions.h"

namespace tessiva {

class Clock;

// An in-memory Logic Pro behind the Accessibility port: application element, a main window
// titled like a project ("Song.logicx - Tracks"), an Arrange track list (outline described
// "Tracks header") whose rows read `Track 7 “Bass”`, Track Stacks, a Mixer window, modal sheets,
// a tempo slider, and user actions that change the tree and post the notifications Logic posts.
// Track numbers in the action API are the numbers Logic shows (1-based, hidden tracks counted).
// Reads are thread-safe; actions are made from the test or demo thread. It stands in for the
// macOS adapter in unit, integration and benchmark runs.
class SimulatedLogic final : public AccessibilityPort {
  public:
    static constexpr const char* kBundleIdentifier = "com.apple.logic10";

    SimulatedLogic(const Clock& clock, SimulatedLogicOptions options = {});
    ~SimulatedLogic() override;
    SimulatedLogic(const SimulatedLogic&) = delete;
    SimulatedLogic& operator=(const SimulatedLogic&) = delete;

    SimulatedInputEvents& input() { return input_; }

    // Process and workspace.
    void launch();
    void quit();
    void relaunch();
    bool isRunning() const;
    ProcessId pid() const;
    void setFrontmost(bool frontmost);
    bool isFrontmost() const;
    void setTrusted(bool trusted);
    void setProjectName(std::string name);
    std::string windowTitle() const;
    void setSelectionSettleDelay(double seconds);
    // After `afterSuccesses` more observers are created, the next `count` creations fail.
    void failNextObserverCreations(int count, int afterSuccesses = 0);
    // Called with each attribute name read, outside the lock (tests use it to cost reads).
    void setAttributeReadHook(std::function<void(std::string_view)> hook);

    // Project content, set up without notifications.
    void addTrack(std::string name);
    void addStack(std::string name, std::vector<std::string> members);
    int trackCount() const;
    // Visible header rows: number to name, as a snapshot should read them.
    std::map<int, std::string> visibleRows() const;
    std::vector<int> selectedTrackNumbers() const;

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
    void openModal(std::string title);
    // A left click on the sheet's default button: the click that confirms and closes it.
    void clickModalButton();
    void dismissModal();
    bool isModalOpen() const;
    void openMixer();
    void closeMixer();
    void clickMixerStrip(int number);
    void setTempo(double bpm);

    // Elements for tests.
    AXElement applicationElementNow() const;
    AXElement mainWindowElement() const;
    AXElement trackListElement() const;
    AXElement decoyTableElement() const;
    AXElement rowElement(int number) const;
    AXElement nameFieldElement(int number) const;
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
        bool isStackHeader = false;
        bool collapsed = false;
        std::uint64_t stackKey = 0;
        std::uint64_t rowNode = 0;
        std::uint64_t nameNode = 0;
        std::uint64_t stripNode = 0;
    };

    // All private helpers expect mutex_ held.
    void buildTree();
    void makeTrackNodes(Track& track);
    void rebuildRows();
    void tearDownTree();
    AXElement elementFor(std::uint64_t id) const;
    const Node* nodeFor(const AXElement& element) const;
    std::string titleText() const;
    bool isHidden(const Track& track) const;
    int numberOf(std::uint64_t key) const;
    Track* trackAt(int number);
    std::vector<std::uint64_t> visibleTrackKeys() const;
    std::vector<std::uint64_t> settledSelection() const;
    void selectOnly(std::vector<std::uint64_t> keys);
    // After rows were inserted or removed: select, renumber, and post what Logic posts.
    void finishTrackListEdit(std::vector<std::uint64_t> selection);
    void queueNotification(std::uint64_t node, std::string name);
    void deliverPending();
    void pointerEvent(InputEventType type, AXPoint at, std::uint32_t modifiers = 0,
                      bool tapped = true);
    AXPoint rowCenter(std::uint64_t key) const;
    void structuralChangeNotifications(bool selectionChanged);
    void selectionNotifications();

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
    std::function<void(std::string_view)> readHook_;
    SimulatedAXTree tree_;
    SimulatedAXNotifications notifications_;
    std::vector<Track> tracks_;
    std::uint64_t nextTrackKey_ = 1;
    std::vector<std::uint64_t> selection_;
    std::vector<std::uint64_t> previousSelection_;
    double selectionReadableAt_ = 0;
    std::uint64_t focusedNode_ = 0;
    bool modalOpen_ = false;
    bool mixerOpen_ = false;
    bool mixerFocused_ = false;
    double tempo_ = 120.0;
    std::uint64_t app_ = 0, mainWindow_ = 0, outline_ = 0, decoy_ = 0, contents_ = 0, slider_ = 0,
                  sheet_ = 0, mixerWindow_ = 0, mixerTracks_ = 0;
    std::vector<InputEvent> pendingEvents_;
    int dragFrom_ = 0;
    AXPoint dragPoint_;

    std::atomic<std::uint64_t> attributeReads_{0};
};

}  // namespace tessiva
