#include "app/ProjectTracker.h"

#include <fmt/format.h>

#include "app/ProjectTitle.h"
#include "app/RecallSaveTarget.h"
#include "mapping/DebugLogStore.h"
#include "mapping/MappingProfileFile.h"
#include "mapping/MappingStore.h"
#include "runtime/Clock.h"
#include "runtime/Console.h"
#include "runtime/Text.h"

namespace tessiva {

namespace {

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string seconds(double value) {
    return fmt::format("{:g}s", value);
}

}  // namespace

ProjectTracker::ProjectTracker(Dependencies dependencies) : deps_(std::move(dependencies)) {}

ProjectTracker::~ProjectTracker() {
    stop();
}

void ProjectTracker::start() {
    projectAutoLoadTimer_.start(deps_.mainQueue, kPollInterval, kPollInterval,
                                [this] { observeLogicTitle("timer"); });
    observeLogicTitle("startup");
}

void ProjectTracker::stop() {
    projectAutoLoadTimer_.stop();
    projectAutoLoadWorkItem_.cancel();
    projectRecallPromptWorkItem_.cancel();
    settledRefreshWorkItem_.cancel();
}

std::optional<std::string> ProjectTracker::currentTrimmedTitle() const {
    if (!deps_.logic.isLogicRunning())
        return std::nullopt;
    auto title = deps_.logic.windowTitle();
    if (!title)
        return std::nullopt;
    return text::trimmed(*title);
}

void ProjectTracker::logEvent(const std::string& title, const std::string& detail) {
    deps_.log.log(title, detail);
}

void ProjectTracker::observeLogicTitle(const std::string& reason) {
    if (!deps_.logic.isLogicRunning())
        return;
    const std::string title = text::trimmed(deps_.logic.windowTitle().value_or(""));
    if (title.empty()) {
        logIgnoredTitle("<empty>", title,
                        "Logic is running but no project/window title is currently available. "
                        "reason=" +
                            reason);
        return;
    }
    if (!ProjectTitle::isProjectTitle(title)) {
        if (lastObservedLogicProjectTitle_) {
            logIgnoredTitle(title, title,
                            "title=" + title + ". Keeping current project title " +
                                *lastObservedLogicProjectTitle_ +
                                " and preserving the live mapping snapshot. Repeated identical "
                                "titles are logged at most once every " +
                                fmt::format("{:g}", ignoredNonProjectLogicTitleLogInterval_) +
                                " seconds");
        } else {
            logIgnoredTitle(title, title,
                            "title=" + title +
                                ". This window title does not look like a Logic project document "
                                "title, so it was not used for mapping auto-restore. reason=" +
                                reason);
        }
        return;
    }
    if (lastObservedLogicProjectTitle_ && *lastObservedLogicProjectTitle_ == title)
        return;

    deps_.console.line("[MenuBar] Project auto-restore observed Logic project title: " + title +
                       " reason=" + reason);
    logEvent("Project auto-restore observed title", "title=" + title + " reason=" + reason);
    handleProjectChange(title, reason);
}

void ProjectTracker::logIgnoredTitle(const std::string& signature, const std::string& title,
                                     const std::string& detail) {
    const double now = deps_.clock.now();
    if (lastIgnoredNonProjectLogicTitleSignature_ == signature &&
        now - lastIgnoredNonProjectLogicTitleLogTime_ < ignoredNonProjectLogicTitleLogInterval_) {
        return;
    }
    lastIgnoredNonProjectLogicTitleSignature_ = signature;
    lastIgnoredNonProjectLogicTitleLogTime_ = now;
    if (title.empty()) {
        logEvent("Project mapping auto-restore waiting", detail);
    } else if (lastObservedLogicProjectTitle_) {
        logEvent("Ignored non-project Logic window title", detail);
    } else {
        logEvent("Project auto-restore ignored non-project Logic window", detail);
    }
}

void ProjectTracker::handleProjectChange(const std::string& title, const std::string& reason) {
    const std::optional<std::string> previous = lastObservedLogicProjectTitle_;
    lastObservedLogicProjectTitle_ = title;
    lastIgnoredNonProjectLogicTitleSignature_.reset();

    if (deps_.onProjectChanged)
        deps_.onProjectChanged("logic-project-changed");
    logEvent("Logic project changed",
             "Logic project changed from " + previous.value_or("<none>") + " to " + title +
                 ". currentProjectKey=" + currentProjectKey().value_or("<unknown>") +
                 ", loadedMappingsKey=" + loadedProfileProjectKey().value_or("<none>") +
                 ". Waiting for Logic's track list to settle before validating mappings.");

    settledRefreshWorkItem_.cancel();
    settledRefreshWorkItem_ =
        deps_.mainQueue.postAfter(kSettledRefreshDelay, [this, title] { settledRefresh(title); });

    if (!hasAttemptedInitialProjectAutoRestore_) {
        projectAutoLoadWorkItem_.cancel();
        projectAutoLoadWorkItem_ = deps_.mainQueue.postAfter(
            kInitialAutoRestoreDelay,
            [this, title, reason] { attemptInitialAutoRestore(title, reason); });
        return;
    }
    scheduleRecallPrompt(previous.value_or(""), title);
}

void ProjectTracker::settledRefresh(const std::string& title) {
    const auto now = currentTrimmedTitle();
    if (now && !now->empty() && ProjectTitle::isProjectTitle(*now) && *now != title) {
        logEvent("Project-change refresh skipped",
                 "Pending refresh for " + title + " skipped because Logic now reports " + *now);
        return;
    }
    logEvent("Settled Logic project refresh", "Settled Logic project refresh for " + title +
                                                  " after " + seconds(kSettledRefreshDelay));
    if (deps_.requestTrackNameRefresh)
        deps_.requestTrackNameRefresh("project-change-settled-refresh");
}

std::filesystem::path ProjectTracker::profilePathForTitle(const std::string& title) const {
    const std::string name = ProjectTitle::profileFileName(title);
    if (name.empty())
        return {};
    return deps_.profilesFolder / name;
}

void ProjectTracker::attemptInitialAutoRestore(const std::string& title,
                                               const std::string& reason) {
    if (hasAttemptedInitialProjectAutoRestore_)
        return;
    hasAttemptedInitialProjectAutoRestore_ = true;
    const std::string base = ProjectTitle::baseName(title);
    const std::string key = ProjectTitle::keyForBaseName(base);
    deps_.console.line("[MenuBar] Project auto-restore attempting title=" + title +
                       " base=" + base + " key=" + key + " reason=" + reason);
    const std::filesystem::path path = profilePathForTitle(title);
    std::error_code ec;
    if (path.empty() || !std::filesystem::is_regular_file(path, ec)) {
        deps_.console.line("[MenuBar] No project mappings file found: " + path.string());
        logEvent("No project mappings file found",
                 "Initial session auto-restore looked for an exact saved mappings profile matching "
                 "base=" +
                     base + " for Logic project " + quoted(title) + " in " +
                     deps_.profilesFolder.string() +
                     ". No fuzzy fallback was used, to avoid loading the wrong project's mappings. "
                     "Auto-restore will not retry until Tessiva Focus is relaunched.");
        return;
    }
    if (Status loaded = deps_.store.load(path); !loaded) {
        deps_.console.line("[MenuBar] Auto-load mappings failed for " + path.string());
        logEvent("Auto-load mappings failed", path.string() + ": " + loaded.error());
        return;
    }
    lastAutoLoadedMappingProjectKey_ = key;
    deps_.console.line("[MenuBar] Auto-loaded mappings for Logic project: " + title);
    logEvent("Auto-loaded mappings for Logic project",
             "Loaded " + path.filename().string() + " for Logic project " + quoted(title) +
                 ". reason=" + reason +
                 ". Requested live Logic sync refresh; auto-restore will not run again until "
                 "Tessiva Focus is relaunched.");
    logEvent("Mappings profile loaded",
             "Mappings profile loaded. Refreshing live Logic track names to verify sync with the "
             "current project.");
    if (deps_.requestTrackNameRefresh)
        deps_.requestTrackNameRefresh("project-auto-restore");
}

void ProjectTracker::scheduleRecallPrompt(const std::string& previousTitle,
                                          const std::string& title) {
    const std::string key = ProjectTitle::projectKey(title);
    if (suppressedProjectRecallKeys_.count(key) != 0)
        return;
    if (loadedProfileProjectKey() == key)
        return;  // already on this project's profile
    const std::filesystem::path path = profilePathForTitle(title);
    std::error_code ec;
    if (path.empty() || !std::filesystem::is_regular_file(path, ec))
        return;
    projectRecallPromptWorkItem_.cancel();
    std::optional<std::string> previous;
    if (!previousTitle.empty())
        previous = previousTitle;
    projectRecallPromptWorkItem_ = deps_.mainQueue.postAfter(
        kRecallPromptDelay, [this, previous, title] { showRecallPrompt(previous, title); });
}

void ProjectTracker::showRecallPrompt(const std::optional<std::string>& previousTitle,
                                      const std::string& title) {
    const auto now = currentTrimmedTitle();
    if (now && ProjectTitle::isProjectTitle(*now) && *now != title) {
        logEvent("Project recall prompt skipped", "Pending prompt for " + title +
                                                      " skipped because Logic now reports " + *now +
                                                      ". reason=project-moved-on");
        return;
    }
    if (isProjectRecallPromptVisible_)
        return;
    const std::string name = ProjectTitle::baseName(title);
    const std::filesystem::path path = profilePathForTitle(title);
    ProjectRecallPrompt prompt;
    prompt.title = "Saved mappings found for " + name;
    prompt.message =
        "Logic appears to have switched from " +
        (previousTitle ? ProjectTitle::baseName(*previousTitle) : "the previous project") + " to " +
        name + ".\n\nTessiva Focus found a saved mappings profile for " + name +
        "\n\nWhat would you like to do?";
    prompt.saveAndLoadButton = "Save Current + Load " + name;
    prompt.loadButton = "Load " + name;
    prompt.keepButton = "Keep Current Mappings";

    isProjectRecallPromptVisible_ = true;
    const ProjectRecallAnswer answer = deps_.recallAlert.ask(prompt);
    isProjectRecallPromptVisible_ = false;

    auto loadNew = [&](const std::string& reason) {
        if (Status loaded = deps_.store.load(path); !loaded) {
            deps_.console.line("[MenuBar] Failed to load mappings profile: " + loaded.error());
            logEvent("Mappings profile load failed", path.string() + ": " + loaded.error());
            return;
        }
        deps_.console.line("[MenuBar] Mappings profile loaded for Logic project " + title +
                           " reason=" + reason);
        logEvent("Mappings profile loaded",
                 "Mappings profile loaded. Refreshing live Logic track names to verify sync with "
                 "the current project.");
        if (deps_.requestTrackNameRefresh)
            deps_.requestTrackNameRefresh(reason);
    };

    switch (answer) {
        case ProjectRecallAnswer::saveCurrentAndLoad: {
            if (Status saved = saveCurrentMappingsBeforeRecall(
                    previousTitle, title, "project-recall-save-current-then-load: " + title);
                !saved) {
                // The current mappings could not be kept safe: loading now would leave them
                // only in memory, so nothing is loaded.
                return;
            }
            loadNew("project-recall-before-load");
            return;
        }
        case ProjectRecallAnswer::load:
            loadNew("project-recall-load-without-saving: " + title);
            return;
        case ProjectRecallAnswer::keepCurrent:
            suppressedProjectRecallKeys_.insert(ProjectTitle::projectKey(title));
            logEvent("Project recall skipped",
                     "User kept current mappings after Tessiva Focus found " +
                         path.filename().string() + " for Logic project " + title);
            return;
    }
}

Status ProjectTracker::saveCurrentMappingsForProject(const std::string& title,
                                                     const std::string& reason) {
    const std::filesystem::path path =
        title.empty() ? std::filesystem::path() : profilePathForTitle(title);
    if (path.empty()) {
        logEvent("Project recall save skipped",
                 "Could not derive a project mapping filename from title " + title);
        return Status::failure("no project file name for title " + title);
    }
    std::error_code ec;
    std::filesystem::create_directories(deps_.profilesFolder, ec);
    if (ec) {
        logEvent("Project recall save failed", "Could not create mappings folder at " +
                                                   deps_.profilesFolder.string() +
                                                   ". Error:" + ec.message());
        return Status::failure(ec.message());
    }
    if (Status written = MappingProfileFile::write(path, deps_.store.snapshot()); !written) {
        logEvent("Mappings profile save failed", "Could not save current mappings to " +
                                                     path.string() + ".\nError:" + written.error());
        return written;
    }
    logEvent("Mappings profile saved",
             "Saved current mappings to " + path.string() + ". reason" + reason);
    return Status::success();
}

Status ProjectTracker::saveCurrentMappingsBeforeRecall(
    const std::optional<std::string>& previousTitle, const std::string& newTitle,
    const std::string& reason) {
    const RecallSaveTarget target =
        RecallSaveTarget::decide(previousTitle, deps_.store.fileURL(), newTitle,
                                 deps_.profilesFolder, [](const std::filesystem::path& file) {
                                     std::error_code ec;
                                     return std::filesystem::exists(file, ec);
                                 });
    if (target.kind == RecallSaveTarget::Kind::refused) {
        deps_.console.line("[MenuBar] Project recall save skipped: " + target.refusal);
        logEvent("Project recall save skipped", target.refusal);
        return Status::failure(target.refusal);
    }
    if (target.kind == RecallSaveTarget::Kind::previousProjectProfile)
        return saveCurrentMappingsForProject(previousTitle.value_or(""), reason);
    if (Status written = MappingProfileFile::write(target.file, deps_.store.snapshot()); !written) {
        logEvent("Mappings profile save failed", "Could not save current mappings to " +
                                                     target.file.string() +
                                                     ".\nError:" + written.error());
        return written;
    }
    deps_.console.line("[MenuBar] Saved current mappings to the file they were loaded from: " +
                       target.file.string());
    logEvent("Mappings profile saved",
             "Saved current mappings to " + target.file.string() + ". reason" + reason);
    return Status::success();
}

std::optional<std::string> ProjectTracker::currentProjectKey() const {
    if (!lastObservedLogicProjectTitle_)
        return std::nullopt;
    return ProjectTitle::projectKey(*lastObservedLogicProjectTitle_);
}

std::optional<std::string> ProjectTracker::loadedProfileProjectKey() const {
    const std::filesystem::path& file = deps_.store.fileURL();
    if (file.empty())
        return std::nullopt;
    return ProjectTitle::keyForBaseName(file.stem().string());
}

}  // namespace tessiva
