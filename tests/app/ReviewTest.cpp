// Writes that are reviewed first, reads that tell what they left out, and the phone in title and status bar.

#include "app/dialogs/CProgressDlg.h"
#include "app/frame/StatusPane.h"
#include "app/review/ReviewDialog.h"
#include "tests/app/WindowFixture.h"
#include "workbench/record/Database.h"
#include "workbench/record/Recorder.h"

#include <QComboBox>
#include <QInputDialog>
#include <QToolButton>
#include <QTreeView>

namespace {

using Numbers = std::vector<int>;
using Texts = std::vector<std::string>;
constexpr const char* kProtected = "10 0 05feff protected\n20 0 07\n30 0 3412\n40 0 01000000\n";
using Steps = std::vector<std::function<void(QWidget& review)>>;

class Review : public WindowFixture {
protected:
    Review() { safe = true; }

    void plugInTwo() { plugIn(kPhone, {"0000000001", "0000000002"}); }
    void choosePort(const QString& name) {
        whenAsked([name](QWidget* dialog) {
            dialog->findChild<QComboBox*>("ctl_1011")->setEditText(name);
            dialog->findChild<QPushButton*>("ctl_1")->click();
        });
        run(CommandId::kComport);
    }

    static QPushButton& button(QWidget& review, const char* name) { return *review.findChild<QPushButton*>(name); }
    static bool isIdle(QWidget& review) { return review.findChild<QWidget*>("review_progress")->isHidden(); }
    static std::string textOf(QWidget& review, const char* name) {
        return review.findChild<QLabel*>(name)->text().toStdString();
    }
    /// What the rows show, each as "[x] item | on the phone | to be written | result".
    static Texts rowsOf(QWidget& review) {
        const QAbstractItemModel& model = *review.findChild<QTreeView*>()->model();
        Texts rows;
        for (int row = 0; row < model.rowCount(); ++row) {
            std::string text = model.index(row, 0).data(Qt::CheckStateRole).toInt() == Qt::Checked ? "[x]" : "[ ]";
            for (int column = 0; column < model.columnCount(); ++column) {
                text += (column == 0 ? " " : " | ") + model.index(row, column).data().toString().toStdString();
            }
            rows.push_back(text);
        }
        return rows;
    }
    /// Without the date, whose value is that of the moment.
    static Texts rowsBesideTheDate(QWidget& review) {
        Texts rows = rowsOf(review);
        std::erase_if(rows, [](const std::string& row) { return row.find("LOADED_DATE") != std::string::npos; });
        return rows;
    }
    static void tick(QWidget& review, int row) {
        auto& tree = *review.findChild<QTreeView*>();
        tree.setCurrentIndex(tree.model()->index(row, 0));
        QTest::keyClick(&tree, Qt::Key_Space);
    }
    static void click(QWidget& review, const char* name) { QTest::mouseClick(&button(review, name), Qt::LeftButton); }
    /// Does the steps with the window that `command` opens, each when nothing runs in it any more, and closes it.
    void review(const std::function<void()>& command, const Steps& steps) {
        bool asked = false;
        whenAsked([&](QWidget* window) {
            asked = true;
            ASSERT_NE(qobject_cast<ReviewDialog*>(window), nullptr);
            for (const auto& step : steps) {
                EXPECT_TRUE(QTest::qWaitFor([&] { return isIdle(*window); }, 30000));
                step(*window);
            }
            EXPECT_TRUE(QTest::qWaitFor([&] { return isIdle(*window); }, 30000));
            window->close();
        });
        command();
        EXPECT_TRUE(asked);
    }
    void review(CommandId command, const Steps& steps) {
        review([&] { run(command); }, steps);
    }
    static void pressWrite(QWidget& review) { click(review, "review_write"); }
    /// Presses Write, and the button of the question that comes then.
    std::function<void(QWidget&)> pressWriteAndAnswer(QMessageBox::StandardButton wanted) {
        return [this, wanted](QWidget& review) {
            whenAsked([this, wanted](QWidget* modal) {
                auto* box = qobject_cast<QMessageBox*>(modal);
                question = box->text().toStdString();
                box->button(wanted)->click();
            });
            pressWrite(review);
        };
    }

