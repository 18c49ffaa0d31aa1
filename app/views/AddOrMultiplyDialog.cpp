#include "app/views/AddOrMultiplyDialog.h"

#include "app/dialogs/DialogControls.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/MessageBox.h"

#include <QLabel>
#include <utility>

namespace {

constexpr int kCount = 1101;
constexpr int kOperation = 1102;
constexpr int kNumber = 1103;

constexpr DialogControl kControls[] = {
    {kCount, ControlKind::kStaticText, "", 7, 7, 200, 8},
    {kIdStatic, ControlKind::kStaticText, "&Operation:", 7, 24, 45, 8},
    {kOperation, ControlKind::kDropDownList, "Add\nMultiply by", 55, 21, 75, 60},
    {kIdStatic, ControlKind::kStaticText, "&Number:", 7, 43, 45, 8},
    {kNumber, ControlKind::kEdit, "", 55, 40, 75, 14},
    {kIdOk, ControlKind::kDefaultButton, "OK", 157, 21, 50, 14},
    {kIdCancel, ControlKind::kPushButton, "Cancel", 157, 40, 50, 14},
};
constexpr DialogTemplate kTemplate{160, "Add or Multiply", 214, 61, kControls};

} // namespace

AddOrMultiplyDialog::AddOrMultiplyDialog(std::size_t count, Calculate calculate, QWidget* parent)
    : TemplateDialog(kTemplate, parent), count_(count), calculate_(std::move(calculate)) {
    item<DialogComboBox>(kOperation).setAccessibleName("Operation");
    setHelpPart(*this, "tables");
    item<QLineEdit>(kNumber).setAccessibleName("Number");
}

void AddOrMultiplyDialog::onInit() {
    item<QLabel>(kCount).setText(count_ == 1 ? QString("1 value; rounded to the nearest number")
                                             : QString("%1 values; rounded to the nearest number").arg(count_));
    item<DialogComboBox>(kOperation).setCurrentIndex(0);
    item<QLineEdit>(kNumber).setFocus();
}

void AddOrMultiplyDialog::onOk() {
    const bool adds = item<DialogComboBox>(kOperation).currentIndex() == 0;
    const QString fault = calculate_(adds ? workbench::Arithmetic::kAdd : workbench::Arithmetic::kMultiply,
                                     item<QLineEdit>(kNumber).text().toStdString());
    if (fault.isEmpty()) {
        accept();
    } else {
        showMessageBox(this, fault, windowTitle(), MessageIcon::kExclamation);
    }
}
