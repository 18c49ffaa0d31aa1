#include "app/views/UnitLabel.h"

#include <QEvent>

namespace {

constexpr int kGap = 5;          ///< in pixels, to the frame of the box and to what is typed
constexpr int kRoomOfValue = 60; ///< in pixels, of the box
constexpr float kPaleness = 0.65F;
constexpr int kDarkBase = 128; ///< the lightness below which a background is a dark one

const QColor kRedOnLight(176, 0, 0);
const QColor kRedOnDark(255, 120, 120);

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
    const QString band = QString::fromStdString(workbench::bandText(*unit));
    setToolTip(band.isEmpty() ? QString() : "Permitted: " + band.toHtmlEscaped());
    refresh();
}

void UnitLabel::refresh() {
    bool isNumber = false;
    const double raw = QString::fromStdString(edit_.decimalText(type_)).trimmed().toDouble(&isNumber);
    if (!isNumber || !edit_.isNumber()) {
        clear();
        permitted_ = true;
    } else {
        const double value = unit_->physical(raw);
        permitted_ = unit_->permits(value);
        const char* const word = permitted_ ? "" : unit_->lowest() && value < *unit_->lowest() ? ", low" : ", high";
        setText(QString::fromStdString(workbench::unitText(*unit_, value) + word));
    }
    showColor();
    setAccessibleName(text());
    setVisible(!text().isEmpty());
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
    const int room = edit_.width() - kRoomOfValue;
    const int width = text().isEmpty() ? 0 : std::min(sizeHint().width(), room);
    setGeometry(edit_.width() - width - kGap, 0, width, edit_.height());
    // What is typed scrolls in front of the label, not below it.
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
