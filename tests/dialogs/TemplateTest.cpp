#include "app/dialogs/CComPortDlg.h"
#include "app/dialogs/CCustomListDlg.h"
#include "app/dialogs/CFilePropertiesDlg.h"
#include "app/dialogs/CSearchDlg.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <functional>
#include <memory>

namespace {

constexpr DialogControl kAllKinds[] = {
    {kIdStatic, ControlKind::kStaticText, "&Name:", 7, 7, 10, 8},
    {10, ControlKind::kEdit, "text", 60, 5, 60, 14, kReadOnly},
    {12, ControlKind::kCheckBox, "A choice with a rather long text", 7, 34, 60, 10},
    {14, ControlKind::kProgressBar, "", 7, 78, 100, 21},
    {15, ControlKind::kDropDownList, "one\nthe second entry", 7, 101, 60, 92},
    {kIdOk, ControlKind::kDefaultButton, "A long caption", 7, 120, 50, 14},
    {kIdCancel, ControlKind::kPushButton, "Cancel", 62, 120, 50, 14},
};
constexpr DialogTemplate kAllKindsTemplate{1, "All", 130, 140, kAllKinds};

const std::function<std::unique_ptr<TemplateDialog>()> kDialogs[] = {
    [] { return std::make_unique<TemplateDialog>(kAllKindsTemplate); },
    [] { return std::make_unique<CCustomListDlg>(); },
    [] { return std::make_unique<CFilePropertiesDlg>(); },
    [] { return std::make_unique<CComPortDlg>(); },
    [] { return std::make_unique<CSearchDlg>(); },
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

class FontSize : public testing::TestWithParam<int> {
protected:
    FontSize() : before_(QApplication::font()) {
        QFont font(before_);
        font.setPointSize(GetParam());
        QApplication::setFont(font);
    }
    ~FontSize() override { QApplication::setFont(before_); }

private:
    QFont before_;
};

TEST_P(FontSize, CutsNoTextAndFitsTheScreenAlsoAfterAChange) {
    for (const auto& make : kDialogs) {
        const auto dialog = make();
        SCOPED_TRACE(dialog->windowTitle().toStdString());
        dialog->show();
        expectNothingCut(*dialog);
        const QSize before = dialog->size();
        QFont font(dialog->font());
        font.setPointSize(GetParam() + 6);
        dialog->setFont(font);
        const QSize room = dialog->screen()->availableSize();
        EXPECT_EQ(dialog->size(), dialog->size().boundedTo(room));
        EXPECT_TRUE(dialog->height() > before.height() || before.height() > room.height() - 50);
        expectNothingCut(*dialog);
        dialog->setFixedSize(1, 1); // as on a screen that is far too small
        QCoreApplication::processEvents();
        expectNothingCut(*dialog);
    }
}

INSTANTIATE_TEST_SUITE_P(Points, FontSize, testing::Values(8, 16));

TEST(Template, GivesControlsTheirIdsStylesAndOrder) {
    TemplateDialog dialog(kAllKindsTemplate);
    dialog.show();
    EXPECT_EQ(dialog.item<QLineEdit>(10).property("controlId").toInt(), 10);
    EXPECT_TRUE(dialog.item<QLineEdit>(10).isReadOnly());
    EXPECT_TRUE(dialog.item<QPushButton>(kIdOk).isDefault());
    EXPECT_EQ(dialog.findChild<QLabel*>()->buddy(), &dialog.item<QLineEdit>(10)) << "Alt+N reaches the edit box";
    for (const int id : {10, 12, 15, kIdOk, kIdCancel}) {
        EXPECT_EQ(dialog.focusWidget(), &dialog.item<QWidget>(id));
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
    }
}

TEST(Template, IsAsLargeAsItsDialogUnitsSay) {
    CSearchDlg dialog;
    dialog.show();
    const QFontMetricsF metrics(dialog.font());
    const qreal average = metrics.horizontalAdvance("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz") / 52;
    EXPECT_NEAR(dialog.width(), 318 * average / 4, 1);
    EXPECT_NEAR(dialog.height(), 63 * metrics.height() / 8, 1);
    const QRect button = dialog.item<QPushButton>(kIdCancel).geometry();
    EXPECT_NEAR(button.x(), 261 * average / 4, 1);
    EXPECT_NEAR(button.height(), 14 * metrics.height() / 8, 1);
}

} // namespace
