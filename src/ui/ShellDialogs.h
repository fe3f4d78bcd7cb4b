#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "app/ProjectTracker.h"

class QWidget;

namespace tessiva {

struct ProfileAlert;

// The alerts and file panels of the menu-bar shell, as application-modal Qt dialogs. Texts and
// buttons come from the coordinator; the dialogs only show them and return the user's choice.
// Each dialog has an object name ("profileAlert", "clearAllMappingsAlert", "recallAlert",
// "saveMappingsPanel", "chooseMappingsPanel") so UI tests find and answer the real widget. GUI
// thread only.
class ShellDialogs final : public ProjectRecallAlert {
  public:
    // "Failed to save mappings" / "Failed to load mappings".
    void showProfileAlert(const ProfileAlert& alert);
    // "Clear All Mappings…" asks first; true for its "Clear" button.
    bool confirmClearAllMappings();
    // "Save Mappings As…": the profiles folder with `proposedName`, JSON files only.
    std::optional<std::filesystem::path> chooseSavePath(const std::filesystem::path& folder,
                                                        const std::string& proposedName);
    // "Load Mappings > Choose File…": one JSON file.
    std::optional<std::filesystem::path> chooseProfileToLoad(const std::filesystem::path& folder);
    // A short message (no estimated matches to review, ...).
    void inform(const std::string& title, const std::string& text);

    // The recall prompt: three buttons in the coordinator's order.
    ProjectRecallAnswer ask(const ProjectRecallPrompt& prompt) override;
};

}  // namespace tessiva
