#include "ui/ReviewWindow.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

#include "autoassign/EstimatedAutoAssignReview.h"
#include "ui/ShellIcons.h"

namespace tessiva {

ReviewWindow::ReviewWindow(EstimatedAutoAssignReview& review)
    : review_(review),
      list_(new QListWidget),
      status_(new QLabel),
      previous_(new QPushButton("‹")),
      next_(new QPushButton("›")),
      apply_(new QPushButton(checkmarkCircleIcon(), "Apply")),
      applyAll_(new QPushButton("Apply All Remaining")) {
    setObjectName("reviewWindow");
    setWindowTitle("Review Estimated Matches");
    auto* explanation = new QLabel(kExplanation);
    explanation->setWordWrap(true);
    previous_->setToolTip("Show previous possible match");
    next_->setToolTip("Show next possible match");
    list_->setIconSize(QSize(20, 20));
    list_->setSpacing(2);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(previous_);
    buttons->addWidget(next_);
    buttons->addStretch(1);
    buttons->addWidget(apply_);
    buttons->addWidget(applyAll_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(explanation);
    layout->addWidget(list_, 1);
    layout->addWidget(status_);
    layout->addLayout(buttons);
    resize(720, 380);

    connect(previous_, &QPushButton::clicked, this,
            [this] { review_.showPreviousPossibleMatch(currentMatchID()); });
    connect(next_, &QPushButton::clicked, this,
            [this] { review_.showNextPossibleMatch(currentMatchID()); });
    connect(apply_, &QPushButton::clicked, this, [this] {
        const std::string id = currentMatchID();
        if (!id.empty())
            review_.apply(id);
    });
    connect(applyAll_, &QPushButton::clicked, this, [this] { review_.applyAllRemaining(); });
    connect(list_, &QListWidget::currentRowChanged, this, [this](int row) {
        const auto rows = review_.rows();
        const bool valid = row >= 0 && static_cast<std::size_t>(row) < rows.size();
        previous_->setEnabled(valid && rows[static_cast<std::size_t>(row)].canShowPrevious);
        next_->setEnabled(valid && rows[static_cast<std::size_t>(row)].canShowNext);
        apply_->setEnabled(valid);
    });
    review_.onChange = [this] { reload(); };
    reload();
}

ReviewWindow::~ReviewWindow() {
    review_.onChange = nullptr;
}

std::string ReviewWindow::currentMatchID() const {
    const QListWidgetItem* item = list_->currentItem();
    return item ? item->data(Qt::UserRole).toString().toStdString() : std::string();
}

void ReviewWindow::reload() {
    const std::string selected = currentMatchID();
    const auto rows = review_.rows();
    const QSignalBlocker blocker(list_);
    list_->clear();
    int selectedRow = rows.empty() ? -1 : 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto& row = rows[i];
        const bool isGroup = row.targetKind == AutoAssignTarget::Kind::group;
        const QString text =
            QString("Track %1 “%2” → %3 “%4”\n%5% · %6 · candidate %7 of %8")
                .arg(row.trackIndex)
                .arg(QString::fromStdString(row.trackName), isGroup ? "group" : "bank",
                     QString::fromStdString(row.targetName))
                .arg(static_cast<int>(std::lround(row.confidence * 100)))
                .arg(QString::fromStdString(row.reason))
                .arg(row.candidateNumber)
                .arg(row.candidateCount);
        auto* item = new QListWidgetItem(isGroup ? groupIcon() : bankIcon(), text);
        item->setData(Qt::UserRole, QString::fromStdString(row.matchID));
        list_->addItem(item);
        if (row.matchID == selected)
            selectedRow = static_cast<int>(i);
    }
    list_->setCurrentRow(selectedRow);
    status_->setText(rows.empty() ? "No estimated matches are waiting."
                                  : QString("%1 matches waiting").arg(rows.size()));
    applyAll_->setEnabled(!rows.empty());
    const bool valid = selectedRow >= 0;
    previous_->setEnabled(valid && rows[static_cast<std::size_t>(selectedRow)].canShowPrevious);
    next_->setEnabled(valid && rows[static_cast<std::size_t>(selectedRow)].canShowNext);
    apply_->setEnabled(valid);
}

}  // namespace tessiva
