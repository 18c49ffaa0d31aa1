#include "app/views/ChangedLines.h"

#include "app/dialogs/DialogControls.h"
#include "app/views/MatchColours.h"

#include <QFont>
#include <QPainter>

namespace {

constexpr int kMarginPixels = 12;

} // namespace

ChangedLinesModel::ChangedLinesModel(const CCalvaneDoc& document, QObject* parent)
    : ItemLinesModel(parent), document_(document) {}

QVariant ChangedLinesModel::data(const QModelIndex& index, int role) const {
    const int position = positionOf(index.row());
    const auto& items = document_.nvItems();
    if (position < 0 || position >= std::ssize(items)) {
        return {};
    }
    const auto isChanged = [&] { return document_.baseline().isChanged(items[static_cast<std::size_t>(position)]); };
    switch (role) {
    case kChangedRole:
        return isChanged();
    case Qt::FontRole: {
        QFont bold;
        bold.setBold(true);
        return isChanged() ? QVariant(bold) : QVariant();
    }
    case Qt::AccessibleDescriptionRole:
        return isChanged() ? QVariant("changed") : QVariant();
    default:
        return ItemLinesModel::data(index, role);
    }
}

void ChangedLinesModel::valuesChanged() {
    if (rowCount() > 0) {
        emit dataChanged(index(0, 0), index(rowCount() - 1, 0), {kChangedRole, Qt::FontRole});
    }
}

QSize ChangeMarkDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    return lines_->sizeHint(option, index);
}

void ChangeMarkDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const {
    QStyleOptionViewItem line(option);
    line.rect.setLeft(option.rect.left() + kMarginPixels);
    lines_->paint(painter, line, index);
    if (!query_.isEmpty()) {
        paintParts(*painter, line, index);
    }
    if (!index.data(ChangedLinesModel::kChangedRole).toBool()) {
        return;
    }
    QRect margin(option.rect);
    margin.setWidth(kMarginPixels);
    QFont bold(option.font);
    bold.setBold(true);
    painter->save();
    painter->setFont(bold);
    painter->setPen(option.palette.color(QPalette::Text));
    painter->drawText(margin, Qt::AlignCenter, "*");
    painter->restore();
}

void ChangeMarkDelegate::paintParts(QPainter& painter, const QStyleOptionViewItem& line,
                                    const QModelIndex& index) const {
    const std::string text = index.data().toString().toStdString();
    const auto parts = query_.partsOf(text);
    if (parts.empty()) {
        return;
    }
    QFont font = line.font;
    font.setBold(index.data(ChangedLinesModel::kChangedRole).toBool());
    const QFontMetrics metrics(font, painter.device());
    const auto widthOf = [&](std::size_t bytes) {
        return metrics.size(Qt::TextExpandTabs, QString::fromUtf8(text.data(), static_cast<qsizetype>(bytes))).width();
    };
    const bool selected = line.state.testFlag(QStyle::State_Selected);
    const QColor pen = line.palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    for (const auto& part : parts) {
        const int from = widthOf(part.begin);
        const QRect place(line.rect.left() + DialogListBox::kTextIndent + from, line.rect.top(),
                          widthOf(part.begin + part.size) - from, line.rect.height());
        if (!selected) {
            painter.fillRect(place, matchVeil());
        }
        const int width = selected ? 2 : 1; // a veil would take the contrast from the colours of a selected line
        painter.fillRect(place.adjusted(0, place.height() - width, 0, 0), pen);
    }
}
