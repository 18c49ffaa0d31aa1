#pragma once

#include "app/dialogs/DialogTemplate.h"
#include "app/frame/CCalvaneApp.h"
#include "app/frame/CMainFrame.h"
#include "app/frame/CSplitterFrame.h"
#include "app/frame/ReviewSwitch.h"
#include "app/views/CNvParam.h"
#include "tests/app/DocumentFixture.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

/// The program with its real windows, a ring and a phone on COM1, with the bare commands unless a test wants them
/// reviewed. The document's own objects of DocumentFixture stay unused.
class WindowFixture : public DocumentFixture {
protected:
    ~WindowFixture() override {
        ReviewSwitch::setOn(false); // nobody is asked at the end
        app().end();
    }

    static CCalvaneApp& app() { return *static_cast<CCalvaneApp*>(qApp); }
    CMainFrame& window() { return *app().mainFrame(); }
    CSplitterFrame& frame() { return *window().activeFrame(); }
    CCalvaneDoc& doc() { return frame().document(); }

    void start(const std::string& ring = kRing) {
        writeText(folder / "NV Decoder.vrk", ring);
        ReviewSwitch::setOn(safe);
        ASSERT_TRUE(app().initInstance(folder.path, {}));
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    }

    template <typename W>
    W& item(int id) {
        return control<W>(frame(), id);
    }
    QLineEdit& edit(int row) { return item<QLineEdit>(7000 + row); }
    QPushButton& writeButton() { return item<QPushButton>(1001); }
    QCheckBox& hexBox() { return item<QCheckBox>(1002); }
    QListView& listBox() { return item<QListView>(1000); }
    int rowCount() { return frame().findChild<CNvParam*>()->rowCount(); }

    /// This platform has no window manager to give the focus back when a window on top has gone.
    void focusBack() { QApplication::setActiveWindow(&window()); }
    void clickLine(int row) {
        focusBack();
        const QRect place = listBox().visualRect(listBox().model()->index(row, 0));
        QTest::mouseClick(listBox().viewport(), Qt::LeftButton, {}, place.center());
    }
    void clickRow(int row) {
        focusBack();
        QTest::mouseClick(&edit(row), Qt::LeftButton);
    }
    void type(int row, const QString& text) {
        clickRow(row);
        edit(row).selectAll();
        QTest::keyClick(&edit(row), Qt::Key_Delete);
        QTest::keyClicks(&edit(row), text);
    }
    /// Into the first row of the item at this line.
    void enter(int line, const QString& text) {
        clickLine(line);
        type(0, text);
    }
    void clickHex() {
        focusBack();
        QTest::mouseClick(&hexBox(), Qt::LeftButton, {}, QPoint(6, hexBox().height() / 2));
    }
    /// As from the menu or the toolbar.
    void run(CommandId id) { window().action(id)->trigger(); }
    void readPhone() {
        run(CommandId::kReadFromPhone);
        ASSERT_TRUE(QTest::qWaitFor([&] { return !frame().isBusy(); }, 30000));
    }
    void startAndRead(const std::string& phone = kPhone) {
        plugIn(phone);
        start();
        readPhone();
    }

    /// Does `answer` with the next modal window, once it is there.
    void whenAsked(std::function<void(QWidget*)> answer) {
        auto* timer = new QTimer(&window());
        timer->setInterval(5);
        QObject::connect(timer, &QTimer::timeout, timer, [timer, answer = std::move(answer)] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal != nullptr && modal->isVisible()) {
                timer->stop();
                timer->deleteLater();
                answer(modal);
            }
        });
        timer->start();
    }
    /// Keeps the next message box as "caption: text" and confirms it.
    void expectMessage() {
        whenAsked([this](QWidget* modal) {
            auto* box = qobject_cast<QMessageBox*>(modal);
            ASSERT_NE(box, nullptr);
            messages.push_back((box->windowTitle() + ": " + box->text()).toStdString());
            box->button(QMessageBox::Ok)->click();
        });
    }
    /// Types `text` into the next dialog and confirms it.
    void fillIn(const QString& text) {
        whenAsked([text](QWidget* dialog) {
            QTest::keyClicks(dialog->focusWidget(), text);
            QTest::keyClick(dialog, Qt::Key_Return);
        });
    }
    /// What was said since the last call: the message, or how many there were if not one.
    std::string takeMessage() {
        const auto taken = std::exchange(messages, {});
        return taken.size() == 1 ? taken[0] : std::to_string(taken.size());
    }

    /// Presses the button with this text in the next message box, and lays out `rest` before.
    void answer(
        const QString& button, const std::function<void()>& rest = [] {}) {
        whenAsked([button, rest](QWidget* box) {
            rest();
            for (auto* one : box->findChildren<QAbstractButton*>()) {
                if (one->text().remove('&') == button) {
                    one->click();
                    return;
                }
            }
            ADD_FAILURE() << "no such button: " << button.toStdString();
            box->close();
        });
    }
    QString path(const char* name) const { return QString::fromStdString((folder / name).string()); }
    /// Types the name into the next file dialog.
    void chooseFile(const QString& name) {
        whenAsked([name](QWidget* modal) {
            auto* edit = modal->findChild<QLineEdit*>("fileNameEdit");
            ASSERT_NE(edit, nullptr);
            edit->setText(name); // typed, it would open the list of completions
            edit->setFocus();
            QTest::keyClick(edit, Qt::Key_Return);
        });
    }

    std::vector<std::string> messages;
    bool safe = false; ///< whether the user wants safe hands
};
