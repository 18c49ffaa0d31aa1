// What the user has typed, in safe hands: it is stored, held, marked, undone, and never lost.

#include "tests/app/WindowFixture.h"

#include <QMessageBox>

namespace {

class Edits : public WindowFixture {
protected:
    Edits() { safe = true; }

    void SetUp() override {
        plugIn();
        start();
        readPhone();
        Calvane catalog;
        catalog.loadDecoderRingFile("NV Decoder.vrk");
        catalog.createMoxFile(path("bench.mox").toStdString(), doc().nvItems());
        clickLine(0);
    }
    void TearDown() override { ReviewSwitch::setOn(false); } // and nobody is asked at the end

    QString path(const char* name) const { return QString::fromStdString((folder / name).string()); }
    const NvItem* find(int number) {
        const auto& items = doc().nvItems();
        const auto found = std::ranges::find(items, number, &NvItem::getId);
        return found == items.end() ? nullptr : &*found;
    }
    std::string value(int number, std::size_t field = 0) { return find(number)->getSubItems()[field].value; }
    std::string textOf(const char* name) { return frame().findChild<QLabel*>(name)->text().toStdString(); }
    std::string hint(int row) {
        auto* label = frame().findChild<QLabel*>(QString("ctl_%1_hint").arg(7000 + row));
        return label != nullptr && label->isVisible() ? label->text().toStdString() : "";
    }
    /// The lines that are marked as changed.
    std::vector<int> marked() {
        std::vector<int> numbers;
        for (int row = 0; row < listBox().model()->rowCount(); ++row) {
            const QModelIndex line = listBox().model()->index(row, 0);
            if (line.data(Qt::FontRole).value<QFont>().bold()) {
                numbers.push_back(line.data().toString().section('\t', 0, 0).toInt());
            }
        }
        return numbers;
    }
    int selectedNumber() { return doc().selectedItem() == nullptr ? -1 : doc().selectedItem()->getId(); }
    void key(int row, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        focusBack();
        QTest::keyClick(&edit(row), key, modifiers);
    }
    void settleEvents() {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
        QTest::qWait(1); // what was posted
    }
};

struct ListCommand {
    const char* name;
    CommandId id;
    const char* answer;      ///< to the question whether changes stay; empty where none is asked
    const char* file = "";   ///< chosen in a file dialog
    bool saves = false;      ///< the list's dialog is saved
    const char* search = ""; ///< looked for
};

constexpr ListCommand kListCommands[] = {
    {"read from the phone", CommandId::kReadFromPhone, "Keep Changes"},
    {"read from a file", CommandId::kReadFromMox, "Keep Changes", "bench.mox"},
    {"list all supported items", CommandId::kReadSupportedItems, "Keep Changes"},
    {"sort by name", CommandId::kSortAlphabetical, ""},
    {"sort by number", CommandId::kSortByIdNumber, ""},
    {"customize the list", CommandId::kCustomizedList, "", "", true},
    {"search", CommandId::kSearch, "", "", false, "NV_ZETA"},
};

class EditsThrough : public Edits {
protected:
    void runAnswering(const ListCommand& command) {
        const auto rest = [this, command] {
            if (*command.file != '\0') {
                chooseFile(path(command.file));
            } else if (command.saves || *command.search != '\0') {
                whenAsked([command](QWidget* dialog) {
                    QTest::keyClicks(dialog->focusWidget(), command.search);
                    QTest::keyClick(dialog, Qt::Key_Return);
                });
            }
        };
        if (*command.answer == '\0') {
            rest();
        } else {
            whenAsked([command, rest](QWidget* box) {
                rest();
                for (auto* button : box->findChildren<QAbstractButton*>()) {
                    if (button->text().remove('&') == command.answer) {
                        button->click();
                        return;
                    }
                }
                ADD_FAILURE() << "nobody asks whether changes stay";
            });
        }
    }
};

TEST_F(EditsThrough, EveryCommandThatReplacesOrOrdersTheList) {
    int typed = 60;
    for (const ListCommand& command : kListCommands) {
        SCOPED_TRACE(command.name);
        const std::string text = std::to_string(++typed);
        type(0, QString::fromStdString(text));
        runAnswering(command);
        run(command.id);
        settleEvents();
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
        EXPECT_EQ(value(10), text);
        EXPECT_EQ(marked(), std::vector<int>{10});
        EXPECT_EQ(doc().changedItems().size(), 1u);
        EXPECT_EQ(selectedNumber(), 10) << "the selection follows its item";
        EXPECT_EQ(edit(0).text().toStdString(), text);
        EXPECT_EQ(listBox().selectionModel()->selectedIndexes().value(0).row(), doc().selectedIndex());
    }
}

} // namespace
