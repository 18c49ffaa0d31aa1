// The filter over the item list, and the search that goes on.

#include "app/frame/MainStatusBar.h"
#include "tests/app/WindowFixture.h"

#include <QSettings>
#include <QToolButton>

namespace {

class Filter : public WindowFixture {
protected:
    Filter() { QSettings().remove("frame/filterBar"); }

    QLineEdit& line() { return *frame().findChild<QLineEdit*>("filter_line"); }
    void filter(const QString& text) {
        focusBack();
        QTest::keyClick(&window(), Qt::Key_F, Qt::ControlModifier);
        EXPECT_EQ(QApplication::focusWidget(), &line());
        QTest::keyClicks(&line(), text);
    }
    void clickSwitch(const char* name) { QTest::mouseClick(frame().findChild<QToolButton*>(name), Qt::LeftButton); }
    /// The numbers of the lines, the selected one in brackets, and what the bar counts.
    std::string shown() {
        QStringList lines;
        const auto* model = listBox().model();
        for (int row = 0; row < model->rowCount(); ++row) {
            const QString number = model->index(row, 0).data().toString().section('\t', 0, 0);
            const bool selected = listBox().selectionModel()->isRowSelected(row);
            lines << (selected ? "[" + number + "]" : number);
        }
        return (lines.join(' ') + ": " + frame().findChild<QLabel*>("filter_count")->text()).toStdString();
    }
    QString notice() { return window().findChild<MainStatusBar*>()->notice(); }
    void search(const QString& text) {
        fillIn(text);
        run(CommandId::kSearch);
    }
};

/// With safe hands and without.
class FilterBoth : public Filter, public testing::WithParamInterface<bool> {
protected:
    FilterBoth() { safe = GetParam(); }
};
INSTANTIATE_TEST_SUITE_P(Hands, FilterBoth, testing::Bool());

TEST_P(FilterBoth, HidesLinesAndChoosesTheRightItems) {
    startAndRead();
    const QRect before = listBox().geometry();
    clickLine(2);
    filter("nv_a");
    EXPECT_EQ(shown(), "20: 1 of 4");
    EXPECT_EQ(doc().selectedIndex(), 2) << "the item is still the one that is shown";
    clickLine(0);
    EXPECT_EQ(doc().selectedIndex(), 1);
    EXPECT_EQ(edit(0).text(), "7");
    filter("q");
    EXPECT_EQ(shown(), ": no item");
    QTest::keyClick(&line(), Qt::Key_Escape);
    EXPECT_EQ(shown(), "10 [20] 30 40: ");
    QTest::keyClick(&line(), Qt::Key_Escape);
    EXPECT_EQ(QApplication::focusWidget(), &listBox());
    run(CommandId::kFilterBar);
    EXPECT_TRUE(QTest::qWaitFor([&] { return listBox().geometry() == before; }))
        << "without the bar the list fills its pane";
}

TEST_P(FilterBoth, IsRightWhenTheItemThatIsLeftFitsNoMore) {
    startAndRead("10 0 05feff\n20 0 05\n30 0 0500\n");
    filter("=5");
    EXPECT_EQ(shown(), "10 20 30: 3 of 3");
    enter(0, "6");
    clickLine(1);
    EXPECT_EQ(doc().selectedIndex(), 1) << "the line that was clicked, although there is one less from now on";
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == "[20] 30: 2 of 3"; })) << shown();
    run(CommandId::kUndo);
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == "[10] 20 30: 3 of 3"; })) << shown();
    EXPECT_EQ(edit(0).text(), "5");
}

