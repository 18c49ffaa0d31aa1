#pragma once

#include "app/dialogs/DialogTemplate.h"

#include <string>
#include <vector>

/// Asks for the serial port on which the phone is reached: one of the names given, or any other that the user types.
/// User-interface thread.
class CComPortDlg : public TemplateDialog {
    Q_OBJECT

public:
    explicit CComPortDlg(QWidget* parent = nullptr);

    /// The names that the box offers, in this order, from its next opening on.
    void setPortNames(std::vector<std::string> portNames) { portNames_ = std::move(portNames); }

    /// After OK: what the box said, unchanged and unchecked; it may be empty. Empty before.
    const std::string& chosenPort() const { return chosenPort_; }

protected:
    void onOk() override;

private:
    void fillPortBox();

    std::vector<std::string> portNames_;
    std::string chosenPort_;
};
