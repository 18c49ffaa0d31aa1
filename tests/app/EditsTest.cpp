// What the user has typed, in safe hands: it is stored, held, marked, undone, and never lost.

#include "tests/app/WindowFixture.h"

#include <QDialogButtonBox>
#include <QPointer>

namespace {

class Edits : public WindowFixture {
protected:
    Edits() { safe = true; }

    void SetUp() override {
        startAndRead();
        Calvane catalog;
        catalog.loadDecoderRingFile("NV Decoder.vrk");
        catalog.createMoxFile(path("bench.mox").toStdString(), doc().nvItems());
        catalog.createMoxFile(path("other item.mox").toStdString(), {doc().nvItems()[1]});
        clickLine(0);
    }

    const NvItem* find(int number) {
        const auto& items = doc().nvItems();
        const auto found = std::ranges::find(items, number, &NvItem::getId);
        return found == items.end() ? nullptr : &*found;
    }
    std::string value(int number, std::size_t field = 0) {
        const NvItem* item = find(number);
        return item == nullptr ? "not listed" : item->getSubItems()[field].value;
    }
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
    void store(int row, const QString& text) {
        type(row, text);
        key(row, Qt::Key_Return);
    }
    /// Another program writes item 10 with this level.
    void giveToPhone(std::uint8_t level) {
        const std::array<std::uint8_t, 128> data{level, 0xFE, 0xFF};
        NvItem changed = *find(10);
        changed.setRawData(data);
        Calvane other;
        other.loadDecoderRingFile("NV Decoder.vrk");
        other.writeToPhone("COM1", {changed}, false, nullptr);
    }
    /// Presses Write in the next review, and closes it when it has ended.
    void writeReviewed() {
        whenAsked([](QWidget* window) {
            const auto isIdle = [&] { return window->findChild<QWidget*>("review_progress")->isHidden(); };
            EXPECT_TRUE(QTest::qWaitFor(isIdle, 30000));
            window->findChild<QPushButton*>("review_write")->click();
            EXPECT_TRUE(QTest::qWaitFor(isIdle, 30000));
            window->close();
        });
    }
    void settleEvents() {
        QTest::qWait(1); // what was posted
        ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
        QTest::qWait(1);
    }
    /// Reads while there are changes, whose question gets this answer.
    void answerAndSettle(const QString& button, CommandId command) {
        answer(button);
        run(command);
        settleEvents();
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
    {"read from a file without the item", CommandId::kReadFromMox, "Keep Changes", "other item.mox"},
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
                fillIn(command.search);
            }
        };
        if (*command.answer == '\0') {
            rest();
        } else {
            answer(command.answer, rest);
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

TEST_F(EditsThrough, NoCommandWhileAValueIsHeld) {
    for (const ListCommand& command : kListCommands) {
        SCOPED_TRACE(command.name);
        const auto before = numbersOf(doc().nvItems());
        type(0, "7x");
        type(1, "-9");
        run(command.id);
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
        EXPECT_FALSE(frame().isBusy());
        EXPECT_EQ(numbersOf(doc().nvItems()), before);
        EXPECT_EQ(edit(0).text(), "7x");
        EXPECT_EQ(QApplication::focusWidget(), &edit(0));
        EXPECT_EQ(hint(0), "no decimal number, 0 to 255");
        EXPECT_EQ(value(10, 1), "-9") << "the values that fit are stored";
        clickLine(1);
        EXPECT_EQ(selectedNumber(), 10) << "its item is not left either";
        runAnswering(command);
        key(0, Qt::Key_Escape);
        settleEvents();
        EXPECT_EQ(QApplication::activeModalWidget(), nullptr) << "what waited has run";
        EXPECT_EQ(hint(0), "");
        EXPECT_EQ(edit(0).text(), "5");
        type(1, "-2");
        key(1, Qt::Key_Return);
    }
}

TEST_F(Edits, AreLostBySortsAndReadsWithBareCommands) {
    type(0, "7x");
    run(CommandId::kReadFromPhone);
    EXPECT_EQ(hint(0), "no decimal number, 0 to 255");
    run(CommandId::kReviewBeforeWriting);
    EXPECT_EQ(hint(0) + textOf("editor_notice"), "") << "nothing is held, and nothing waits";
    type(0, "66");
    EXPECT_FALSE(frame().isBusy());
    run(CommandId::kSortAlphabetical);
    EXPECT_EQ(value(10), "5");
    EXPECT_TRUE(doc().changedItems().empty());
    EXPECT_EQ(selectedNumber(), 20) << "the position stays selected, not the item";
    EXPECT_EQ(textOf("editor_item"), "20 NV_ALPHA");
    EXPECT_TRUE(listBox().selectionModel()->selectedIndexes().isEmpty());
    run(CommandId::kReadSupportedItems);
    settleEvents();
    EXPECT_EQ(doc().nvItems().size(), 4u);
}

TEST_F(Edits, AreTakenAsTheyWouldBeStoredOnlyWhenAgreed) {
    const struct {
        int row;
        bool hex;
        const char* typed;
        const char* says; ///< beside the box after Enter
        const char* stored;
    } rows[] = {
        {0, false, "300", "0 to 255; Enter stores it as 44", "44"},
        {0, true, "12d", "0 to ff; Enter stores it as 2d", "45"},
        {0, false, "", "empty, 0 to 255", ""},
        {0, true, "xyz", "no hexadecimal number, 0 to ff", ""},
        {1, false, "-32769", "-32768 to 32767", ""},
        {1, true, "8000", "ffffffffffff8000 to 7fff", ""},
    };
    for (const auto& one : rows) {
        SCOPED_TRACE(one.typed);
        const std::string before = value(10, static_cast<std::size_t>(one.row));
        if (hexBox().isChecked() != one.hex) {
            clickHex();
        }
        type(one.row, one.typed);
        key(one.row, Qt::Key_Return);
        EXPECT_EQ(hint(one.row), one.says);
        EXPECT_EQ(value(10, static_cast<std::size_t>(one.row)), before);
        key(one.row, Qt::Key_Return);
        EXPECT_EQ(hint(one.row), *one.stored == '\0' ? one.says : "");
        EXPECT_EQ(value(10, static_cast<std::size_t>(one.row)), *one.stored == '\0' ? before : one.stored);
        key(one.row, Qt::Key_Escape);
        EXPECT_EQ(hint(one.row), "");
    }
}

TEST_F(Edits, AreMarkedUndoneAndReverted) {
    store(0, "66");
    enter(1, "8");
    QTest::keyClick(&edit(0), Qt::Key_F6);
    EXPECT_EQ(marked(), (std::vector<int>{10, 20}));
    EXPECT_EQ(textOf("editor_state"), "readwrite, 1 of 1 value changed");
    EXPECT_TRUE(edit(0).font().bold());
    EXPECT_TRUE(edit(0).toolTip().startsWith("Was 7 (")) << edit(0).toolTip().toStdString();
    type(0, "9");
    key(0, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(edit(0).text(), "8") << "the box's typing first";
    run(CommandId::kUndo);
    EXPECT_EQ(value(20), "7");
    run(CommandId::kUndo);
    EXPECT_EQ(value(10), "5");
    EXPECT_EQ(selectedNumber(), 10) << "what is undone is shown";
    EXPECT_EQ(marked(), std::vector<int>());
    EXPECT_EQ(doc().changedItems(), (std::set<std::size_t>{0, 1})) << "what is sent is the review's business";
    run(CommandId::kRedo);
    run(CommandId::kRedo);
    EXPECT_EQ(marked(), (std::vector<int>{10, 20}));
    run(CommandId::kRevertAll);
    EXPECT_EQ(marked(), std::vector<int>());
    run(CommandId::kUndo);
    EXPECT_EQ(value(10) + " " + value(20), "66 8");
    enter(0, "7x");
    type(1, "77");
    run(CommandId::kRevertSubField);
    EXPECT_EQ(value(10, 0) + " " + value(10, 1), "66 -2");
    EXPECT_EQ(edit(0).text(), "7x");
    run(CommandId::kRevertItem);
    EXPECT_EQ(marked(), std::vector<int>{20});
}

TEST_F(Edits, ThatWereReadAnewAreNotUndone) {
    store(0, "66");
    giveToPhone(9);
    answerAndSettle("Discard Changes", CommandId::kReadFromPhone);
    EXPECT_EQ(value(10), "9");
    EXPECT_EQ(marked(), std::vector<int>());
    run(CommandId::kUndo);
    EXPECT_EQ(value(10), "9");
    type(1, "3");
    answer("Cancel");
    run(CommandId::kReadFromPhone);
    EXPECT_FALSE(frame().isBusy());
}

TEST_F(Edits, MadeWhileTheReadRunsStayWhenTheOlderOnesGo) {
    store(0, "66");
    addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 200);
    refuse(20, 5);
    answer("Discard Changes");
    run(CommandId::kReadFromPhone);
    type(1, "3");
    enter(1, "8");
    ASSERT_TRUE(frame().isBusy());
    settleEvents();
    EXPECT_EQ(value(10, 0) + " " + value(10, 1), "5 3");
    EXPECT_EQ(value(20), "8") << "of which the phone has no value";
    EXPECT_EQ(numbersOf(doc().nvItems()), (std::vector<int>{10, 20, 30, 40}));
    EXPECT_EQ(marked(), (std::vector<int>{10, 20}));
    EXPECT_EQ(doc().changedItems(), (std::set<std::size_t>{0, 1}));
}

TEST_F(Edits, KeepTheirSubFieldsWhenThePhoneHasOtherValuesByNow) {
    store(1, "3");
    giveToPhone(9);
    answerAndSettle("Keep Changes", CommandId::kReadFromPhone);
    EXPECT_EQ(value(10, 0) + " " + value(10, 1), "9 3");
    EXPECT_EQ(textOf("editor_state"), "readwrite, 1 of 2 values changed");
}

TEST_F(Edits, AreAskedAboutBeforeTheWindowCloses) {
    type(0, "66");
    answer("Cancel");
    frame().close();
    ASSERT_NE(window().activeFrame(), nullptr);
    EXPECT_EQ(value(10), "66");
    app().newDocument();
    EXPECT_TRUE(doc().nvItems().empty());
    answer("Cancel");
    window().close();
    EXPECT_TRUE(window().isVisible());
    EXPECT_EQ(value(10), "66") << "the document in question is shown";
    frame().showMaximized();
    type(1, "bad");
    frame().close();
    ASSERT_NE(window().activeFrame(), nullptr) << "closing waits for the value";
    answer("Discard");
    key(1, Qt::Key_Escape);
    EXPECT_TRUE(QTest::qWaitFor([&] { return CSplitterFrame::allIn(window()).size() == 1; }));
}

TEST_F(Edits, MadeWhileAReadRunsStayAndAreNotWrittenBeforeItsEnd) {
    tessra::FaultRule rule = serverCodeAt(tessra::Call::kSend, 0x80042003);
    rule.item = 10;
    service->faults("COM1").add(rule);
    addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 50);
    run(CommandId::kReadFromPhone);
    type(0, "66");
    ASSERT_TRUE(frame().isBusy());
    settleEvents();
    ASSERT_NE(find(10), nullptr);
    EXPECT_EQ(value(10), "66");
    EXPECT_EQ(marked(), std::vector<int>{10});
    answer("Keep Changes");
    run(CommandId::kReadFromPhone);
    ASSERT_TRUE(frame().isBusy());
    const QPointer<CSplitterFrame> closing = &frame();
    whenAsked([](QWidget* box) {
        const auto buttons = box->findChild<QDialogButtonBox*>()->buttons();
        EXPECT_EQ(buttons.size(), 2) << "Discard and Cancel: the read has the phone";
        qobject_cast<QMessageBox*>(box)->button(QMessageBox::Discard)->click();
    });
    frame().close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return closing.isNull(); }, 30000));
}

