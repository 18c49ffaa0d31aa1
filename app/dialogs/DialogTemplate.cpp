#include "app/dialogs/DialogTemplate.h"

#include "app/dialogs/DialogControls.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/TemplateLayout.h"

#include <QCheckBox>
#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QVBoxLayout>
#include <vector>

namespace {

constexpr const char* kControlId = "controlId";

QWidget* makeButton(const QString& text, bool isDefault, QWidget* parent) {
    auto* button = new QPushButton(text, parent);
    button->setDefault(isDefault);
    return button;
}

QWidget* makeListBox(unsigned style, QWidget* parent) {
    auto* list = new DialogListBox(parent);
    list->setMultipleSelection((style & kMultipleSelection) != 0);
    return list;
}

QWidget* makeCombo(bool editable, const QString& text, QWidget* parent) {
    auto* combo = new DialogComboBox(editable, parent);
    if (!text.isEmpty()) {
        combo->addItems(text.split(QLatin1Char('\n')));
    }
    combo->setCurrentIndex(-1);
    return combo;
}

QWidget* makeProgressBar(QWidget* parent) {
    auto* bar = new QProgressBar(parent);
    bar->setTextVisible(false);
    return bar;
}

QWidget* makeEdit(const QString& text, unsigned style, QWidget* parent) {
    auto* edit = new QLineEdit(text, parent);
    keepToOneLine(*edit);
    edit->setReadOnly((style & kReadOnly) != 0);
    return edit;
}

QWidget* makeWidget(const DialogControl& row, QWidget* parent) {
    const QString text = QString::fromUtf8(row.text);
    switch (row.kind) {
    case ControlKind::kStaticText:
        return new QLabel(text, parent);
    case ControlKind::kEdit:
        return makeEdit(text, row.style, parent);
    case ControlKind::kPushButton:
    case ControlKind::kDefaultButton:
        return makeButton(text, row.kind == ControlKind::kDefaultButton, parent);
    case ControlKind::kCheckBox:
        return new QCheckBox(text, parent);
    case ControlKind::kListBox:
        return makeListBox(row.style, parent);
    case ControlKind::kComboBox:
    case ControlKind::kDropDownList:
        return makeCombo(row.kind == ControlKind::kComboBox, text, parent);
    case ControlKind::kProgressBar:
        return makeProgressBar(parent);
    case ControlKind::kIcon:
        return new QLabel(parent);
    }
    return nullptr;
}

bool isLabel(const DialogControl& row) {
    return row.kind == ControlKind::kStaticText || row.kind == ControlKind::kIcon;
}

QWidget* makeControl(const DialogControl& row, QWidget* parent) {
    QWidget* widget = makeWidget(row, parent);
    widget->setProperty(kControlId, row.id);
    if (row.id != kIdStatic) {
        widget->setObjectName(QStringLiteral("ctl_%1").arg(row.id));
    }
    widget->setVisible(true); // a child of a window that shows already stays hidden until it is told otherwise
    return widget;
}

} // namespace

void createControls(QWidget& parent, const DialogTemplate& form) {
    std::vector<QWidget*> widgets;
    QLabel* label = nullptr;
    QWidget* previous = nullptr;
    for (const DialogControl& row : form.controls) {
        QWidget* widget = makeControl(row, &parent);
        widgets.push_back(widget);
        if (row.kind == ControlKind::kStaticText) {
            label = static_cast<QLabel*>(widget);
        } else if (!isLabel(row)) {
            if (label != nullptr) {
                label->setBuddy(widget);
                label = nullptr;
            }
            if (previous != nullptr) {
                QWidget::setTabOrder(previous, widget);
            }
            previous = widget;
        }
    }
    new TemplateLayout(&parent, form, std::move(widgets));
}

QWidget* findControl(const QWidget& parent, int id) {
    return parent.findChild<QWidget*>(QStringLiteral("ctl_%1").arg(id));
}

TemplateDialog::TemplateDialog(const DialogTemplate& form, QWidget* parent)
    : QDialog(parent), form_(form), page_(new QWidget) {
    setWindowTitle(QString::fromUtf8(form.caption));
    setHelpPart(*this, "commands"); // where most of them have a row
    // A frame with a caption and a close box, without the question mark and the buttons of a main window.
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowCloseButtonHint);
    setProperty(kControlId, form.id);
    setObjectName(QStringLiteral("dlg_%1").arg(form.id));

    auto* scroll = new QScrollArea(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setFocusPolicy(Qt::NoFocus);
    scroll->setWidget(page_);
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSizeConstraint(QLayout::SetNoConstraint);
    box->addWidget(scroll);
    // Only now: a default button looks for the dialog around it when it is made.
    createControls(*page_, form);

    if (auto* button = qobject_cast<QPushButton*>(findControl(*page_, kIdOk))) {
        connect(button, &QPushButton::clicked, this, [this] { onOk(); });
    }
    if (auto* button = qobject_cast<QPushButton*>(findControl(*page_, kIdCancel))) {
        connect(button, &QPushButton::clicked, this, &QDialog::reject);
    }
    connect(TemplateLayout::of(*page_), &TemplateLayout::sizesChanged, this, &TemplateDialog::fitToScreen);
    fitToScreen();
}

void TemplateDialog::setVisible(bool visible) {
    if (visible && !isVisible()) {
        onInit();
    }
    QDialog::setVisible(visible);
}

void TemplateDialog::onInit() {
    for (const DialogControl& row : form_.controls) {
        QWidget* widget = findControl(*page_, row.id);
        if (widget != nullptr && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) != 0) {
            widget->setFocus();
            if (auto* edit = qobject_cast<QLineEdit*>(widget); edit != nullptr && !edit->isReadOnly()) {
                edit->selectAll();
            }
            return;
        }
    }
}

bool TemplateDialog::event(QEvent* event) {
    if (event->type() == QEvent::Polish || event->type() == QEvent::ScreenChangeInternal) {
        fitToScreen();
    }
    return QDialog::event(event);
}

void TemplateDialog::fitToScreen() {
    // What a window manager's frame takes, which is not known before the window shows.
    constexpr QSize kFrame(8, 36);
    const QSize room = screen()->availableSize() - kFrame;
    const TemplateLayout& layout = *TemplateLayout::of(*page_);
    QSize size = layout.naturalSize();
    // A scroll bar takes room of its own.
    const int bar = style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    if (layout.smallestSize().height() > room.height()) {
        size.rwidth() += bar;
    }
    if (layout.smallestSize().width() > room.width()) {
        size.rheight() += bar;
    }
    setFixedSize(size.boundedTo(room));
}
