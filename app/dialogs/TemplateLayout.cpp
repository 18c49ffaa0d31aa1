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
// Places are rounded, and what each edge gives up as well: pixels to spare between neighbours.
constexpr int kSpare = 1;
constexpr int kGiveSpare = 3;
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
    case ControlKind::DropDownList:
        return widget.sizeHint();
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

TemplateLayout::Units TemplateLayout::naturalUnits() const {
    const QFontMetricsF metrics(parent_->font());
    Units units{averageCharWidth(metrics) / 4, metrics.height() / 8};
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        const DialogControl& row = form_.controls[i];
        const int room = row.kind == ControlKind::StaticText ? roomToTheRight(i) : row.width;
        units.x = std::max(units.x, static_cast<qreal>(leastSizes_[i].width()) / room);
        units.y = std::max(units.y, static_cast<qreal>(leastSizes_[i].height()) / ownHeight(row));
    }
    return units;
}

std::vector<TemplateLayout::Constraint> TemplateLayout::makeConstraints() const {
    // The dialog's lower right corner is a neighbour of every control.
    const DialogControl corner{kIdStatic, ControlKind::Icon, "", form_.width, form_.height, 0, 0, 0, {100, 100}};
    std::vector<Constraint> constraints;
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        const DialogControl& row = form_.controls[i];
        const QSize least = leastSizes_[i];
        constraints.push_back({Qt::Horizontal, corner.x - row.x, least.width(), 100 - row.anchor.left});
        constraints.push_back({Qt::Vertical, corner.y - row.y, least.height(), 100 - row.anchor.top});
        // What gives way keeps a share of itself.
        const QSize whole = rectAt(i, naturalUnits_).size();
        const ControlAnchor& anchor = row.anchor;
        constraints.push_back(
            {Qt::Horizontal, row.width, whole.width() * kLeastPercent / 100, anchor.right - anchor.left});
        constraints.push_back(
            {Qt::Vertical, ownHeight(row), whole.height() * kLeastPercent / 100, anchor.bottom - anchor.top});
        for (const DialogControl& other : form_.controls) {
            constrainPair(constraints, i, other);
        }
    }
    return constraints;
}

void TemplateLayout::constrainPair(std::vector<Constraint>& constraints, std::size_t row,
                                   const DialogControl& other) const {
    const DialogControl& one = form_.controls[row];
    const bool below = other.y >= one.y + ownHeight(one);
    const bool above = one.y >= other.y + ownHeight(other);
    if (below) {
        constraints.push_back(
            {Qt::Vertical, other.y - one.y, leastSizes_[row].height(), other.anchor.top - one.anchor.top});
        // A control above another that shrinks ends where its own lower edge is.
        constraints.push_back(
            {Qt::Vertical, other.y - one.y - ownHeight(one), 0, other.anchor.top - one.anchor.bottom});
    } else if (!above && other.x >= one.x + one.width) {
        constraints.push_back(
            {Qt::Horizontal, other.x - one.x, leastSizes_[row].width(), other.anchor.left - one.anchor.left});
        constraints.push_back({Qt::Horizontal, other.x - one.x - one.width, 0, other.anchor.left - one.anchor.right});
    }
}

TemplateLayout::Units TemplateLayout::leastUnits() const {
    Units least{naturalUnits_.x / 2, naturalUnits_.y / 2};
    for (const Constraint& constraint : constraints_) {
        if (constraint.distance > 0) {
            qreal& unit = constraint.direction == Qt::Horizontal ? least.x : least.y;
            unit = std::max(unit, static_cast<qreal>(constraint.leastPixels + kSpare) / constraint.distance);
        }
    }
    return {std::min(least.x, naturalUnits_.x), std::min(least.y, naturalUnits_.y)};
}

QSize TemplateLayout::sizeAt(Units units) const {
    return {pixels(form_.width, units.x), pixels(form_.height, units.y)};
}

QRect TemplateLayout::rectAt(std::size_t row, Units units) const {
    const DialogControl& control = form_.controls[row];
    const QSize size(pixels(control.width, units.x), pixels(ownHeight(control), units.y));
    return {QPoint(pixels(control.x, units.x), pixels(control.y, units.y)), size.expandedTo(leastSizes_[row])};
}

QSize TemplateLayout::giveAt(Units units) const {
    const bool across = std::any_of(form_.controls.begin(), form_.controls.end(),
                                    [](const DialogControl& row) { return row.anchor.right > row.anchor.left; });
    const bool down = std::any_of(form_.controls.begin(), form_.controls.end(),
                                  [](const DialogControl& row) { return row.anchor.bottom > row.anchor.top; });
    QSize give(across ? naturalSize_.width() : 0, down ? naturalSize_.height() : 0);
    for (const Constraint& constraint : constraints_) {
        if (constraint.percent <= 0) {
            continue;
        }
        const bool horizontal = constraint.direction == Qt::Horizontal;
        const int spare =
            pixels(constraint.distance, horizontal ? units.x : units.y) - constraint.leastPixels - kGiveSpare;
        int& least = horizontal ? give.rwidth() : give.rheight();
        least = std::min(least, std::max(0, spare) * 100 / constraint.percent);
    }
    return give;
}

void TemplateLayout::measure() {
    leastSizes_.clear();
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        leastSizes_.push_back(leastSize(form_.controls[i], *widgets_[i]));
    }
    naturalUnits_ = naturalUnits();
    naturalSize_ = sizeAt(naturalUnits_);
    constraints_ = makeConstraints();
    const Units least = leastUnits();
    give_ = giveAt(least);
    smallestSize_ = sizeAt(least) - give_;
    parent_->setMinimumSize(smallestSize_);
    place();
}

void TemplateLayout::place() {
    const QSize size = parent_->size().expandedTo(smallestSize_).boundedTo(naturalSize_);
    const QSize given = (naturalSize_ - size).boundedTo(give_);
    // The size that it would have without what the anchored controls gave.
    const QSize full = size + given;
    const Units units{full.width() < naturalSize_.width() ? full.width() / qreal(form_.width) : naturalUnits_.x,
                      full.height() < naturalSize_.height() ? full.height() / qreal(form_.height) : naturalUnits_.y};
    for (std::size_t i = 0; i < widgets_.size(); ++i) {
        widgets_[i]->setGeometry(moved(rectAt(i, units), form_.controls[i].anchor, given));
    }
}
