#include "app/views/UnitLabel.h"

#include <QEvent>
#include <algorithm>

namespace {

constexpr int kGap = 5;          ///< in pixels, to the frame of the box and to what is typed
constexpr int kRoomOfFrame = 10; ///< in pixels, of the box beside its text
constexpr float kPaleness = 0.65F;
constexpr int kDarkBase = 128; ///< the lightness below which a background is a dark one

const QColor kRedOnLight(176, 0, 0);
const QColor kRedOnDark(255, 120, 120);

/// Without the zeros at the end of its decimals.
QString withoutZeros(QString text) {
    const auto isOfNumber = [](QChar c) { return c == '-' || c == '.' || (c >= '0' && c <= '9'); };
    const qsizetype end = std::find_if_not(text.begin(), text.end(), isOfNumber) - text.begin();
    qsizetype cut = end;
    if (text.left(end).contains('.')) {
        while (text[cut - 1] == '0') {
            --cut;
        }
        cut -= text[cut - 1] == '.' ? 1 : 0;
    }
    return text.remove(cut, end - cut);
}

} // namespace

UnitLabel::UnitLabel(SubFieldEdit& edit) : QLabel(&edit), edit_(edit) {
    setObjectName(edit.objectName() + "_unit");
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    setForegroundRole(QPalette::PlaceholderText);
    edit.installEventFilter(this);
    connect(&edit, &QLineEdit::textChanged, this, [this] {
        if (unit_ != nullptr) {
            refresh();
        }
    });
    hide();
}

void UnitLabel::showUnit(const workbench::FieldUnit* unit, SubItemType type) {
    unit_ = unit;
    type_ = type;
    if (unit == nullptr) {
        clear();
        setVisible(false);
        edit_.setTextMargins(0, 0, 0, 0);
        return;
    }
    refresh();
}

void UnitLabel::refresh() {
    bool isNumber = false;
    const double raw = QString::fromStdString(edit_.decimalText(type_)).trimmed().toDouble(&isNumber);
    texts_.clear();
    permitted_ = true;
    if (isNumber && edit_.isNumber()) {
        permitted_ = unit_->permits(unit_->physical(raw));
        const QString text = QString::fromStdString(workbench::judgedText(*unit_, raw));
        texts_ = {text, withoutZeros(text), QString(QChar(0x2026))};
    }
    const QString whole = texts_.value(0);
    const QString band = QString::fromStdString(workbench::bandText(*unit_));
    setToolTip((band.isEmpty() ? whole : whole + "\nPermitted: " + band).toHtmlEscaped());
    setAccessibleName(whole);
    showColor();
    place();
}

void UnitLabel::showColor() {
    QColor color = edit_.palette().color(QPalette::Active, QPalette::Text);
    color.setAlphaF(kPaleness);
    if (!permitted_) {
        color =
            edit_.palette().color(QPalette::Active, QPalette::Base).lightness() < kDarkBase ? kRedOnDark : kRedOnLight;
    }
    if (color != palette().color(QPalette::Active, QPalette::PlaceholderText)) {
        QPalette own;
        own.setColor(QPalette::PlaceholderText, color);
        setPalette(own);
    }
}

void UnitLabel::place() {
    // The raw value is never cut off: what it means is said in less room, down to dots with the tooltip.
    const int room = edit_.width() - edit_.fontMetrics().horizontalAdvance(edit_.text()) - kRoomOfFrame - 2 * kGap;
    const auto fits = [&](const QString& text) { return fontMetrics().horizontalAdvance(text) <= room; };
    const auto fitting = std::ranges::find_if(texts_, fits);
    setText(fitting == texts_.end() ? QString() : *fitting);
    setVisible(!text().isEmpty());
    const int width = text().isEmpty() ? 0 : sizeHint().width();
    setGeometry(edit_.width() - width - kGap, 0, width, edit_.height());
    edit_.setTextMargins(0, 0, width == 0 ? 0 : width + kGap, 0);
}

bool UnitLabel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &edit_ && unit_ != nullptr) {
        if (event->type() == QEvent::Resize) {
            place();
        } else if (event->type() == QEvent::PaletteChange) {
            showColor();
        }
    }
    return QLabel::eventFilter(watched, event);
}

void UnitLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::FontChange && unit_ != nullptr) {
        place();
    }
}