    void enterCode(QWidget& window) {
        whenAsked([](QWidget* modal) {
            auto* edit = modal->findChild<QLineEdit*>();
            EXPECT_EQ(edit->echoMode(), QLineEdit::Password);
            QTest::keyClicks(edit, "000000");
            qobject_cast<QInputDialog*>(modal)->accept();
        });
        click(window, "review_code");
    }

    QString pane(int id) { return window().findChild<StatusPane*>("pane_" + QString::number(id))->fullText(); }
    QToolButton& reportButton() { return *window().findChild<QToolButton*>("report"); }
    void readWithout(std::uint16_t item, std::uint32_t code) {
        tessra::FaultRule rule = serverCodeAt(tessra::Call::kSend, code);
        rule.item = item;
        service->faults("COM1").add(rule);
        readPhone();
    }

    std::string question; ///< the last one
};

TEST_F(Review, ThreeClicksOnAFreshStartWriteNothing) {
    plugIn();
    start();
    run(CommandId::kReadSupportedItems);
    ASSERT_TRUE(QTest::qWaitFor([&] { return listBox().model()->rowCount() == 4; }));
    review(CommandId::kWriteListedToPhone, {[](QWidget& window) {
               EXPECT_EQ(textOf(window, "review_phone"), "Phone: Sample 0000000001, software 1.0, on COM1");
               EXPECT_EQ(rowsBesideTheDate(window),
                         (Texts{"[ ] 10  NV_ZETA | 5, -2 | 0, 0 | left out: it has never had a value",
                                "[ ] 20  NV_ALPHA | 7 | 0 | left out: it has never had a value",
                                "[ ] 30  NV_FIXED | 4660 | 0 | left out: read-only"}));
               EXPECT_FALSE(button(window, "review_write").isEnabled());
               QTest::keyClick(&window, Qt::Key_Return);
               EXPECT_FALSE(window.isVisible()) << "Cancel is the default button";
           }});
    EXPECT_EQ(numbersWritten(), Numbers{});
    EXPECT_EQ(doc().nvItems()[3].getData()[0], 0) << "the date is as it was";
}

TEST_F(Review, WritesWhatIsTickedAndTheDateWithIt) {
    startAndRead("10 0 05feff\n20 0 07\n30 0 3412\n");
    enter(0, "6");
    enter(1, "8");
    review(CommandId::kWriteListedToPhone,
           {[&](QWidget& window) {
                EXPECT_EQ(rowsBesideTheDate(window), (Texts{"[x] 10  NV_ZETA | 5, -2 | 6, -2 | to be written",
                                                            "[x] 20  NV_ALPHA | 7 | 8 | to be written"}));
                EXPECT_EQ(textOf(window, "review_counts"), "3 to be written, 1 read-only left out");
                EXPECT_EQ(doc().nvItems().size(), 3u) << "the date comes when the user agrees";
                tick(window, 0);
                tick(window, 1);
                EXPECT_FALSE(button(window, "review_write").isEnabled()) << "the date is not written alone";
                tick(window, 1);
            },
            pressWrite,
            [](QWidget& window) {
                EXPECT_EQ(textOf(window, "review_counts"), "2 written and verified");
                EXPECT_EQ(rowsBesideTheDate(window)[1], "[x] 20  NV_ALPHA | 7 | 8 | written and verified");
            }});
    EXPECT_EQ(numbersWritten(), (Numbers{20, 40}));
    EXPECT_EQ(numbersOf(doc().nvItems()), (Numbers{10, 20, 30, 40}));
    EXPECT_EQ(reportButton().toolTip().section(", ", 0, 0).section(": ", 1),
              "2 written and verified: Sample 0000000001 on COM1");
    EXPECT_EQ(pane(104), "Sample 0000000001 - 1 changed");
    answer("Discard Changes");
    run(CommandId::kReadSupportedItems);
    EXPECT_EQ(doc().nvItems()[1].getSubItems()[0].value, "8") << "as it was written";
}

TEST_F(Review, AnUndoneEditIsNoValueAndTheDateNotWrittenAlone) {
    plugIn();
    start();
    run(CommandId::kReadSupportedItems);
    ASSERT_TRUE(QTest::qWaitFor([&] { return listBox().model()->rowCount() == 4; }));
    enter(1, "8");
    clickLine(0);
    run(CommandId::kUndo);
    review(CommandId::kWriteChangedToPhone, {[](QWidget& window) {
               EXPECT_EQ(rowsBesideTheDate(window),
                         Texts{"[ ] 20  NV_ALPHA | 7 | 0 | left out: it has never had a value"});
               tick(window, 1);
               EXPECT_FALSE(button(window, "review_write").isEnabled());
           }});
}

TEST_F(Review, AnotherPhoneGetsNothingUnasked) {
    plugInTwo();
    start();
    readPhone();
    enter(0, "6");
    choosePort("COM2");
    EXPECT_EQ(pane(104), "not connected - 1 changed");
    review(CommandId::kWriteChangedToPhone, {pressWriteAndAnswer(QMessageBox::Cancel)});
    EXPECT_EQ(question, "The value of 1 item is from Sample 0000000001.\n"
                        "The phone on COM2 is another one: Sample 0000000002.\n"
                        "Write the values of one phone to another phone?");
    EXPECT_EQ(numbersWritten("COM2"), Numbers{});
    review(CommandId::kWriteChangedToPhone, {pressWriteAndAnswer(QMessageBox::Yes)});
    EXPECT_EQ(numbersWritten("COM2"), (Numbers{10, 40}));
    choosePort("COM1");
    review(CommandId::kWriteChangedToPhone, {[](QWidget& window) {
               EXPECT_EQ(rowsBesideTheDate(window),
                         Texts{"[ ] 10  NV_ZETA | 5, -2 | 6, -2 | left out: Sample 0000000002 has it already"});
           }});
    EXPECT_EQ(numbersWritten("COM1"), Numbers{});
}

TEST_F(Review, AnUnknownPhoneIsAskedAboutEachTime) {
    plugIn(kProtected, {""});
    start();
    readPhone();
    EXPECT_EQ(pane(104), "unknown phone");
    enter(0, "6");
    review(CommandId::kWriteChangedToPhone, {pressWriteAndAnswer(QMessageBox::Yes), [&](QWidget& window) {
                                                 EXPECT_NE(question.find("tells no serial number"), std::string::npos);
                                                 answer("Cancel");
                                                 click(window, "review_retry");
                                             }});
    EXPECT_EQ(numbersWritten(), Numbers{10}) << "the retry was not agreed to";
}

TEST_F(Review, ARefusalIsMendedWithTheCode) {
    startAndRead(kProtected);
    enter(0, "6");
    enter(1, "8");
    const std::string refused = "[x] 10  NV_ZETA | 5, -2 | 6, -2 | refused: ";
    review(CommandId::kWriteChangedToPhone,
           {pressWrite,
            [&](QWidget& window) {
                EXPECT_EQ(rowsBesideTheDate(window)[0].substr(0, refused.size()), refused);
                EXPECT_EQ(rowsBesideTheDate(window)[1], "[x] 20  NV_ALPHA | 7 | 8 | not tried");
                EXPECT_EQ(pane(104).section(" - ", 0, 0), "Sample 0000000001");
                enterCode(window);
            },
            [](QWidget& window) {
                EXPECT_EQ(textOf(window, "review_message"), "The phone has accepted the code.");
                click(window, "review_retry");
            },
            [](QWidget& window) {
                EXPECT_EQ(textOf(window, "review_counts"), "3 written and verified");
                EXPECT_TRUE(button(window, "review_retry").isHidden());
            }});
    EXPECT_EQ(numbersWritten(), (Numbers{10, 10, 20, 40}));
}

TEST_F(Review, AnotherPhoneGetsNoCode) {
    startAndRead(kProtected);
    enter(0, "6");
    const auto exchangeAndEnterCode = [this](QWidget& window) {
        service->faults("COM1").add(faultAt(tessra::Call::kSend, tessra::FaultKind::kShortAnswer, 20));
        enterCode(window);
    };
    const auto isTold = [this](QWidget& window) {
        EXPECT_EQ(textOf(window, "review_message"), "The code was not sent: The phone on COM1 tells no serial number, "
                                                    "so it can't be told from another one.");
        EXPECT_TRUE(QTest::qWaitFor([&] { return pane(104).section(" - ", 0, 0) == "unknown phone"; }, 30000));
    };
    review(CommandId::kWriteChangedToPhone, {pressWrite, exchangeAndEnterCode, isTold});
    EXPECT_EQ(service->faults("COM1").count(tessra::Call::kSecurity), 0u);
}

TEST_F(Review, SkipGoesOnBehindTheRefusedItem) {
    startAndRead("10 0 05feff readonly\n20 0 07\n30 0 3412\n40 0 01000000\n");
    enter(0, "6");
    enter(1, "8");
    const auto pressSkip = [](QWidget& window) { click(window, "review_skip"); };
    const auto isSkipped = [](QWidget& window) {
        EXPECT_EQ(textOf(window, "review_counts"), "2 written and verified, 1 refused");
        EXPECT_TRUE(button(window, "review_skip").isHidden());
    };
    review(CommandId::kWriteChangedToPhone, {pressWrite, pressSkip, isSkipped});
    EXPECT_EQ(numbersWritten(), (Numbers{10, 20, 40}));
    EXPECT_EQ(pane(104), "Sample 0000000001 - 1 changed") << "what was refused is still to be written";
}

TEST_F(Review, ACancelledWriteEndsBetweenTwoItems) {
    startAndRead();
    enter(0, "6");
    enter(1, "8");
    review(CommandId::kWriteChangedToPhone,
           {[this](QWidget& window) {
                addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 100);
                pressWrite(window);
                EXPECT_TRUE(QTest::qWaitFor([&] { return !numbersWritten().empty(); }, 30000));
                click(window, "review_cancel");
                EXPECT_TRUE(window.isVisible()) << "there is an account to be given";
            },
            [](QWidget& window) {
                EXPECT_EQ(textOf(window, "review_message"), "The write was cancelled.");
                EXPECT_EQ(textOf(window, "review_counts"), "1 written and verified, 2 not tried");
            }});
    EXPECT_EQ(numbersWritten(), Numbers{10});
    EXPECT_EQ(pane(104), "Sample 0000000001 - 1 changed") << "the date's stamp is no change of the user's";
}

