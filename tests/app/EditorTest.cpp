// The sub-field editor with mouse and keys.

#include "tests/app/WindowFixture.h"

#include <QClipboard>

namespace {

constexpr const char* kEditorRing = "NV_MIXED,1,ReadWrite,<BYTE,level>#<SIGNED_WORD,offset>#<QWORD,mask>#\n"
                                    "NV_PLAIN,2,ReadWrite,<BYTE,a>#\n"
                                    "NV_FIXED,3,ReadOnly,<BYTE,f>#\n"
                                    "NV_RF_CAL_DATE_I,4,ReadWrite Time,<DWORD,date>#\n"
                                    "NV_DATES_I,5,ReadWrite Time,<DWORD,first>#<DWORD,second>#\n";
constexpr const char* kEditorPhone = "1 0 05fbffffffffffffffffff\n2 0 07\n3 0 09\n4 0 0c07f065\n5 0 0c07f065f80bf065\n";
constexpr const char* kNotDecimal = ": < unsigned 1 byte  >  a is not a decimal number";

using Texts = std::vector<std::string>;

class Editor : public WindowFixture {
protected:
    void SetUp() override {
        plugIn(kEditorPhone);
        start(kEditorRing);
        readPhone();
        EXPECT_EQ(rowCount(), 0) << "nothing is selected after a read";
        clickLine(0);
    }
    Texts texts() {
        Texts result;
        for (int i = 0; i < rowCount(); ++i) {
            result.push_back(edit(i).text().toStdString());
        }
        return result;
    }
    Texts values(std::size_t index) {
        Texts result;
        for (const auto& subItem : doc().nvItems()[index].getSubItems()) {
            result.push_back(subItem.value);
        }
        return result;
    }
    std::string label(int row) { return item<QLabel>(8000 + row).text().toStdString(); }
    void undo(int row) {
        clickRow(row);
        QTest::keyClick(&edit(row), Qt::Key_Z, Qt::ControlModifier);
    }
};

TEST_F(Editor, ShowsTheSelectedItem) {
    EXPECT_EQ(texts(), (Texts{"5", "-5", "18446744073709551615"}));
    EXPECT_EQ(label(1), "<  signed 2 bytes  >  offset");
    EXPECT_TRUE(edit(0).isEnabled());
    clickLine(2);
    EXPECT_FALSE(edit(0).isEnabled()) << "not writable";
    EXPECT_TRUE(hexBox().isEnabled());
    clickLine(3);
    EXPECT_FALSE(edit(0).isEnabled()) << "a date that the program keeps";
    EXPECT_FALSE(hexBox().isEnabled());
    EXPECT_EQ(edit(0).text().count('/'), 2);
}

TEST_F(Editor, StoresWhatWasTypedWhenThePaneIsLeft) {
    clickRow(0);
    EXPECT_EQ(doc().activeEditor(), "NvParam");
    clickLine(1);
    EXPECT_EQ(doc().activeEditor(), "null");
    EXPECT_TRUE(doc().changedItems().empty()) << "nothing was typed";
    clickLine(0);
    type(1, "");
    QApplication::clipboard()->setText("-300\r\n");
    QTest::keyClick(&edit(1), Qt::Key_Insert, Qt::ShiftModifier);
    fillIn("2");
    run(CommandId::kSearch);
    EXPECT_EQ(doc().selectedIndex(), 1);
    EXPECT_EQ(values(0), (Texts{"5", "-300", "18446744073709551615"}));
    EXPECT_EQ(doc().changedItems(), std::set<std::size_t>{0});
    EXPECT_EQ(texts(), Texts{"7"});
}

TEST_F(Editor, WritesAtOnceAndUndoesWhatIsStoredInTheItem) {
    type(0, "66");
    expectMessage(); // this ring has no date to stamp
    QTest::mouseClick(&writeButton(), Qt::LeftButton);
    EXPECT_EQ(takeMessage().substr(0, 66), "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file!!: Ca");
    EXPECT_EQ(numbersWritten(), std::vector<int>{1});
    EXPECT_TRUE(doc().changedItems().empty());
    type(0, "55");
    QTest::keyClick(&edit(0), Qt::Key_F6);
    EXPECT_EQ(QApplication::focusWidget(), &listBox());
    undo(0);
    EXPECT_EQ(texts()[0], "66");
    EXPECT_EQ(values(0)[0], "66") << "not in the box alone";
    undo(0);
    EXPECT_EQ(values(0)[0], "5") << "it has been written, too";
    EXPECT_EQ(doc().changedItems(), std::set<std::size_t>{0});
    clickLine(1);
    type(0, "1e3");
    clickHex();
    undo(0);
    expectMessage();
    clickLine(0);
    EXPECT_EQ(values(1), Texts{"7"}) << "1e3 was not typed as a hexadecimal number";
}

TEST_F(Editor, RefusesWhatIsNoNumber) {
    const std::tuple<const char*, bool, const char*> rows[] = {
        {"12abc", false, kNotDecimal},
        {"70000", false, "Exception Thrown: Can't store parameters."},
        {"12345678901234567", true, kNotDecimal},
    };
    for (const auto& [typed, inHex, message] : rows) {
        SCOPED_TRACE(typed);
        clickLine(1);
        if (inHex) {
            clickHex();
        }
        type(0, typed);
        expectMessage();
        clickLine(2);
        EXPECT_EQ(takeMessage(), message);
        EXPECT_FALSE(hexBox().isChecked());
        EXPECT_EQ(values(1), Texts{"7"});
        EXPECT_TRUE(doc().changedItems().empty());
    }
}

TEST_F(Editor, StoresHexadecimalBitForBitAndComesBackToIt) {
    clickHex();
    type(0, "1f");
    clickLine(1);
    EXPECT_EQ(values(0), (Texts{"31", "-5", "-1"}));
    EXPECT_EQ(doc().nvItems()[0].getData()[3], 0xFF);
    clickLine(0);
    EXPECT_EQ(texts(), (Texts{"1f", "fffffffffffffffb", "ffffffffffffffff"}));
    type(0, "");
    expectMessage();
    clickLine(1);
    EXPECT_EQ(takeMessage(), ": < unsigned 1 byte  >  level is empty. Fail to store data");
    expectMessage();
    QTest::mouseClick(&writeButton(), Qt::LeftButton);
    EXPECT_TRUE(hexBox().isChecked());
}

TEST_F(Editor, ADateIsNotTakenForANumber) {
    clickLine(4);
    const Texts dates = texts();
    clickHex();
    EXPECT_EQ(texts(), dates);
    type(0, "1");
    undo(0);
    undo(0);
    clickHex();
    EXPECT_EQ(texts(), dates) << "undone, it is a date again";
    type(0, "1000");
    expectMessage();
    clickLine(1);
    EXPECT_EQ(takeMessage(), ": < unsigned 4 bytes >  second is not a decimal number");
    EXPECT_TRUE(doc().changedItems().empty());
}

} // namespace
