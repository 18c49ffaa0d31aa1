#include "app/dialogs/DialogControls.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRegularExpression>
#include <QStyledItemDelegate>
#include <QWheelEvent>
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

/// Gives every line the same size, so that the list need not ask for each, and the width that the list was given.
class LineDelegate : public QStyledItemDelegate {
public:
    explicit LineDelegate(DialogListBox* list) : QStyledItemDelegate(list), list_(list) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {std::max(list_->horizontalExtent(), 1), QFontMetrics(option.font).height() + 2};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        QStyleOptionViewItem line(option);
        initStyleOption(&line, index);
        const QString text = std::exchange(line.text, QString());
        QStyle& style = *list_->style();
        style.drawControl(QStyle::CE_ItemViewItem, &line, painter, list_);

        // The text is drawn here, as styles expand tabs to a width of their own.
        const auto group = !line.state.testFlag(QStyle::State_Enabled) ? QPalette::Disabled
                           : line.state.testFlag(QStyle::State_Active) ? QPalette::Active
                                                                       : QPalette::Inactive;
        const bool selected = line.state.testFlag(QStyle::State_Selected);
        const QRect rect = line.rect.adjusted(DialogListBox::kTextIndent, 0, 0, 0);
        painter->save();
        painter->setFont(line.font);
        painter->setPen(line.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text));
        painter->drawText(rect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextExpandTabs | Qt::TextDontClip, text);
        painter->restore();
    }

private:
    DialogListBox* list_;
};

/// The width of the widest line of `model`, 0 without lines. Shaping a text takes some microseconds, so the line is
/// found by the sum of its characters' advances, and it alone is measured. (Kerning may make another line wider by less
/// than the room that lists leave behind their lines.)
int widestLine(const QAbstractItemModel& model, const QFontMetrics& metrics) {
    const QFontMetricsF exact(metrics);
    std::array<qreal, 128> advances{};
    for (std::size_t c = ' '; c < advances.size(); ++c) {
        advances[c] = exact.horizontalAdvance(QChar(static_cast<ushort>(c)));
    }
    const qreal tab = exact.horizontalAdvance(QLatin1Char('x')) * 8;
    qreal widest = 0;
    QString widestText;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QString text = model.index(row, 0).data().toString();
        qreal width = 0;
        for (const QChar c : text) {
            if (c == QLatin1Char('\t')) {
                width = (std::floor(width / tab) + 1) * tab;
            } else {
                width += c.unicode() < advances.size() ? advances[c.unicode()] : exact.horizontalAdvance(c);
            }
        }
        if (width > widest) {
            widest = width;
            widestText = text;
        }
    }
    return metrics.size(Qt::TextExpandTabs, widestText).width();
}

} // namespace

void keepToOneLine(QLineEdit& edit) {
    QObject::connect(&edit, &QLineEdit::textEdited, &edit, [&edit](const QString& typed) {
        static const QRegularExpression lineEnds("[\\r\\n\\v\\f\\x{85}\\x{2028}\\x{2029}]+");
        if (!typed.contains(lineEnds)) {
            return;
        }
        QString line = typed;
        edit.setText(line.replace(lineEnds, " ").trimmed());
        edit.setModified(true);
    });
}

DialogListBox::DialogListBox(QWidget* parent) : QListView(parent) {
    setItemDelegate(new LineDelegate(this));
    setUniformItemSizes(true);
    setEditTriggers(NoEditTriggers);
    setSelectionMode(SingleSelection);
    setHorizontalScrollMode(ScrollPerPixel);
    setTextElideMode(Qt::ElideNone);
    setTabKeyNavigation(false);
}

void DialogListBox::setMultipleSelection(bool multiple) {
    setSelectionMode(multiple ? MultiSelection : SingleSelection);
}

void DialogListBox::setHorizontalExtent(int pixels) {
    if (pixels != horizontalExtent_) {
        horizontalExtent_ = pixels;
        scheduleDelayedItemsLayout();
    }
}

void DialogListBox::fitHorizontalExtent() {
    const QFontMetrics metrics(font());
    const int character = metrics.averageCharWidth();
    const int widest = model()->rowCount() > 0 ? widestLine(*model(), metrics) + character : 0;
    setHorizontalExtent(widest + 5 * character);
}

QItemSelectionModel::SelectionFlags DialogListBox::selectionCommand(const QModelIndex& index,
                                                                    const QEvent* event) const {
    return selectionMode() == MultiSelection ? QItemSelectionModel::NoUpdate
                                             : QListView::selectionCommand(index, event);
}

void DialogListBox::mousePressEvent(QMouseEvent* event) {
    QListView::mousePressEvent(event);
    const QModelIndex index = indexAt(event->position().toPoint());
    if (selectionMode() == MultiSelection && event->button() == Qt::LeftButton && index.isValid()) {
        emit lineChosen(index.row(), event->modifiers());
    }
}

void DialogListBox::keyPressEvent(QKeyEvent* event) {
    if (selectionMode() == MultiSelection && event->key() == Qt::Key_Space && currentIndex().isValid()) {
        emit lineChosen(currentIndex().row(), event->modifiers());
        return;
    }
    QListView::keyPressEvent(event);
}

DialogComboBox::DialogComboBox(bool editable, QWidget* parent) : QComboBox(parent) {
    setEditable(editable);
    setInsertPolicy(NoInsert);
    if (editable) {
        setCompleter(nullptr);
        keepToOneLine(*lineEdit());
    }
}

void DialogComboBox::showPopup() {
    emit droppingDown();
    if (count() > 0) {
        QComboBox::showPopup();
        return;
    }
    // A list without entries opens as well, if it has one at first.
    addItem(QString());
    QComboBox::showPopup();
    removeItem(0);
}

void DialogComboBox::wheelEvent(QWheelEvent* event) {
    // The wheel turned over a closed box is meant for something else, and must not choose.
    event->ignore();
}
