// A working day of the person who calibrates phones, from the first read to the next morning.

#include "app/frame/StatusPane.h"
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

/// Types the name into a file dialog.
void chooseFile(QWidget* modal, const QString& name) {
    ASSERT_NE(qobject_cast<QFileDialog*>(modal), nullptr);
    auto* edit = modal->findChild<QLineEdit*>("fileNameEdit");
    edit->setText(name); // typed, it would open the list of completions
    edit->setFocus();
    QTest::keyClick(edit, Qt::Key_Return);
}

TEST_F(WorkingDay, FromTheFirstReadToTheNextMorning) {
    plugIn();
    start();

    readPhone();
    EXPECT_EQ(listBox().model()->rowCount(), 4);
    run(CommandId::kSortAlphabetical);
    EXPECT_EQ(listBox().model()->index(0, 0).data().toString(), "20\tNV_ALPHA");

    searchFor("nv_zet");
    ASSERT_EQ(doc().selectedIndex(), 3);

    clickHex();
    type(0, "1f");
    run(CommandId::kWriteChangedToPhone);
    EXPECT_EQ(numbersWritten(), (std::vector<int>{10, 40}));
    EXPECT_EQ(written()[0][3], 0x1F);
    clickHex();

    // What was written goes into a calibration file as well, and comes back from it.
    const QString mox = QString::fromStdString((folder / "bench.mox").string());
    whenAsked([mox](QWidget* dialog) {
        const std::pair<int, QString> fields[] = {{1003, mox}, {1004, "70"},  {1005, "123456789"},  {1006, "1"},
                                                  {1007, "2"}, {1008, "7.1"}, {1009, "Working day"}};
        for (const auto& [id, typed] : fields) {
            auto* field = dialog->findChild<QLineEdit*>("ctl_" + QString::number(id));
            field->setFocus();
            field->selectAll();
            QTest::keyClicks(field, typed);
        }
        QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
    });
    run(CommandId::kWriteListedToMox);
    EXPECT_EQ(doc().fileName(), mox.toStdString());
    const std::string record("\x15\xCD\x5B\x07\x46\x00\x01\x02\x03\x00"
                             "7.1\x0B\x00Working day",
                             26);
    EXPECT_NE(readText(folder / "bench.mox").find(record), std::string::npos) << "the phone's properties";
    run(CommandId::kReadSupportedItems);
    ASSERT_TRUE(QTest::qWaitFor([&] { return doc().fileName().empty(); }));
    whenAsked([mox](QWidget* dialog) { chooseFile(dialog, mox); });
    run(CommandId::kReadFromMox);
    EXPECT_EQ(numbersOf(doc().nvItems()), (std::vector<int>{10, 20, 40}));
    EXPECT_EQ(doc().nvItems()[0].getSubItems()[0].value, "31");
    EXPECT_EQ(window().findChild<StatusPane*>("pane_102")->fullText(), mox);

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
    run(CommandId::kCustomizedList);
    EXPECT_EQ(numbersOf(doc().nvItems()), (std::vector<int>{20, 10})) << "by name still";

    const QString text = QString::fromStdString((folder / "listing").string());
    whenAsked([text](QWidget* modal) {
        EXPECT_EQ(modal->windowTitle(), "Save");
        chooseFile(modal, text);
    });
    run(CommandId::kWriteListedToText);
    EXPECT_EQ(readText(folder / "listing.txt"), "NV_ALPHA\r\n7, \r\n\r\nNV_ZETA\r\n31, -2, \r\n\r\n")
        << "items taken anew have the catalog's values, as the file had them";

    refuse(20, 3);
    expectMessage();
    run(CommandId::kWriteListedToPhone);
    EXPECT_NE(takeMessage().find("Unable to write 'NV_ALPHA' to the phone. (The NVM is full)"), std::string::npos);

    whenAsked([](QWidget* dialog) {
        auto* ports = dialog->findChild<QComboBox*>("ctl_1011");
        ports->setFocus();
        QTest::keyClicks(ports, "COM8");
        press(dialog, 1);
    });
    run(CommandId::kComport);
    EXPECT_EQ(doc().comPort(), "COM8");

    window().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window().isVisible(); }));
    EXPECT_EQ(readText(folder / "CalvaneConfig.ini"), "COM8\n");
    start();
    EXPECT_EQ(doc().comPort(), "COM8");
    expectMessage();
    run(CommandId::kReadFromPhone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
    EXPECT_EQ(messages.size(), 1u) << "there is no such port";
    EXPECT_EQ(listBox().model()->rowCount(), 0);
}

} // namespace