TEST_F(Review, TellsTheReadBackAfterTheResetFromTheWrite) {
    startAndRead();
    enter(0, "6");
    review(CommandId::kWriteChangedToPhone,
           {[this](QWidget& window) {
                addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 100);
                window.findChild<QCheckBox*>("review_verify")->setChecked(true);
                pressWrite(window);
                const std::string awaited = "[x] 10  NV_ZETA | 5, -2 | 6, -2 | read back after the reset";
                EXPECT_TRUE(QTest::qWaitFor([&] { return rowsOf(window)[0] == awaited; }, 30000)) << rowsOf(window)[0];
            },
            [](QWidget& window) {
                EXPECT_EQ(textOf(window, "review_counts"), "2 written and verified");
                EXPECT_TRUE(button(window, "review_retry").isHidden()) << "the check has come to its end";
            }});
    EXPECT_EQ(service->faults("COM1").count(tessra::Call::kChangeMode), 1u);
}

TEST_F(Review, EachWriteCommandIsBareOrReviewed) {
    startAndRead();
    enter(0, "6");
    clickLine(0);
    const std::pair<std::function<void()>, Numbers> commands[] = {
        {[&] { run(CommandId::kWriteChangedToPhone); }, {10, 40}},
        {[&] { run(CommandId::kWriteListedToPhone); }, {10, 20, 40}},
        {[&] { writeButton().click(); }, {10, 40}},
    };
    for (const auto& [command, bare] : commands) {
        review(command, {});
        EXPECT_EQ(numbersWritten(), Numbers{}) << "closed again";
    }
    run(CommandId::kReviewBeforeWriting);
    EXPECT_FALSE(ReviewSwitch().isOn());
    Numbers expected;
    for (const auto& [command, bare] : commands) {
        command();
        expected.insert(expected.end(), bare.begin(), bare.end());
        EXPECT_EQ(numbersWritten(), expected);
    }
}

