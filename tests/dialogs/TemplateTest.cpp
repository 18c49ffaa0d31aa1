#include "app/dialogs/CComPortDlg.h"
#include "app/dialogs/CCustomListDlg.h"
#include "app/dialogs/CFilePropertiesDlg.h"
#include "app/dialogs/CSearchDlg.h"
#include "app/dialogs/DialogControls.h"
#include "app/dialogs/TemplateLayout.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyleOptionButton>
#include <QStyleOptionComboBox>
#include <QTest>
#include <functional>
#include <memory>

namespace {

constexpr DialogControl kAllKinds[] = {
    {kIdStatic, ControlKind::kStaticText, "&Name:", 7, 7, 10, 8},
    {10, ControlKind::kEdit, "text", 60, 5, 60, 14, kReadOnly},
    {11, ControlKind::kCheckBox, "He&x", 7, 22, 29, 10},
    {12, ControlKind::kCheckBox, "A choice with a rather long text", 7, 34, 60, 10},
    {14, ControlKind::kProgressBar, "", 7, 78, 100, 21},
    {15, ControlKind::kDropDownList, "one\nthe second entry", 7, 101, 60, 92},
    {kIdOk, ControlKind::kDefaultButton, "A long caption", 7, 120, 50, 14},
    {kIdCancel, ControlKind::kPushButton, "Cancel", 62, 120, 50, 14},
};
constexpr DialogTemplate kAllKindsTemplate{1, "All", 130, 140, kAllKinds};

struct Case {
    const char* name;
    std::function<std::unique_ptr<TemplateDialog>()> make;
};

const Case kDialogs[] = {
    {"all kinds", [] { return std::make_unique<TemplateDialog>(kAllKindsTemplate); }},
    {"customized list", [] { return std::make_unique<CCustomListDlg>(); }},
    {"file properties", [] { return std::make_unique<CFilePropertiesDlg>(); }},
    {"COM port", [] { return std::make_unique<CComPortDlg>(); }},
    {"search", [] { return std::make_unique<CSearchDlg>(); }},
};

QWidget& page(const TemplateDialog& dialog) {
    return *dialog.findChild<TemplateLayout*>()->parent()->findChild<QWidget*>()->parentWidget();
}

std::vector<QWidget*> controls(const TemplateDialog& dialog) {
    std::vector<QWidget*> result;
    for (QWidget* widget : page(dialog).findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
        if (widget->property("controlId").isValid()) {
            result.push_back(widget);
        }
    }
    return result;
}

/// The size in which a control draws its text.
QSize roomForText(const QWidget& widget) {
    if (const auto* button = qobject_cast<const QPushButton*>(&widget)) {
        QStyleOptionButton option;
        option.initFrom(button);
        return button->style()->subElementRect(QStyle::SE_PushButtonContents, &option, button).size();
    }
    if (const auto* box = qobject_cast<const QCheckBox*>(&widget)) {
        QStyleOptionButton option;
        option.initFrom(box);
        return box->style()->subElementRect(QStyle::SE_CheckBoxContents, &option, box).size();
    }
    if (const auto* combo = qobject_cast<const QComboBox*>(&widget)) {
        QStyleOptionComboBox option;
        option.initFrom(combo);
        return combo->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, combo).size();
    }
    return widget.contentsRect().size();
}

QStringList textsOf(const QWidget& widget) {
    if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
        return {label->text()};
    }
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
        return {button->text()};
    }
    if (const auto* combo = qobject_cast<const QComboBox*>(&widget)) {
        QStringList texts;
        for (int i = 0; i < combo->count(); ++i) {
            texts.append(combo->itemText(i));
        }
        return texts;
    }
    return {};
}

void expectNothingCut(const TemplateDialog& dialog) {
    const std::vector<QWidget*> all = controls(dialog);
    ASSERT_FALSE(all.empty());
    for (const QWidget* widget : all) {
        const std::string name = widget->objectName().toStdString() + " " + textsOf(*widget).join('|').toStdString();
        for (const QString& text : textsOf(*widget)) {
            const QSize need = widget->fontMetrics().size(Qt::TextShowMnemonic, text);
            const QSize room = roomForText(*widget);
            EXPECT_LE(need.width(), room.width()) << name;
            EXPECT_LE(need.height(), room.height()) << name;
        }
        if (qobject_cast<const QLineEdit*>(widget) != nullptr) {
            EXPECT_GE(widget->height(), widget->minimumSizeHint().height()) << name;
        }
        EXPECT_TRUE(page(dialog).rect().contains(widget->geometry())) << name;
        for (const QWidget* other : all) {
            EXPECT_TRUE(other == widget || !other->geometry().intersects(widget->geometry()))
                << name << " overlaps " << other->objectName().toStdString();
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

TEST_P(FontSize, CutsNoTextAndOverlapsNothing) {
    for (const Case& row : kDialogs) {
        SCOPED_TRACE(row.name);
        const auto dialog = row.make();
        dialog->show();
        expectNothingCut(*dialog);
        // The same on a screen that is too small for it.
        dialog->setFixedSize(1, 1);
        QCoreApplication::processEvents();
        expectNothingCut(*dialog);
    }
}

TEST_P(FontSize, FollowsAChangeWhileTheDialogLives) {
    const auto dialog = kDialogs[1].make();
    dialog->show();
    const QSize before = dialog->findChild<TemplateLayout*>()->naturalSize();
    QFont font(dialog->font());
    font.setPointSize(GetParam() + 6);
    dialog->setFont(font);
    EXPECT_GT(dialog->findChild<TemplateLayout*>()->naturalSize().width(), before.width());
    expectNothingCut(*dialog);
}

INSTANTIATE_TEST_SUITE_P(Points, FontSize, testing::Values(8, 12, 16));

TEST(Template, GivesControlsTheirIdsStylesAndOrder) {
    TemplateDialog dialog(kAllKindsTemplate);
    dialog.show();
    EXPECT_EQ(dialog.windowTitle(), "All");
    EXPECT_EQ(dialog.item<QLineEdit>(10).property("controlId").toInt(), 10);
    EXPECT_EQ(dialog.item<QLineEdit>(10).objectName(), "ctl_10");
    EXPECT_TRUE(dialog.item<QLineEdit>(10).isReadOnly());
    EXPECT_TRUE(dialog.item<QPushButton>(kIdOk).isDefault());
    EXPECT_FALSE(dialog.item<QPushButton>(kIdCancel).isDefault());
    EXPECT_EQ(dialog.findChild<QLabel*>()->buddy(), &dialog.item<QLineEdit>(10)) << "Alt+N reaches the edit box";
    EXPECT_EQ(findControl(dialog, 99), nullptr);
    const int kTabOrder[] = {10, 11, 12, 15, kIdOk, kIdCancel};
    for (const int id : kTabOrder) {
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
