// The sub-field editor with mouse and keys.

#include "tests/app/WindowFixture.h"

#include <QClipboard>
#include <QScrollBar>

namespace {

constexpr const char* kEditorRing = "NV_MIXED,1,ReadWrite,<BYTE,level>#<SIGNED_WORD,offset>#<QWORD,mask>#\n"
                                    "NV_PLAIN,2,ReadWrite,<BYTE,a>#\n"
                                    "NV_FIXED,3,ReadOnly,<BYTE,f>#\n"
                                    "NV_RF_CAL_DATE_I,4,ReadWrite Time,<DWORD,date>#\n"
                                    "NV_DATES_I,5,ReadWrite Time,<DWORD,first>#<DWORD,second>#\n";
constexpr const char* kEditorPhone = "1 0 05fbffffffffffffffffff\n2 0 07\n3 0 09\n4 0 0c07f065\n5 0 0c07f065f80bf065\n";

class Editor : public WindowFixture {
protected:
    Editor() { plugIn(kEditorPhone); }
    void begin() {
        start(kEditorRing);
        readPhone();
        clickLine(0);
    }
    std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (int i = 0; i < rowCount(); ++i) {
            result.push_back(edit(i).text().toStdString());
        }
        return result;
    }
    std::vector<std::string> values(std::size_t index) {
        std::vector<std::string> result;
        for (const auto& subItem : doc().nvItems()[index].getSubItems()) {
            result.push_back(subItem.value);
        }
        return result;
    }
};

using Texts = std::vector<std::string>;

TEST_F(Editor, ShowsTheSelectedItem) {
    start(kEditorRing);
    readPhone();
    EXPECT_EQ(rowCount(), 0) << "nothing is selected after a read";
    clickLine(0);
    EXPECT_EQ(texts(), (Texts{"5", "-5", "18446744073709551615"}));
    EXPECT_EQ(label(1).text(), "<  signed 2 bytes  >  offset");
    EXPECT_EQ(label(1).textFormat(), Qt::PlainText);
    EXPECT_EQ(edit(0).geometry(), QRect(10, edit(0).y(), 170, edit(0).height()));
    EXPECT_EQ(edit(1).y() - edit(0).y(), edit(0).height() + 5);
    EXPECT_EQ(label(0).geometry(), QRect(190, edit(0).y(), 820, edit(0).height()));
    EXPECT_TRUE(edit(0).isEnabled());
    clickLine(2);
    EXPECT_FALSE(edit(0).isEnabled()) << "not writable";
    EXPECT_TRUE(hexBox().isEnabled());
    clickLine(3);
    EXPECT_FALSE(edit(0).isEnabled()) << "a date that the program keeps";
    EXPECT_FALSE(hexBox().isEnabled());
    EXPECT_EQ(edit(0).text().count('/'), 2);
    clickLine(1);
    EXPECT_TRUE(hexBox().isEnabled());
    EXPECT_EQ(rowCount(), 1);

    doc().setSelectedIndex(77);
    doc().updateAllViews();
    EXPECT_EQ(rowCount(), 0) << "no item there";
}

TEST_F(Editor, StoresWhatWasTypedWhenThePaneIsLeft) {
    begin();
    focusBack();
    QTest::mouseClick(&edit(0), Qt::LeftButton);
    EXPECT_EQ(doc().activeEditor(), "NvParam");
    clickLine(1);
    EXPECT_EQ(doc().activeEditor(), "null");
    EXPECT_TRUE(doc().changedItems().empty()) << "nothing was typed";
    clickLine(0);
    type(1, "-300");
    clickLine(1);
    EXPECT_EQ(values(0), (Texts{"5", "-300", "18446744073709551615"}));
    EXPECT_EQ(doc().changedItems(), std::set<std::size_t>{0});
    EXPECT_EQ(texts(), Texts{"7"});
    EXPECT_TRUE(messages.empty());
}

TEST_F(Editor, UndoingNeverShowsWhatTheItemDoesNotHold) {
    const auto undo = [this](int row) {
        focusBack();
        QTest::mouseClick(&edit(row), Qt::LeftButton);
        QTest::keyClick(&edit(row), Qt::Key_Z, Qt::ControlModifier);
    };
    begin();
    type(0, "55");
    QTest::keyClick(&edit(0), Qt::Key_F6);
    undo(0);
    EXPECT_EQ(texts()[0], "55") << "it has been stored";
    type(0, "66");
    expectMessage(); // this ring has no date to stamp
    QTest::mouseClick(&item<QPushButton>(1001), Qt::LeftButton);
    undo(0);
    EXPECT_EQ(texts()[0], "66") << "it has been written";

    clickHex();
    edit(0).selectAll();
    QTest::keyClick(&edit(0), Qt::Key_Delete);
    clickHex();
    undo(0);
    EXPECT_EQ(texts()[0], "") << "the digits were hexadecimal";
    type(0, "19x");
    clickHex();
    undo(0);
    EXPECT_EQ(texts()[0], "19x") << "the digits were decimal";

    expectMessage();
    clickLine(1);
    for (const char* noDecimal : {"1e3", "18446744073709551621"}) {
        hexBox().setChecked(false);
        clickLine(1);
        type(0, noDecimal);
        clickHex();
        undo(0);
        expectMessage();
        clickLine(0);
        EXPECT_FALSE(hexBox().isChecked());
        EXPECT_EQ(values(1), Texts{"7"}) << noDecimal << " was not typed as a hexadecimal number";
    }
    clickLine(1);
    clickHex();
    type(0, "-10");
    expectMessage();
    clickLine(0);
    EXPECT_EQ(messages.size(), 5u);
}

