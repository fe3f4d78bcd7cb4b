#include "ui/StatusMenu.h"

#include <QAction>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>

namespace tessiva {

StatusMenu::StatusMenu() : menu_(std::make_unique<QMenu>()) {
    menu_->setObjectName("statusMenu");
    menu_->installEventFilter(this);
    connect(menu_.get(), &QMenu::aboutToShow, this, [this] {
        setDebugItemsRevealed(QGuiApplication::queryKeyboardModifiers().testFlag(Qt::AltModifier));
    });
}

StatusMenu::~StatusMenu() = default;

void StatusMenu::render(const std::vector<MenuItem>& items) {
    menu_->clear();
    actions_.clear();
    debugActions_.clear();
    addItems(*menu_, items, "");
    setDebugItemsRevealed(debugItemsRevealed_);
}

void StatusMenu::addItems(QMenu& menu, const std::vector<MenuItem>& items,
                          const std::string& prefix) {
    for (const MenuItem& item : items) {
        if (item.isSeparator) {
            menu.addSeparator();
            continue;
        }
        const QString title = QString::fromStdString(item.title);
        const std::string path = prefix + item.title;
        if (!item.submenu.empty()) {
            QMenu* submenu = menu.addMenu(title);
            submenu->installEventFilter(this);
            actions_.emplace_back(path, submenu->menuAction());
            addItems(*submenu, item.submenu, path + " > ");
            continue;
        }
        QAction* action = menu.addAction(title);
        action->setEnabled(item.enabled);
        if (item.command) {
            action->setCheckable(item.checked || item.command == MenuCommand::selectLearnModeOff ||
                                 item.command == MenuCommand::selectLearnModeOn ||
                                 item.command == MenuCommand::toggleLegacyMIDIControls);
            action->setChecked(item.checked);
            const MenuCommand command = *item.command;
            const std::string itemPath = item.path;
            connect(action, &QAction::triggered, this, [this, command, itemPath] {
                if (onCommand)
                    onCommand(command, itemPath);
            });
        }
        if (item.isDebugItem)
            debugActions_.push_back(action);
        actions_.emplace_back(path, action);
    }
}

QAction* StatusMenu::action(const std::string& path) const {
    for (const auto& [title, action] : actions_) {
        if (title == path)
            return action;
    }
    return nullptr;
}

void StatusMenu::setDebugItemsRevealed(bool revealed) {
    debugItemsRevealed_ = revealed;
    for (QAction* action : debugActions_)
        action->setVisible(revealed);
}

bool StatusMenu::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == kDebugRevealKey)
            setDebugItemsRevealed(event->type() == QEvent::KeyPress);
    }
    return QObject::eventFilter(watched, event);
}

}  // namespace tessiva
