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
#include <limits>

namespace {

// A control that shrinks with its dialog keeps at least this share of its size.
constexpr int kLeastPercent = 60;
// Dialog units between a static text that takes free room and what stands to its right.
constexpr int kTextGap = 4;

bool isCombo(ControlKind kind) {
    return kind == ControlKind::kComboBox || kind == ControlKind::kDropDownList;
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
    case ControlKind::kPushButton:
    case ControlKind::kDefaultButton:
        return leastButtonSize(static_cast<const QPushButton&>(widget));
    case ControlKind::kStaticText:
    case ControlKind::kCheckBox:
    case ControlKind::kDropDownList:
        return widget.sizeHint();
    case ControlKind::kEdit:
    case ControlKind::kComboBox:
        return {0, widget.minimumSizeHint().height()};
    case ControlKind::kListBox:
    case ControlKind::kProgressBar:
    case ControlKind::kIcon:
        break;
    }
    return {0, 0};
}

/// The height of a control without the list that it may drop.
int ownHeight(const DialogControl& row) {
    constexpr int kComboHeight = 14;
    return isCombo(row.kind) ? kComboHeight : row.height;
}

/// Rounded, so that what ends where another control begins in the template does so on the screen.
int pixels(int units, qreal unit) {
    return static_cast<int>(std::lround(units * unit));
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
        if (sameHeight && other.x >= text.x + text.width) {
            end = std::min(end, other.x);
        }
    }
    return std::max(text.width, end - kTextGap - text.x);
}

TemplateLayout::Units TemplateLayout::largeEnoughUnits() const {
    const QFontMetricsF metrics(parent_->font());
    Units units{averageCharWidth(metrics) / 4, metrics.height() / 8};
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        const DialogControl& row = form_.controls[i];
        const int room = row.kind == ControlKind::kStaticText ? roomToTheRight(i) : row.width;
        units.x = std::max(units.x, static_cast<qreal>(leastSizes_[i].width()) / room);
        units.y = std::max(units.y, static_cast<qreal>(leastSizes_[i].height()) / ownHeight(row));
    }
    return units;
}

QRect TemplateLayout::naturalRect(std::size_t row) const {
    const DialogControl& control = form_.controls[row];
    const QSize size(pixels(control.width, units_.x), pixels(ownHeight(control), units_.y));
    return {QPoint(pixels(control.x, units_.x), pixels(control.y, units_.y)), size.expandedTo(leastSizes_[row])};
}

QSize TemplateLayout::largestLoss() const {
    const auto lossOf = [](int size, int percent) { return size * (100 - kLeastPercent) / percent; };
    constexpr int kNone = std::numeric_limits<int>::max();
    int across = kNone;
    int down = kNone;
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        const ControlAnchor& anchor = form_.controls[i].anchor;
        const QSize size = naturalRect(i).size();
        if (anchor.right > anchor.left) {
            across = std::min(across, lossOf(size.width(), anchor.right - anchor.left));
        }
        if (anchor.bottom > anchor.top) {
            down = std::min(down, lossOf(size.height(), anchor.bottom - anchor.top));
        }
    }
    return {across == kNone ? 0 : across, down == kNone ? 0 : down};
}

void TemplateLayout::measure() {
    leastSizes_.clear();
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        leastSizes_.push_back(leastSize(form_.controls[i], *widgets_[i]));
    }
    units_ = largeEnoughUnits();
    naturalSize_ = {pixels(form_.width, units_.x), pixels(form_.height, units_.y)};
    smallestSize_ = naturalSize_ - largestLoss();
    parent_->setMinimumSize(smallestSize_);
    place();
}

void TemplateLayout::place() {
    const QSize missing = naturalSize_ - parent_->size().expandedTo(smallestSize_).boundedTo(naturalSize_);
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        widgets_[i]->setGeometry(moved(naturalRect(i), form_.controls[i].anchor, missing));
    }
}
