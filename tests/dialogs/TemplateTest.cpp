#include "app/dialogs/CComPortDlg.h"
#include "app/dialogs/CCustomListDlg.h"
#include "app/dialogs/CFilePropertiesDlg.h"
#include "app/dialogs/CProgressDlg.h"
#include "app/dialogs/CSearchDlg.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QPushButton>
#include <QScreen>
#include <functional>
#include <memory>

namespace {

const std::function<std::unique_ptr<TemplateDialog>()> kDialogs[] = {
    [] { return std::make_unique<CCustomListDlg>(); },      [] { return std::make_unique<CFilePropertiesDlg>(); },
    [] { return std::make_unique<CComPortDlg>(); },         [] { return std::make_unique<CSearchDlg>(); },
    [] { return std::make_unique<CProgressDlg>(nullptr); },
};

/// The least size in which a control shows its text. Push buttons ask for more than that.
QSize neededBy(const QWidget& widget) {
    const auto* button = qobject_cast<const QPushButton*>(&widget);
    return button == nullptr ? widget.minimumSizeHint()
                             : button->fontMetrics().size(Qt::TextShowMnemonic, button->text()) + QSize(4, 4);
}

void expectNothingCut(const TemplateDialog& dialog) {
    const auto isNoControl = [](const QWidget* widget) { return !widget->property("controlId").isValid(); };
    auto controls = dialog.findChildren<QWidget*>();
    controls.removeIf(isNoControl);
    ASSERT_FALSE(controls.isEmpty());
    for (const QWidget* one : controls) {
        SCOPED_TRACE(one->objectName().toStdString() + one->property("text").toString().toStdString());
        EXPECT_EQ(one->size(), one->size().expandedTo(neededBy(*one)));
        EXPECT_TRUE(one->parentWidget()->rect().contains(one->geometry()));
        for (const QWidget* other : controls) {
            EXPECT_TRUE(other == one || !other->geometry().intersects(one->geometry()));
        }
    }
}

TEST(Template, CutsNoTextAndFitsTheScreenInEveryFont) {
    for (const auto& make : kDialogs) {
        const auto dialog = make();
        SCOPED_TRACE(dialog->windowTitle().toStdString());
        dialog->show();
        for (const int points : {8, 14, 22}) {
            QFont font(dialog->font());
            font.setPointSize(points);
            dialog->setFont(font);
            EXPECT_EQ(dialog->size(), dialog->size().boundedTo(dialog->screen()->availableSize()));
            expectNothingCut(*dialog);
        }
        dialog->setFixedSize(1, 1); // as on a screen that is far too small
        QCoreApplication::processEvents();
        expectNothingCut(*dialog);
    }
}

} // namespace
