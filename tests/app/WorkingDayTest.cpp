// A working day of the person who calibrates phones, from the first read to the next morning.

#include "tests/app/WindowFixture.h"

#include <QComboBox>
#include <QFileDialog>

namespace {

using WorkingDay = WindowFixture;

void press(QWidget* dialog, int buttonId) {
    auto* button = dialog->findChild<QPushButton*>("ctl_" + QString::number(buttonId));
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
}

TEST_F(WorkingDay, FromTheFirstReadToTheNextMorning) {
    plugIn();
    start();

    readPhone();
    EXPECT_EQ(listBox().model()->rowCount(), 4);
    run(CommandId::SortAlphabetical);
    EXPECT_EQ(listBox().model()->index(0, 0).data().toString(), "20\tNV_ALPHA");

    whenAsked([](QWidget* dialog) {
        QTest::keyClicks(dialog->focusWidget(), "nv_zet");
        QTest::keyClick(dialog, Qt::Key_Return);
    });
    run(CommandId::Search);
    ASSERT_EQ(doc().selectedIndex(), 3);

    clickHex();
    type(0, "1f");
    run(CommandId::WriteChangedToPhone);
    EXPECT_EQ(numbersWritten(), (std::vector<int>{10, 40}));
    EXPECT_EQ(written(3)[0].second, (std::vector<int>{0x1F, 0xFE, 0xFF}));
    clickHex();

    // The list for the afternoon: the first two supported items.
    whenAsked([](QWidget* dialog) {
        auto* available = dialog->findChild<QListView*>("ctl_1012");
        press(dialog, 1017);
        QTest::mouseClick(available->viewport(), Qt::LeftButton, {},
                          available->visualRect(available->model()->index(0, 0)).center());
        QTest::mouseClick(available->viewport(), Qt::LeftButton, Qt::ShiftModifier,
                          available->visualRect(available->model()->index(1, 0)).center());
        press(dialog, 1015);
        press(dialog, 1);
    });
    run(CommandId::CustomizedList);
    EXPECT_EQ(numbersOf(doc().nvItems()), (std::vector<int>{20, 10})) << "by name still";

    const QString text = QString::fromStdString((folder / "listing").string());
    whenAsked([text](QWidget* modal) {
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->windowTitle(), "Save");
        dialog->findChild<QLineEdit*>("fileNameEdit")->setText(text);
        dialog->findChild<QLineEdit*>("fileNameEdit")->setFocus();
        QTest::keyClick(dialog->findChild<QLineEdit*>("fileNameEdit"), Qt::Key_Return);
    });
    run(CommandId::WriteListedToText);
    EXPECT_EQ(contents("listing.txt"), "NV_ALPHA\r\n7, \r\n\r\nNV_ZETA\r\n5, -2, \r\n\r\n")
        << "items taken anew have the catalog's values, as they were read";

    refuse(20, 3);
    expectMessage();
    run(CommandId::WriteListedToPhone);
    EXPECT_NE(onlyMessage().find("Unable to write 'NV_ALPHA' to the phone. (The NVM is full)"), std::string::npos);

    whenAsked([](QWidget* dialog) {
        auto* ports = dialog->findChild<QComboBox*>("ctl_1011");
        ports->setFocus();
        QTest::keyClicks(ports, "COM8");
        press(dialog, 1);
    });
    run(CommandId::Comport);
    EXPECT_EQ(doc().comPort(), "COM8");

    window().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window().isVisible(); }));
    EXPECT_EQ(contents("CalvaneConfig.ini"), "COM8\n");
    start();
    EXPECT_EQ(doc().comPort(), "COM8");
    messages.clear();
    expectMessage();
    run(CommandId::ReadFromPhone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
    EXPECT_EQ(messages.size(), 1u) << "there is no such port";
    EXPECT_EQ(listBox().model()->rowCount(), 0);
}

} // namespace
