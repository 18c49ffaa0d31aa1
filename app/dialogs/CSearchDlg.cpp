#include "app/dialogs/CSearchDlg.h"

#include <QLineEdit>

namespace {

constexpr int kSearchText = 1019;

constexpr DialogControl kControls[] = {
    {kIdStatic, ControlKind::kStaticText, "ID or Name:", 7, 7, 39, 8},
    {kSearchText, ControlKind::kEdit, "", 7, 20, 304, 14, 0, {0, 0, 100, 0}},
    {kIdOk, ControlKind::kDefaultButton, "Search", 205, 42, 50, 14, 0, {100, 0, 100, 0}},
    {kIdCancel, ControlKind::kPushButton, "Cancel", 261, 42, 50, 14, 0, {100, 0, 100, 0}},
};
constexpr DialogTemplate kTemplate{143, "Search NV Items", 318, 63, kControls};

} // namespace

CSearchDlg::CSearchDlg(QWidget* parent) : TemplateDialog(kTemplate, parent) {}

void CSearchDlg::onInit() {
    auto& edit = item<QLineEdit>(kSearchText);
    edit.setText(QString::fromStdString(searchText_));
    edit.setFocus();
    // The next search mostly starts from scratch: typing replaces the old text.
    edit.selectAll();
}

void CSearchDlg::onOk() {
    searchText_ = item<QLineEdit>(kSearchText).text().toStdString();
    accept();
}
