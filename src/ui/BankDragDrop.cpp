#include "ui/BankDragDrop.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QMimeData>

namespace tessiva {

BankCardsView::BankCardsView() {
    setObjectName("bankCards");
    setHeaderLabels({"iPad banks", "Group"});
    setDragEnabled(true);
    setDragDropMode(QAbstractItemView::DragOnly);
    setSelectionMode(QAbstractItemView::SingleSelection);
    header()->setStretchLastSection(true);
    setColumnWidth(0, 220);
}

void BankCardsView::render(const std::optional<RemoteWorkspaceSnapshot>& workspace) {
    clear();
    if (!workspace) {
        auto* waiting = new QTreeWidgetItem(
            this, {"No iPad workspace yet: connect the iPad, then Refresh Banks."});
        waiting->setFlags(Qt::ItemIsEnabled);
        return;
    }
    for (const auto& section : workspace->sections) {
        auto* sectionItem = new QTreeWidgetItem(this, {QString::fromStdString(section.name)});
        sectionItem->setFlags(Qt::ItemIsEnabled);
        QFont bold = sectionItem->font(0);
        bold.setBold(true);
        sectionItem->setFont(0, bold);
        for (const auto& bank : section.banks) {
            auto* bankItem = new QTreeWidgetItem(
                sectionItem, {QString::fromStdString(bank.name),
                              QString::fromStdString(bank.groupName.value_or(""))});
            bankItem->setData(0, Qt::UserRole, QString::fromStdString(bank.uuid));
            bankItem->setToolTip(0, QString("%1 articulations").arg(bank.articulationCount));
            bankItem->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled);
        }
    }
    expandAll();
}

QTreeWidgetItem* BankCardsView::itemForBank(const std::string& uuid) const {
    const QString wanted = QString::fromStdString(uuid);
    for (int s = 0; s < topLevelItemCount(); ++s) {
        QTreeWidgetItem* section = topLevelItem(s);
        for (int b = 0; b < section->childCount(); ++b) {
            if (section->child(b)->data(0, Qt::UserRole).toString() == wanted)
                return section->child(b);
        }
    }
    return nullptr;
}

QMimeData* BankCardsView::mimeDataFor(QTreeWidgetItem* item) const {
    return mimeData({item});
}

QStringList BankCardsView::mimeTypes() const {
    return {kBankUUIDMimeType};
}

QMimeData* BankCardsView::mimeData(const QList<QTreeWidgetItem*>& items) const {
    if (items.isEmpty() || items.front()->data(0, Qt::UserRole).toString().isEmpty())
        return nullptr;
    auto* data = new QMimeData;
    data->setData(kBankUUIDMimeType, items.front()->data(0, Qt::UserRole).toString().toUtf8());
    return data;
}

MappingsTable::MappingsTable(int rows, int columns) : QTableWidget(rows, columns) {
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DropOnly);
    setDropIndicatorShown(true);
}

void MappingsTable::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasFormat(kBankUUIDMimeType))
        event->acceptProposedAction();
    else
        event->ignore();
}

void MappingsTable::dragMoveEvent(QDragMoveEvent* event) {
    const bool onRow = indexAt(event->position().toPoint()).isValid();
    if (event->mimeData()->hasFormat(kBankUUIDMimeType) && onRow)
        event->acceptProposedAction();
    else
        event->ignore();
}

void MappingsTable::dropEvent(QDropEvent* event) {
    const QModelIndex index = indexAt(event->position().toPoint());
    if (!event->mimeData()->hasFormat(kBankUUIDMimeType) || !index.isValid()) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    if (onBankDropped) {
        onBankDropped(index.row(),
                      QString::fromUtf8(event->mimeData()->data(kBankUUIDMimeType)).toStdString());
    }
}

}  // namespace tessiva
