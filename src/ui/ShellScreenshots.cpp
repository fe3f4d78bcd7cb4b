#include "ui/ShellScreenshots.h"

#include <QApplication>
#include <QMenu>
#include <QPixmap>
#include <QWidget>
#include <iostream>

#include "autoassign/EstimatedAutoAssignReview.h"
#include "ui/EventsWindow.h"
#include "ui/MappingsWindow.h"
#include "ui/MenuBarShell.h"
#include "ui/ReviewWindow.h"
#include "ui/SetupGuideWindow.h"
#include "ui/StatusMenu.h"

namespace tessiva {

namespace {

void settle() {
    for (int i = 0; i < 3; ++i)
        QApplication::processEvents();
}

bool save(QWidget& widget, const std::filesystem::path& file) {
    settle();
    const QPixmap pixmap = widget.grab();
    if (pixmap.isNull() || !pixmap.save(QString::fromStdString(file.string()), "PNG")) {
        std::cerr << "screenshots: could not write " << file.string() << "\n";
        return false;
    }
    return true;
}

}  // namespace

std::vector<std::filesystem::path> writeShellScreenshots(MenuBarShell& shell,
                                                         const std::filesystem::path& folder) {
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    std::vector<std::filesystem::path> written;
    auto shoot = [&](QWidget& widget, const char* name) {
        widget.show();
        if (save(widget, folder / name))
            written.push_back(folder / name);
        widget.hide();
    };

    QMenu& menu = shell.statusMenu().menu();
    menu.popup(QPoint(0, 0));
    shell.statusMenu().setDebugItemsRevealed(false);
    shoot(menu, "menu.png");
    menu.popup(QPoint(0, 0));
    shell.statusMenu().setDebugItemsRevealed(true);
    menu.adjustSize();
    shoot(menu, "menu-debug-items.png");
    shell.statusMenu().setDebugItemsRevealed(false);

    shoot(shell.mappingsWindow(), "mappings.png");
    shoot(shell.eventsWindow(), "events.png");
    (void)shell.review().open();
    shoot(shell.reviewWindow(), "review.png");
    shell.setupGuideWindow().refresh();
    shoot(shell.setupGuideWindow(), "setup-guide.png");
    shoot(shell.aboutWindow(), "about.png");
    return written;
}

}  // namespace tessiva