TEST_F(Review, AnItemThatTheListHasTwiceIsNotWritten) {
    startAndRead();
    enter(0, "6");
    doc().appendItem(doc().nvItems()[0]);
    for (const CommandId command : {CommandId::kWriteChangedToPhone, CommandId::kWriteListedToPhone}) {
        review(command, {[](QWidget& window) {
                   EXPECT_EQ(textOf(window, "review_message"), "The list has item 10 more than once: nobody can say "
                                                               "which value is meant.\nNothing is written from it.");
                   EXPECT_TRUE(button(window, "review_write").isHidden());
                   EXPECT_TRUE(button(window, "review_retry").isHidden());
               }});
    }
    EXPECT_EQ(numbersWritten(), Numbers{});
}

TEST_F(Review, AnItemThatCannotBeWrittenIsToldRatherThanTheDateWritten) {
    startAndRead();
    clickLine(2);
    expectMessage();
    writeButton().click();
    EXPECT_EQ(takeMessage(), "Write NV: NV_FIXED is read-only: it can't be written.");
    EXPECT_EQ(numbersWritten(), Numbers{});
}

TEST_F(Review, AReadTellsWhatItLeftOutAndCompletesIt) {
    constexpr std::uint32_t kDamaged = 0x80042003;
    plugIn("10 0 05feff\n20 0 07\n30 5 -\n40 0 01000000\n");
    start();
    EXPECT_EQ(pane(104), "not connected");
    readWithout(20, kDamaged);
    EXPECT_EQ(reportButton().toolTip(), "2 read, 1 without a value, 1 missing");
    EXPECT_EQ(numbersOf(doc().nvItems()), (Numbers{10, 40}));
    EXPECT_EQ(pane(104), "Sample 0000000001");
    enter(0, "6");
    service->faults("COM1").clear();
    const auto readMissing = [this] {
        run(CommandId::kReadMissingItems);
        EXPECT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
    };
    service->setPresent("COM1", false);
    EXPECT_TRUE(QTest::qWaitFor([&] { return pane(104) == "no phone"; }, 30000));
    expectMessage();
    readMissing();
    EXPECT_EQ(pane(104), "no phone - 1 changed") << "whoever has answered before";
    service->setPresent("COM1", true);
    readMissing();
    EXPECT_EQ(reportButton().toolTip(), "3 read, 1 without a value, 0 missing");
    EXPECT_EQ(numbersOf(doc().nvItems()), (Numbers{10, 20, 40}));
    EXPECT_EQ(frame().windowTitle(), "RF NV ITEMS ONLY - Sample 0000000001 - 1 changed") << "the edit stays";
    EXPECT_FALSE(window().action(CommandId::kReadMissingItems)->isEnabled());
}

