#include "ui/MappingsWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

#include "app/AppNotifications.h"
#include "app/MappingReconcile.h"
#include "app/MenuBarController.h"
#include "mapping/MappingStore.h"
#include "osc/RemoteWorkspaceStore.h"
#include "ui/BankDragDrop.h"

namespace tessiva {

namespace {

QTableWidgetItem* cell(const QString& text, bool editable) {
    auto* item = new QTableWidgetItem(text);
    item->setFlags(editable ? item->flags() | Qt::ItemIsEditable
                            : item->flags() & ~Qt::ItemIsEditable);
    return item;
}

std::optional<RemoteWorkspaceBank> findBank(const std::optional<RemoteWorkspaceSnapshot>& workspace,
                                            const std::string& uuid) {
    if (!workspace)
        return std::nullopt;
    for (const auto& section : workspace->sections) {
        for (const auto& bank : section.banks) {
            if (bank.uuid == uuid)
                return bank;
        }
    }
    return std::nullopt;
}

}  // namespace

MappingsWindow::MappingsWindow(MenuBarController& controller)
    : controller_(controller),
      table_(new MappingsTable(0, 6)),
      bankCards_(new BankCardsView),
      bankPicker_(new QComboBox),
      assign_(new QPushButton("Assign to Selected Row")),
      play_(new QPushButton("Play")),
      follow_(new QCheckBox("Follow Logic Selection")),
      syncWarning_(new QLabel),
      status_(new QLabel),
      reconcile_(new QPushButton("Reconcile Mappings")),
      applyReconcile_(new QPushButton("Apply Proposal")),
      undoReconcile_(new QPushButton("Undo Reconcile")),
      reconcileStatus_(new QLabel) {
    setObjectName("mappingsWindow");
    setWindowTitle("Mappings");
    table_->setObjectName("mappingsTable");
    table_->setHorizontalHeaderLabels({"Row", "Logic Track", "MIDI", "Value", "Ch", "iPad Bank"});
    table_->verticalHeader()->hide();
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::SingleSelection);
    table_->horizontalHeader()->setStretchLastSection(true);
    for (auto [column, width] : {std::pair{rowColumn, 44},
                                 {nameColumn, 170},
                                 {typeColumn, 56},
                                 {valueColumn, 52},
                                 {channelColumn, 36}}) {
        table_->setColumnWidth(column, width);
    }
    syncWarning_->setObjectName("syncWarning");
    syncWarning_->setWordWrap(true);
    syncWarning_->setStyleSheet(
        "QLabel { background: #fff4d6; color: #6b4a00; padding: 6px; "
        "border-radius: 4px; }");
    bankPicker_->setObjectName("bankPicker");
    follow_->setChecked(true);

    auto* save = new QPushButton("Save");
    auto* review = new QPushButton("Review Suggested Matches");
    auto* refreshBanks = new QPushButton("Refresh Banks");
    reconcile_->setToolTip(MappingReconcile::kExplanation);
    undoReconcile_->setToolTip("Undo the last mapping reconciliation.");
    reconcileStatus_->setObjectName("reconcileStatus");
    reconcileStatus_->setWordWrap(true);
    auto* top = new QHBoxLayout;
    top->addWidget(follow_);
    top->addStretch(1);
    top->addWidget(reconcile_);
    top->addWidget(review);
    top->addWidget(save);

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    leftLayout->addWidget(table_, 1);
    auto* rowButtons = new QHBoxLayout;
    rowButtons->addWidget(play_);
    rowButtons->addStretch(1);
    rowButtons->addWidget(new QLabel("Bank:"));
    rowButtons->addWidget(bankPicker_, 1);
    rowButtons->addWidget(assign_);
    leftLayout->addLayout(rowButtons);

    auto* right = new QWidget;
    auto* rightLayout = new QVBoxLayout(right);
    rightLayout->setContentsMargins(0, 0, 0, 0);
    rightLayout->addWidget(bankCards_, 1);
    rightLayout->addWidget(refreshBanks);

    auto* splitter = new QSplitter;
    splitter->addWidget(left);
    splitter->addWidget(right);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(syncWarning_);
    auto* reconcileBar = new QHBoxLayout;
    reconcileBar->addWidget(reconcileStatus_, 1);
    reconcileBar->addWidget(applyReconcile_);
    reconcileBar->addWidget(undoReconcile_);
    layout->addLayout(reconcileBar);
    layout->addWidget(splitter, 1);
    layout->addWidget(status_);
    resize(980, 560);

