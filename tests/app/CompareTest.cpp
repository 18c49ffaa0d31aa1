// The compare window: from the question to the rows, what it gives to the document and to the phone, and its ends.

#include "app/compare/CompareModel.h"
#include "app/compare/CompareTree.h"
#include "app/compare/CompareWindow.h"
#include "app/review/ItemReportDialog.h"
#include "app/review/ReviewDialog.h"
#include "tests/app/WindowFixture.h"
#include "workbench/ItemJson.h"

#include <QClipboard>
#include <QComboBox>
#include <QMdiArea>
#include <QProgressBar>
#include <QTreeWidget>

namespace {

using Texts = std::vector<std::string>;

class Compare : public WindowFixture {
protected:
    Compare() { safe = true; }

    /// A file with these items: numbers and values.
    void makeJson(const std::vector<std::pair<int, std::string>>& values) {
        Calvane catalog;
        catalog.loadDecoderRingFile(folder / "NV Decoder.vrk");
        std::vector<NvItem> items;
        for (const auto& [number, text] : values) {
            items.push_back(catalog.getSupportedNvItem(static_cast<unsigned short>(number)));
            items.back().setData(text);
        }
        writeText(folder / "other.json", workbench::itemsToJson(items));
    }
    /// Asks for these two: what the boxes offer, and the port or file.
    void compare(const QString& left, const QString& leftPlace, const QString& right, const QString& rightPlace,
                 bool waits = true) {
        whenAsked([=](QWidget* dialog) {
            const std::tuple<const char*, QString, QString> sides[] = {{"left", left, leftPlace},
                                                                       {"right", right, rightPlace}};
            for (const auto& [side, kind, place] : sides) {
                dialog->findChild<QComboBox*>(QString("compare_kind_") + side)->setCurrentText(kind);
                if (!place.isEmpty()) {
                    dialog->findChild<QLineEdit*>(QString("compare_place_") + side)->setText(place);
                }
            }
            QTest::keyClick(dialog->findChild<QLineEdit*>("compare_place_right"), Qt::Key_Return);
        });
        run(CommandId::kCompare);
        ASSERT_NE(shown(), nullptr);
        EXPECT_TRUE(!waits || QTest::qWaitFor([&] { return !shown()->isBusy(); }, 30000));
    }
    void compareWithJson() { compare("This document", "", "JSON file", path("other.json")); }