TEST_F(Review, ACancelledReadKeepsWhatCame) {
    plugIn();
    start();
    addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 100);
    run(CommandId::kReadFromPhone);
    auto& shown = *window().findChild<CProgressDlg*>();
    shown.close();
    QTest::mouseClick(&reportButton(), Qt::LeftButton);
    EXPECT_TRUE(shown.isVisible());
    EXPECT_TRUE(QTest::qWaitFor([&] { return service->sentPackets("COM1").size() >= 3; }, 30000));
    shown.item<QPushButton>(1030).click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
    EXPECT_FALSE(doc().nvItems().empty());
    EXPECT_LT(doc().nvItems().size(), 4u);
    EXPECT_TRUE(window().action(CommandId::kReadMissingItems)->isEnabled());
}

TEST_F(Review, TheTitleFollowsThePhoneThatLeavesAndReturns) {
    plugIn();
    start();
    EXPECT_EQ(service->faults("COM1").count(tessra::Call::kSend), 0u) << "nothing is asked before a command";
    readPhone();
    const auto titleBecomes = [&](const QString& title) {
        return QTest::qWaitFor([&] { return frame().windowTitle() == title; }, 30000);
    };
    EXPECT_TRUE(titleBecomes("RF NV ITEMS ONLY - Sample 0000000001"));
    service->setPresent("COM1", false);
    EXPECT_TRUE(titleBecomes("RF NV ITEMS ONLY - no phone"));
    service->setPresent("COM1", true);
    EXPECT_TRUE(titleBecomes("RF NV ITEMS ONLY - Sample 0000000001"));
    EXPECT_EQ(window().windowTitle(), "Calvane 1.4.34");
    run(CommandId::kReviewBeforeWriting);
    const std::size_t sent = service->sentPackets("COM1").size();
    service->setPresent("COM1", false);
    EXPECT_TRUE(titleBecomes("RF NV ITEMS ONLY - no phone"));
    service->setPresent("COM1", true);
    EXPECT_TRUE(titleBecomes("RF NV ITEMS ONLY"));
    EXPECT_EQ(pane(104), "not asked");
    EXPECT_EQ(service->sentPackets("COM1").size(), sent) << "the bare commands send nothing beside themselves";
}

