#include "app/frame/DocumentPropertiesPart.h"

#include "app/dialogs/FocusHelp.h"
#include "app/document/DocumentProperties.h"

#include <QApplication>
#include <QClipboard>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

constexpr int kTextCharacters = 60;

QLineEdit* makeLine(const DocumentProperty& property, QWidget* parent) {
    auto* line = new QLineEdit(QString::fromStdString(property.text), parent);
    line->setReadOnly(true);
    line->setFrame(false);
    line->setCursorPosition(0); // of a long one the beginning shows
    line->setMinimumWidth(kTextCharacters * line->fontMetrics().averageCharWidth());
    line->setAccessibleName(QString::fromStdString(property.label));
    return line;
}

QString tableOf(const std::vector<DocumentProperty>& properties) {
    QString text;
    for (const DocumentProperty& property : properties) {
        text += QString::fromStdString(property.label + "\t" + property.text + "\n");
    }
    return text;
}

} // namespace

void DocumentPropertiesPart::run(CommandId) {
    const auto properties = documentProperties(document_);
    QDialog dialog(&window_);
    dialog.setObjectName("document_properties");
    dialog.setWindowTitle("Document Properties");
    setHelpPart(dialog, "documents");
    auto* lines = new QFormLayout;
    for (const DocumentProperty& property : properties) {
        lines->addRow(QString::fromStdString(property.label) + ":", makeLine(property, &dialog));
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    QPushButton* copy = buttons->addButton("&Copy", QDialogButtonBox::ActionRole);
    copy->setAutoDefault(false);
    QPushButton* close = buttons->button(QDialogButtonBox::Close);
    close->setDefault(true);
    QObject::connect(copy, &QPushButton::clicked, &dialog,
                     [&properties] { QApplication::clipboard()->setText(tableOf(properties)); });
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    auto* layout = new QVBoxLayout(&dialog);
    layout->addLayout(lines);
    layout->addWidget(buttons);
    close->setFocus();
    dialog.exec();
}
