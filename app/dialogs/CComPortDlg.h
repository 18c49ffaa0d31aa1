#pragma once

#include "app/dialogs/DialogTemplate.h"

#include <functional>
#include <optional>
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

    /// Lets the user choose among all devices of the system too, by a further button. `choose` is given the dialog, and
    /// answers the name of the port that is then chosen here.
    void setDeviceChooser(std::function<std::optional<std::string>(QWidget*)> choose);

    /// After OK: what the box said, unchanged and unchecked; it may be empty. Empty before.
    const std::string& chosenPort() const { return chosenPort_; }

protected:
    void onOk() override;

private:
    void fillPortBox();
    void chooseDevice();

    std::vector<std::string> portNames_;
    std::string chosenPort_;
    std::function<std::optional<std::string>(QWidget*)> chooseDevice_; ///< empty: there is no such button
};