TEST_F(Editor, TakesNoLineEndWithAPastedNumber) {
    const std::pair<const char*, const char*> rows[] = {{"77\r\n", "77"}, {"\n5\n6\v", "5 6"}, {"a\u2028", "a"}};
    begin();
    for (const auto& [pasted, taken] : rows) {
        QApplication::clipboard()->setText(QString::fromUtf8(pasted));
        focusBack();
        QTest::mouseClick(&edit(0), Qt::LeftButton);
        edit(0).selectAll();
        QTest::keyClick(&edit(0), Qt::Key_V, Qt::ControlModifier);
        EXPECT_EQ(edit(0).text(), taken);
        EXPECT_TRUE(edit(0).isModified());
    }
    type(0, "5");
}

TEST_F(Editor, RefusesWhatIsNoNumber) {
    struct Row {
        const char* typed;
        const char* message;
    };
    const Row rows[] = {
        {"12abc", ": < unsigned 1 byte  >  a is not a decimal number"},
        {"0x1F", ": < unsigned 1 byte  >  a is not a decimal number"},
        {"300", "Exception Thrown: Can't store parameters."},
    };
    begin();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.typed);
        messages.clear();
        clickLine(1);
        type(0, row.typed);
        expectMessage();
        clickLine(2);
        EXPECT_EQ(onlyMessage(), row.message);
        EXPECT_EQ(values(1), Texts{"7"});
        EXPECT_TRUE(doc().changedItems().empty());
    }
}

TEST_F(Editor, AnEmptyRowIsRefusedAndHexadecimalComesBack) {
    begin();
    clickHex();
    EXPECT_EQ(texts(), (Texts{"5", "fffffffffffffffb", "ffffffffffffffff"}));
    type(0, "a");
    edit(0).selectAll();
    QTest::keyClick(&edit(0), Qt::Key_Delete);
    expectMessage();
    run(CommandId::kWriteChangedToPhone);
    EXPECT_EQ(onlyMessage(), ": < unsigned 1 byte  >  level is empty. Fail to store data");
    EXPECT_TRUE(hexBox().isChecked());
    EXPECT_EQ(texts(), (Texts{"", "fffffffffffffffb", "ffffffffffffffff"}));
    EXPECT_EQ(numbersWritten(), std::vector<int>{});
}

TEST_F(Editor, StoresHexadecimalBitForBit) {
    begin();
    clickHex();
    type(0, "1f");
    clickLine(1);
    EXPECT_EQ(values(0), (Texts{"31", "-5", "-1"}));
    EXPECT_EQ(doc().nvItems()[0].getData()[3], 0xFF);
    EXPECT_TRUE(hexBox().isChecked());
    clickLine(0);
    EXPECT_EQ(texts(), (Texts{"1f", "fffffffffffffffb", "ffffffffffffffff"}));
    type(0, "ffffffff");
    clickHex();
    EXPECT_EQ(texts()[0], "4294967295");
}

TEST_F(Editor, WhatIsNoHexadecimalNumberIsNotStoredAsAnother) {
    begin();
    for (const char* typed : {"1g", "-5", "zz", "12345678901234567"}) {
        SCOPED_TRACE(typed);
        clickLine(1);
        hexBox().setChecked(false);
        clickHex();
        type(0, typed);
        messages.clear();
        expectMessage();
        run(CommandId::kWriteChangedToPhone);
        EXPECT_EQ(onlyMessage(), ": < unsigned 1 byte  >  a is not a decimal number");
        EXPECT_FALSE(hexBox().isChecked());
        expectMessage();
        focusBack();
        QTest::mouseClick(&edit(0), Qt::LeftButton);
        clickLine(0);
        EXPECT_EQ(messages.size(), 2u) << "nor the second time";
        EXPECT_TRUE(doc().changedItems().empty());
    }
    clickLine(1);
    clickHex();
    type(0, "1fg");
    for (int click = 0; click < 3; ++click) {
        clickHex();
        EXPECT_EQ(texts(), Texts{"1fg"}) << "a click on the box does not make a number of it either";
    }
    type(0, "9");
    clickLine(0);
    EXPECT_EQ(values(1), Texts{"9"}) << "the next text is taken for what it is";
}

TEST_F(Editor, ASearchStoresWhatWasTyped) {
    begin();
    type(0, "8");
    whenAsked([](QWidget* dialog) {
        QTest::keyClicks(dialog->focusWidget(), "2");
        QTest::keyClick(dialog, Qt::Key_Return);
    });
    run(CommandId::kSearch);
    EXPECT_EQ(doc().selectedIndex(), 1);
    EXPECT_EQ(values(0)[0], "8");
    EXPECT_EQ(doc().changedItems(), std::set<std::size_t>{0});
}

