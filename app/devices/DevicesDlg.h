#pragma once

#include "app/devices/DeviceDesk.h"
#include "tessra/host/DeviceProbe.h"

#include <QDialog>
#include <memory>
#include <vector>

class QComboBox;
class QLabel;
class QPushButton;
class QTimer;
class QTreeWidget;

/// Shows all serial devices of the system as they come, leave and are used, asks on one that is chosen whether there is
/// a phone, and makes a port of it. Opens no device but the one that is to be asked. User-interface thread.
class DevicesDlg : public QDialog {
    Q_OBJECT
public:
    /// `desk` outlives the dialog.
    explicit DevicesDlg(DeviceDesk& desk, QWidget* parent = nullptr);
    /// Ends a question that is under way.
    ~DevicesDlg() override;

    /// After acceptance: the name of the port that was made, or that was there for the device.
    const std::string& chosenPort() const { return chosenPort_; }

private:
    struct Question; ///< one that is under way, with its thread

    void makeControls();
    QWidget* makeButtons();
    void watch();
    void refresh();
    void showDevices(const std::vector<devices::SerialDevice>& listed);
    void deviceChosen();
    void tellState();
    void enableButtons();
    void ask();
    void answered(const tessra::ProbeResult& result);
    void makePort();
    void tell(const QString& text);
    /// Null where none is chosen.
    const devices::SerialDevice* chosen() const;
    std::uint32_t baud() const;

    DeviceDesk& desk_;
    std::unique_ptr<devices::DeviceSource> source_; ///< null where the devices can't be listed
    std::vector<devices::SerialDevice> devices_;    ///< a row each; the chosen one stays when it is gone
    std::unique_ptr<Question> question_;            ///< null: nobody is being asked
    std::string chosenPort_;
    QTimer* refresh_ = nullptr;
    QTreeWidget* list_ = nullptr;
    QComboBox* baud_ = nullptr;
    QLabel* message_ = nullptr;
    QPushButton* ask_ = nullptr;
    QPushButton* use_ = nullptr;
};
