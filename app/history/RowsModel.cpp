#include "app/history/RowsModel.h"

#include "app/dialogs/ShownText.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFont>
#include <QHeaderView>
#include <QTableView>
#include <algorithm>

void RowsModel::setRows(std::vector<Row> rows) {
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
}

void RowsModel::setText(int row, int column, const QString& text) {
    rows_[static_cast<std::size_t>(row)].texts[column] = text;
    emit dataChanged(index(row, column), index(row, column));
}

int RowsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int RowsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(titles_.size());
}

QVariant RowsModel::data(const QModelIndex& index, int role) const {
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    const QString& text = row.texts[index.column()];
    switch (role) {
    case Qt::DisplayRole:
        return text;
    case Qt::ToolTipRole:
        return text.isEmpty() ? QVariant() : plainToolTip(text);
    case kOrderRole:
        return index.column() < row.order.size() && row.order[index.column()].isValid() ? row.order[index.column()]
                                                                                        : QVariant(text);
    case Qt::FontRole:
        if (row.isMarked) {
            QFont bold;
            bold.setBold(true);
            return bold;
        }
        return {};
    default:
        return {};
    }
}

QVariant RowsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    return orientation == Qt::Horizontal && role == Qt::DisplayRole ? QVariant(titles_[section]) : QVariant();
}

RowsTable::RowsTable(const char* name, const QString& accessibleName, QStringList titles,
                     const std::vector<int>& widths, QWidget* parent)
    : model_(new RowsModel(std::move(titles), parent)), shown_(new QSortFilterProxyModel(parent)),
      view_(new QTableView(parent)) {
    shown_->setSourceModel(model_);
    shown_->setSortRole(RowsModel::kOrderRole);
    shown_->setFilterKeyColumn(-1);
    shown_->setFilterCaseSensitivity(Qt::CaseInsensitive);
    view_->setObjectName(name);
    view_->setAccessibleName(accessibleName);
    view_->setModel(shown_);
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setSelectionMode(QAbstractItemView::SingleSelection);
    view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view_->setTabKeyNavigation(false);
    view_->setWordWrap(false);
    view_->setShowGrid(false);
    view_->setSortingEnabled(true);
    view_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder); // as the store gives them
    view_->horizontalHeader()->setSortIndicatorClearable(true);
    view_->horizontalHeader()->setStretchLastSection(true);
    view_->horizontalHeader()->setHighlightSections(false);
    view_->verticalHeader()->hide();
    const QFontMetrics metrics(view_->font());
    view_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view_->verticalHeader()->setDefaultSectionSize(metrics.height() + 4);
    for (std::size_t column = 0; column < widths.size(); ++column) {
        const auto section = static_cast<int>(column);
        view_->setColumnWidth(section, std::max(view_->horizontalHeader()->sectionSizeHint(section),
                                                widths[column] * metrics.horizontalAdvance('0') + 12));
    }
    auto* copy = new QAction("Copy", view_);
    copy->setShortcut(QKeySequence::Copy);
    copy->setShortcutContext(Qt::WidgetShortcut);
    QObject::connect(copy, &QAction::triggered, view_, [model = model_, shown = shown_, view = view_] {
        QStringList cells;
        const int row = view->currentIndex().row();
        for (int column = 0; row >= 0 && column < model->columnCount(); ++column) {
            cells << shown->index(row, column).data().toString();
        }
        QApplication::clipboard()->setText(cells.join('\t'));
    });
    view_->addAction(copy);
    view_->setContextMenuPolicy(Qt::ActionsContextMenu);
}

int RowsTable::current() const {
    return shown_->mapToSource(view_->currentIndex()).row();
}

void RowsTable::select(int position) {
    const QModelIndex index = shown_->mapFromSource(model_->index(position, 0));
    view_->setCurrentIndex(index);
    if (index.isValid()) {
        view_->scrollTo(index);
    }
}
