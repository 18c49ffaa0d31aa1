// Tools > History: from the store to the rows, and what the window does with a session: a document, a comparison, a
// restore that is reviewed, a report, a note.

#include "app/compare/CompareWindow.h"
#include "app/frame/HistoryPart.h"
#include "app/frame/QtUserInterface.h"
#include "app/history/HistoryWindow.h"
#include "app/history/ItemHistoryWindow.h"
#include "app/review/ReviewDialog.h"
#include "tests/app/WindowFixture.h"
#include "workbench/record/LocalStore.h"
#include "workbench/record/SessionText.h"

#include <QComboBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QTabWidget>
#include <QTableView>
#include <QTreeView>
#include <QTreeWidget>
#include <future>
#include <thread>

namespace {

using record::ItemState;
using record::SessionItem;
using record::SessionKind;
using record::SessionState;
using Texts = std::vector<std::string>;

const std::string kWriteUuid = "22222222-0000-4000-8000-000000000000";

record::ItemData bytes(std::initializer_list<std::uint8_t> values) {
    record::ItemData data{};
    std::ranges::copy(values, data.begin());
    return data;
}

record::Session sessionOf(const std::string& uuid, SessionKind kind, int day, const std::string& serialNumber) {
    record::Session session;
    session.uuid = uuid;
    session.kind = kind;
    session.state = SessionState::kComplete;
    session.begun = record::Time(std::chrono::days(20000 + day));
    session.ended = session.begun + std::chrono::seconds(9);
    session.program = "calvane 1.4.34";
    session.port = "COM1";
    session.phone = {serialNumber, "Sample", "1.0"};
    session.user = "mira";
    session.host = "bench-1";
    session.asked = kind == SessionKind::kRead ? "read: all supported items" : "write: changed items";
    return session;
}

SessionItem readOf(std::uint16_t number, const record::ItemData& data) {
    return {.number = number, .state = ItemState::kRead, .after = data};
}

class History : public WindowFixture {
protected:
    History() { safe = true; }

    std::unique_ptr<record::Store> store() {
        std::string told;
        auto opened = record::openLocalStore(folder / record::kStoreFileName, told);
        EXPECT_EQ(told, "");
        return opened;
    }
    /// The phone on COM1, read and then written to, and one that tells no serial number.
    void makeStore() {
        const auto made = store();
        made->add(sessionOf("11111111-0000-4000-8000-000000000000", SessionKind::kRead, 1, "0000000001"),
                  std::vector{readOf(10, bytes({5, 0xfe, 0xff})), readOf(20, bytes({1})), readOf(30, bytes({9})),
                              readOf(40, bytes({8}))});
        const auto written = [](std::uint16_t number, ItemState state, std::uint8_t before, std::uint8_t wanted) {
            const bool isRefused = state == ItemState::kRefused;
            return SessionItem{.number = number,
                               .state = state,
                               .status = static_cast<std::uint16_t>(isRefused ? 4 : 0),
                               .before = bytes({before}),
                               .wanted = bytes({wanted}),
                               .after = isRefused ? std::nullopt : std::optional(bytes({wanted}))};
        };
        made->add(sessionOf(kWriteUuid, SessionKind::kWrite, 2, "0000000001"),
                  std::vector{written(20, ItemState::kVerified, 1, 2), written(30, ItemState::kRefused, 9, 10),
                              written(40, ItemState::kVerified, 8, 99), written(77, ItemState::kVerified, 3, 3)});
        made->add(sessionOf("33333333-0000-4000-8000-000000000000", SessionKind::kRead, 0, ""),
                  std::vector{readOf(20, bytes({6}))});
    }

