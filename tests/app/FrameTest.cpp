// The main window: menus, toolbar, panes, documents, and the way out.

#include "app/dialogs/CProgressDlg.h"
#include "app/dialogs/MessageBox.h"
#include "app/frame/CommandTable.h"
#include "app/frame/MainStatusBar.h"
#include "app/frame/StatusPane.h"
#include "tests/app/WindowFixture.h"

#include <QMenuBar>
#include <QProgressBar>
#include <QSettings>
#include <QSignalSpy>
#include <QSplitter>
#include <QStatusBar>
#include <QToolBar>

namespace {

using Frame = WindowFixture;

/// The entries below a menu, one a line: "Menu/Text id", "-" for a separator.
void collect(const QString& path, QMenu* menu, QStringList& lines) {
    for (QAction* action : menu->actions()) {
        if (action->isSeparator()) {
            lines << path + "/-";
        } else if (action->menu() != nullptr) {
            collect(path + "/" + action->text(), action->menu(), lines);
        } else {
            lines << path + "/" + action->text() + " " + action->property("commandId").toString();
        }
    }
}

QStringList menuLines(QMenuBar* bar) {
    QStringList lines;
    for (QAction* action : bar->actions()) {
        collect(action->text(), action->menu(), lines);
    }
    return lines;
}

TEST_F(Frame, HasTheMenusOfADocumentAndThoseWithoutOne) {
    plugIn();
    start();
    const QStringList documentMenus{
        "File/Read From Phone 32771",
        "File/Read From MOX 32774",
        "File/-",
        "File/Write Changed NV Items To Phone 32772",
        "File/Write Only Listed NV Items To Phone 32773",
        "File/Write Only Listed NV Items To MOX 32775",
        "File/Write Only Listed NV Items To Text 32793",
        "File/-",
        "File/Read Supported RF NV Items 32784",
        "File/-",
        "File/Exit 57665",
        "View/Sort/ID Number 32786",
        "View/Sort/Alphabetical 32787",
        "View/Search 32795",
        "Option/Customized NV Item List 32791",
        "Option/Reset Phone 32776",
        "Option/Offline Mode 32796",
        "Setting/Comport 32777",
        "Help/About Calvane... 57664",
        "Help/Help Topic 32794",
    };
    EXPECT_EQ(menuLines(window().menuBar()), documentMenus);
    EXPECT_EQ(window().windowTitle(), "Calvane 1.4.34");

    frame().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return window().activeFrame() == nullptr; }));
    window().refresh();
    const QStringList emptyMenus{
        "&File/&New\tCtrl+N 57600",
        "&File/&Open...\tCtrl+O 57601",
        "&File/-",
        "&File/Recent File 57616",
        "&File/-",
        "&File/E&xit 57665",
        "&View/&Toolbar 59392",
        "&View/&Status Bar 59393",
        "&Help/&About Calvane... 57664",
    };
    EXPECT_EQ(menuLines(window().menuBar()), emptyMenus);
    EXPECT_FALSE(window().action(CommandId::kReadFromPhone)->isEnabled());
    EXPECT_TRUE(std::filesystem::exists(folder / "CalvaneConfig.ini"));

    QTest::keyClick(&window(), Qt::Key_N, Qt::ControlModifier);
    ASSERT_NE(window().activeFrame(), nullptr);
    EXPECT_EQ(menuLines(window().menuBar()), documentMenus);
    EXPECT_EQ(window().windowTitle(), "Calvane 1.4.34 - [RF NV ITEMS ONLY]");
}

TEST_F(Frame, HasTheToolbarWithItsTexts) {
    start();
    auto* bar = window().findChild<QToolBar*>("toolbar_134");
    QStringList buttons;
    for (QAction* action : bar->actions()) {
        buttons << (action->isSeparator() ? "-" : action->property("commandId").toString());
    }
    EXPECT_EQ(buttons.join(' '), "32771 32772 32773 32774 32775 - 32776 - 32777 - 57664");
    EXPECT_EQ(bar->iconSize(), QSize(16, 16));
    EXPECT_EQ(window().action(CommandId::kWriteListedToPhone)->toolTip(),
              "Write Listed NV Items To Phone. (Override the existing ones)");
    EXPECT_EQ(window().action(CommandId::kWriteListedToPhone)->statusTip(), "");
    EXPECT_EQ(window().action(CommandId::kSortByIdNumber)->statusTip(), "Sort NV Items By The ID Number");
}