TEST_F(Edits, LoseTheirMarksByAVerifiedWriteAndGetThemBackByUndo) {
    type(0, "66");
    writeReviewed();
    run(CommandId::kWriteChangedToPhone);
    EXPECT_EQ(marked(), std::vector<int>());
    run(CommandId::kUndo);
    EXPECT_EQ(value(10), "5");
    EXPECT_EQ(marked(), std::vector<int>{10});
    whenAsked([this](QWidget* box) {
        writeReviewed();
        QTest::mouseClick(box->findChild<QDialogButtonBox*>()->buttons().value(0), Qt::LeftButton);
    });
    window().close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window().isVisible(); }));
    EXPECT_EQ(numbersWritten(), (std::vector<int>{10, 40, 10, 40})) << "written before it was left";
}

TEST_F(Edits, AnItemThatIsGoneLeavesAnEmptyEditor) {
    whenAsked([](QWidget* dialog) {
        dialog->findChild<QPushButton*>("ctl_1017")->click();
        QTest::keyClick(dialog, Qt::Key_Return);
    });
    run(CommandId::kCustomizedList);
    EXPECT_EQ(doc().selectedIndex(), -1);
    EXPECT_EQ(rowCount(), 0);
    EXPECT_EQ(textOf("editor_item"), "No item is selected");
}

