#include "ui/EventsWindow.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "app/AppNotifications.h"
#include "app/MenuBarController.h"
#include "mapping/DebugLogStore.h"
#include "runtime/DateFormat.h"

namespace tessiva {

EventsWindow::EventsWindow(MenuBarController& controller)
    : controller_(controller),
      filter_(new QLineEdit),
      table_(new QTableWidget(0, 3)),
      count_(new QLabel) {
    setObjectName("eventsWindow");
    setWindowTitle("Events");
    filter_->setPlaceholderText("Filter");
    filter_->setClearButtonEnabled(true);
    table_->setHorizontalHeaderLabels({"Time", "Event", "Detail"});
    table_->verticalHeader()->hide();
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setWordWrap(false);
    table_->horizontalHeader()->setStretchLastSection(true);
    table_->setColumnWidth(0, 170);
    table_->setColumnWidth(1, 260);

    auto* copy = new QPushButton("Copy Log");
    auto* clear = new QPushButton("Clear");
    clear->setObjectName("clearEventsButton");
    copy->setObjectName("copyLogButton");
    auto* bar = new QHBoxLayout;
    bar->addWidget(filter_, 1);
    bar->addWidget(copy);
    bar->addWidget(clear);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(table_, 1);
    layout->addWidget(count_);
    resize(760, 460);

    connect(filter_, &QLineEdit::textChanged, this, [this] { reload(); });
    connect(copy, &QPushButton::clicked, this, [this] { copyLog(); });
    connect(clear, &QPushButton::clicked, this, [this] { clearLog(); });
    entriesObservation_ = controller_.log().entries().subscribe([this](const auto&) { reload(); });
    reload();
}

EventsWindow::~EventsWindow() = default;

void EventsWindow::reload() {
    const QString needle = filter_->text().trimmed();
    const auto& entries = controller_.log().entries().value();
    table_->setRowCount(0);
    int shown = 0;
    for (const auto& entry : entries) {
        const QString title = QString::fromStdString(entry.title);
        const QString detail = QString::fromStdString(entry.detail.value_or(""));
        if (!needle.isEmpty() && !title.contains(needle, Qt::CaseInsensitive) &&
            !detail.contains(needle, Qt::CaseInsensitive)) {
            continue;
        }
        table_->insertRow(shown);
        table_->setItem(
            shown, 0,
            new QTableWidgetItem(QString::fromStdString(displayLocalTimestamp(entry.timestamp))));
        table_->setItem(shown, 1, new QTableWidgetItem(title));
        auto* detailItem = new QTableWidgetItem(detail);
        detailItem->setToolTip(detail);
        table_->setItem(shown, 2, detailItem);
        ++shown;
    }
    count_->setText(QString("%1 of %2 events").arg(shown).arg(entries.size()));
    table_->scrollToBottom();
}

QString EventsWindow::shownText() const {
    QStringList lines;
    for (int row = 0; row < table_->rowCount(); ++row) {
        QString line = table_->item(row, 0)->text() + "  " + table_->item(row, 1)->text();
        if (!table_->item(row, 2)->text().isEmpty())
            line += " — " + table_->item(row, 2)->text();
        lines << line;
    }
    return lines.join('\n');
}

void EventsWindow::copyLog() {
    QApplication::clipboard()->setText(shownText());
}

void EventsWindow::clearLog() {
    controller_.notifications().post(kClearEventsLogNotification);
}

}  // namespace tessiva