TEST_F(Frame, DisablesTheCatalogsCommandsWhileAReadRuns) {
    plugIn();
    start();
    tessra::FaultRule slow;
    slow.delayMs = 40;
    service->port("COM1").faults().add(slow);
    run(CommandId::kReadFromPhone);
    EXPECT_TRUE(frame().isBusy());
    auto* progressWindow = window().findChild<CProgressDlg*>();
    EXPECT_TRUE(progressWindow->isVisible());
    EXPECT_EQ(progressWindow->windowTitle(), "Processing...");
    int disabled = 0;
    for (const CommandInfo& info : commandTable()) {
        EXPECT_EQ(window().action(info.id)->isEnabled(), !info.disabledWhileReading) << static_cast<int>(info.id);
        disabled += info.disabledWhileReading ? 1 : 0;
    }
    EXPECT_EQ(disabled, 12);
    EXPECT_FALSE(item<QPushButton>(1001).isEnabled()) << "the editor's button writes as well";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
    EXPECT_FALSE(progressWindow->isVisible());
    EXPECT_TRUE(window().action(CommandId::kWriteListedToPhone)->isEnabled());
    EXPECT_TRUE(item<QPushButton>(1001).isEnabled());
    EXPECT_EQ(progressWindow->findChild<QLineEdit*>("ctl_1016")->text(), " 40 - NV_RF_NV_LOADED_DATE_I");
    EXPECT_EQ(progressWindow->findChild<QProgressBar*>("ctl_1015")->value(), 4);
}

TEST_F(Frame, ShowsProgressLinesInOrder) {
    start();
    auto* progressWindow = window().findChild<CProgressDlg*>();
    auto* text = progressWindow->findChild<QLineEdit*>("ctl_1016");
    progressWindow->show();
    const auto shownAs = [](int line) { return " 7 - " + QString::number(line); };
    const auto add = [&](int from, int to) {
        for (int i = from; i <= to; ++i) {
            progressWindow->addLine(formatProgressLine(9000, static_cast<std::uint32_t>(i), 7, std::to_string(i)));
        }
    };
    std::atomic<int> shown = 0;
    int next = 1;
    QObject::connect(text, &QLineEdit::textChanged, text, [&](const QString& line) {
        EXPECT_EQ(line, shownAs(next++));
        ++shown;
    });
    constexpr int kBurst = 1000;
    constexpr int kLines = 6 * kBurst;
    std::jthread reader([&](const std::stop_token& stop) {
        for (int i = 0; i < kLines && !stop.stop_requested(); i += kBurst) {
            add(i + 1, i + kBurst);
            while (shown < i && !stop.stop_requested()) { // one burst may wait behind the one that is shown
                std::this_thread::yield();
            }
        }
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return shown == kLines; }, 60000));
    reader.request_stop();
    reader.join();

    next = 9000;
    add(kLines + 1, 9000);
    progressWindow->hide();
    EXPECT_EQ(text->text(), shownAs(9000)) << "what came before the window hid is shown";
    EXPECT_EQ(progressWindow->findChild<QProgressBar*>("ctl_1015")->value(), 9000);
    EXPECT_EQ(next, 9001) << "of a flood the newest line is shown";
    add(9001, 9001);
    EXPECT_TRUE(QTest::qWaitFor([&] { return next == 9002; })) << "a read goes on below a window that was closed";
}

TEST_F(Frame, PanesShowPortAndFileOfTheDocument) {
    write("CalvaneConfig.ini", "COM5\n");
    start();
    EXPECT_GE(window().statusBar()->minimumHeight(), 26);
    const auto pane = [&](int id) { return window().findChild<StatusPane*>("pane_" + QString::number(id)); };
    EXPECT_EQ(pane(101)->fullText(), "COM5");
    EXPECT_EQ(pane(102)->fullText(), "");
    EXPECT_EQ(pane(103)->sizeHint().width(), 119);
    EXPECT_EQ(pane(102)->sizeHint().width(), 500);
    EXPECT_EQ(pane(101)->sizeHint().width(), 50);
    for (const char* prompt : {"Sort the items", ""}) {
        QStatusTipEvent tip(prompt);
        QApplication::sendEvent(&window(), &tip);
        EXPECT_EQ(pane(102)->text(), prompt);
        EXPECT_TRUE(pane(101)->isVisible()) << "a prompt takes one place";
    }
    auto* bar = window().findChild<MainStatusBar*>();
    bar->setNotice("Waiting");
    bar->setPrompt("");
    EXPECT_EQ(pane(102)->text(), "Waiting") << "a mouse that leaves a button does not end it";
    bar->setNotice("");
    write("other.port", "COM6\n");
    ASSERT_TRUE(app().openDocument(QString::fromStdString((folder / "other.port").string())));
    EXPECT_EQ(pane(101)->fullText(), "COM6") << "the active document's";
    frame().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane(101)->fullText() == "COM5"; }));
    frame().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return pane(101)->fullText().isEmpty(); })) << "no document, no port";
    run(CommandId::kNew);
    const auto* splitter = frame().findChild<QSplitter*>("splitter");
    EXPECT_NEAR(splitter->sizes()[0], 300, 2);
}