TEST_F(Edits, OfAnItemWithoutValuesNeedAllOfThem) {
    writeText(folder / "NV Decoder.vrk", kRing);
    app().newDocument();
    run(CommandId::kReadSupportedItems);
    settleEvents();
    clickLine(0);
    EXPECT_EQ(textOf("editor_state"), "readwrite, never had a value");
    store(0, "5");
    EXPECT_EQ(hint(1), "empty, -32768 to 32767");
    EXPECT_EQ(value(10), "") << "no zeros that nobody typed";
    answer("Cancel");
    key(1, Qt::Key_Escape);
    EXPECT_EQ(edit(0).text(), "5") << "what was typed beside it is dropped only when agreed";
    store(1, "6");
    EXPECT_EQ(value(10, 0) + " " + value(10, 1), "5 6");
    EXPECT_EQ(marked(), std::vector<int>{10});
    run(CommandId::kUndo);
    EXPECT_EQ(value(10), "");
    enter(1, "0");
    key(0, Qt::Key_Return);
    EXPECT_EQ(marked(), std::vector<int>{20}) << "a zero is a value";
    EXPECT_TRUE(edit(0).font().bold());
    answerAndSettle("Keep Changes", CommandId::kReadSupportedItems);
    EXPECT_EQ(value(20), "0");
}

} // namespace
