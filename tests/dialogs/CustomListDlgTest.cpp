#include "app/dialogs/CCustomListDlg.h"
#include "app/dialogs/DialogControls.h"
#include "tests/dialogs/DialogDriver.h"

#include <gtest/gtest.h>

#include <QPushButton>
#include <QScrollBar>
#include <algorithm>
#include <string>

namespace {

constexpr int kAvailable = 1012;
constexpr int kCustomized = 1013;
constexpr int kAddAll = 1014;
constexpr int kAdd = 1015;
constexpr int kRemove = 1016;
constexpr int kRemoveAll = 1017;
constexpr int kSort = 1018;

/// Items numbered 100, 99, 98, ... whose names ascend: A, B, C, ...
std::vector<NvItem> items(int count) {
    std::vector<NvItem> result;
    for (int i = 0; i < count; ++i) {
        result.emplace_back(std::string(1, static_cast<char>('A' + i)) + "," + std::to_string(100 - i) +
                            ",ReadWrite,<BYTE,x>#");
    }
    return result;
}

class CustomListDialog : public testing::Test {
protected:
    CustomListDialog() {
        dialog.setAvailableItems(items(8));
        dialog.setCustomizedItems({NvItem("P,30,r,<BYTE,x>#"), NvItem("Q,10,r,<BYTE,x>#"), NvItem("R,20,r,<BYTE,x>#")});
    }

    DialogListBox& list(int id) const { return dialog.item<DialogListBox>(id); }

    std::string lines(int id) const {
        QStringList texts;
        for (int row = 0; row < list(id).model()->rowCount(); ++row) {
            texts.append(list(id).model()->index(row, 0).data().toString());
        }
        return texts.join(' ').replace('\t', ':').toStdString();
    }

    std::string selected(int id) const {
        std::string text;
        for (int row = 0; row < list(id).model()->rowCount(); ++row) {
            text += list(id).selectionModel()->isRowSelected(row) ? 'x' : '.';
        }
        return text;
    }

    void clickLine(int id, int row, Qt::KeyboardModifiers modifiers = {}) {
        const QRect rect = list(id).visualRect(list(id).model()->index(row, 0));
        QTest::mouseClick(list(id).viewport(), Qt::LeftButton, modifiers, rect.center());
    }

    void chooseSort(Qt::Key key) {
        dialog.item<QComboBox>(kSort).setFocus();
        press(dialog, key);
    }