TEST_F(Frame, RemembersTheLastFourFiles) {
    start();
    for (const char* name : {"a", "b", "c", "d", "e", "b"}) {
        write(name, "COM1\n");
        ASSERT_TRUE(app().openDocument(QString::fromStdString((folder / name).string())));
    }
    expectMessage();
    EXPECT_FALSE(app().openDocument("missing"));
    EXPECT_EQ(messages.size(), 1u);
    QStringList names;
    for (const QString& path : QSettings().value("recent/files").toStringList()) {
        names << path.section('/', -1);
    }
    EXPECT_EQ(names.join(' '), "b e d c");
}

TEST_F(Frame, ComesBackWithItsSizeAndBars) {
    start();
    window().resize(700, 610);
    window().addToolBar(Qt::LeftToolBarArea, window().findChild<QToolBar*>("toolbar_134"));
    window().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window().isVisible(); }));
    start();
    EXPECT_EQ(window().size(), QSize(700, 610));
    EXPECT_EQ(window().toolBarArea(window().findChild<QToolBar*>("toolbar_134")), Qt::LeftToolBarArea);
}

TEST_F(Frame, ClosesCleanlyWhileAReadRuns) {
    plugIn();
    start();
    tessra::FaultRule slow;
    slow.delayMs = 300;
    service->port("COM1").faults().add(slow);
    run(CommandId::kReadFromPhone);
    bool closed = false;
    QObject::connect(&window(), &CMainFrame::closed, &window(), [&] { closed = true; });
    window().close();
    EXPECT_FALSE(window().isVisible()) << "the user need not wait";
    EXPECT_FALSE(closed);
    ASSERT_TRUE(QTest::qWaitFor([&] { return closed; }, 10000));
    EXPECT_EQ(contents("CalvaneConfig.ini"), "COM1\n");
}

TEST_F(Frame, ClosesCleanlyWhenThePhoneLeavesMeanwhile) {
    plugIn();
    start();
    doc().setActiveEditor("null");
    tessra::FaultRule vanish;
    vanish.delayMs = 300;
    vanish.kind = tessra::FaultKind::kVanish;
    service->port("COM1").faults().add(vanish);
    run(CommandId::kReadFromPhone);
    bool closed = false;
    QObject::connect(&window(), &CMainFrame::closed, &window(), [&] { closed = true; });
    expectMessage();
    window().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return closed; }, 10000));
    EXPECT_TRUE(messages.empty()) << onlyMessage();
    EXPECT_EQ(contents("CalvaneConfig.ini"), "COM1\n");
}

TEST_F(Frame, ClosesOnceWhenItsConfigurationCannotBeWritten) {
    start();
    std::filesystem::remove(folder / "CalvaneConfig.ini");
    std::filesystem::create_directory(folder / "CalvaneConfig.ini");
    bool closed = false;
    QObject::connect(&window(), &CMainFrame::closed, &window(), [&] { closed = true; });
    expectMessage();
    window().close();
    ASSERT_TRUE(QTest::qWaitFor([&] { return closed; }, 10000));
    EXPECT_EQ(onlyMessage(), "Calvane: Couldn't open CalvaneConfig.ini for writing 21");
}

/// Does `work` again and again while the window's command waits.
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
    plugIn();
    start();
    readPhone();
    clickLine(0);
    auto* button =
        window().findChild<QToolBar*>("toolbar_134")->widgetForAction(window().action(CommandId::kResetPhone));
    const QPoint place = button->mapTo(&window(), button->rect().center());
    const QString text = edit(0).text();
    int rounds = 0;
    WhileWaiting impatience(window(), [&] {
        ++rounds;
        QTest::mouseClick(window().windowHandle(), Qt::LeftButton, {}, place);
        QTest::mouseClick(button, Qt::LeftButton);
        QTest::keyClick(&edit(0), Qt::Key_9);
        QTest::keyClick(window().windowHandle(), Qt::Key_N, Qt::ControlModifier);
        run(CommandId::kResetPhone); // as a screen reader would
        item<QPushButton>(1001).click();
    });
    focusBack();
    QTest::mouseClick(window().windowHandle(), Qt::LeftButton, {}, place);
    EXPECT_GE(rounds, 2) << "the phone stays away for a while";
    QTest::qWait(20); // whatever was only put off
    EXPECT_EQ(service->port("COM1").faults().count(tessra::Call::kChangeMode), 1u);
    EXPECT_TRUE(written().empty());
    EXPECT_EQ(edit(0).text(), text);
    EXPECT_EQ(CSplitterFrame::allIn(window()).size(), 1);
    QTest::mouseClick(window().windowHandle(), Qt::LeftButton, {}, place);
    EXPECT_EQ(service->port("COM1").faults().count(tessra::Call::kChangeMode), 2u) << "and takes it again afterwards";
}