    CompareWindow* shown() { return window().findChild<CompareWindow*>(); }
    template <typename W>
    W& part(const char* name) {
        return *shown()->findChild<W*>(name);
    }
    CompareTree& tree() { return *shown()->findChild<CompareTree*>(); }
    std::string textOf(const char* name) { return part<QLabel>(name).text().toStdString(); }
    bool countsBecome(const std::string& counts) {
        return QTest::qWaitFor([&] { return textOf("compare_counts") == counts; }, 30000);
    }
    void click(const char* name) { QTest::mouseClick(&part<QPushButton>(name), Qt::LeftButton); }
    /// The rows, as texts with a bar between the columns.
    Texts rows(const QModelIndex& parent = {}) {
        Texts texts;
        const QAbstractItemModel& model = *tree().model();
        for (int row = 0; row < model.rowCount(parent); ++row) {
            std::string text;
            for (int column = 0; column < CompareModel::kUnits; ++column) {
                text += (column == 0 ? "" : "|") + model.index(row, column, parent).data().toString().toStdString();
            }
            texts.push_back(text);
        }
        return texts;
    }
    std::string valueOf(std::size_t position) { return doc().nvItems()[position].getSubItems()[0].value; }
};

TEST_F(Compare, TickedRowsAreTakenOverAndUndoneAsOne) {
    startAndRead();
    makeJson({{10, "5,-300"}, {20, "9"}, {30, "1"}, {40, "2"}});
    enter(1, "8"); // typed, not yet stored
    compareWithJson();
    EXPECT_EQ(textOf("compare_counts"), "0 equal, 4 different, 0 only left, 0 only right");
    EXPECT_EQ(rows(), (Texts{"10|NV_ZETA|1 of 2 differ|5, -2|5, -300|-298", "20|NV_ALPHA|a|8|9|1",
                             "30|NV_FIXED|f|4660|1|-4659", "40|NV_RF_NV_LOADED_DATE_I|date|1/1/1970|1/1/1970|1"}));
    EXPECT_EQ(rows(tree().model()->index(0, 0)), Texts{"|SIGNED WORD|w|-2|-300|-298"});
    click("compare_tick_all");
    Texts told;
    whenAsked([&](QWidget* report) {
        for (int row = 0; row < report->findChild<QTreeWidget*>()->topLevelItemCount(); ++row) {
            const auto* line = report->findChild<QTreeWidget*>()->topLevelItem(row);
            told.push_back((line->text(0) + " " + line->text(2)).toStdString());
        }
        report->close();
    });
    click("compare_take");
    EXPECT_EQ(told, (Texts{"30 not taken over: read-only", "40 not taken over: each write sets it anew"}));
    EXPECT_EQ(textOf("compare_message"), "2 items taken over, 2 not.");
    EXPECT_EQ(doc().changedCount(), 2U);
    EXPECT_TRUE(countsBecome("2 equal, 2 different, 0 only left, 0 only right"));
    EXPECT_EQ(shown()->comparedSet()->find(20)->getData()[0], 9);
    run(CommandId::kUndo);
    EXPECT_EQ(valueOf(1), "8") << "what was typed before";
    EXPECT_EQ(doc().nvItems()[0].getSubItems()[1].value, "-2");
    EXPECT_TRUE(countsBecome("0 equal, 4 different, 0 only left, 0 only right"));
    run(CommandId::kRedo);
    EXPECT_EQ(valueOf(1), "9");
    EXPECT_EQ(numbersWritten(), std::vector<int>{});
}

TEST_F(Compare, WhatTheDocumentLacksIsNamedAndCanBeWrittenNevertheless) {
    plugIn();
    start();
    makeJson({{10, "6,-2"}, {20, "9"}});
    compare("Phone on the port", "COM1", "JSON file", path("other.json"));
    EXPECT_EQ(textOf("compare_counts"), "0 equal, 2 different, 2 only left, 0 only right");
    tree().setCurrentIndex(tree().model()->index(0, 0));
    QTest::keyClick(&tree(), Qt::Key_Space);
    EXPECT_EQ(textOf("compare_ticked"), "1 item ticked");
    whenAsked([](QWidget* report) { report->close(); });
    click("compare_take");
    EXPECT_EQ(textOf("compare_message"), "0 items taken over, 1 not.");
    EXPECT_FALSE(window().action(CommandId::kUndo)->isEnabled()) << "no empty edit";
    whenAsked([&](QWidget* review) {
        auto& write = *review->findChild<QPushButton*>("review_write");
        EXPECT_TRUE(QTest::qWaitFor([&] { return write.isEnabled(); }, 30000));
        write.click();
        EXPECT_TRUE(QTest::qWaitFor([&] { return !write.isVisible() && numbersWritten().size() == 2; }, 30000));
        EXPECT_TRUE(QTest::qWaitFor([&] { return review->findChild<QProgressBar*>()->isHidden(); }, 30000));
        review->close();
    });
    click("compare_write");
    EXPECT_EQ(numbersWritten(), (std::vector<int>{10, 40}));
    QTest::keyClick(&tree(), Qt::Key_F5);
    EXPECT_TRUE(countsBecome("1 equal, 1 different, 2 only left, 0 only right"));
}

TEST_F(Compare, ValuesOfAnotherPhoneAreToldAndNotWrittenUnasked) {
    plugIn(kPhone, {"0000000001", "0000000002"});
    start();
    readPhone();
    enter(0, "6");
    run(CommandId::kReviewBeforeWriting);
    run(CommandId::kWriteChangedToPhone);
    const auto before = numbersWritten();
    compare("This document", "", "Phone on the port", "COM2");
    EXPECT_EQ(textOf("compare_warning"), "The values are of two phones: Sample 0000000001 on COM1 (left) and Sample "
                                         "0000000002 on COM2 (right).");
    click("compare_tick_all");
    std::string question;
    whenAsked([&](QWidget* review) {
        auto& write = *review->findChild<QPushButton*>("review_write");
        EXPECT_TRUE(QTest::qWaitFor([&] { return write.isEnabled(); }, 30000)) << "reviewed also with bare commands";
        whenAsked([&](QWidget* box) {
            question = qobject_cast<QMessageBox*>(box)->text().toStdString();
            box->close();
        });
        write.click();
        review->close();
    });
    click("compare_write");
    EXPECT_EQ(question.substr(0, question.find('\n')), "The value of 1 item is from Sample 0000000002.");
    EXPECT_EQ(numbersWritten(), before);
    EXPECT_EQ(valueOf(0), "6");
    part<QComboBox>("compare_values").setCurrentIndex(0);
    EXPECT_FALSE(part<QPushButton>("compare_take").isEnabled()) << "the document's own";
}

TEST_F(Compare, ACancelledReadOfThePhoneLeavesNothingBehind) {
    startAndRead();
    addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 100);
    compare("This document", "", "Phone on the port", "COM1", false);
    const QPointer<CompareWindow> opened = shown();
    EXPECT_TRUE(opened->isBusy());
    EXPECT_TRUE(part<QProgressBar>("compare_progress").isVisible());
    const std::size_t sent = service->sentPackets("COM1").size();
    EXPECT_TRUE(QTest::qWaitFor([&] { return service->sentPackets("COM1").size() > sent; }, 30000));
    EXPECT_TRUE(window().action(CommandId::kReadFromPhone)->isEnabled()) << "the document goes on";
    click("compare_cancel");
    EXPECT_TRUE(QTest::qWaitFor([&] { return opened == nullptr; }, 30000));
    EXPECT_LT(service->sentPackets("COM1").size(), sent + 5);
}

