#pragma once

#include "app/dialogs/ItemLinesModel.h"
#include "app/document/CCalvaneDoc.h"

#include <QStyledItemDelegate>

/// The lines of a document's list; those of changed items are bold and say so. User-interface thread.
class ChangedLinesModel : public ItemLinesModel {
    Q_OBJECT
public:
    /// Whether the line's item has other values than the last known ones.
    static constexpr int kChangedRole = Qt::UserRole;

    explicit ChangedLinesModel(const CCalvaneDoc& document, QObject* parent);

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    /// To be called when values of the items have changed.
    void valuesChanged();

private:
    const CCalvaneDoc& document_;
};

/// Draws lines as another delegate does, behind a margin in which the changed ones have a mark: bold type alone is
/// easily overlooked.
class ChangeMarkDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    /// `lines` outlives this.
    ChangeMarkDelegate(QAbstractItemDelegate* lines, QObject* parent) : QStyledItemDelegate(parent), lines_(lines) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    QAbstractItemDelegate* lines_;
};
