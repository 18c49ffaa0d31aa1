#include "app/history/RestoreDialog.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"
#include "workbench/NumberTexts.h"
#include "workbench/record/SessionJson.h"
#include "workbench/record/SessionText.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr QSize kFirstSize{580, 380};
constexpr int kNumberWidth = 70;
constexpr int kNameWidth = 260;

QLabel* plainLabel(const std::string& text) {
    auto* label = new QLabel(shownLines(text));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    return label;
}

std::string headOf(const Restoration& restoration, const std::string& port) {
    const record::Session& session = restoration.session;
    return "The values " + std::string(restoration.which == record::Which::kBefore ? "before" : "after") + " the " +
           record::wordOf(session.kind) + " of " + record::localTime(session.begun) + ",\nof " +
           record::phoneText(session.phone.model, session.phone.serialNumber, session.port) + ", to the phone on " +
           port + ".\nNothing is written before you have seen what differs.";
}

} // namespace

RestoreDialog::RestoreDialog(const Restoration& restoration, const std::string& port, QWidget* parent)
    : QDialog(parent), restoration_(restoration), counts_(plainLabel({})), left_(new QTreeWidget),
      date_(new QCheckBox("Restore the &loaded date, too (otherwise it is set to the time of the write)")) {
    setObjectName("history_restore_question");
    setWindowTitle("Restore");
    setHelpPart(*this, "history");
    resize(kFirstSize);
    counts_->setObjectName("restore_counts");
    left_->setObjectName("restore_left");
    left_->setAccessibleName("Items that are not restored");
    left_->setRootIsDecorated(false);
    left_->setUniformRowHeights(true);
    left_->setHeaderLabels({"Item", "Name", "Not Restored"});
    left_->setColumnWidth(0, kNumberWidth);
    left_->setColumnWidth(1, kNameWidth);
    date_->setObjectName("restore_date");
    date_->setVisible(restoration.withDate.items.size() != restoration.withoutDate.items.size());
    connect(date_, &QCheckBox::toggled, this, &RestoreDialog::showSet);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    review_ = buttons->addButton("&Review...", QDialogButtonBox::AcceptRole);
    review_->setObjectName("restore_review");
    review_->setDefault(true);
    buttons->button(QDialogButtonBox::Cancel)->setAutoDefault(false);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->addWidget(plainLabel(headOf(restoration, port)));
    column->addWidget(counts_);
    column->addWidget(left_, 1);
    column->addWidget(date_);
    column->addWidget(buttons);
    showSet();
}

bool RestoreDialog::withDate() const {
    return date_->isChecked();
}

void RestoreDialog::showSet() {
    const record::SessionSet& set = withDate() ? restoration_.withDate : restoration_.withoutDate;
    counts_->setText(QString::fromStdString(workbench::counted(set.items.size()) + " can be restored, " +
                                            std::to_string(set.left.size()) + " can't or need not be."));
    left_->clear();
    QList<QTreeWidgetItem*> rows;
    for (const record::LeftBehind& item : set.left) {
        rows << new QTreeWidgetItem({QString::number(item.number), shownText(item.name), shownText(item.reason)});
    }
    left_->addTopLevelItems(rows);
    review_->setEnabled(!set.items.empty());
}
