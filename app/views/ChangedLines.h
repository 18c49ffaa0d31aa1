#pragma once

#include "app/dialogs/ItemLinesModel.h"
#include "app/document/CCalvaneDoc.h"
#include "workbench/ItemQuery.h"

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
/// easily overlooked. Parts that a query finds are coloured and underlined.
class ChangeMarkDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    /// `lines` and `query`, which may become another one, outlive this.
    ChangeMarkDelegate(QAbstractItemDelegate* lines, const workbench::ItemQuery& query, QObject* parent)
        : QStyledItemDelegate(parent), lines_(lines), query_(query) {}

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    void paintParts(QPainter& painter, const QStyleOptionViewItem& line, const QModelIndex& index) const;

    QAbstractItemDelegate* lines_;
    const workbench::ItemQuery& query_;
};
