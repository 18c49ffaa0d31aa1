// The day of the person who calibrates phones, from the first read to the last export.

#include "app/frame/StatusPane.h"
#include "tests/app/WindowFixture.h"

namespace {

void press(QWidget* dialog, int buttonId) {
    QTest::mouseClick(dialog->findChild<QPushButton*>("ctl_" + QString::number(buttonId)), Qt::LeftButton);
}

class WorkingDay : public WindowFixture {
protected:
    void writeMox() {
        whenAsked([this](QWidget* dialog) {
            const std::pair<int, QString> fields[] = {
                {1003, path("bench.mox")}, {1004, "70"}, {1005, "123456789"}, {1006, "1"}, {1007, "2"}, {1008, "7.1"},
                {1009, "Working day"}};
            for (const auto& [id, typed] : fields) {
                dialog->findChild<QLineEdit*>("ctl_" + QString::number(id))->setText(typed);
            }
            QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
        });
        run(CommandId::kWriteListedToMox);
        const std::string record("\x15\xCD\x5B\x07\x46\x00\x01\x02\x03\x00"
                                 "7.1\x0B\x00Working day",
                                 26);
        EXPECT_NE(readText(folder / "bench.mox").find(record), std::string::npos) << "the phone's properties";
    }
    void readMox() {
        run(CommandId::kReadSupportedItems);
        ASSERT_TRUE(QTest::qWaitFor([&] { return doc().fileName().empty(); }));
        chooseFile(path("bench.mox"));
        run(CommandId::kReadFromMox);
        EXPECT_EQ(numbersOf(doc().nvItems()), (std::vector<int>{10, 20, 40}));
        EXPECT_EQ(doc().nvItems()[0].getSubItems()[0].value, "31");
        EXPECT_EQ(window().findChild<StatusPane*>("pane_102")->fullText(), path("bench.mox"));
    }
    /// The list for the afternoon: the first two supported items.
    void chooseListAndExport() {
        whenAsked([](QWidget* dialog) {
            auto* available = dialog->findChild<QListView*>("ctl_1012");
            press(dialog, 1017);
            const QPoint second = available->visualRect(available->model()->index(1, 0)).center();
            QTest::mouseClick(available->viewport(), Qt::LeftButton, Qt::ShiftModifier, second);
            press(dialog, 1015);
            press(dialog, 1);
        });
        run(CommandId::kCustomizedList);
        EXPECT_EQ(numbersOf(doc().nvItems()), (std::vector<int>{20, 10})) << "by name still";
        chooseFile(path("listing"));
        run(CommandId::kWriteListedToText);
        EXPECT_EQ(readText(folder / "listing.txt"), "NV_ALPHA\r\n7, \r\n\r\nNV_ZETA\r\n31, -2, \r\n\r\n")
            << "items taken anew have the catalog's values, as the file had them";
        refuse(20, 3);
        expectMessage();
        run(CommandId::kWriteListedToPhone);
        EXPECT_NE(takeMessage().find("Unable to write 'NV_ALPHA' to the phone. (The NVM is full)"), std::string::npos);
    }
};

TEST_F(WorkingDay, FromTheFirstReadToTheLastExport) {
    startAndRead();
    run(CommandId::kSortAlphabetical);
    enter(3, "31");
    clickLine(0);
    writeMox();
    readMox();
    chooseListAndExport();
}

} // namespace
