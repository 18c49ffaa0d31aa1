#include "app/dialogs/CComPortDlg.h"
#include "app/dialogs/CFilePropertiesDlg.h"
#include "app/dialogs/CSearchDlg.h"
#include "app/dialogs/DialogControls.h"
#include "tests/dialogs/DialogDriver.h"

#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>

namespace {

QStringList entries(const QComboBox& box) {
    QStringList texts;
    for (int i = 0; i < box.count(); ++i) {
        texts.append(box.itemText(i));
    }
    return texts;
}

constexpr int kPortBox = 1011;
constexpr int kSearchText = 1019;
constexpr int kFileName = 1003;
constexpr int kEsn = 1005;
constexpr int kBrowse = 1010;

TEST(ComPortDialog, OffersTheNamesInOrderAndTakesTheChosenOne) {
    CComPortDlg dialog;
    dialog.setPortNames({"COM7", "COM3"});
    auto& box = dialog.item<DialogComboBox>(kPortBox);
    EXPECT_EQ(runDialog(dialog,
                        [&] {
                            EXPECT_EQ(box.currentText(), "");
                            EXPECT_EQ(box.count(), 0);
                            EXPECT_TRUE(box.hasFocus());
                            type(dialog, "stale");
                            box.showPopup();
                            EXPECT_EQ(entries(box), QStringList({"COM7", "COM3"}));
                            EXPECT_EQ(box.currentText(), "") << "opening the list empties the edit field";
                            QTest::keyClick(box.view(), Qt::Key_Down);
                            QTest::keyClick(box.view(), Qt::Key_Down);
                            QTest::keyClick(box.view(), Qt::Key_Return);
                            EXPECT_EQ(box.currentText(), "COM3");
                            QTest::qWait(60); // a box that fits itself to its entries does so 20 ms later
                            EXPECT_NEAR(box.width(), dialog.item<QWidget>(kIdOk).width() * 77 / 50, 2);
                            click(dialog, kIdOk);
                        }),
              QDialog::Accepted);
    EXPECT_EQ(dialog.chosenPort(), "COM3");
}

TEST(ComPortDialog, TakesWhatIsTypedUnchanged) {
    const char* const kTexts[] = {"COM12", "com1", " COM 3 ", ""};
    for (const char* text : kTexts) {
        SCOPED_TRACE(text);
        CComPortDlg dialog;
        dialog.setPortNames({"COM1", "COM123"});
        EXPECT_EQ(runDialog(dialog,
                            [&] {
                                // Filled once, so that a completion would have something to offer.
                                dialog.item<DialogComboBox>(kPortBox).showPopup();
                                dialog.item<DialogComboBox>(kPortBox).hidePopup();
                                type(dialog, text);
                                press(dialog, Qt::Key_Return);
                            }),
                  QDialog::Accepted);
        EXPECT_EQ(dialog.chosenPort(), text);
    }
}

TEST(ComPortDialog, OpensAnEmptyListWithoutNames) {
    CComPortDlg dialog;
    runDialog(dialog, [&] {
        type(dialog, "COM1");
        auto& box = dialog.item<DialogComboBox>(kPortBox);
        box.showPopup();
        EXPECT_TRUE(box.view()->isVisible());
        EXPECT_EQ(box.currentText(), "");
        EXPECT_EQ(box.count(), 0);
        box.hidePopup();
    });
}

TEST(SearchDialog, KeepsTheTextOfTheLastSearchAndNotOfACancelledOne) {
    CSearchDlg dialog;
    auto& edit = dialog.item<QLineEdit>(kSearchText);
    const struct {
        const char* name;
        const char* shown;
        const char* typed;
        Qt::Key key;
        int result;
        const char* held;
    } kRuns[] = {
        {"first run is empty", "", "94", Qt::Key_Return, QDialog::Accepted, "94"},
        {"cancel drops what was typed", "94", "Lost", Qt::Key_Escape, QDialog::Rejected, "94"},
        {"neither trimmed nor in other case", "94", "  nV_b ", Qt::Key_Return, QDialog::Accepted, "  nV_b "},
    };
    for (const auto& run : kRuns) {
        SCOPED_TRACE(run.name);
        EXPECT_EQ(runDialog(dialog,
                            [&] {
                                EXPECT_EQ(edit.text(), run.shown);
                                EXPECT_TRUE(edit.hasFocus());
                                type(dialog, run.typed);
                                press(dialog, run.key);
                            }),
                  run.result);
        EXPECT_EQ(dialog.searchText(), run.held);
    }
}

TEST(FileProperties, AppendsTheExtensionUnlessItStandsAnywhere) {
    const struct {
        const char* typed;
        const char* result;
    } kNames[] = {{"cal1", "cal1.mox"},           {"C:\\data\\x.mox", "C:\\data\\x.mox"}, {"x.MOX", "x.MOX.mox"},
                  {"old.mox.bak", "old.mox.bak"}, {"/tmp/a.b", "/tmp/a.b.mox"},           {"", ""}};
    for (const auto& name : kNames) {
        SCOPED_TRACE(name.typed);
        CFilePropertiesDlg dialog;
        EXPECT_EQ(runDialog(dialog,
                            [&] {
                                EXPECT_TRUE(dialog.item<QWidget>(kFileName).hasFocus());
                                type(dialog, name.typed);
                                press(dialog, Qt::Key_Return);
                            }),
                  QDialog::Accepted);
        EXPECT_EQ(dialog.results().fileName, name.result);
        EXPECT_EQ(dialog.results().phoneModelId, "<Optional>");
        EXPECT_EQ(dialog.results().clientName, "<Optional>");
    }
}

TEST(FileProperties, EachFieldGivesItsOwnResult) {
    CFilePropertiesDlg dialog;
    runDialog(dialog, [&] {
        for (const char* text : {"f", "model", "esn", "major", "minor", "", "client "}) {
            auto& edit = *qobject_cast<QLineEdit*>(dialog.focusWidget());
            EXPECT_EQ(edit.text(), edit.objectName() == "ctl_1003" ? "" : "<Optional>");
            edit.selectAll();
            press(dialog, Qt::Key_Delete);
            type(dialog, text);
            press(dialog, Qt::Key_Tab);
        }
        EXPECT_EQ(dialog.focusWidget(), &dialog.item<QWidget>(kBrowse));
        click(dialog, kIdOk);
    });
    const FileProperties& results = dialog.results();
    EXPECT_EQ(results.fileName, "f.mox");
    EXPECT_EQ(results.phoneModelId, "model");
    EXPECT_EQ(results.esn, "esn");
    EXPECT_EQ(results.nvMajorVersion, "major");
    EXPECT_EQ(results.nvMinorVersion, "minor");
    EXPECT_EQ(results.softwareVersion, "") << "an emptied field is a given, empty value";
    EXPECT_EQ(results.clientName, "client ");
}

TEST(FileProperties, CancelLeavesTheInitialResults) {
    CFilePropertiesDlg dialog;
    EXPECT_EQ(runDialog(dialog,
                        [&] {
                            type(dialog, "name");
                            dialog.item<QLineEdit>(kEsn).setText("1");
                            click(dialog, kIdCancel);
                        }),
              QDialog::Rejected);
    EXPECT_EQ(dialog.results().fileName, "");
    EXPECT_EQ(dialog.results().esn, "<Optional>");
}

/// Clicks "Browse" and does `actions` to the file dialog that appears.
void browse(const CFilePropertiesDlg& dialog, const std::function<void(QFileDialog&)>& actions) {
    bool seen = false;
    QTimer::singleShot(0, qApp, [&] {
        auto* files = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        if (files == nullptr) {
            return;
        }
        seen = true;
        actions(*files);
        if (files->isVisible()) {
            files->reject();
        }
    });
    click(dialog, kBrowse);
    EXPECT_TRUE(seen);
}

void enterName(QFileDialog& files, const QString& name) {
    auto& edit = *files.findChild<QLineEdit*>("fileNameEdit");
    edit.setText(name);
    QTest::keyClick(&edit, Qt::Key_Return);
}

TEST(FileProperties, BrowseFillsInTheChosenPath) {
    QTemporaryDir folder;
    const QString before = QDir::currentPath();
    CFilePropertiesDlg dialog;
    runDialog(dialog, [&] {
        const auto& name = dialog.item<QLineEdit>(kFileName);
        browse(dialog, [&](QFileDialog& files) {
            EXPECT_EQ(files.windowTitle(), "Select");
            EXPECT_EQ(files.acceptMode(), QFileDialog::AcceptSave);
            EXPECT_FALSE(files.testOption(QFileDialog::DontConfirmOverwrite));
            EXPECT_TRUE(files.selectedFiles().isEmpty() || QFileInfo(files.selectedFiles().first()).isDir());
            enterName(files, folder.filePath("p.mox"));
        });
        EXPECT_EQ(name.text(), folder.filePath("p.mox"));
        browse(dialog, [](QFileDialog& files) { files.reject(); });
        EXPECT_EQ(name.text(), folder.filePath("p.mox")) << "a cancelled file dialog leaves the field";
        browse(dialog, [&](QFileDialog& files) { enterName(files, folder.filePath("q")); });
        EXPECT_EQ(name.text(), folder.filePath("q.MOX"));
        click(dialog, kIdOk);
    });
    EXPECT_EQ(dialog.results().fileName, folder.filePath("q.MOX.mox").toStdString());
    EXPECT_EQ(QDir::currentPath(), before);
}

/// Answers No to the question that stands there next; answers what it asked.
void refuseNext(QString& asked) {
    QTimer::singleShot(0, qApp, [&asked] {
        if (auto* question = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            asked = question->text();
            question->button(QMessageBox::No)->click();
        }
    });
}

TEST(FileProperties, BrowseAsksBeforeAFileIsReplaced) {
    QTemporaryDir folder;
    for (const char* name : {"there.mox", "also.MOX.mox"}) {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QFile::WriteOnly));
    }
    CFilePropertiesDlg dialog;
    runDialog(dialog, [&] {
        QString asked;
        browse(dialog, [&](QFileDialog& files) {
            refuseNext(asked);
            enterName(files, folder.filePath("there.mox"));
            EXPECT_TRUE(files.isVisible()) << "the user may choose another name";
        });
        EXPECT_NE(asked, "");
        asked.clear();
        browse(dialog, [&](QFileDialog& files) {
            enterName(files, folder.filePath("also"));
            refuseNext(asked);
        });
        EXPECT_EQ(asked, folder.filePath("also.MOX.mox") + " already exists.\nDo you want to change it?");
        EXPECT_EQ(dialog.item<QLineEdit>(kFileName).text(), "");
    });
}

} // namespace