    table_->onBankDropped = [this](int tableRow, const std::string& uuid) {
        assignBank(tableRow, uuid);
    };
    connect(assign_, &QPushButton::clicked, this, [this] {
        assignBank(table_->currentRow(), bankPicker_->currentData().toString().toStdString());
    });
    connect(play_, &QPushButton::clicked, this, [this] {
        const int tableRow = table_->currentRow();
        if (tableRow < 0 || static_cast<std::size_t>(tableRow) >= rows_.size())
            return;
        UserInfo info;
        info.set(kMappingPlaybackRowKey,
                 std::int64_t{rows_[static_cast<std::size_t>(tableRow)].row});
        controller_.notifications().post(kTriggerMappingPlaybackNotification, std::move(info));
    });
    connect(save, &QPushButton::clicked, this,
            [this] { controller_.notifications().post(kSaveMappingsRequestedNotification); });
    connect(review, &QPushButton::clicked, this, [this] {
        if (onReviewSuggestedMatches)
            onReviewSuggestedMatches();
    });
    connect(refreshBanks, &QPushButton::clicked, this, [this] {
        controller_.notifications().post(kWorkspaceSnapshotRequestRequestedNotification);
    });
    MappingReconcile& reconcile = controller_.mappingReconcile();
    reconcile.onChange = [this] { reloadReconcile(); };
    connect(reconcile_, &QPushButton::clicked, this,
            [this] { controller_.mappingReconcile().begin(); });
    connect(applyReconcile_, &QPushButton::clicked, this,
            [this] { controller_.mappingReconcile().apply(); });
    connect(undoReconcile_, &QPushButton::clicked, this,
            [this] { controller_.mappingReconcile().undo(); });
    connect(table_, &QTableWidget::cellChanged, this,
            [this](int tableRow, int column) { cellEdited(tableRow, column); });

    MappingStore& store = controller_.mappingStore();
    auto reload = [this](const auto&) { reloadRows(); };
    observations_.push_back(store.trackIndexToPC().subscribe(reload));
    observations_.push_back(store.trackIndexToNote().subscribe(reload));
    observations_.push_back(store.trackIndexToChannel().subscribe(reload));
    observations_.push_back(store.trackIndexToEventType().subscribe(reload));
    observations_.push_back(store.trackIndexToName().subscribe(reload));
    observations_.push_back(store.oscBankFocusMappingsByTrackIndex().subscribe(reload));
    observations_.push_back(store.logicTrackNames().subscribe(reload));
    observations_.push_back(
        controller_.workspaceStore().addObserver([this](const auto&) { reloadBanks(); }));
    observations_.push_back(controller_.notifications().addObserver(
        kFocusEventSentNotification, [this](const Notification& notification) {
            if (auto row = notification.userInfo.integer("trackIndex"))
                followFocus(static_cast<int>(*row));
        }));
    reloadRows();
    reloadBanks();
    reloadReconcile();
    showLegacyMIDIColumns(controller_.menuState().showLegacyMIDIControls);
}

void MappingsWindow::showLegacyMIDIColumns(bool shown) {
    for (const int column : {typeColumn, valueColumn, channelColumn})
        table_->setColumnHidden(column, !shown);
}

MappingsWindow::~MappingsWindow() {
    controller_.mappingReconcile().onChange = nullptr;
}

void MappingsWindow::reloadReconcile() {
    const MappingReconcile& reconcile = controller_.mappingReconcile();
    const bool active = reconcile.state() != MappingReconcile::State::idle || reconcile.canUndo();
    reconcileStatus_->setVisible(active);
    reconcileStatus_->setText(QString::fromStdString(reconcile.summary()));
    const bool ready = reconcile.state() == MappingReconcile::State::ready && reconcile.plan() &&
                       !reconcile.plan()->proposedRemap.empty();
    applyReconcile_->setVisible(ready);
    undoReconcile_->setVisible(reconcile.canUndo());
    reconcile_->setEnabled(reconcile.state() != MappingReconcile::State::capturing);
}

int MappingsWindow::tableRowFor(int row) const {
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (rows_[i].row == row)
            return static_cast<int>(i);
    }
    return -1;
}

