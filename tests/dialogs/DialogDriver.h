#pragma once

#include "app/dialogs/DialogTemplate.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <functional>

/// Runs `dialog` modally, does `actions` to it once it shows, and answers how it closed. A dialog that the actions left
/// open is closed with -1, so that a test cannot hang.
inline int runDialog(TemplateDialog& dialog, const std::function<void()>& actions) {
    QTimer::singleShot(0, &dialog, [&] {
        EXPECT_TRUE(QTest::qWaitForWindowActive(&dialog));
        actions();
        if (dialog.isVisible()) {
            dialog.done(-1);
        }
    });
    return dialog.exec();
}

/// Types `text` into the control that has the focus.
inline void type(const TemplateDialog& dialog, const char* text) {
    QTest::keyClicks(dialog.focusWidget(), QString::fromUtf8(text));
}

inline void press(const TemplateDialog& dialog, Qt::Key key) {
    QTest::keyClick(dialog.focusWidget(), key);
}

inline void click(const TemplateDialog& dialog, int id) {
    QTest::mouseClick(&dialog.item<QWidget>(id), Qt::LeftButton);
}

/// Does `answer` to the modal window of type W that stands on top next.
template <typename W>
void whenAsked(const std::function<void(W&)>& answer) {
    QTimer::singleShot(0, qApp, [answer] {
        auto* window = qobject_cast<W*>(QApplication::activeModalWidget());
        ASSERT_NE(window, nullptr);
        answer(*window);
        if (window->isVisible()) {
            window->reject();
        }
    });
}
