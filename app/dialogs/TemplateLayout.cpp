#include "app/dialogs/TemplateLayout.h"

#include <QComboBox>
#include <QEvent>
#include <QFontMetricsF>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <algorithm>
#include <cmath>

namespace {

// A control that gives way keeps at least this share of its size.
constexpr int kLeastPercent = 35;
// Dialog units between a static text that takes free room and what stands to its right.
constexpr int kTextGap = 4;

bool isCombo(ControlKind kind) {
    return kind == ControlKind::ComboBox || kind == ControlKind::DropDownList;
}

/// The average width of the letters: the unit's definition, which differs from what fonts call their average.
qreal averageCharWidth(const QFontMetricsF& metrics) {
    static const QString kLetters = QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
    return metrics.horizontalAdvance(kLetters) / static_cast<qreal>(kLetters.size());
}

/// The least size at which a push button shows its whole text; its size hint asks for more, for looks.
QSize leastButtonSize(const QPushButton& button) {
    const QSize probe(1000, 1000);
    QStyleOptionButton option;
    option.initFrom(&button);
    option.rect = QRect(QPoint(0, 0), probe);
    const QSize contents = button.style()->subElementRect(QStyle::SE_PushButtonContents, &option, &button).size();
    const QSize text = button.fontMetrics().size(Qt::TextShowMnemonic, button.text());
    return text + (probe - contents) + QSize(button.style()->pixelMetric(QStyle::PM_ButtonMargin, &option, &button), 2);
}

/// The least size at which a control shows its whole text.
QSize leastSize(const DialogControl& row, const QWidget& widget) {
    switch (row.kind) {
    case ControlKind::PushButton:
    case ControlKind::DefaultButton:
        return leastButtonSize(static_cast<const QPushButton&>(widget));
    case ControlKind::StaticText:
    case ControlKind::CheckBox:
    case ControlKind::RadioButton:
    case ControlKind::GroupBox:
        return widget.sizeHint();
    case ControlKind::DropDownList:
        return widget.minimumSizeHint();
    case ControlKind::Edit:
    case ControlKind::ComboBox:
        return {0, widget.minimumSizeHint().height()};
    case ControlKind::ListBox:
    case ControlKind::ProgressBar:
    case ControlKind::Icon:
        break;
    }
    return {0, 0};
}

/// The height of a control without the list that it may drop.
int ownHeight(const DialogControl& row) {
    constexpr int kComboHeight = 14;
    return isCombo(row.kind) ? kComboHeight : row.height;
}

QRect moved(const QRect& rect, const ControlAnchor& anchor, QSize missing) {
    const auto share = [](int pixels, int percent) { return pixels * percent / 100; };
    return rect.adjusted(-share(missing.width(), anchor.left), -share(missing.height(), anchor.top),
                         -share(missing.width(), anchor.right), -share(missing.height(), anchor.bottom));
}

} // namespace

TemplateLayout::TemplateLayout(QWidget* parent, const DialogTemplate& form, std::vector<QWidget*> widgets)
    : QObject(parent), parent_(parent), form_(form), widgets_(std::move(widgets)) {
    parent->installEventFilter(this);
    measure();
}

TemplateLayout* TemplateLayout::of(const QWidget& parent) {
    return parent.findChild<TemplateLayout*>(QString(), Qt::FindDirectChildrenOnly);
}

bool TemplateLayout::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
        measure();
        emit sizesChanged();
    } else if (event->type() == QEvent::Resize) {
        place();
    }
    return QObject::eventFilter(watched, event);
}

int TemplateLayout::roomToTheRight(std::size_t row) const {
    const DialogControl& text = form_.controls[row];
    int end = form_.width;
    for (const DialogControl& other : form_.controls) {
        const bool sameHeight = other.y < text.y + text.height && text.y < other.y + ownHeight(other);
        if (sameHeight && other.x >= text.x + text.width && other.kind != ControlKind::GroupBox) {
            end = std::min(end, other.x);
        }
    }
    return std::max(text.width, end - kTextGap - text.x);
}

void TemplateLayout::measure() {
    const QFontMetricsF metrics(parent_->font());
    qreal unitX = averageCharWidth(metrics) / 4;
    qreal unitY = metrics.height() / 8;
    std::vector<int> widths;
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        const DialogControl& row = form_.controls[i];
        const QSize least = leastSize(row, *widgets_[i]);
        const int room = row.kind == ControlKind::StaticText ? roomToTheRight(i) : row.width;
        widths.push_back(least.width());
        unitX = std::max(unitX, static_cast<qreal>(least.width()) / room);
        unitY = std::max(unitY, static_cast<qreal>(least.height()) / ownHeight(row));
    }

    const auto across = [unitX](int units) { return static_cast<int>(std::ceil(units * unitX - 1e-6)); };
    const auto down = [unitY](int units) { return static_cast<int>(std::ceil(units * unitY - 1e-6)); };
    naturalSize_ = {across(form_.width), down(form_.height)};
    QSize give(naturalSize_);
    bool givesWidth = false;
    bool givesHeight = false;
    rects_.clear();
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        const DialogControl& row = form_.controls[i];
        QSize size(across(row.width), down(ownHeight(row)));
        if (row.kind == ControlKind::StaticText) {
            size.setWidth(std::max(size.width(), widths[i]));
        }
        rects_.emplace_back(QPoint(across(row.x), down(row.y)), size);
        const auto limit = [](int& least, int pixels, int percent) {
            least = std::min(least, pixels * (100 - kLeastPercent) / percent);
        };
        if (const int percent = row.anchor.right - row.anchor.left; percent > 0) {
            limit(give.rwidth(), size.width(), percent);
            givesWidth = true;
        }
        if (const int percent = row.anchor.bottom - row.anchor.top; percent > 0) {
            limit(give.rheight(), size.height(), percent);
            givesHeight = true;
        }
    }
    smallestSize_ = naturalSize_ - QSize(givesWidth ? give.width() : 0, givesHeight ? give.height() : 0);
    parent_->setMinimumSize(smallestSize_);
    place();
}

void TemplateLayout::place() {
    const QSize missing = (naturalSize_ - parent_->size()).expandedTo({0, 0}).boundedTo(naturalSize_ - smallestSize_);
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        widgets_[i]->setGeometry(moved(rects_[i], form_.controls[i].anchor, missing));
    }
}
