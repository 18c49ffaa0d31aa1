#include "app/dialogs/CComPortDlg.h"
#include "app/dialogs/CFilePropertiesDlg.h"
#include "app/dialogs/CSearchDlg.h"
#include "app/dialogs/DialogControls.h"
#include "app/dialogs/FileDialog.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShellOpen.h"
#include "tests/dialogs/DialogDriver.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QDesktopServices>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTextBrowser>

namespace {

constexpr int kPortBox = 1011;
constexpr int kSearchText = 1019;
constexpr int kFileName = 1003;
constexpr int kBrowse = 1010;

TEST(ComPortDialog, OffersTheNamesInOrderAndTakesTheChosenOrTypedOne) {
    CComPortDlg dialog;
    dialog.setPortNames({"COM7", "COM\x1B"});
    auto& box = dialog.item<DialogComboBox>(kPortBox);
    runDialog(dialog, [&] {
        EXPECT_TRUE(box.hasFocus());
        EXPECT_EQ(box.currentText(), "");
        type(dialog, "stale");
        box.showPopup();
        EXPECT_EQ(box.currentText(), "") << "opening the list empties the edit field";
        EXPECT_EQ(box.currentIndex(), -1);
        EXPECT_EQ(box.itemText(1), "COM\\x1b");
        QTest::keyClick(box.view(), Qt::Key_Down);
        QTest::keyClick(box.view(), Qt::Key_Down);
        QTest::keyClick(box.view(), Qt::Key_Return);
        click(dialog, kIdOk);
    });
    EXPECT_EQ(dialog.chosenPort(), "COM\x1B") << "as it is, not as it is shown";
    runDialog(dialog, [&] {
        box.setFocus();
        box.showPopup(); // so that a completion would have something to offer
        box.hidePopup();
        type(dialog, " com");
        press(dialog, Qt::Key_Return);
    });
    EXPECT_EQ(dialog.chosenPort(), " com");
}

TEST(SearchDialog, KeepsTheTextOfTheLastSearchAndNotOfACancelledOne) {
    CSearchDlg dialog;
    const auto& edit = dialog.item<QLineEdit>(kSearchText);
    const auto enter = [&](const char* text, Qt::Key key) {
        runDialog(dialog, [&] {
            EXPECT_TRUE(edit.hasFocus());
            type(dialog, text);
            press(dialog, key);
        });
        EXPECT_EQ(dialog.searchText(), "  nV_b ");
    };
    enter("  nV_b ", Qt::Key_Return);
    enter("Lost", Qt::Key_Escape);
    dialog.show();
    EXPECT_EQ(edit.text(), "  nV_b ");
}

TEST(FileProperties, AppendsTheExtensionUnlessItStandsAnywhere) {
    for (const auto& [typed, result] : {std::pair{"x.MOX", "x.MOX.mox"}, {"old.mox.bak", "old.mox.bak"}, {"", ""}}) {
        EXPECT_EQ(withMoxExtension(typed), result);
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
        click(dialog, kIdOk);
    });
    const FileProperties& got = dialog.results();
    EXPECT_EQ((std::vector{got.fileName, got.phoneModelId, got.esn, got.nvMajorVersion, got.nvMinorVersion,
                           got.softwareVersion, got.clientName}),
              (std::vector<std::string>{"f.mox", "model", "esn", "major", "minor", "", "client "}));
}

void enterName(QFileDialog& files, const QString& name) {
    auto& edit = *files.findChild<QLineEdit*>("fileNameEdit");
    edit.setText(name);
    QTest::keyClick(&edit, Qt::Key_Return);
}

TEST(FileProperties, BrowseFillsInTheChosenPathAndAsksBeforeAFileIsReplaced) {
    const TemporaryFolder folder;
    const auto path = [&](const char* name) { return QString::fromStdString((folder / name).string()); };
    writeText(folder / "also.MOX.mox", "");
    QString asked;
    CFilePropertiesDlg dialog;
    const auto browse = [&](const std::function<void(QFileDialog&)>& actions) {
        whenAsked<QFileDialog>(actions);
        click(dialog, kBrowse);
    };
    runDialog(dialog, [&] {
        browse([&](QFileDialog& files) {
            enterName(files, path("also"));
            whenAsked<QMessageBox>([&](QMessageBox& question) {
                asked = question.text();
                question.button(QMessageBox::No)->click();
            });
        });
        EXPECT_EQ(asked, path("also.MOX.mox") + " already exists.\nDo you want to change it?");
        EXPECT_EQ(dialog.item<QLineEdit>(kFileName).text(), "");
        browse([&](QFileDialog& files) { enterName(files, path("p")); });
        click(dialog, kIdOk);
    });
    EXPECT_EQ(dialog.results().fileName, (folder / "p.MOX.mox").string());
}

TEST(FileDialog, FindsANameWithoutItsExtensionInEitherCase) {
    const TemporaryFolder folder;
    for (const char* name : {"small.mox", "capital.MOX", "both.mox", "both.MOX", "none"}) {
        writeText(folder / name, "");
    }
    const std::pair<const char*, const char*> rows[] = {
        {"small", "small.mox"}, {"capital", "capital.MOX"}, {"both", "both.mox"}, {"none", "none"}};
    for (const auto& [typed, found] : rows) {
        whenAsked<QFileDialog>([&, typed = typed](QFileDialog& files) {
            enterName(files, QString::fromStdString((folder / typed).string()));
        });
        EXPECT_EQ(askFileToOpen(nullptr, {"", "MOX File ( *.mox ) |*.mox||", "mox"}), (folder / found).string());
    }
}

TEST(MessageBox, LeavesOutTheMiddleOfALongText) {
    whenAsked<QMessageBox>([](QMessageBox& box) {
        EXPECT_LT(box.text().size(), 2500) << "more is higher than a screen";
        EXPECT_LT(box.detailedText().size(), 30000) << "more takes the window half a minute";
        EXPECT_TRUE(box.detailedText().startsWith(box.text().left(1000)));
        EXPECT_TRUE(box.text().endsWith("the end"));
    });
    showMessageBox(nullptr, QString(1 << 20, 'x').replace("xxxxxxxx", "<BYTE,y>") + "the end", "", MessageIcon::kError);
}

TEST(ShellOpen, GivesTheDesktopAPageUnderANameThatItKnows) {
    const TemporaryFolder folder;
    qputenv("XDG_CACHE_HOME", (folder / "cache").c_str());
    writeText(folder / "A.HLP", "<!DOCTYPE html><title>Help</title>");
    const QString path = QString::fromStdString((folder / "A.HLP").string());
    QTextBrowser desktop;
    QDesktopServices::setUrlHandler("file", &desktop, "setSource");
    EXPECT_TRUE(shellOpen(path, nullptr));
    QDesktopServices::unsetUrlHandler("file");
    EXPECT_EQ(desktop.source().fileName(), "A.html");
    EXPECT_EQ(desktop.documentTitle(), "Help");
}

} // namespace
