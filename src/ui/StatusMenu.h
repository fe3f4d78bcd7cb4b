#pragma once

#include <QObject>
#include <functional>
#include <string>
#include <vector>

#include "app/MenuModel.h"

class QAction;
class QMenu;

namespace tessiva {

// The status item's menu as Qt widgets: renders the coordinator's MenuModel items (titles,
// enabled and checked state, submenus, status lines) and reports the chosen command. Rebuilt
// whenever the coordinator publishes a changed menu. The diagnostic items are revealed while
// the Option (Alt) key is held with the menu open. GUI thread only; UI tests trigger its
// actions directly.
class StatusMenu final : public QObject {
    Q_OBJECT
  public:
    // The key that reveals "Show Events / Debug Log" and "Start AX Capture (1s)".
    static constexpr Qt::Key kDebugRevealKey = Qt::Key_Alt;

    StatusMenu();
    ~StatusMenu() override;

    void render(const std::vector<MenuItem>& items);
    QMenu& menu() { return *menu_; }
    // The action with this title ("Add Tracks > On" for a submenu item), or nullptr.
    QAction* action(const std::string& path) const;
    void setDebugItemsRevealed(bool revealed);

    std::function<void(MenuCommand, const std::string& path)> onCommand;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void addItems(QMenu& menu, const std::vector<MenuItem>& items, const std::string& prefix);

    std::unique_ptr<QMenu> menu_;
    std::vector<std::pair<std::string, QAction*>> actions_;
    std::vector<QAction*> debugActions_;
    bool debugItemsRevealed_ = false;
};

}  // namespace tessiva
