#pragma once

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <QStringList>
#include <QVariant>
#include <vector>

class QTableView;

/// A table of texts that are made at once, for a view with a filter and an order. User-interface thread.
class RowsModel : public QAbstractTableModel {
    Q_OBJECT
public:
    /// What a column's numbers and times are ordered by; a column without one is ordered by its text.
    static constexpr int kOrderRole = Qt::UserRole;

    struct Row {
        QStringList texts;
        QVariantList order = {}; ///< for the first columns; an invalid one: by the text
        bool isMarked = false;   ///< drawn bold
    };

    explicit RowsModel(QStringList titles, QObject* parent) : QAbstractTableModel(parent), titles_(std::move(titles)) {}

    void setRows(std::vector<Row> rows);
    void setText(int row, int column, const QString& text);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    const QStringList titles_;
    std::vector<Row> rows_;
};

/// Such a table in a view, in which the user may order and filter the rows, copy them, and walk through them.
class RowsTable {
public:
    /// `name` for the view's object, `accessibleName` for those who can't see it; `widths` in characters, the last
    /// column takes what is left.
    RowsTable(const char* name, const QString& accessibleName, QStringList titles, const std::vector<int>& widths,
              QWidget* parent);

    QTableView& view() const { return *view_; }
    RowsModel& model() const { return *model_; }
    QSortFilterProxyModel& shown() const { return *shown_; }
    /// The position of the current row among those that were set; -1 for none.
    int current() const;
    /// Goes to the row at this position, where it is shown.
    void select(int position);

private:
    RowsModel* model_;
    QSortFilterProxyModel* shown_;
    QTableView* view_;
};
