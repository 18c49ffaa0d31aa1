#include "app/dialogs/CCustomListDlg.h"
#include "app/dialogs/DialogControls.h"
#include "tests/dialogs/DialogDriver.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <string>

namespace {

constexpr int kAvailable = 1012;
constexpr int kCustomized = 1013;
constexpr int kAddAll = 1014;
constexpr int kAdd = 1015;
constexpr int kRemove = 1016;
constexpr int kRemoveAll = 1017;
constexpr int kSort = 1018;
constexpr int kOpenList = 1110;
constexpr int kSaveList = 1111;

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
        dialog.setCustomizedItems({NvItem("P,30,r,<BYTE,x>#"), NvItem("Q,10,r,<BYTE,x>#"), NvItem("P,20,r,<BYTE,x>#")});
    }
    DialogListBox& list(int id) const { return dialog.item<DialogListBox>(id); }
    std::string lines(int id) const {
        QStringList texts;
        for (int row = 0; row < list(id).model()->rowCount(); ++row) {
            texts.append(list(id).model()->index(row, 0).data().toString());
        }
        return texts.join(' ').replace('\t', ':').toStdString();
    }
    /// Of the available lines.
    std::string selected() const {
        std::string text;
        for (int row = 0; row < list(kAvailable).model()->rowCount(); ++row) {
            text += list(kAvailable).selectionModel()->isRowSelected(row) ? 'x' : '.';
        }
        return text;
    }
    void clickLine(int id, int row, Qt::KeyboardModifiers modifiers = {}) {
        const QRect rect = list(id).visualRect(list(id).model()->index(row, 0));
        QTest::mouseClick(list(id).viewport(), Qt::LeftButton, modifiers, rect.center());
    }

    CCustomListDlg dialog;
};

TEST_F(CustomListDialog, MovesItems) {
    runDialog(dialog, [&] {
        EXPECT_EQ(lines(kAvailable), "100:A 99:B 98:C 97:D 96:E 95:F 94:G 93:H");
        EXPECT_EQ(lines(kCustomized), "10:Q 20:P 30:P");
        clickLine(kAvailable, 2);
        clickLine(kAvailable, 5, Qt::ControlModifier);
        click(dialog, kAdd);
        EXPECT_EQ(lines(kCustomized), "10:Q 20:P 30:P 95:F 98:C");
        clickLine(kCustomized, 1);
        clickLine(kCustomized, 3, Qt::ControlModifier);
        click(dialog, kRemove);
        click(dialog, kRemove);
        click(dialog, kAdd);
        EXPECT_EQ(lines(kCustomized), "10:Q 30:P 98:C") << "the second time nothing is selected";
        click(dialog, kAddAll);
        EXPECT_EQ(lines(kCustomized), "10:Q 30:P 93:H 94:G 95:F 96:E 97:D 98:C 99:B 100:A") << "each number once";
        click(dialog, kRemoveAll);
        EXPECT_EQ(lines(kCustomized), "");
    });
}

TEST_F(CustomListDialog, SortsOnChoiceAndMovesGoBackToNumbers) {
    runDialog(dialog, [&] {
        auto& sort = dialog.item<QComboBox>(kSort);
        EXPECT_EQ(sort.currentIndex(), -1);
        sort.setFocus();
        press(dialog, Qt::Key_Down);
        EXPECT_EQ(lines(kAvailable), "93:H 94:G 95:F 96:E 97:D 98:C 99:B 100:A");
        press(dialog, Qt::Key_Down);
        EXPECT_EQ(sort.currentText(), "Alpha...");
        EXPECT_EQ(lines(kAvailable), "100:A 99:B 98:C 97:D 96:E 95:F 94:G 93:H");
        EXPECT_EQ(lines(kCustomized), "20:P 10:Q") << "of items with one name the first stays";
        clickLine(kAvailable, 0);
        click(dialog, kAdd);
        click(dialog, kIdOk);
    });
    EXPECT_EQ(lines(kCustomized), "10:Q 20:P 100:A");
}

TEST_F(CustomListDialog, SelectsLinesAsShiftCtrlAndKeysSay) {
    runDialog(dialog, [&] {
        clickLine(kAvailable, 2, Qt::ShiftModifier);
        EXPECT_EQ(selected(), "xxx.....") << "the first Shift starts at the top";
        clickLine(kAvailable, 4);
        clickLine(kAvailable, 4, Qt::ControlModifier);
        EXPECT_EQ(selected(), "....x...") << "Ctrl never removes a line";
        clickLine(kCustomized, 1);
        clickLine(kAvailable, 6, Qt::ControlModifier);
        EXPECT_EQ(selected(), "....x.x.") << "each list has its own selection";
        clickLine(kAvailable, 5, Qt::ShiftModifier);
        EXPECT_EQ(selected(), "....xxx.");
    });
}

TEST_F(CustomListDialog, OpensAndSavesLists) {
    const TemporaryFolder folder;
    std::string said;
    // The file's name is typed, then a message read where there is one.
    const auto press = [&](int button, bool isTold) {
        whenAsked<QFileDialog>([&, isTold](QFileDialog& files) {
            files.findChild<QLineEdit*>("fileNameEdit")->setText(QString::fromStdString((folder / "l.txt").string()));
            if (isTold) {
                whenAsked<QMessageBox>(
                    [&](QMessageBox& box) { said = (box.text() + "\n" + box.detailedText()).toStdString(); });
            }
            QTest::keyClick(&files, Qt::Key_Return);
        });
        click(dialog, button);
    };
    runDialog(dialog, [&] {
        press(kSaveList, false);
        EXPECT_EQ(readText(folder / "l.txt"), "# NV items of a list: number, name\n10 Q\n20 P\n30 P\n");
        writeText(folder / "l.txt", "99 B\n100 X\n10\n5 Y\n");
        press(kOpenList, true);
        EXPECT_EQ(lines(kCustomized), "10:Q 99:B 100:A") << "one of the list's own stays, what no side has is left out";
        EXPECT_EQ(said,
                  "3 lines do not fit the decoder ring. The other items are listed, and those with other names too."
                  "\n\nLine 2: item 100 is A in the decoder ring, not X.\n"
                  "Line 3: item 10 is not in the decoder ring.\nLine 4: item 5 is not in the decoder ring.\n");
        writeText(folder / "l.txt", "99 B\nX\n");
        press(kOpenList, true);
        EXPECT_NE(said.find("line 2: 'X' is no item number"), std::string::npos) << said;
    });
}

} // namespace
