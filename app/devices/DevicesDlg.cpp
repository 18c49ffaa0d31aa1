#include "app/devices/DevicesDlg.h"

#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShownText.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/Thread.h"
#include "workbench/PhoneIdentity.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QIntValidator>
#include <QLabel>
#include <QPushButton>
#include <QSocketNotifier>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

namespace {

using devices::DeviceState;
using devices::SerialDevice;

constexpr int kCommonBauds[] = {9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};
constexpr const char* kUsualBaud = "115200";
constexpr int kLeastWidth = 760;
constexpr int kLeastHeight = 320;
// One device that is plugged in makes several events.
constexpr int kSettleMs = 50;

QString shownPath(const std::filesystem::path& path) {
    return shownText(path.string());
}

QString stateOf(const SerialDevice& device) {
    return shownText(devices::stateText(device));
}

QStringList columnsOf(const SerialDevice& device) {
    return {shownPath(device.path), stateOf(device), shownPath(device.byId.filename()), shownText(device.product)};
}

// What keeps a device from being asked, and what helps; empty for one that is free.
QString adviceFor(const SerialDevice& device) {
    const QString path = shownPath(device.path);
    switch (device.state) {
    case DeviceState::kFree:
        break;
    case DeviceState::kInUse:
        return device.user.who == kernel::FileUser::Who::kThisProcess
                   ? "This program has " + path + " open: a document uses its port."
                   : path + " is " + stateOf(device) + ". End that program, then ask.";
    case DeviceState::kNoPermission:
        return device.group.empty()
                   ? "You may not use " + path + ", and no group may: ask whoever looks after this computer."
                   : "You may not use " + path + ": only members of the group " + shownText(device.group) +
                         " may. Have yourself added to it (sudo adduser NAME " + shownText(device.group) +
                         "), then log in anew.";
    case DeviceState::kGone:
        return path + " is gone. Plug it in again, or choose another device.";
    }
    return {};
}

QString answerText(const tessra::ProbeResult& result, const QString& path, std::uint32_t baud) {
    if (result.phone) {
        const workbench::PhoneIdentity phone{result.phone->serialNumber, result.phone->model,
                                             result.phone->softwareVersion};
        return "On " + path + ": " + shownText(workbench::fullName(phone)) + ".";
    }
    return result.problem.empty()
               ? QString("No answer on %1 at %2 baud. Is it the right speed, and is the phone on?").arg(path).arg(baud)
               : shownText(result.problem);
}

} // namespace

struct DevicesDlg::Question {
    Question(const tessra::LineSetup& setup, QString devicePath)
        : probe(setup), path(std::move(devicePath)), baud(setup.baud) {}
    ~Question() { probe.cancel(); } // the thread ends before the probe does

    tessra::DeviceProbe probe;
    const QString path;
    const std::uint32_t baud;
    std::optional<kernel::Thread> thread;
};

DevicesDlg::DevicesDlg(DeviceDesk& desk, QWidget* parent) : QDialog(parent), desk_(desk) {
    setObjectName("all_devices");
    setWindowTitle("All Devices");
    setHelpPart(*this, "devices");
    makeControls();
    watch();
    refresh();
    tellState();
}

DevicesDlg::~DevicesDlg() = default;

void DevicesDlg::makeControls() {
    list_ = new QTreeWidget;
    list_->setObjectName("device_list");
    list_->setAccessibleName("Serial devices");
    list_->setHeaderLabels({"Device", "State", "Name", "Product"});
    list_->setRootIsDecorated(false);
    list_->setAllColumnsShowFocus(true);
    connect(list_, &QTreeWidget::currentItemChanged, this, &DevicesDlg::deviceChosen);

    baud_ = new QComboBox;
    baud_->setObjectName("device_baud");
    baud_->setEditable(true);
    baud_->setValidator(new QIntValidator(1, 4000000, baud_));
    for (const int baud : kCommonBauds) {
        baud_->addItem(QString::number(baud));
    }
    baud_->setCurrentText(kUsualBaud);
    auto* baudLabel = new QLabel("&Baud:");
    baudLabel->setBuddy(baud_);

    message_ = new QLabel;
    message_->setObjectName("device_message");
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    message_->setMinimumHeight(2 * message_->fontMetrics().lineSpacing());

    auto* speed = new QHBoxLayout;
    speed->addWidget(baudLabel);
    speed->addWidget(baud_);
    speed->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(list_);
    layout->addWidget(message_);
    layout->addLayout(speed);
    layout->addWidget(makeButtons());
    resize(kLeastWidth, kLeastHeight);
    refresh_ = new QTimer(this);
    refresh_->setSingleShot(true);
    refresh_->setInterval(kSettleMs);
    connect(refresh_, &QTimer::timeout, this, &DevicesDlg::refresh);
}

QWidget* DevicesDlg::makeButtons() {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->button(QDialogButtonBox::Close)->setAutoDefault(false); // Enter in the list would leave it
    ask_ = buttons->addButton("&Ask", QDialogButtonBox::ActionRole);
    ask_->setObjectName("device_ask");
    ask_->setToolTip(plainToolTip("Opens the chosen device, and no other, and asks whether there is a phone"));
    use_ = buttons->addButton("&Use as Port", QDialogButtonBox::ActionRole);
    use_->setObjectName("device_use");
    use_->setToolTip(plainToolTip("Adds a port with the chosen device to Tessra.toml"));
    ask_->setAutoDefault(false);
    use_->setAutoDefault(false);
    connect(ask_, &QPushButton::clicked, this, &DevicesDlg::ask);
    connect(use_, &QPushButton::clicked, this, &DevicesDlg::makePort);
    connect(buttons, &QDialogButtonBox::rejected, this, &DevicesDlg::reject);
    return buttons;
}

