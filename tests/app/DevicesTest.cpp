// Serial devices that are no ports yet, from the port dialog. A folder of links to terminals stands for the system's.

#include "app/devices/DevicesDlg.h"
#include "tests/app/WindowFixture.h"
#include "tests/tessra/RunningPhone.h"

#include <QTreeWidget>

namespace {

class DevicesWindow : public WindowFixture {
protected:
    DevicesWindow() {
        std::filesystem::create_directory(folder / "devices");
        writeText(toml_, "# mine\n[[port]]\nname = \"COM1\"\n");
        writeText(folder / "phone.nvmem", kPhone);
        host_ = std::make_unique<tessra::ServiceHost>(tessra::loadServiceConfig(toml_));
        desk_.emplace(toml_, folder / "devices", host_.get());
        app().setDeviceDesk(&*desk_);
    }
    ~DevicesWindow() override {
        app().setDeviceDesk(nullptr);
        app().end(); // before the service
    }

    void plugInDevice() {
        phone_.emplace(folder / "devices/a", tessra::PhoneSetup{.model = "M7"}, folder / "phone.nvmem");
    }
    static bool becomes(QWidget* dialog, const char* state) {
        const auto& list = *dialog->findChild<QTreeWidget*>("device_list");
        return QTest::qWaitFor(
            [&] { return list.topLevelItemCount() == 1 && list.topLevelItem(0)->text(1).startsWith(state); }, 10000);
    }
    static bool tells(QWidget* dialog, const QString& text) {
        const auto& label = *dialog->findChild<QLabel*>("device_message");
        return QTest::qWaitFor([&] { return label.text().contains(text); }, 10000);
    }
    static void click(QWidget* dialog, const char* button) {
        QTest::mouseClick(dialog->findChild<QPushButton*>(button), Qt::LeftButton);
    }
    static void choose(QWidget* dialog) {
        auto& list = *dialog->findChild<QTreeWidget*>("device_list");
        list.setCurrentItem(list.topLevelItem(0));
    }

    const std::filesystem::path toml_ = folder / "Tessra.toml";
    std::unique_ptr<tessra::ServiceHost> host_;
    std::optional<DeviceDesk> desk_;
    std::optional<RunningPhone> phone_;
};

TEST_F(DevicesWindow, ADeviceThatIsPluggedInCanBeAskedAndMadeAPortWithoutARestart) {
    start();
    whenAsked([this](QWidget* ports) {
        whenAsked([this](QWidget* dialog) {
            EXPECT_TRUE(tells(dialog, "No serial device is there."));
            plugInDevice();
            EXPECT_TRUE(becomes(dialog, "free"));
            choose(dialog);
            EXPECT_EQ(phone_->terminal.packets(), 0U) << "nobody has chosen to ask";
            click(dialog, "device_ask");
            EXPECT_TRUE(tells(dialog, "M7 0000000001, software 1.0."));
            EXPECT_TRUE(becomes(dialog, "free")) << "it is let go";
            click(dialog, "device_use");
        });
        QTest::mouseClick(ports->findChild<QPushButton*>("ctl_1050"), Qt::LeftButton);
        QTest::mouseClick(ports->findChild<QPushButton*>("ctl_1"), Qt::LeftButton);
    });
    run(CommandId::kComport);
    EXPECT_EQ(doc().comPort(), "COM2");
    EXPECT_EQ(readText(toml_), "# mine\n[[port]]\nname = \"COM1\"\n\n[[port]]\nname = \"COM2\"\ndevice = \"" +
                                   (folder / "devices/a").string() + "\"\nbaud = 115200\n");
    readPhone();
    EXPECT_EQ(listBox().model()->rowCount(), 4);
    EXPECT_EQ(desk_->makePort({.path = folder / "devices/a"}, 9600).name, "COM2") << "it is one already";
}

TEST_F(DevicesWindow, WhatKeepsADeviceFromBeingAskedIsTold) {
    plugInDevice();
    DevicesDlg dialog(*desk_);
    dialog.show();
    ASSERT_TRUE(becomes(&dialog, "free"));
    choose(&dialog);
    phone_->terminal.setFaults({.silentFrom = 1});
    click(&dialog, "device_ask");
    EXPECT_TRUE(tells(&dialog, "No answer on"));
    {
        tessra::SerialPort user;
        std::string problem;
        ASSERT_EQ(user.open({.device = folder / "devices/a"}, problem), com::kOk);
        EXPECT_TRUE(becomes(&dialog, "in use"));
        EXPECT_FALSE(dialog.findChild<QPushButton*>("device_ask")->isEnabled());
    }
    EXPECT_TRUE(becomes(&dialog, "free"));
    phone_->terminal.setPlugged(false);
    EXPECT_TRUE(becomes(&dialog, "gone"));
    EXPECT_TRUE(tells(&dialog, "is gone. Plug it in again"));
    phone_->terminal.setPlugged(true);
    EXPECT_TRUE(becomes(&dialog, "free"));
    click(&dialog, "device_ask"); // and the dialog goes while it asks
}

} // namespace
