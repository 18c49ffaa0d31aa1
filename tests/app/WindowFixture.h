#pragma once

#include "app/frame/CCalvaneApp.h"
#include "app/frame/CMainFrame.h"
#include "app/frame/CSplitterFrame.h"
#include "app/views/CNvItemList.h"
#include "app/views/CNvParam.h"
#include "tests/app/DocumentFixture.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

/// The program with its real windows, a ring and a phone on COM1. The document's own objects of DocumentFixture stay
/// unused.
class WindowFixture : public DocumentFixture {
protected:
    ~WindowFixture() override { stop(); }

    static CCalvaneApp& app() { return *static_cast<CCalvaneApp*>(qApp); }
    CMainFrame& window() { return *app().mainFrame(); }
    CSplitterFrame& frame() { return *window().activeFrame(); }
    CCalvaneDoc& doc() { return frame().document(); }

    void start(const char* ring = kRing, const QString& file = {}) {
        if (ring != nullptr) {
            write("NV Decoder.vrk", ring);
        }
        ASSERT_TRUE(app().initInstance(folder, file));
        ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    }
    void stop() { app().end(); }

    template <typename W>
    W& item(int id) {
        auto* found = frame().findChild<W*>("ctl_" + QString::number(id));
        EXPECT_NE(found, nullptr) << id;
        return *found;
    }
    QLineEdit& edit(int row) { return item<QLineEdit>(7000 + row); }
    QLabel& label(int row) { return item<QLabel>(8000 + row); }
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
    void type(int row, const QString& text) {
        focusBack();
        QTest::mouseClick(&edit(row), Qt::LeftButton);
        edit(row).selectAll();
        QTest::keyClicks(&edit(row), text);
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

    /// Does `answer` with the next modal window, once it is there.
    void whenAsked(std::function<void(QWidget*)> answer) {
        auto* timer = new QTimer(&window());
        timer->setInterval(5);
        QObject::connect(timer, &QTimer::timeout, timer, [timer, answer = std::move(answer)] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal == nullptr || !modal->isVisible()) {
                return;
            }
            timer->stop();
            timer->deleteLater();
            answer(modal);
        });
        timer->start();
    }
    /// Notes the next message box as "caption: text" and confirms it.
    void expectMessage() {
        whenAsked([this](QWidget* modal) {
            auto* box = qobject_cast<QMessageBox*>(modal);
            ASSERT_NE(box, nullptr);
            messages.push_back((box->windowTitle() + ": " + box->text()).toStdString());
            box->button(QMessageBox::Ok)->click();
        });
    }
    std::string onlyMessage() { return messages.size() == 1 ? messages[0] : std::to_string(messages.size()); }

    std::vector<std::string> messages;
};
