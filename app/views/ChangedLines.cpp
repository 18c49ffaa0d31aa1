#include "app/views/ChangedLines.h"

#include <QFont>
#include <QPainter>

namespace {

constexpr int kMarginPixels = 12;

} // namespace

ChangedLinesModel::ChangedLinesModel(const CCalvaneDoc& document, QObject* parent)
    : ItemLinesModel(parent), document_(document) {}

QVariant ChangedLinesModel::data(const QModelIndex& index, int role) const {
    const auto row = static_cast<std::size_t>(index.row());
    const auto& items = document_.nvItems();
    if (!index.isValid() || row >= items.size()) {
        return {};
    }
    const auto isChanged = [&] { return document_.baseline().isChanged(items[row]); };
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
