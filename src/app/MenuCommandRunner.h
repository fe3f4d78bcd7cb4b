#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "app/MenuCommandTable.h"

namespace tessiva {

class MenuBarController;

// Performs a menu item named by its title, as a click on it would, for scenario steps and the
// console: disabled items are refused, a prompt takes its answer from the request and a file
// panel its path; items whose windows this build lacks keep the coordinator's "would open here"
// behaviour. Returns one line saying what happened. Main queue only; tests run it on a
// coordinator built on a VirtualScheduler.
class MenuCommandRunner {
  public:
    explicit MenuCommandRunner(MenuBarController& controller) : controller_(controller) {}

    std::string run(const MenuRequest& request);

  private:
    std::string perform(const MenuTitleMatch& match, const MenuRequest& request);
    std::string profileOutcome(const std::filesystem::path& wanted, std::string_view done) const;

    MenuBarController& controller_;
};

}  // namespace tessiva