TEST_F(Review, ResetAndOfflineGoToThePortThatIsShown) {
    plugInTwo();
    start();
    const auto modeChanges = [&](const char* port) { return service->faults(port).count(tessra::Call::kChangeMode); };
    run(CommandId::kOfflineMode);
    EXPECT_EQ(modeChanges("COM1"), 1u) << "directly after the start";
    choosePort("COM2");
    run(CommandId::kResetPhone);
    EXPECT_EQ(modeChanges("COM1"), 1u);
    EXPECT_EQ(modeChanges("COM2"), 1u);
    EXPECT_TRUE(QTest::qWaitFor([&] { return pane(104) == "Sample 0000000002"; }, 30000));
}

TEST_F(Review, AWriteIsRecordedOrTheUserAgrees) {
    const std::string store = (folder / "History.sqlite").string();
    record::Recorder recorder({.file = store});
    app().setRecorder(&recorder);
    startAndRead();
    enter(0, "6");
    {
        const auto other = record::openSqlite(store);
        const record::Transaction held(*other);
        review(CommandId::kWriteChangedToPhone, {pressWriteAndAnswer(QMessageBox::Cancel)});
        EXPECT_EQ(question, "This write is not recorded: '" + store +
                                "' has not taken it within half a second.\nWrite without a record of it?");
        EXPECT_EQ(numbersWritten(), Numbers());
    }
    review(CommandId::kWriteChangedToPhone, {pressWrite});
    whenAsked([](QWidget* dialog) {
        dialog->findChild<QComboBox*>("history_keep")->setCurrentText("For 1 year");
        QTest::keyClick(dialog, Qt::Key_Return);
    });
    run(CommandId::kHistorySettings);
    EXPECT_EQ(readText(folder / "Calvane.toml"), "[history]\nkeep = \"1y\"\n");
    app().end();
    EXPECT_TRUE(recorder.flush(std::chrono::seconds(30)));
    std::string found;
    for (const record::Row& row :
         record::openSqlite(store)->run("SELECT kind * 10 + state, items, asked FROM session ORDER BY id")) {
        found += std::to_string(std::get<std::int64_t>(row.at(0))) + " " +
                 std::to_string(std::get<std::int64_t>(row.at(1))) + " " + std::get<std::string>(row.at(2)) + "\n";
    }
    EXPECT_EQ(found, "1 4 read: all supported items\n13 2 write: the changed items\n11 2 write: the changed items\n");
}

} // namespace
