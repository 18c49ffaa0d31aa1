#include "app/review/ReviewDialog.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"
#include "app/review/ReviewRowsModel.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>

using Stage = WriteReview::Stage;

namespace {

constexpr QSize kFirstSize{940, 540};
constexpr int kColumnWidths[] = {290, 170, 170};

} // namespace

ReviewDialog::ReviewDialog(WriteReview& review, QWidget* parent)
    : QDialog(parent), review_(review), rows_(new ReviewRowsModel(review, this)), phone_(plainLabel("review_phone")),
      counts_(plainLabel("review_counts")), message_(plainLabel("review_message")), tree_(new QTreeView),
      differencesOnly_(new QCheckBox("&Differences only")), verifyAfterReset_(new QCheckBox("&Verify after reset")),
      progress_(new QProgressBar) {
    setObjectName("review");
    setHelpPart(*this, "review");
    resize(kFirstSize);
    auto* layout = new QVBoxLayout(this);
    QFont bold = phone_->font();
    bold.setBold(true);
    phone_->setFont(bold);
    layout->addWidget(phone_);
    makeRows();
    layout->addWidget(tree_);
    layout->addWidget(counts_);
    layout->addWidget(message_);
    progress_->setObjectName("review_progress");
    layout->addWidget(progress_);
    makeButtons();
    review_.setChanged([this] { showReview(); });
    review_.readPhone();
    cancel_->setFocus();
}

ReviewDialog::~ReviewDialog() {
    review_.setChanged({});
}

void ReviewDialog::makeRows() {
    tree_->setObjectName("review_rows");
    tree_->setModel(rows_);
    tree_->setUniformRowHeights(true);
    tree_->setAlternatingRowColors(true);
    tree_->setAccessibleName("Items");
    for (int column = 0; column < ReviewRowsModel::kResult; ++column) {
        tree_->setColumnWidth(column, kColumnWidths[column]);
    }
    tree_->header()->setStretchLastSection(true);
    differencesOnly_->setObjectName("review_differences");
    differencesOnly_->setChecked(true);
    connect(differencesOnly_, &QCheckBox::toggled, rows_, &ReviewRowsModel::setDifferencesOnly);
}

QPushButton* ReviewDialog::addButton(const char* name, const char* text, void (ReviewDialog::*pressed)()) {
    auto* button = new QPushButton(text, this);
    button->setObjectName(name);
    button->setAutoDefault(false); // Enter writes nothing
    connect(button, &QPushButton::clicked, this, pressed);
    return button;
}

void ReviewDialog::makeButtons() {
    verifyAfterReset_->setObjectName("review_verify");
    verifyAfterReset_->setToolTip("Resets the phone at the end and reads all items back once more");
    again_ = addButton("review_retry", "&Retry", &ReviewDialog::retry);
    code_ = addButton("review_code", "&Enter Service Code...", &ReviewDialog::enterCode);
    skip_ = addButton("review_skip", "&Skip", &ReviewDialog::skip);
    skip_->setToolTip("Leaves out the items that the phone did not take, and writes the others");
    write_ = addButton("review_write", "&Write", &ReviewDialog::write);
    cancel_ = addButton("review_cancel", "Cancel", &ReviewDialog::reject);
    cancel_->setAutoDefault(true);
    cancel_->setDefault(true);
    auto* choices = new QHBoxLayout;
    choices->addWidget(differencesOnly_);
    choices->addWidget(verifyAfterReset_);
    choices->addStretch();
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {again_, code_, skip_}) {
        buttons->addWidget(button);
    }
    buttons->addStretch();
    buttons->addWidget(write_);
    buttons->addWidget(cancel_);
    auto* column = static_cast<QVBoxLayout*>(layout());
    column->addLayout(choices);
    column->addLayout(buttons);
    QWidget* before = tree_;
    for (QWidget* next :
         std::initializer_list<QWidget*>{differencesOnly_, verifyAfterReset_, again_, code_, skip_, write_, cancel_}) {
        setTabOrder(before, next);
        before = next;
    }
}