    HistoryWindow& shown() { return *window().findChild<HistoryWindow*>(); }
    template <typename W>
    W& part(const char* name) {
        return *window().findChild<W*>(name);
    }
    bool isIdle() {
        return QTest::qWaitFor([this] { return !shown().isAsking(); }, 30000);
    }
    /// Shows the window at the write, whose values before it are meant where `before` says so.
    void showWrite(bool before = false) {
        frame().historyPart().showHistory(kWriteUuid);
        ASSERT_TRUE(isIdle());
        part<QComboBox>("history_values").setCurrentIndex(before ? 1 : 0);
    }
    void click(const char* name) { part<QPushButton>(name).click(); }
    Texts rows(const char* name) {
        Texts texts;
        const QAbstractItemModel& model = *part<QTableView>(name).model();
        for (int row = 0; row < model.rowCount(); ++row) {
            std::string text;
            for (int column = 0; column < model.columnCount(); ++column) {
                text += (column == 0 ? "" : "|") + model.index(row, column).data().toString().toStdString();
            }
            texts.push_back(text);
        }
        return texts;
    }
    std::string message() { return part<QLabel>("history_message").text().toStdString(); }
};

TEST_F(History, PhonesSessionsAndItemsStandSideBySide) {
    start();
    run(CommandId::kHistory);
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(message().substr(0, 29), "nothing has been recorded yet");
    makeStore();
    QTest::keyClick(&shown(), Qt::Key_F5); // what was not there may be there now
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(message(), "");
    EXPECT_EQ(part<QLabel>("history_store").text().toStdString(), "The record of this computer.");
    const auto local = [](int day) { return record::localTime(record::Time(std::chrono::days(20000 + day))); };
    EXPECT_EQ(rows("history_phones"), (Texts{"Sample|0000000001|" + local(2).substr(0, 16),
                                             "Sample|(no serial number) on COM1|" + local(0).substr(0, 16)}));
    EXPECT_EQ(rows("history_sessions"), (Texts{local(2) + "|write: changed items|mira on bench-1|4|2|complete|",
                                               local(1) + "|read: all supported items|mira on bench-1|4|0|complete|"}));
    EXPECT_EQ(rows("history_items"),
              (Texts{"20|NV_ALPHA|1|2|verified", "30|NV_FIXED|9|9|refused: NV status 4",
                     "40|NV_RF_NV_LOADED_DATE_I|1/1/1970|1/1/1970|verified", "77|No Name|03|03|verified"}));
    part<QCheckBox>("history_changed_only").click();
    EXPECT_EQ(rows("history_items"),
              (Texts{"20|NV_ALPHA|1|2|verified", "40|NV_RF_NV_LOADED_DATE_I|1/1/1970|1/1/1970|verified"}));
    part<QLineEdit>("history_filter").setText("(NO");
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(rows("history_phones").size(), 1U);
    EXPECT_EQ(rows("history_sessions").size(), 1U);
    EXPECT_EQ(rows("history_items"), Texts{}) << "nothing was known before";
}

TEST_F(History, ASessionBecomesADocumentOfItsOwn) {
    plugIn();
    makeStore();
    start();
    readPhone();
    showWrite();
    QTest::keyClick(&part<QTableView>("history_sessions"), Qt::Key_Return);
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(CSplitterFrame::allIn(window()).size(), 2);
    EXPECT_EQ(frame().windowTitle().toStdString(), "RF NV ITEMS ONLY - Sample 0000000001, from the record");
    EXPECT_EQ(numbersOf(doc().nvItems()), (std::vector{20, 30, 40, 77}));
    EXPECT_EQ(doc().nvItems()[0].getData()[0], 2);
    EXPECT_EQ(doc().nvItems()[1].getData()[0], 9) << "refused: the phone has what it had";
    EXPECT_EQ(doc().changedCount(), 0U);
}

TEST_F(History, WhatStandsInTheStoreIsComparedWithThePhone) {
    plugIn();
    makeStore();
    start();
    showWrite(true);
    whenAsked([](QWidget* dialog) {
        EXPECT_EQ(dialog->findChild<QComboBox*>("compare_kind_left")->currentText().left(8), "Session ");
        EXPECT_FALSE(dialog->findChild<QLineEdit*>("compare_place_left")->isEnabled());
        dialog->findChild<QComboBox*>("compare_kind_right")->setCurrentText("Phone on the port");
        QTest::keyClick(dialog->findChild<QLineEdit*>("compare_place_right"), Qt::Key_Return);
    });
    click("history_compare");
    auto* compared = window().findChild<CompareWindow*>();
    ASSERT_NE(compared, nullptr);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !compared->isBusy(); }, 30000));
    EXPECT_EQ(compared->findChild<QLabel*>("compare_counts")->text().toStdString(),
              "0 equal, 3 different, 1 only left, 1 only right");
}

struct Restored {
    const char* name;
    bool withDate;
    const char* serialNumber; ///< of the phone on the port
    const char* counts;
    std::vector<int> written;
};
class Restore : public History, public testing::WithParamInterface<Restored> {
protected:
    ~Restore() override { app().end(); } // while the recorder is there

    std::unique_ptr<record::Recorder> recorder;
};

