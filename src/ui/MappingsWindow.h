#pragma once

#include <QWidget>
#include <functional>
#include <vector>

#include "app/MappingsEditor.h"
#include "runtime/NotificationCenter.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QPushButton;

namespace tessiva {

class BankCardsView;
class MappingsTable;
class MenuBarController;

// The Mappings window: Logic rows (row, name, MIDI type, value, channel, bank) beside the iPad's
// bank cards. A bank card dropped on a row, or chosen in the picker, is assigned and saved; MIDI
// cells are edited in place; Play sends a row's mapping ("tessiva.triggerMappingPlayback");
// "Follow Logic Selection" selects the row of each focus message. A warning shows while saved
// names differ from Logic's. "Reconcile Mappings" runs MappingReconcile: two captures, a
// read-only proposal, Apply and Undo. Every edit goes through MappingsEditor. GUI thread (the main
// queue) only.
class MappingsWindow final : public QWidget {
    Q_OBJECT
  public:
    enum Column { rowColumn, nameColumn, typeColumn, valueColumn, channelColumn, bankColumn };

    explicit MappingsWindow(MenuBarController& controller);
    ~MappingsWindow() override;

    MappingsTable& table() { return *table_; }
    BankCardsView& bankCards() { return *bankCards_; }
    QComboBox& bankPicker() { return *bankPicker_; }
    QPushButton& assignButton() { return *assign_; }
    QPushButton& playButton() { return *play_; }
    QCheckBox& followCheckBox() { return *follow_; }
    QLabel& syncWarning() { return *syncWarning_; }
    QPushButton& reconcileButton() { return *reconcile_; }
    QPushButton& applyReconcileButton() { return *applyReconcile_; }
    QPushButton& undoReconcileButton() { return *undoReconcile_; }
    QLabel& reconcileStatus() { return *reconcileStatus_; }
    // The table row showing Logic row `row`, or -1.
    int tableRowFor(int row) const;
    // The MIDI columns belong to legacy mode: shown only while "Show Legacy MIDI Mode" is on.
    void showLegacyMIDIColumns(bool shown);
    // Called by "Review Suggested Matches"; the shell opens the review.
    std::function<void()> onReviewSuggestedMatches;

  private:
    void reloadRows();
    void reloadBanks();
    void assignBank(int tableRow, const std::string& bankUUID);
    void cellEdited(int tableRow, int column);
    void followFocus(int row);
    void reloadReconcile();

    MenuBarController& controller_;
    MappingsTable* table_;
    BankCardsView* bankCards_;
    QComboBox* bankPicker_;
    QPushButton* assign_;
    QPushButton* play_;
    QCheckBox* follow_;
    QLabel* syncWarning_;
    QLabel* status_;
    QPushButton* reconcile_;
    QPushButton* applyReconcile_;
    QPushButton* undoReconcile_;
    QLabel* reconcileStatus_;
    std::vector<MappingsRow> rows_;
    bool reloading_ = false;
    std::vector<ObserverToken> observations_;
};

}  // namespace tessiva
