#include "app/review/ItemReportDialog.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/ShownText.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr QSize kFirstSize{640, 420};
constexpr int kNumberWidth = 80;
constexpr int kNameWidth = 280;

} // namespace

ItemReportDialog::ItemReportDialog(const PhoneReport& report, QWidget* parent) : QDialog(parent) {
    setObjectName("item_report");
    setWindowTitle("Report");
    setHelpPart(*this, "review");
    resize(kFirstSize);
    auto* label = new QLabel(shownText(report.line));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    auto* list = new QTreeWidget;
    list->setObjectName("item_report_lines");
    list->setRootIsDecorated(false);
    list->setUniformRowHeights(true);
    list->setHeaderLabels({"Item", "Name", "Result"});
    QList<QTreeWidgetItem*> items;
    for (const PhoneReport::Item& item : report.items) {
        const QString text = shownLines(item.text).simplified();
        items << new QTreeWidgetItem({QString::number(item.number), shownText(item.name), text});
    }
    list->addTopLevelItems(items);
    list->setColumnWidth(0, kNumberWidth);
    list->setColumnWidth(1, kNameWidth);
    list->setAccessibleName("Items");
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->button(QDialogButtonBox::Close)->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(label);
    layout->addWidget(list);
    layout->addWidget(buttons);
}

void ItemReportDialog::addCommand(const QString& text) {
    auto* button = findChild<QDialogButtonBox*>()->addButton(text, QDialogButtonBox::ActionRole);
    button->setObjectName("item_report_command");
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this, &QDialog::accept);
}
