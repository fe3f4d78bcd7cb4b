#pragma once

#include <QWidget>

#include "runtime/NotificationCenter.h"

class QLabel;
class QListWidget;
class QPushButton;

namespace tessiva {

class EstimatedAutoAssignReview;

// The estimated-match review window: the pending matches with their selected candidates, the
// buttons that step through a match's candidates, apply one match and "Apply All Remaining". It
// renders EstimatedAutoAssignReview and calls its operations; a new auto-assign run replaces the
// list while the window is open. GUI thread (the main queue) only.
class ReviewWindow final : public QWidget {
    Q_OBJECT
  public:
    static constexpr const char* kExplanation =
        "These matches need confirmation because they are close estimates or because multiple "
        "exact bank/group names matched. Apply them only if they look right.";

    explicit ReviewWindow(EstimatedAutoAssignReview& review);
    ~ReviewWindow() override;

    QListWidget& list() { return *list_; }
    // The selected match's buttons act on the list's current row.
    QPushButton& previousButton() { return *previous_; }
    QPushButton& nextButton() { return *next_; }
    QPushButton& applyButton() { return *apply_; }
    QPushButton& applyAllButton() { return *applyAll_; }

  private:
    void reload();
    std::string currentMatchID() const;

    EstimatedAutoAssignReview& review_;
    QListWidget* list_;
    QLabel* status_;
    QPushButton* previous_;
    QPushButton* next_;
    QPushButton* apply_;
    QPushButton* applyAll_;
};

}  // namespace tessiva
