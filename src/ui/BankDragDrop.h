#pragma once

#include <QTableWidget>
#include <QTreeWidget>
#include <functional>
#include <string>

#include "osc/RemoteWorkspaceSnapshot.h"

namespace tessiva {

// The MIME type a bank card carries while dragged: the bank's UUID as UTF-8.
inline constexpr const char* kBankUUIDMimeType = "application/x-tessiva-bank-uuid";

// The iPad's workspace as bank cards: sections with their banks (and each bank's group) as a
// tree, each bank draggable onto a Logic row. GUI thread only.
class BankCardsView final : public QTreeWidget {
    Q_OBJECT
  public:
    BankCardsView();
    void render(const std::optional<RemoteWorkspaceSnapshot>& workspace);
    // What dragging `item` carries (tests check it and drop it themselves).
    QMimeData* mimeDataFor(QTreeWidgetItem* item) const;
    QTreeWidgetItem* itemForBank(const std::string& uuid) const;

  protected:
    QMimeData* mimeData(const QList<QTreeWidgetItem*>& items) const override;
    QStringList mimeTypes() const override;
};

// The Logic rows table, which takes bank cards dropped on a row. GUI thread only.
class MappingsTable final : public QTableWidget {
    Q_OBJECT
  public:
    MappingsTable(int rows, int columns);
    // A bank was dropped on the table row `tableRow`.
    std::function<void(int tableRow, const std::string& bankUUID)> onBankDropped;

  protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
};

}  // namespace tessiva
