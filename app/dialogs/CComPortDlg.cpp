#include "app/dialogs/CComPortDlg.h"

#include "app/dialogs/DialogControls.h"
#include "app/dialogs/ShownText.h"

#include <QPushButton>
#include <algorithm>

namespace {

constexpr int kPortBox = 1011;
constexpr int kAllDevices = 1050;

constexpr DialogControl kControls[] = {
    {kPortBox, ControlKind::kComboBox, "", 7, 7, 77, 225},
    {kIdOk, ControlKind::kDefaultButton, "OK", 97, 7, 50, 14},
    {kIdCancel, ControlKind::kPushButton, "Cancel", 97, 24, 50, 14},
    {kAllDevices, ControlKind::kPushButton, "All &Devices...", 7, 33, 77, 14},
};
constexpr DialogTemplate kTemplate{132, "Comport Configuration", 154, 54, kControls};

} // namespace

CComPortDlg::CComPortDlg(QWidget* parent) : TemplateDialog(kTemplate, parent) {
    auto& box = item<DialogComboBox>(kPortBox);
    box.setAccessibleName(QStringLiteral("COM port"));
    connect(&box, &DialogComboBox::droppingDown, this, &CComPortDlg::fillPortBox);
    connect(&item<QPushButton>(kAllDevices), &QPushButton::clicked, this, &CComPortDlg::chooseDevice);
    item<QPushButton>(kAllDevices).hide();
}

void CComPortDlg::setDeviceChooser(std::function<std::optional<std::string>(QWidget*)> choose) {
    chooseDevice_ = std::move(choose);
    item<QPushButton>(kAllDevices).show();
}

void CComPortDlg::chooseDevice() {
    if (const auto port = chooseDevice_(this)) {
        if (std::ranges::find(portNames_, *port) == portNames_.end()) {
            portNames_.push_back(*port); // the list offers it from now on
        }
        auto& box = item<DialogComboBox>(kPortBox);
        box.setEditText(shownText(*port));
        box.setFocus();
    }
}

void CComPortDlg::fillPortBox() {
    auto& box = item<DialogComboBox>(kPortBox);
    box.clear();
    for (const std::string& name : portNames_) {
        box.addItem(shownText(name), QByteArray::fromStdString(name));
    }
    // A box that was empty makes its first entry the current one; here nothing is chosen until the user does.
    box.setCurrentIndex(-1);
    box.clearEditText();
}

void CComPortDlg::onOk() {
    const auto& box = item<DialogComboBox>(kPortBox);
    const int entry = box.findText(box.currentText(), Qt::MatchExactly | Qt::MatchCaseSensitive);
    chosenPort_ = entry < 0 ? box.currentText().toStdString() : box.itemData(entry).toByteArray().toStdString();
    accept();
}