TEST_P(FilterBoth, ListsAndExportsAreWholeAndSayIt) {
    startAndRead();
    enter(0, "6");
    filter("fixed");
    const QString text = path("t.txt");
    for (const CommandId command : {CommandId::kWriteListedToText, CommandId::kWriteListedToMox,
                                    CommandId::kWriteListedToPhone, CommandId::kWriteChangedToPhone}) {
        std::string said;
        answer("Cancel", [&] { said = qobject_cast<QMessageBox*>(qApp->activeModalWidget())->text().toStdString(); });
        run(command);
        EXPECT_EQ(said, std::string(command == CommandId::kWriteChangedToPhone ? "1 item" : "3 items") +
                            " hidden by the filter " +
                            (command == CommandId::kWriteChangedToPhone ? "is included." : "are included."));
    }
    answer("Continue", [&] { chooseFile(text); });
    run(CommandId::kWriteListedToText);
    EXPECT_EQ(readText(folder / "t.txt"), "NV_ZETA\r\n6, -2, \r\n\r\nNV_ALPHA\r\n7, \r\n\r\nNV_FIXED\r\n4660, \r\n\r\n"
                                          "NV_RF_NV_LOADED_DATE_I\r\n1, \r\n\r\n");
    answer("Clear Filter");
    run(CommandId::kWriteListedToPhone);
    EXPECT_EQ(shown(), "[10] 20 30 40: ") << "and nothing else happens";
}

TEST_F(Filter, StaysOverOtherListsAndOrders) {
    safe = true;
    start();
    const auto listAll = [this] {
        run(CommandId::kReadSupportedItems);
        QCoreApplication::processEvents();
    };
    listAll();
    clickLine(2);
    filter("nv_f");
    run(CommandId::kSortAlphabetical);
    EXPECT_EQ(shown(), "[30]: 1 of 4");
    EXPECT_EQ(doc().selectedIndex(), 1);
    listAll();
    EXPECT_EQ(shown(), "[30]: 1 of 4");
    QTest::keyClick(&line(), Qt::Key_Escape);
    run(CommandId::kSortByIdNumber);
    clickSwitch("filter_without");
    EXPECT_EQ(shown(), "10 20 [30] 40: 4 of 4");
    clickSwitch("filter_readonly");
    EXPECT_EQ(shown(), "[30]: 1 of 4") << "each switch narrows further";
    clickSwitch("filter_without");
    clickSwitch("filter_readonly");
    enter(1, "9");
    clickLine(0);
    clickSwitch("filter_changed");
    EXPECT_EQ(shown(), "20: 1 of 4");
}

TEST_F(Filter, IsEmptiedBySearchesWhichGoOn) {
    startAndRead();
    EXPECT_FALSE(window().action(CommandId::kFindNext)->isEnabled());
    filter("fixed");
    search("nothing");
    EXPECT_EQ(shown(), "[10] 20 30 40: ") << "as NV_ begins with an N";
    EXPECT_EQ(notice(), "Only \"n\" was found");
    search("NV_A");
    EXPECT_EQ(shown(), "10 [20] 30 40: ");
    EXPECT_EQ(notice(), "");
    filter("zeta");
    search("QQ");
    EXPECT_EQ(shown(), "10: 1 of 4") << "nothing is found, nothing changes";
    search("_");
    const std::pair<Qt::KeyboardModifiers, const char*> steps[] = {
        {{}, "10 [20] 30 40: "},
        {{}, "10 20 [30] 40: "},
        {{}, "10 20 30 [40]: "},
        {{}, "[10] 20 30 40: "},
        {Qt::ShiftModifier, "10 20 30 [40]: "},
        {Qt::ShiftModifier, "10 20 [30] 40: "},
    };
    for (const auto& [modifiers, expected] : steps) {
        focusBack();
        QTest::keyClick(&window(), Qt::Key_F3, modifiers);
        EXPECT_EQ(shown(), expected);
    }
}

TEST_F(Filter, MarksRowsAndIsRemembered) {
    startAndRead();
    const auto isMarked = [&](int row) {
        return item<QLabel>(8000 + row).accessibleDescription() == "fits the filter";
    };
    filter("zeta =5");
    clickLine(0);
    EXPECT_TRUE(isMarked(0));
    EXPECT_FALSE(isMarked(1));
    run(CommandId::kNew);
    EXPECT_TRUE(line().isVisible());
    EXPECT_TRUE(window().action(CommandId::kFilterBar)->isChecked());
    run(CommandId::kCloseWindow);
    run(CommandId::kFilterBar);
    EXPECT_EQ(shown(), "[10] 20 30 40: ") << "a filter that can't be seen hides nothing";
    EXPECT_FALSE(isMarked(0));
    EXPECT_FALSE(QSettings().value("frame/filterBar").toBool());
}

} // namespace
