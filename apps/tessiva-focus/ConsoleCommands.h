#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/MenuCommandRunner.h"
#include "autoassign/EstimatedAutoAssignReview.h"

namespace tessiva {

class MenuBarController;

// The commands of `run --console`, one per line of standard input: "menu TITLE [--answer
// BUTTON] [--path FILE]", "review", "review apply N", "review apply-all", "status", "help".
// Each returns the lines that say what it did; anything else is named as unknown with the list
// of commands. Main queue only (the program posts each line there).
class ConsoleCommands {
  public:
    explicit ConsoleCommands(MenuBarController& controller);

    std::vector<std::string> execute(std::string_view line);

  private:
    std::vector<std::string> menu(std::string_view arguments);
    std::vector<std::string> review(std::string_view arguments);
    std::vector<std::string> status() const;

    MenuBarController& controller_;
    MenuCommandRunner runner_;
    EstimatedAutoAssignReview review_;
};

}  // namespace tessiva
