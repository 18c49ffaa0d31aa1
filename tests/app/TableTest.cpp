// Several values of an item at once, and what they mean in their unit.

#include "tests/app/WindowFixture.h"

#include <QClipboard>

namespace {

class Table : public WindowFixture, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        safe = GetParam();
        writeText(folder / "NV Decoder.units", "1 2-5 dBm 0.5 - -1 2\n");
        plugIn("1 0 0901fe030405\n2 0 01020304\n3 0 07\n");
        start("NV_TABLE,1,ReadWrite,<BYTE,kind>#<SIGNED_BYTE,a>#<SIGNED_BYTE,b>#<SIGNED_BYTE,c>#<SIGNED_BYTE,d>#"
              "<BYTE,end>#\nNV_FIXED,2,ReadOnly,<BYTE,a>#<BYTE,b>#<BYTE,c>#<BYTE,=d>#\nNV_ONE,3,ReadWrite,<BYTE,a>#\n");
        readPhone();
        clickLine(0);
    }
    std::string shown() {
        std::string texts;
        for (int row = 0; row < rowCount(); ++row) {
            texts += (row == 0 ? "" : ",") + edit(row).text().toStdString();
        }
        return texts;
    }
    std::string stored() {
        std::string values;
        for (const SubItem& subItem : doc().nvItems()[0].getSubItems()) {
            values += (values.empty() ? "" : ",") + subItem.value;
        }
        return values;
    }
    void paste(int row, const char* text) {
        clickRow(row);
        QApplication::clipboard()->setText(text);
        QTest::keyClick(&edit(row), Qt::Key_V, Qt::ControlModifier);
    }
    void select(int first, int last) {
        clickRow(first);
        focusBack();
        for (int row = first; row < last; ++row) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down, Qt::ShiftModifier);
        }
    }
    std::string copied(CommandId command) {
        frame().runCommand(command);
        return QApplication::clipboard()->text().toStdString();
    }
    std::string unit(int row) {
        const auto* label = frame().findChild<QLabel*>(QString("ctl_%1_unit").arg(7000 + row));
        return label == nullptr || !label->isVisible() ? "" : label->text().toStdString();
    }
};

TEST_P(Table, IsChangedAsOneEditOrNotAtAll) {
    for (const bool inHex : {false, true}) {
        paste(2, inHex ? "0xfffffffffffffffb\t7f" : "-5, 127");
        EXPECT_EQ(shown(), inHex ? "9,1,fffffffffffffffb,7f,4,5" : "9,1,-5,127,4,5");
        EXPECT_EQ(stored(), "9,1,-5,127,4,5");
        select(1, 4);
        frame().runCommand(CommandId::kInterpolate);
        select(4, 5);
        frame().runCommand(CommandId::kFillDown);
        clickLine(2);
        clickLine(0);
        EXPECT_EQ(stored(), "9,1,2,3,4,4");
        while (stored() != "9,1,-2,3,4,5") {
            ASSERT_TRUE(frame().canRun(CommandId::kUndo));
            clickRow(0);
            frame().runCommand(CommandId::kUndo);
        }
        for (const auto& [row, text] : {std::pair(3, "1\n2\n3"), {2, "1\n\n3"}, {2, "1\n128"}}) {
            expectMessage();
            paste(row, text);
            EXPECT_TRUE(takeMessage().ends_with(" Nothing was pasted."));
        }
        EXPECT_EQ(shown(), inHex ? "9,1,fffffffffffffffe,3,4,5" : "9,1,-2,3,4,5");
        clickHex();
    }
    paste(1, "1 2 3 4");
    select(1, 2);
    fillIn("1.5");
    frame().runCommand(CommandId::kAddOrMultiply);
    EXPECT_EQ(stored(), "9,3,4,3,4,5");
    frame().runCommand(CommandId::kUndo);
    EXPECT_EQ(stored(), "9,1,2,3,4,5");
}

TEST_P(Table, IsCopiedAlsoWhereItCannotBeChanged) {
    clickRow(3);
    QTest::keyClick(&edit(3), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "1\n-2\n3\n4\n") << "the table, not what is before and behind it";
    QTest::mouseClick(&edit(1), Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_EQ(copied(CommandId::kCopyValues), "1\n-2\n3\n");
    clickLine(1);
    EXPECT_EQ(copied(CommandId::kCopyWithDescriptions), "a\t1\nb\t2\nc\t3\n'=d\t4\n");
    QTest::mouseClick(&item<QLabel>(8003), Qt::LeftButton);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(copied(CommandId::kCopyValues), "3\n4\n");
    EXPECT_FALSE(frame().canRun(CommandId::kFillDown));
}

TEST_P(Table, ShowsWhatTheValuesMean) {
    EXPECT_EQ(unit(0) + "|" + unit(1) + "|" + unit(2) + "|" + unit(5), "|0.5 dBm|-1.0 dBm|");
    type(1, "5");
    EXPECT_EQ(unit(1), "2.5 dBm, high");
    type(1, "-");
    EXPECT_EQ(unit(1), "");
    type(1, "-3");
    EXPECT_EQ(unit(1), "-1.5 dBm, low");
    clickHex();
    EXPECT_EQ(frame().findChild<QLabel*>("ctl_7001_unit")->accessibleName(), "-1.5 dBm, low");
    clickLine(2);
    EXPECT_EQ(unit(1), "");
}

INSTANTIATE_TEST_SUITE_P(Hands, Table, testing::Bool());

} // namespace