TEST_P(Restore, IsReviewedAndWritten) {
    plugIn(kPhone, {GetParam().serialNumber});
    makeStore();
    recorder = std::make_unique<record::Recorder>(record::readSettings(folder.path));
    app().setRecorder(recorder.get());
    start();
    showWrite(true);
    whenAsked([this](QWidget* dialog) {
        auto* date = dialog->findChild<QCheckBox*>("restore_date");
        date->setChecked(GetParam().withDate);
        EXPECT_EQ(dialog->findChild<QLabel*>("restore_counts")->text().toStdString(), GetParam().counts);
        Texts left;
        auto* tree = dialog->findChild<QTreeWidget*>("restore_left");
        for (int row = 0; row < tree->topLevelItemCount(); ++row) {
            left.push_back(tree->topLevelItem(row)->text(0).toStdString() + ' ' +
                           tree->topLevelItem(row)->text(2).toStdString());
        }
        Texts expected{"30 read-only", "77 not in the ring"};
        if (!GetParam().withDate) {
            expected.insert(expected.begin() + 1, "40 set to the time of the write");
        }
        EXPECT_EQ(left, expected);
        whenAsked([this](QWidget* review) {
            auto& write = *review->findChild<QPushButton*>("review_write");
            EXPECT_TRUE(QTest::qWaitFor([&] { return write.isEnabled(); }, 30000));
            if (GetParam().written.empty()) {
                answer("Cancel"); // the values of one phone to another?
                write.click();
            } else {
                write.click();
                EXPECT_TRUE(QTest::qWaitFor([&] { return !write.isVisible(); }, 30000));
                EXPECT_TRUE(QTest::qWaitFor([&] { return review->findChild<QProgressBar*>()->isHidden(); }, 30000));
            }
            review->close();
        });
        dialog->findChild<QPushButton*>("restore_review")->click();
    });
    click("history_restore");
    ASSERT_TRUE(QTest::qWaitFor([this] { return !shown().isAsking() && !frame().isWaiting(); }, 30000));
    EXPECT_EQ(numbersWritten(), GetParam().written);
    if (!GetParam().written.empty()) {
        EXPECT_EQ(written()[0][3], 1) << "what the phone had before the write";
        EXPECT_EQ(written()[1][3] == 8 && written()[1][4] == 0, GetParam().withDate);
        ASSERT_TRUE(recorder->flush(std::chrono::seconds(30)));
        const auto recorded = store();
        const record::Session newest = record::History(recorded->database()).sessions({})[0];
        EXPECT_EQ(newest.kind, SessionKind::kRestore);
        EXPECT_EQ(newest.state, SessionState::kComplete);
        EXPECT_EQ(newest.items, 2U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    History, Restore,
    testing::Values(
        Restored{"DateIsStamped", false, "0000000001", "1 item can be restored, 3 can't or need not be.", {20, 40}},
        Restored{"DateIsRestored", true, "0000000001", "2 items can be restored, 2 can't or need not be.", {20, 40}},
        Restored{
            "AnotherPhoneIsAskedAbout", false, "0000000002", "1 item can be restored, 3 can't or need not be.", {}}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_F(History, NotesAndReportsStay) {
    makeStore();
    start();
    showWrite();
    whenAsked([](QWidget* dialog) {
        dialog->findChild<QPlainTextEdit*>()->setPlainText("the <antenna>\nwas exchanged");
        qobject_cast<QDialog*>(dialog)->accept();
    });
    click("history_note");
    ASSERT_TRUE(isIdle());
    EXPECT_NE(rows("history_sessions")[0].find("|the <antenna> was exchanged"), std::string::npos);
    for (const auto& [file, begin] : {std::pair("r.html", "<!DOCTYPE html>"), std::pair("r.pdf", "%PDF-")}) {
        chooseFile(path(file));
        click("history_report");
        ASSERT_TRUE(isIdle());
        EXPECT_EQ(message(), "Report saved to " + path(file).toStdString());
        const std::string text = readText(folder / file);
        EXPECT_EQ(text.substr(0, std::string_view(begin).size()), begin);
        EXPECT_EQ(text.find("the &lt;antenna&gt;<br>was exchanged") != std::string::npos,
                  file == std::string("r.html"));
    }
}

TEST_F(History, OneItemIsShownOverTimeAndOverAllPhones) {
    plugIn();
    makeStore();
    {
        const auto made = store();
        for (int phone = 10; phone < 30; ++phone) { // as many as it takes to know what is usual
            made->add(sessionOf("44444444-0000-4000-8000-0000000000" + std::to_string(phone), SessionKind::kRead, 0,
                                "00000001" + std::to_string(phone)),
                      std::vector{readOf(20, bytes({static_cast<std::uint8_t>(40 + phone % 3)}))});
        }
    }
    start();
    readPhone();
    clickLine(1);
    window().refresh(); // as when the program is idle
    run(CommandId::kItemHistory);
    ASSERT_NE(window().findChild<ItemHistoryWindow*>(), nullptr);
    auto& item = *window().findChild<ItemHistoryWindow*>();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !item.isAsking(); }, 30000));
    EXPECT_EQ(item.windowTitle(), "Item 20 NV_ALPHA of Sample 0000000001");
    const Texts changes = rows("item_history_changes");
    ASSERT_EQ(changes.size(), 2U) << "the newest first";
    EXPECT_EQ(changes[0].substr(19), "|2|2|mira on bench-1|write: changed items");
    EXPECT_EQ(changes[1].substr(19), "|1|1|mira on bench-1|read: all supported items");
    EXPECT_EQ(part<QLabel>("item_history_summary").text().toStdString(),
              "22 phones. Median 41, usual 36 to 46; 2 unusual. This phone: 2, unusual.");
    const Texts phones = rows("item_history_phones");
    EXPECT_EQ(phones[0].substr(0, 36), "Sample 0000000001 - this phone|2|202");
    EXPECT_EQ(phones.size(), 22U);
}

TEST_F(History, OfAnInterruptedWriteOnlyWhatItReportedIsKnown) {
    record::Session session = sessionOf(kWriteUuid, SessionKind::kWrite, 3, "0000000001");
    session.state = SessionState::kInterrupted;
    const SessionItem reported{.number = 10, .state = ItemState::kVerified, .before = bytes({1}), .after = bytes({2})};
    const SessionItem silent{.number = 20, .before = bytes({1}), .wanted = bytes({2})};
    store()->add(session, std::vector{reported, silent});
    start();
    showWrite();
    EXPECT_EQ(rows("history_items"), (Texts{"10|NV_ZETA|1, 0|2, 0|verified", "20|NV_ALPHA|1||not known"}));
    click("history_open");
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(numbersOf(doc().nvItems()), std::vector{10});
}

TEST_F(History, ASessionThatIsNotThereIsTold) {
    makeStore();
    start();
    frame().historyPart().showHistory("55555555-0000-4000-8000-000000000000");
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(message(), "The session is not in this store (yet): 55555555-0000-4000-8000-000000000000");
    EXPECT_EQ(rows("history_phones").size(), 2U);
}

TEST_F(History, ASessionThatTheSharedStoreLacksIsShownFromTheOwn) {
    makeStore();
    start();
    const auto shared = [place = (folder / "shared.sqlite").string()] {
        record::ShownStore opened = record::openShownAt(place, true);
        opened.isShared = true;
        return opened;
    };
    const auto own = [place = (folder / record::kStoreFileName).string()] { return record::openShownAt(place); };
    auto* window = new HistoryWindow(std::make_shared<QtUserInterface>(&this->window()),
                                     {.open = shared, .ringPath = doc().ring().path.string(), .openOwn = own},
                                     HistoryActions(), &this->window());
    for (const auto& [uuid, about, items] :
         {std::tuple(kWriteUuid.c_str(),
                     "The record of this computer. The shared record does not have the session yet.", 4U),
          std::tuple("", "The shared record.", 0U)}) {
        window->refresh(uuid);
        ASSERT_TRUE(isIdle());
        EXPECT_EQ(part<QLabel>("history_store").text().toStdString(), about);
        EXPECT_EQ(rows("history_items").size(), items);
        EXPECT_EQ(message(), "");
    }
}

TEST_F(History, IsThereWithoutADocument) {
    makeStore();
    start();
    frame().close();
    ASSERT_TRUE(QTest::qWaitFor([this] { return window().activeFrame() == nullptr; }, 30000));
    window().refresh();
    ASSERT_TRUE(window().action(CommandId::kHistory)->isEnabled());
    run(CommandId::kHistory);
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(rows("history_items")[0], "20|NV_ALPHA|1|2|verified");
}

TEST_F(History, AStoreThatDoesNotAnswerKeepsNoWindow) {
    start();
    std::promise<void> answer;
    const auto blocked = [hung = answer.get_future().share()]() -> record::ShownStore {
        hung.wait();
        throw std::runtime_error("gone");
    };
    auto asking = std::make_unique<HistoryWindow>(std::make_shared<QtUserInterface>(&window()),
                                                  HistorySource{.open = blocked}, HistoryActions(), &window());
    asking->refresh();
    const auto begun = std::chrono::steady_clock::now();
    std::thread server([&answer, begun] { // a window that waits for it is freed in the end, and has failed
        std::this_thread::sleep_until(begun + 3 * kLongestAnswer);
        answer.set_value();
    });
    asking.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 2 * kLongestAnswer);
    server.join(); // what the thread that was left comes back to is still there
    QTest::qWait(50);
}

} // namespace