void DevicesDlg::watch() {
    try {
        source_ = desk_.devices();
    } catch (const std::exception& failure) {
        tell(shownText(kernel::messageOf(failure)));
        return;
    }
    auto* changes = new QSocketNotifier(source_->changes(), QSocketNotifier::Read, this);
    connect(changes, &QSocketNotifier::activated, this, [this] {
        source_->takeChanges();
        if (!refresh_->isActive()) {
            refresh_->start();
        }
    });
}

void DevicesDlg::refresh() {
    if (!source_) {
        return;
    }
    try {
        showDevices(source_->list());
    } catch (const std::exception& failure) {
        tell(shownText(kernel::messageOf(failure)));
    }
}

// The chosen device stays chosen, and is told of when its state has changed.
void DevicesDlg::showDevices(const std::vector<SerialDevice>& listed) {
    const auto* const was = chosen();
    const std::optional<SerialDevice> before = was == nullptr ? std::nullopt : std::optional(*was);
    devices_ = listed;
    if (before && std::ranges::find(devices_, before->path, &SerialDevice::path) == devices_.end()) {
        devices_.push_back(*before);
        devices_.back().state = DeviceState::kGone;
    }
    {
        const QSignalBlocker quiet(list_);
        list_->clear();
        for (const SerialDevice& device : devices_) {
            auto* row = new QTreeWidgetItem(list_, columnsOf(device));
            if (before && device.path == before->path) {
                list_->setCurrentItem(row);
            }
        }
    }
    for (int column = 0; column < list_->columnCount(); ++column) {
        list_->resizeColumnToContents(column);
    }
    const SerialDevice* const now = chosen();
    // What the program itself does with it is no news.
    const bool isOwnUse = now != nullptr && now->user.who == kernel::FileUser::Who::kThisProcess;
    if (now != nullptr && before && stateOf(*now) != stateOf(*before) && !isOwnUse && !question_ &&
        (now->state != DeviceState::kFree || before->user.who != kernel::FileUser::Who::kThisProcess)) {
        tellState();
    }
    if (now == nullptr && !question_) {
        tellState(); // that there is none, or no longer so
    }
    enableButtons();
}

void DevicesDlg::deviceChosen() {
    tellState();
    enableButtons();
}

void DevicesDlg::tellState() {
    const SerialDevice* const device = chosen();
    if (device != nullptr) {
        const QString advice = adviceFor(*device);
        const QString doubt = devices::isSurelyFree(*device) ? "" : " A program of another user may have it.";
        tell(advice.isEmpty() ? QString("Ask opens %1 and sends it a few bytes. Ask no device that is not a phone's.")
                                        .arg(shownPath(device->path)) +
                                    doubt
                              : advice);
    } else if (source_) {
        tell(devices_.empty() ? "No serial device is there. One that is plugged in shows here by itself."
                              : "Choose a device. Nothing has been sent to any of them.");
    }
}

void DevicesDlg::enableButtons() {
    const SerialDevice* const device = chosen();
    ask_->setEnabled(device != nullptr && device->state == DeviceState::kFree && !question_);
    use_->setEnabled(device != nullptr && device->state != DeviceState::kGone && !question_);
}

void DevicesDlg::ask() {
    const SerialDevice* const device = chosen();
    if (device == nullptr || question_) {
        return;
    }
    const QString path = shownPath(device->path);
    try {
        question_ = std::make_unique<Question>(tessra::LineSetup{.device = device->path, .baud = baud()}, path);
        question_->thread.emplace([this, &probe = question_->probe] {
            const tessra::ProbeResult result = probe.run();
            QMetaObject::invokeMethod(
                this, [this, result] { answered(result); }, Qt::QueuedConnection);
        });
        tell("Asking on " + path + "...");
    } catch (const std::exception& failure) {
        question_.reset();
        tell(shownText(kernel::messageOf(failure)));
    }
    enableButtons();
}

void DevicesDlg::answered(const tessra::ProbeResult& result) {
    const QString text = answerText(result, question_->path, question_->baud);
    question_.reset();
    refresh();
    tell(text);
}

void DevicesDlg::makePort() {
    const SerialDevice* const device = chosen();
    if (device == nullptr) {
        return;
    }
    try {
        const auto port = desk_.makePort(*device, baud());
        chosenPort_ = port.name;
        if (!port.isThere) {
            showMessageBox(this,
                           QString::fromStdString(port.name +
                                                  " stands in Tessra.toml now. It is there once the program "
                                                  "has been started anew."),
                           "All Devices", MessageIcon::kExclamation);
        }
        accept();
    } catch (const std::exception& failure) {
        tell(shownText(kernel::messageOf(failure)));
    }
}

void DevicesDlg::tell(const QString& text) {
    message_->setText(text);
    message_->setAccessibleName(text);
}

const SerialDevice* DevicesDlg::chosen() const {
    const int row = list_->indexOfTopLevelItem(list_->currentItem());
    return row < 0 ? nullptr : &devices_[static_cast<std::size_t>(row)];
}

std::uint32_t DevicesDlg::baud() const {
    return baud_->currentText().toUInt();
}