void MappingsWindow::reloadRows() {
    rows_ = MappingsEditor::rows(controller_.mappingStore());
    const int selected = table_->currentRow();
    reloading_ = true;
    table_->setRowCount(static_cast<int>(rows_.size()));
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        const MappingsRow& row = rows_[i];
        const int r = static_cast<int>(i);
        table_->setItem(r, rowColumn, cell(QString::number(row.row), false));
        QTableWidgetItem* name = cell(QString::fromStdString(row.name), false);
        if (row.nameOutOfSync) {
            name->setForeground(QColor(0xb0, 0x5a, 0x00));
            name->setToolTip(QString("Saved as “%1”").arg(QString::fromStdString(row.savedName)));
        }
        table_->setItem(r, nameColumn, name);
        const bool isNote = row.midi && row.midi->eventType == MappingEventType::note;
        QString value;
        if (row.midi) {
            const std::optional<int> number = isNote ? row.midi->note : row.midi->programChange;
            if (number)
                value = QString::number(*number);
        }
        table_->setItem(r, typeColumn, cell(row.midi ? (isNote ? "Note" : "PC") : "", true));
        table_->setItem(r, valueColumn, cell(value, true));
        table_->setItem(r, channelColumn,
                        cell(row.midi ? QString::number(row.midi->channel) : "", true));
        table_->setItem(r, bankColumn,
                        cell(QString::fromStdString(row.bankName.value_or("—")), false));
    }
    reloading_ = false;
    if (selected >= 0 && selected < table_->rowCount())
        table_->selectRow(selected);
    const std::size_t outOfSync = MappingsEditor::outOfSyncCount(rows_);
    syncWarning_->setVisible(outOfSync > 0);
    syncWarning_->setText(
        QString("%1 saved track name(s) differ from Logic's. Check those rows (shown in orange) "
                "before relying on them; mapped output for them is blocked.")
            .arg(outOfSync));
    status_->setText(
        QString("%1 rows · %2")
            .arg(rows_.size())
            .arg(QString::fromStdString(controller_.mappingStore().fileURL().filename().string())));
}

void MappingsWindow::reloadBanks() {
    const auto& workspace = controller_.workspaceStore().snapshot();
    bankCards_->render(workspace);
    bankPicker_->clear();
    if (!workspace)
        return;
    for (const auto& section : workspace->sections) {
        for (const auto& bank : section.banks) {
            bankPicker_->addItem(QString::fromStdString(section.name + " › " + bank.name),
                                 QString::fromStdString(bank.uuid));
        }
    }
}

void MappingsWindow::assignBank(int tableRow, const std::string& bankUUID) {
    if (tableRow < 0 || static_cast<std::size_t>(tableRow) >= rows_.size())
        return;
    const auto& workspace = controller_.workspaceStore().snapshot();
    const auto bank = findBank(workspace, bankUUID);
    if (!bank)
        return;
    (void)controller_.mappingsEditor().assignBank(rows_[static_cast<std::size_t>(tableRow)].row,
                                                  *bank, workspace);
}

void MappingsWindow::cellEdited(int tableRow, int column) {
    if (reloading_ || tableRow < 0 || static_cast<std::size_t>(tableRow) >= rows_.size())
        return;
    if (column != typeColumn && column != valueColumn && column != channelColumn)
        return;
    const MappingsRow& row = rows_[static_cast<std::size_t>(tableRow)];
    MIDIMapping mapping = row.midi.value_or(MIDIMapping{});
    if (!row.midi)
        mapping.trackName = row.name;
    const QString type = table_->item(tableRow, typeColumn)->text().trimmed().toLower();
    mapping.eventType = type == "note" ? MappingEventType::note : MappingEventType::programChange;
    bool numberOK = false;
    const int value = table_->item(tableRow, valueColumn)->text().trimmed().toInt(&numberOK);
    if (numberOK) {
        if (mapping.eventType == MappingEventType::note)
            mapping.note = value;
        else
            mapping.programChange = value;
    }
    const int channel = table_->item(tableRow, channelColumn)->text().trimmed().toInt(&numberOK);
    if (numberOK)
        mapping.channel = channel;
    // A refused value (out of range) is logged by the store; the row shows the saved values again.
    if (!controller_.mappingsEditor().updateMIDI(row.row, mapping))
        reloadRows();
}

void MappingsWindow::followFocus(int row) {
    if (!follow_->isChecked())
        return;
    const int tableRow = tableRowFor(row);
    if (tableRow < 0)
        return;
    table_->selectRow(tableRow);
    table_->scrollToItem(table_->item(tableRow, rowColumn));
}

}  // namespace tessiva
