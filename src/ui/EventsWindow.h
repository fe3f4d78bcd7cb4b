#pragma once

#include <QWidget>

#include "runtime/NotificationCenter.h"

class QLineEdit;
class QTableWidget;
class QLabel;

namespace tessiva {

class MenuBarController;

// The Events window: the event log, newest last, filtered by text; "Copy Log" puts the shown
// entries on the clipboard and "Clear" posts "tessiva.clearEventsLog" for the coordinator. It
// follows the log as it grows. GUI thread (the main queue) only.
class EventsWindow final : public QWidget {
    Q_OBJECT
  public:
    explicit EventsWindow(MenuBarController& controller);
    ~EventsWindow() override;

    QTableWidget& table() { return *table_; }
    QLineEdit& filter() { return *filter_; }
    // The shown entries as "time  title — detail" lines, as "Copy Log" copies them.
    QString shownText() const;
    void copyLog();
    void clearLog();

  private:
    void reload();

    MenuBarController& controller_;
    QLineEdit* filter_;
    QTableWidget* table_;
    QLabel* count_;
    ObserverToken entriesObservation_;
};

}  // namespace tessiva