TEST_F(Frame, ClosesWhenTheCommandThatWaitsHasEndedAndItsMessageIsRead) {
    plugIn();
    start();
    readPhone();
    tessra::FaultRule fails;
    fails.call = tessra::Call::kChangeMode;
    fails.kind = tessra::FaultKind::kThrowException;
    fails.delayMs = 60;
    service->port("COM1").faults().add(fails);
    QSignalSpy closed(&window(), &CMainFrame::closed);
    bool refused = false;
    WhileWaiting leaving(window(), [&] { refused = !window().close() && window().isVisible(); });
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
    plugIn();
    start();
    readPhone();
    tessra::FaultRule slow;
    slow.delayMs = 200;
    slow.kind = tessra::FaultKind::kThrowException;
    service->port("COM1").faults().add(slow);
    tessra::FaultRule slower;
    slower.call = tessra::Call::kChangeMode;
    slower.delayMs = 600;
    service->port("COM1").faults().add(slower);
    bool confirmed = false;
    whenAsked([&](QWidget* box) {
        EXPECT_TRUE(CSplitterFrame::isAnyWaiting(window()));
        QTest::keyClick(box->windowHandle(), Qt::Key_Return);
        confirmed = QTest::qWaitFor([] { return QApplication::activeModalWidget() == nullptr; }, 1000);
        box->close(); // else this test would never end
    });
    const auto sends = [&] { return service->port("COM1").faults().count(tessra::Call::kSend); };
    const auto before = sends();
    run(CommandId::kReadFromPhone);
    ASSERT_TRUE(QTest::qWaitFor([&] { return sends() > before; })); // the next command waits for this one
    run(CommandId::kOfflineMode);
    EXPECT_TRUE(confirmed);
    EXPECT_FALSE(frame().isBusy());
}

TEST_F(Frame, ShowsALongMessageOnTheScreenWithItsEnd) {
    start();
    whenAsked([&](QWidget* box) {
        EXPECT_LT(box->height(), window().screen()->availableGeometry().height());
        EXPECT_TRUE(qobject_cast<QMessageBox*>(box)->text().endsWith("the end"));
        QTest::keyClick(box, Qt::Key_Return);
    });
    showMessageBox(&window(), QString(6400, 'x').replace("xxxxxxxx", "<BYTE,y>") + "the end", "", MessageIcon::kError);
}

TEST_F(Frame, ClosesWithoutAQuestionOverAnEditThatDoesNotFit) {
    plugIn();
    for (const bool reading : {false, true}) {
        for (const bool wholeProgram : {false, true}) {
            SCOPED_TRACE(2 * reading + wholeProgram);
            start();
            readPhone();
            clickLine(0);
            service->port("COM1").faults().clear();
            tessra::FaultRule slow;
            slow.delayMs = 100;
            service->port("COM1").faults().add(slow);
            if (reading) {
                run(CommandId::kReadFromPhone);
            }
            type(0, "no number");
            QSignalSpy closed(&window(), &CMainFrame::closed);
            wholeProgram ? window().close() : frame().close();
            EXPECT_TRUE(QTest::qWaitFor(
                [&] { return wholeProgram ? !closed.isEmpty() : CSplitterFrame::allIn(window()).isEmpty(); }, 10000));
            stop();
        }
    }
}

TEST_F(Frame, ListsManyItems) {
    std::string ring;
    for (int i = 65535; i >= 0; --i) {
        ring += "NV_" + std::to_string(100000 + i) + "," + std::to_string(65535 - i) + ",ReadWrite,<BYTE,x>#\n";
    }
    start(ring.c_str());
    run(CommandId::kReadSupportedItems);
    ASSERT_TRUE(QTest::qWaitFor([&] { return listBox().model()->rowCount() == 65536; }));
    run(CommandId::kSortAlphabetical);
    EXPECT_EQ(listBox().model()->index(0, 0).data().toString(), "65535\tNV_100000");
    EXPECT_FALSE(listBox().selectionModel()->hasSelection());
    whenAsked([](QWidget* dialog) {
        QTest::keyClicks(dialog->focusWidget(), "nv_165535");
        QTest::keyClick(dialog, Qt::Key_Return);
    });
    run(CommandId::kSearch);
    EXPECT_EQ(doc().selectedIndex(), 65535);
    EXPECT_TRUE(listBox().viewport()->rect().intersects(listBox().visualRect(listBox().currentIndex())));
    EXPECT_EQ(rowCount(), 1);
}

} // namespace