    CCustomListDlg dialog;
};

TEST_F(CustomListDialog, OpensWithBothListsAndNoSortChosen) {
    EXPECT_EQ(runDialog(dialog,
                        [&] {
                            EXPECT_EQ(lines(kAvailable), "100:A 99:B 98:C 97:D 96:E 95:F 94:G 93:H");
                            EXPECT_EQ(lines(kCustomized), "10:Q 20:R 30:P");
                            const auto& sort = dialog.item<QComboBox>(kSort);
                            EXPECT_EQ(sort.currentIndex(), -1);
                            EXPECT_EQ(sort.itemText(0), "ID Num...");
                            EXPECT_EQ(sort.itemText(1), "Alpha...");
                            EXPECT_TRUE(list(kAvailable).hasFocus());
                            press(dialog, Qt::Key_Return);
                        }),
              QDialog::Accepted)
        << "Enter saves";
    EXPECT_EQ(dialog.customizedItems().size(), 3U);
}

TEST_F(CustomListDialog, MovesItems) {
    runDialog(dialog, [&] {
        clickLine(kAvailable, 2);
        clickLine(kAvailable, 5, Qt::ControlModifier);
        click(dialog, kAdd);
        EXPECT_EQ(lines(kCustomized), "10:Q 20:R 30:P 95:F 98:C");
        EXPECT_EQ(selected(kAvailable), "........");
        clickLine(kAvailable, 2);
        click(dialog, kAdd);
        EXPECT_EQ(lines(kCustomized), "10:Q 20:R 30:P 95:F 98:C");
        clickLine(kCustomized, 1);
        clickLine(kCustomized, 3, Qt::ControlModifier);
        click(dialog, kRemove);
        EXPECT_EQ(lines(kCustomized), "10:Q 30:P 98:C");
        click(dialog, kRemove);
        click(dialog, kAdd);
        EXPECT_EQ(lines(kCustomized), "10:Q 30:P 98:C") << "nothing is selected";
        click(dialog, kAddAll);
        EXPECT_EQ(lines(kCustomized), "10:Q 30:P 93:H 94:G 95:F 96:E 97:D 98:C 99:B 100:A");
        click(dialog, kRemoveAll);
        EXPECT_EQ(lines(kCustomized), "");
    });
}

TEST_F(CustomListDialog, SortsOnChoiceAndMovesGoBackToNumbers) {
    runDialog(dialog, [&] {
        chooseSort(Qt::Key_Down);
        EXPECT_EQ(lines(kAvailable), "93:H 94:G 95:F 96:E 97:D 98:C 99:B 100:A");
        chooseSort(Qt::Key_Down);
        EXPECT_EQ(dialog.item<QComboBox>(kSort).currentText(), "Alpha...");
        EXPECT_EQ(lines(kAvailable), "100:A 99:B 98:C 97:D 96:E 95:F 94:G 93:H");
        EXPECT_EQ(lines(kCustomized), "30:P 10:Q 20:R");
        clickLine(kAvailable, 0);
        click(dialog, kAdd);
        EXPECT_EQ(lines(kCustomized), "10:Q 20:R 30:P 100:A");
        EXPECT_EQ(dialog.item<QComboBox>(kSort).currentText(), "Alpha...");
        click(dialog, kIdOk);
    });
    EXPECT_EQ(dialog.customizedItems().back().getName(), "A");
}

TEST_F(CustomListDialog, EmulatesShiftAndCtrl) {
    runDialog(dialog, [&] {
        clickLine(kAvailable, 2, Qt::ShiftModifier);
        EXPECT_EQ(selected(kAvailable), "xxx.....") << "the first Shift starts at the top";
        clickLine(kAvailable, 4);
        EXPECT_EQ(selected(kAvailable), "....x...");
        clickLine(kAvailable, 4, Qt::ControlModifier);
        EXPECT_EQ(selected(kAvailable), "....x...") << "Ctrl never removes a line";
        clickLine(kAvailable, 6, Qt::ControlModifier);
        EXPECT_EQ(selected(kAvailable), "....x.x.");
        clickLine(kCustomized, 1);
        EXPECT_EQ(selected(kAvailable), "....x.x.") << "each list has its own selection";
        clickLine(kAvailable, 5, Qt::ShiftModifier);
        EXPECT_EQ(selected(kAvailable), "....xxx.");
        clickLine(kAvailable, 5);
        EXPECT_EQ(selected(kAvailable), ".....x..") << "a plain click leaves one line";
    });
}

TEST_F(CustomListDialog, FollowsTheKeysThatItSees) {
    runDialog(dialog, [&] {
        clickLine(kAvailable, 1);
        QTest::keyPress(dialog.focusWidget(), Qt::Key_Shift);
        clickLine(kAvailable, 3);
        EXPECT_EQ(selected(kAvailable), ".xxx....");
        QTest::keyRelease(dialog.focusWidget(), Qt::Key_Shift);
        QTest::keyPress(dialog.focusWidget(), Qt::Key_Control);
        clickLine(kAvailable, 6);
        EXPECT_EQ(selected(kAvailable), ".xxx..x.");
        QTest::keyRelease(dialog.focusWidget(), Qt::Key_Control);
        clickLine(kAvailable, 0);
        EXPECT_EQ(selected(kAvailable), "x.......");
        QTest::keyPress(dialog.focusWidget(), Qt::Key_Shift);
    });
    // Shift is still down for the dialog that closed, and its last click was on line 0.
    dialog.setAvailableItems(items(8));
    runDialog(dialog, [&] {
        clickLine(kAvailable, 5);
        EXPECT_EQ(selected(kAvailable), ".....x..") << "each opening starts afresh";
    });
}

TEST_F(CustomListDialog, WorksFromTheKeyboard) {
    runDialog(dialog, [&] {
        press(dialog, Qt::Key_Down);
        EXPECT_EQ(selected(kAvailable), "........") << "arrows move the caret alone";
        press(dialog, Qt::Key_Space);
        press(dialog, Qt::Key_Down);
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Space, Qt::ControlModifier);
        const std::string after = selected(kAvailable);
        EXPECT_EQ(std::count(after.begin(), after.end(), 'x'), 2) << after;
        press(dialog, Qt::Key_Tab);
        EXPECT_TRUE(list(kCustomized).hasFocus());
        press(dialog, Qt::Key_Tab);
        press(dialog, Qt::Key_Tab);
        press(dialog, Qt::Key_Tab);
        EXPECT_EQ(dialog.focusWidget(), &dialog.item<QWidget>(kAdd));
        press(dialog, Qt::Key_Space);
        EXPECT_EQ(list(kCustomized).model()->rowCount(), 5);
        press(dialog, Qt::Key_Escape);
    });
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
}

TEST_F(CustomListDialog, ScrollsLongLinesIntoView) {
    dialog.setAvailableItems({NvItem(std::string(300, 'W') + ",1,r,<BYTE,x>#"), NvItem("A,2,r,<BYTE,x>#")});
    runDialog(dialog, [&] {
        QTest::qWait(0);
        DialogListBox& box = list(kAvailable);
        const QFontMetrics metrics(box.font());
        const int character = metrics.averageCharWidth();
        const QString line = box.model()->index(0, 0).data().toString();
        EXPECT_EQ(box.horizontalExtent(), metrics.size(Qt::TextExpandTabs, line).width() + 6 * character);
        EXPECT_EQ(box.horizontalScrollBar()->maximum() + box.viewport()->width(), box.horizontalExtent());
        click(dialog, kRemoveAll);
        EXPECT_EQ(list(kCustomized).horizontalExtent(), 5 * character) << "an empty list";
    });
}

} // namespace