void ReviewDialog::showReview() {
    if (closesWhenEnded_ && !review_.isBusy()) {
        QDialog::reject();
        return;
    }
    if (review_.stage() == Stage::kReviewing && shownStage_ != Stage::kReviewing) {
        rows_->reload();
    } else {
        rows_->refresh();
    }
    shownStage_ = review_.stage();
    showTexts();
    showButtons();
}

void ReviewDialog::showTexts() {
    const bool hasPlan = shownStage_ != Stage::kReading && shownStage_ != Stage::kNoValues;
    setWindowTitle(shownStage_ == Stage::kWriting ? "Writing To The Phone"
                   : shownStage_ == Stage::kEnded ? "Result Of The Write"
                                                  : "Review Before Writing");
    phone_->setText(hasPlan ? "Phone: " + shownText(review_.phoneText()) : QString("Reading what the phone has..."));
    phone_->setVisible(shownStage_ != Stage::kNoValues);
    const auto& text = shownStage_ == Stage::kEnded ? review_.report().summary() : review_.plan().summary();
    counts_->setText(hasPlan ? shownText(text) : QString());
    message_->setText(shownLines(review_.message()));
    message_->setVisible(!review_.message().empty());
    progress_->setVisible(review_.isBusy());
    progress_->setRange(0, static_cast<int>(review_.progress().count));
    progress_->setValue(static_cast<int>(review_.progress().position));
}

void ReviewDialog::showButtons() {
    const bool isIdle = !review_.isBusy();
    const bool isReviewing = shownStage_ == Stage::kReviewing;
    write_->setVisible(isReviewing || shownStage_ == Stage::kReading);
    write_->setEnabled(isReviewing && review_.plan().count(workbench::LeftOut::kNothing) > 0);
    verifyAfterReset_->setEnabled(isReviewing);
    again_->setVisible(review_.mayReadAgain() || review_.mayRetry());
    code_->setVisible(review_.mayRetry());
    skip_->setVisible(review_.maySkip());
    for (QPushButton* button : {again_, code_, skip_}) {
        button->setEnabled(isIdle);
    }
    const bool isDone = shownStage_ == Stage::kEnded && isIdle;
    cancel_->setText(isDone || shownStage_ == Stage::kNoValues ? "Close" : "Cancel");
}

bool ReviewDialog::agreesTo(const std::string& question) {
    QMessageBox box(QMessageBox::Warning, "Review Before Writing", shownLines(question),
                    QMessageBox::Yes | QMessageBox::Cancel, this);
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Yes;
}

bool ReviewDialog::isAgreed(WriteReview::Next next) {
    for (const std::string& question : review_.questions()) {
        if (!agreesTo(question)) {
            return false;
        }
    }
    const std::string reason = review_.beginRecord(next);
    if (reason.empty() || agreesTo("This write is not recorded: " + reason + "\nWrite without a record of it?")) {
        return true;
    }
    review_.dropRecord();
    return false;
}

void ReviewDialog::write() {
    if (isAgreed(WriteReview::Next::kWrite)) {
        review_.write(verifyAfterReset_->isChecked());
        cancel_->setFocus();
    }
}

void ReviewDialog::retry() {
    if (review_.stage() == Stage::kNoValues) {
        review_.readPhone();
    } else if (isAgreed(WriteReview::Next::kRetry)) {
        review_.retry();
    }
}

void ReviewDialog::skip() {
    if (isAgreed(WriteReview::Next::kSkipRefused)) {
        review_.skipRefused();
    }
}

void ReviewDialog::enterCode() {
    bool entered = false;
    const QString code = QInputDialog::getText(
        this, "Enter Service Code", "Service programming code (6 digits):", QLineEdit::Password, {}, &entered);
    if (entered) {
        review_.sendCode(code.toStdString());
    }
}

void ReviewDialog::reject() {
    if (!review_.isBusy()) {
        QDialog::reject();
        return;
    }
    closesWhenEnded_ = shownStage_ == Stage::kReading;
    review_.cancel();
}