TEST_F(Editor, ADateIsNotTakenForANumber) {
    begin();
    clickLine(4);
    const Texts dates = texts();
    clickHex();
    EXPECT_EQ(texts(), dates);
    clickHex();
    EXPECT_EQ(texts(), dates);
    type(0, "1");
    QTest::keyClick(&edit(0), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(texts(), dates);
    clickHex();
    EXPECT_EQ(texts(), dates) << "undone, it is a date again";
    clickHex();
    type(0, "1000");
    expectMessage();
    clickLine(1);
    EXPECT_EQ(onlyMessage(), ": < unsigned 4 bytes >  second is not a decimal number");
    EXPECT_TRUE(doc().changedItems().empty());
}

TEST_F(Editor, WriteNvSendsTheItemAtOnce) {
    begin();
    type(0, "6");
    expectMessage(); // this ring has no date to stamp
    QTest::mouseClick(&item<QPushButton>(1001), Qt::LeftButton);
    EXPECT_EQ(onlyMessage().substr(0, 66), "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file!!: Ca");
    EXPECT_EQ(numbersWritten(), std::vector<int>{1});
    EXPECT_EQ(values(0)[0], "6");
    EXPECT_TRUE(doc().changedItems().empty());

    messages.clear();
    type(0, "300");
    expectMessage();
    QTest::mouseClick(&item<QPushButton>(1001), Qt::LeftButton);
    EXPECT_EQ(onlyMessage().substr(0, 25), "Exception Thrown!!!: Calv");
    EXPECT_EQ(values(0)[0], "6");
    EXPECT_EQ(numbersWritten().size(), 1u);

    messages.clear();
    clickHex();
    type(0, "");
    QTest::keyClick(&edit(0), Qt::Key_Delete);
    expectMessage();
    QTest::mouseClick(&item<QPushButton>(1001), Qt::LeftButton);
    EXPECT_EQ(onlyMessage(), ": < unsigned 1 byte  >  level is empty. Fail to store data");
    EXPECT_TRUE(hexBox().isChecked());
}

TEST_F(Editor, ScrollsManyRowsAndReturnsToTheTop) {
    std::string ring = "NV_LONG,1,ReadWrite,";
    for (int i = 0; i < 128; ++i) {
        ring += "<BYTE,step " + std::to_string(i) + ">#";
    }
    start((ring + "\nNV_SHORT,2,ReadWrite,<BYTE,x>#\n").c_str());
    run(CommandId::kReadSupportedItems);
    ASSERT_TRUE(QTest::qWaitFor([&] { return listBox().model()->rowCount() == 2; }));
    clickLine(0);
    EXPECT_EQ(rowCount(), 128);
    auto* bar = frame().findChild<CNvParam*>()->verticalScrollBar();
    EXPECT_TRUE(QTest::qWaitFor([&] { return bar->isVisible(); }));
    bar->setValue(bar->maximum());
    EXPECT_TRUE(edit(127).visibleRegion().boundingRect().height() == edit(127).height()) << "the last row is reachable";
    window().resize(window().width() - 40, window().height() - 40);
    ASSERT_TRUE(QTest::qWaitFor([&] { return bar->value() == 0; }));
    clickLine(1);
    EXPECT_EQ(bar->maximum(), 0);
    EXPECT_FALSE(edit(1).isVisible());
}

TEST_F(Editor, KeysOfTheStandardSetReachTheFocusedBox) {
    begin();
    type(0, "77");
    for (const auto& [key, modifier] :
         {std::pair{Qt::Key_Backspace, Qt::AltModifier}, {Qt::Key_Z, Qt::ControlModifier}}) {
        edit(0).setText("5");
        edit(0).selectAll();
        QTest::keyClicks(&edit(0), "88");
        QTest::keyClick(&edit(0), key, modifier);
        EXPECT_NE(edit(0).text(), "88") << "undone";
    }
    edit(0).setText("123");
    edit(0).selectAll();
    QTest::keyClick(&edit(0), Qt::Key_Insert, Qt::ControlModifier);
    QTest::keyClick(&edit(0), Qt::Key_Delete, Qt::ShiftModifier);
    EXPECT_EQ(edit(0).text(), "");
    QTest::keyClick(&edit(0), Qt::Key_Insert, Qt::ShiftModifier);
    EXPECT_EQ(edit(0).text(), "123");
    focusBack();
    QTest::keyClick(&edit(0), Qt::Key_F6);
    EXPECT_EQ(QApplication::focusWidget(), &listBox());
    EXPECT_EQ(doc().activeEditor(), "null");
    QTest::keyClick(&listBox(), Qt::Key_F6, Qt::ShiftModifier);
    EXPECT_EQ(QApplication::focusWidget(), &edit(0));
    EXPECT_EQ(doc().activeEditor(), "NvParam");
}

} // namespace
