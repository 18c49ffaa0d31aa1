// The main window: menus, panes, documents, and the way out.

#include "app/dialogs/CProgressDlg.h"
#include "app/frame/Shutdown.h"
#include "app/frame/StatusPane.h"
#include "tests/app/WindowFixture.h"

#include <QMenuBar>
#include <QProgressBar>
#include <QSettings>
#include <QSignalSpy>
#include <QToolBar>

namespace {

class Frame : public WindowFixture {
protected:
    auto menuCount() { return window().menuBar()->actions().size(); }
    StatusPane& pane(int id) { return *window().findChild<StatusPane*>("pane_" + QString::number(id)); }
    CProgressDlg& progressWindow() { return *window().findChild<CProgressDlg*>(); }
    auto calls(tessra::Call call) { return service->faults("COM1").count(call); }
};

TEST_F(Frame, ComesBackWithItsSizeAndBars) {
    const auto toolbar = [this] { return window().findChild<QToolBar*>("toolbar_134"); };
    start();
    window().resize(700, 610);
    window().addToolBar(Qt::LeftToolBarArea, toolbar());
    window().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window().isVisible(); }));
    start();
    EXPECT_EQ(window().size(), QSize(700, 610));
    EXPECT_EQ(window().toolBarArea(toolbar()), Qt::LeftToolBarArea);
}

TEST_F(Frame, HasOtherMenusWithoutADocument) {
    start();
    EXPECT_EQ(menuCount(), 8);
    EXPECT_EQ(window().windowTitle(), "Calvane 1.4.34");
    frame().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return menuCount() == 3; }));
    EXPECT_FALSE(window().action(CommandId::kReadFromPhone)->isEnabled());
    QTest::keyClick(&window(), Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(menuCount(), 8);
    EXPECT_EQ(window().windowTitle(), "Calvane 1.4.34 - [RF NV ITEMS ONLY]");
}

TEST_F(Frame, DisablesTheCatalogsCommandsWhileAReadRuns) {
    plugIn();
    start();
    addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 40);
    run(CommandId::kReadFromPhone);
    EXPECT_TRUE(progressWindow().isVisible());
    QStringList enabled;
    for (const CommandInfo& info : commandTable()) {
        const bool isBesideTheCatalog = info.id >= CommandId::kCompare && info.id <= CommandId::kInterpolate;
        if (info.needsDocument && !isBesideTheCatalog && window().action(info.id)->isEnabled()) {
            enabled << QString::number(static_cast<int>(info.id));
        }
    }
    EXPECT_EQ(enabled.join(' '), "32795 32796 32794 32931 32932 32933");
    EXPECT_FALSE(writeButton().isEnabled()) << "the editor's button writes as well";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
    EXPECT_FALSE(progressWindow().isVisible());
    EXPECT_TRUE(writeButton().isEnabled());
}

TEST_F(Frame, ShowsProgressLinesInOrder) {
    start();
    progressWindow().show();
    auto& text = progressWindow().item<QLineEdit>(1016);
    QStringList shown;
    QObject::connect(&text, &QLineEdit::textChanged, &text, [&](const QString& line) { shown << line; });
    const auto add = [&](int from, int to) {
        for (int i = from; i <= to; ++i) {
            progressWindow().addLine("9000 " + std::to_string(i) + " 7 - " + std::to_string(i));
        }
    };
    std::jthread(add, 1, 3).join();
    ASSERT_TRUE(QTest::qWaitFor([&] { return shown.size() == 3; }));
    add(4, 9000);
    progressWindow().hide();
    EXPECT_EQ(shown.join(','), " 7 - 1, 7 - 2, 7 - 3, 7 - 9000") << "of a flood the newest line is shown";
    EXPECT_EQ(progressWindow().item<QProgressBar>(1015).value(), 9000);
}

TEST_F(Frame, ShowsThePortOfItsDocumentAndRemembersTheLastFourFiles) {
    start();
    for (const char* name : {"COM5", "COM6", "COM7", "COM6", "COM8", "COM9"}) {
        writeText(folder / name, name);
        ASSERT_TRUE(app().openDocument(name));
        EXPECT_EQ(pane(101).fullText(), name);
    }
    const QStringList paths = QSettings().value("recent/files").toStringList();
    EXPECT_EQ(paths.join(' ').remove(QString::fromStdString(folder.path.string() + "/")), "COM9 COM8 COM6 COM7");
}

TEST_F(Frame, GoesFromWindowToWindowAndLeavesTheFocusWhereItWas) {
    startAndRead();
    clickLine(0);
    clickRow(0);
    const QWidget* box = QApplication::focusWidget();
    ASSERT_EQ(box, &edit(0));
    CSplitterFrame* first = &frame();
    run(CommandId::kNew);
    for (const CommandId id : {CommandId::kNextWindow, CommandId::kPreviousWindow}) {
        EXPECT_NE(&frame(), first);
        run(id);
        EXPECT_EQ(&frame(), first);
        EXPECT_EQ(QApplication::focusWidget(), box);
        run(id);
    }
    run(CommandId::kCloseWindow);
    EXPECT_EQ(&frame(), first);
    EXPECT_TRUE(QTest::qWaitFor([&] { return CSplitterFrame::allIn(window()).size() == 1; }));
}