TEST_F(Compare, AFileThatCannotBeReadIsToldInTheWindow) {
    startAndRead();
    compare("This document", "", "Calibration file", path("none.mox"));
    EXPECT_NE(textOf("compare_message").find("none.mox"), std::string::npos);
    EXPECT_FALSE(part<QPushButton>("compare_save").isEnabled());
    makeJson({{20, "7"}});
    window().findChild<CompareWindow*>()->close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == nullptr; }, 30000));
    compareWithJson();
    EXPECT_EQ(textOf("compare_counts"), "1 equal, 0 different, 3 only left, 0 only right");
}

TEST_F(Compare, KeysFilterAndCopyAreTheWindowsOwn) {
    startAndRead();
    makeJson({{10, "5,-300"}, {20, "7"}, {40, "2"}});
    compareWithJson();
    part<QCheckBox>("compare_differences").click();
    tree().setFocus();
    tree().setCurrentIndex(tree().model()->index(0, 0));
    tree().expand(tree().currentIndex());
    QTest::keyClick(&tree(), Qt::Key_F8);
    EXPECT_EQ(tree().currentIndex().siblingAtColumn(CompareModel::kSubField).data(), "w") << "the equal one is passed";
    QTest::keyClick(&tree(), Qt::Key_F8);
    EXPECT_EQ(tree().currentIndex().siblingAtColumn(0).data(), "30");
    QTest::keyClick(&tree(), Qt::Key_F8, Qt::ShiftModifier);
    QTest::keyClick(&tree(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "10\tNV_ZETA\tw\t-2\t-300\t-298\tdifferent\n");
    tree().sortByColumn(CompareModel::kName, Qt::AscendingOrder);
    EXPECT_EQ(tree().currentIndex().siblingAtColumn(0).data(), "10") << "the current item stays";
    EXPECT_TRUE(tree().isExpanded(tree().model()->index(3, 0)));
    QTest::keyClick(&tree(), Qt::Key_F, Qt::ControlModifier);
    QTest::keyClicks(&part<QLineEdit>("compare_filter"), "zeta");
    EXPECT_EQ(rows().size(), 1U);
    click("compare_tick_all");
    part<QLineEdit>("compare_filter").setText("fixed");
    EXPECT_EQ(textOf("compare_ticked"), "1 item ticked, 1 of them not shown");
    chooseFile(path("rows"));
    click("compare_save");
    EXPECT_TRUE(QTest::qWaitFor([&] { return !shown()->isBusy(); }, 30000));
    EXPECT_EQ(readText(folder / "rows.csv"),
              "number,name,sub-field,left,right,difference,state,left value,right value,unit\r\n"
              "30,NV_FIXED,f,4660,,,only left,,,\r\n");
}

TEST_F(Compare, TheWindowOutlivesItsDocument) {
    startAndRead();
    makeJson({{20, "9"}});
    compareWithJson();
    click("compare_tick_all");
    const QPointer<CSplitterFrame> home = &frame();
    auto* area = window().findChild<QMdiArea*>();
    run(CommandId::kNew);
    app().mainFrame()->addDocument();
    home->close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return home == nullptr; }, 30000));
    area->setActiveSubWindow(shown());
    EXPECT_EQ(window().activeFrame(), nullptr) << "no other document gets its commands";
    EXPECT_FALSE(part<QPushButton>("compare_take").isEnabled());
    EXPECT_EQ(rows().size(), 4U);
    QTest::keyClick(&tree(), Qt::Key_F5);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !shown()->isBusy(); }, 30000));
    EXPECT_EQ(rows().size(), 4U) << "the values from before";
    for (CSplitterFrame* frame : CSplitterFrame::allIn(window())) {
        frame->close();
    }
    EXPECT_TRUE(QTest::qWaitFor([&] { return CSplitterFrame::allIn(window()).empty(); }, 30000));
    QTest::keyClick(&tree(), Qt::Key_W, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown() == nullptr; }, 30000));
    EXPECT_FALSE(window().action(CommandId::kCloseWindow)->isEnabled());
}

} // namespace
