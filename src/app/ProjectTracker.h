#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "app/ProjectKeyProvider.h"
#include "runtime/Queue.h"
#include "runtime/RepeatingTimer.h"
#include "runtime/Status.h"

namespace tessiva {

class Clock;
class Console;
class DebugLogStore;
class MappingStore;

// Where the tracker reads Logic's state: the Logic observer in the program, a fake in tests.
class LogicProjectWindow {
  public:
    virtual ~LogicProjectWindow() = default;
    // A running application has the bundle identifier "com.apple.logic10".
    virtual bool isLogicRunning() const = 0;
    // The main window title; absent while Logic is not running, no title is available, or
    // observation is quarantined.
    virtual std::optional<std::string> windowTitle() const = 0;
};

// The recall prompt's answers, in the order of its buttons.
enum class ProjectRecallAnswer { saveCurrentAndLoad, load, keepCurrent };

struct ProjectRecallPrompt {
    std::string title;
    std::string message;
    std::string saveAndLoadButton;
    std::string loadButton;
    std::string keepButton;
};

// Shows the recall alert and returns the user's choice. The menu-bar shell shows a real alert;
// the headless program answers from its command line.
class ProjectRecallAlert {
  public:
    virtual ~ProjectRecallAlert() = default;
    virtual ProjectRecallAnswer ask(const ProjectRecallPrompt& prompt) = 0;
};

// Follows which Logic project is open: polls the window title every 2 s, derives the project's
// base name and key, restores the project's own profile once per launch, offers to switch
// profiles when the user moves to another project that has one, and answers the selection
// routing's project gate. Main queue only. Tests drive it on a VirtualScheduler with a fake
// LogicProjectWindow and a scripted ProjectRecallAlert.
class ProjectTracker final : public ProjectKeyProvider {
  public:
    // When delayed project work runs after a new title is accepted.
    static constexpr double kPollInterval = 2.0;
    static constexpr double kInitialAutoRestoreDelay = 0.75;
    static constexpr double kSettledRefreshDelay = 1.25;
    static constexpr double kRecallPromptDelay = 1.5;
    static constexpr double kIgnoredNonProjectTitleLogInterval = 30.0;

    struct Dependencies {
        Queue& mainQueue;
        const Clock& clock;
        Console& console;
        DebugLogStore& log;
        MappingStore& store;
        const LogicProjectWindow& logic;
        ProjectRecallAlert& recallAlert;
        // The folder of per-project profiles.
        std::filesystem::path profilesFolder;
        // Called with a reason when a new project title is accepted (selection state reset).
        std::function<void(const std::string& reason)> onProjectChanged;
        // Asks for a live track-name refresh after a project settles or a profile loads.
        std::function<void(const std::string& reason)> requestTrackNameRefresh;
    };

    explicit ProjectTracker(Dependencies dependencies);
    ~ProjectTracker() override;
    ProjectTracker(const ProjectTracker&) = delete;
    ProjectTracker& operator=(const ProjectTracker&) = delete;

    // Starts the 2 s poll and observes the title at once with the reason "startup".
    void start();
    void stop();
    void observeLogicTitle(const std::string& reason);

    std::optional<std::string> currentProjectKey() const override;
    std::optional<std::string> loadedProfileProjectKey() const override;

    const std::optional<std::string>& lastObservedLogicProjectTitle() const {
        return lastObservedLogicProjectTitle_;
    }
    bool hasAttemptedInitialProjectAutoRestore() const {
        return hasAttemptedInitialProjectAutoRestore_;
    }
    const std::optional<std::string>& lastAutoLoadedMappingProjectKey() const {
        return lastAutoLoadedMappingProjectKey_;
    }
    std::filesystem::path profilePathForTitle(const std::string& title) const;

    // Saves the current mappings to the per-project profile of `title`.
    Status saveCurrentMappingsForProject(const std::string& title, const std::string& reason);
    // "Save Current + Load": saves the current mappings where they belong (RecallSaveTarget)
    // before `newTitle`'s profile is loaded; the log says which file was written.
    Status saveCurrentMappingsBeforeRecall(const std::optional<std::string>& previousTitle,
                                           const std::string& newTitle, const std::string& reason);

  private:
    void handleProjectChange(const std::string& title, const std::string& reason);
    void logIgnoredTitle(const std::string& signature, const std::string& title,
                         const std::string& detail);
    void attemptInitialAutoRestore(const std::string& title, const std::string& reason);
    void scheduleRecallPrompt(const std::string& previousTitle, const std::string& title);
    void showRecallPrompt(const std::optional<std::string>& previousTitle,
                          const std::string& title);
    void settledRefresh(const std::string& title);
    std::optional<std::string> currentTrimmedTitle() const;
    void logEvent(const std::string& title, const std::string& detail);

    Dependencies deps_;
    std::optional<std::string> lastAutoLoadedMappingProjectKey_;
    std::optional<std::string> lastObservedLogicProjectTitle_;
    WorkItem projectAutoLoadWorkItem_;
    WorkItem projectRecallPromptWorkItem_;
    WorkItem settledRefreshWorkItem_;
    std::set<std::string> suppressedProjectRecallKeys_;
    bool isProjectRecallPromptVisible_ = false;
    RepeatingTimer projectAutoLoadTimer_;
    bool hasAttemptedInitialProjectAutoRestore_ = false;
    std::optional<std::string> lastIgnoredNonProjectLogicTitleSignature_;
    double lastIgnoredNonProjectLogicTitleLogTime_ = 0.0;
    double ignoredNonProjectLogicTitleLogInterval_ = kIgnoredNonProjectTitleLogInterval;
};

}  // namespace tessiva