TEST_F(Frame, ClosesWithoutAQuestionWhileAReadRunsAndFails) {
    startAndRead();
    enter(0, "no number");
    addFault(tessra::Call::kSend, tessra::FaultKind::kVanish, 300);
    run(CommandId::kReadFromPhone);
    QSignalSpy closed(&window(), &CMainFrame::closed);
    window().close();
    EXPECT_FALSE(window().isVisible()) << "the user need not wait";
    EXPECT_TRUE(closed.isEmpty());
    ASSERT_TRUE(closed.wait(10000));
    EXPECT_EQ(readText(folder / "CalvaneConfig.ini"), "COM1\n");
}

TEST_F(Frame, IsLeftWithoutAReadThatHangs) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    plugIn();
    EXPECT_EXIT(
        {
            start();
            addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 8000);
            window().findChild<Shutdown*>()->setReadEndLimit(200);
            run(CommandId::kReadFromPhone);
            EXPECT_TRUE(eventually([&] { return calls(tessra::Call::kSend) > 0; }));
            window().close();
            QTest::qWait(4000);
        },
        testing::ExitedWithCode(EXIT_FAILURE), "A read from the phone does not end");
}

/// Does `work` again and again while a command of the window's documents waits.
class WhileWaiting : public QTimer {
public:
    WhileWaiting(CMainFrame& window, std::function<void()> work) {
        QObject::connect(this, &QTimer::timeout, this, [&window, work = std::move(work)] {
            if (CSplitterFrame::isAnyWaiting(window)) {
                work();
            }
        });
        start(5);
    }
};

TEST_F(Frame, GoesOnAndDropsInputWhileTheResetWaitsForThePhone) {
    startAndRead();
    clickLine(0);
    const auto* toolbar = window().findChild<QToolBar*>("toolbar_134");
    const QWidget* button = toolbar->widgetForAction(window().action(CommandId::kResetPhone));
    const QPoint place = button->mapTo(&window(), button->rect().center());
    const auto clickReset = [&] { QTest::mouseClick(window().windowHandle(), Qt::LeftButton, {}, place); };
    int rounds = 0;
    const WhileWaiting impatience(window(), [&] {
        ++rounds;
        clickReset();
        QTest::keyClick(&edit(0), Qt::Key_9);
        QTest::keyClick(window().windowHandle(), Qt::Key_N, Qt::ControlModifier);
        run(CommandId::kResetPhone); // as a screen reader would
        writeButton().click();
    });
    focusBack();
    clickReset();
    EXPECT_GE(rounds, 2) << "the phone stays away for a while";
    QTest::qWait(20); // whatever was only put off
    EXPECT_EQ(calls(tessra::Call::kChangeMode), 1u);
    EXPECT_TRUE(written().empty());
    EXPECT_EQ(edit(0).text(), "5");
    EXPECT_EQ(CSplitterFrame::allIn(window()).size(), 1);
}

TEST_F(Frame, ClosesWhenTheCommandThatWaitsHasEndedAndItsMessageIsRead) {
    startAndRead();
    addFault(tessra::Call::kChangeMode, tessra::FaultKind::kThrowException, 60);
    QSignalSpy closed(&window(), &CMainFrame::closed);
    bool refused = false;
    const WhileWaiting leaving(window(), [&] { refused = !window().close() && window().isVisible(); });
    whenAsked([&](QWidget* box) {
        QTest::qWait(20);
        EXPECT_TRUE(closed.isEmpty()) << "the message is still there";
        box->close();
    });
    run(CommandId::kResetPhone);
    EXPECT_TRUE(refused) << "what the command uses must stay";
    EXPECT_TRUE(closed.wait(10000));
}

TEST_F(Frame, ConfirmsTheMessageOfAReadThatFailsWhileACommandWaits) {
    startAndRead();
    addFault(tessra::Call::kSend, tessra::FaultKind::kThrowException, 200);
    addFault(tessra::Call::kChangeMode, tessra::FaultKind::kNone, 1500);
    bool confirmed = false;
    whenAsked([&](QWidget* box) {
        EXPECT_TRUE(CSplitterFrame::isAnyWaiting(window()));
        QTest::keyClick(box->windowHandle(), Qt::Key_Return);
        confirmed = QTest::qWaitFor([] { return QApplication::activeModalWidget() == nullptr; }, 1000);
        box->close(); // else this test would never end
    });
    const auto before = calls(tessra::Call::kSend);
    run(CommandId::kReadFromPhone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return calls(tessra::Call::kSend) > before; }));
    run(CommandId::kOfflineMode);
    EXPECT_TRUE(confirmed);
    EXPECT_FALSE(frame().isBusy());
}

} // namespace
