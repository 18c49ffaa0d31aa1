#include "app/compare/CompareTree.h"

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>

namespace {

/// Of 100 parts of the width.
constexpr int kColumnShares[CompareModel::kColumns] = {9, 22, 18, 14, 14, 10, 13};

} // namespace

CompareTree::CompareTree(CompareModel& model, QWidget* parent) : QTreeView(parent), model_(model) {
    setModel(&model);
    setUniformRowHeights(true);
    setAlternatingRowColors(true);
    setSelectionMode(ExtendedSelection);
    setSortingEnabled(true);
    sortByColumn(CompareModel::kNumber, Qt::AscendingOrder);
    header()->setStretchLastSection(true);
    header()->setSectionsMovable(false);
    setColumnHidden(CompareModel::kUnits, !model.hasUnits());
    connect(header(), &QHeaderView::sectionResized, this, [this] { isSizedByUser_ = isSizedByUser_ || !isFitting_; });
    connect(this, &QTreeView::expanded, this, [this](const QModelIndex& at) { open_.insert(model_.numberAt(at)); });
    connect(this, &QTreeView::collapsed, this, [this](const QModelIndex& at) { open_.erase(model_.numberAt(at)); });
    connect(&model, &QAbstractItemModel::modelAboutToBeReset, this, &CompareTree::remember);
    connect(&model, &QAbstractItemModel::modelReset, this, &CompareTree::restore);
}

void CompareTree::remember() {
    const QModelIndex at = currentIndex();
    current_ = at.isValid() ? std::optional(model_.numberAt(at)) : std::nullopt;
    scrollPlace_ = verticalScrollBar()->value();
}

void CompareTree::restore() {
    for (const std::uint16_t number : open_) {
        if (const QModelIndex item = model_.indexOf(number); item.isValid()) {
            expand(item);
        }
    }
    verticalScrollBar()->setValue(scrollPlace_);
    const QModelIndex at = current_ ? model_.indexOf(*current_) : QModelIndex();
    if (at.isValid()) {
        setCurrentIndex(at);
        scrollTo(at);
    }
}

QModelIndex CompareTree::lastIn(const QModelIndex& item) const {
    const int children = item.isValid() && isExpanded(item) ? model_.rowCount(item) : 0;
    return children > 0 ? model_.index(children - 1, 0, item) : item;
}

QModelIndex CompareTree::following(const QModelIndex& at, bool forward) const {
    if (!at.isValid()) {
        return forward ? model_.index(0, 0) : lastIn(model_.index(model_.rowCount() - 1, 0));
    }
    const QModelIndex row = at.siblingAtColumn(0);
    const QModelIndex item = model_.isItem(row) ? row : row.parent();
    const bool isItem = row == item;
    if (!forward) {
        return isItem          ? lastIn(row.siblingAtRow(row.row() - 1))
               : row.row() > 0 ? row.siblingAtRow(row.row() - 1)
                               : item;
    }
    const QModelIndex inside =
        isItem ? lastIn(row) == row ? QModelIndex() : model_.index(0, 0, row) : row.siblingAtRow(row.row() + 1);
    return inside.isValid() ? inside : item.siblingAtRow(item.row() + 1);
}

bool CompareTree::stepToDifference(bool forward) {
    QModelIndex at = currentIndex();
    for (int ends = 0; ends < 2;) {
        at = following(at, forward);
        if (!at.isValid()) {
            ++ends; // on from the other end
        } else if (model_.isDifferent(at)) {
            setCurrentIndex(at);
            scrollTo(at);
            return true;
        }
    }
    return false;
}

void CompareTree::copySelected() const {
    const auto placeOf = [this](const QModelIndex& row) {
        return model_.isItem(row) ? std::pair(row.row(), -1) : std::pair(row.parent().row(), row.row());
    };
    QModelIndexList rows = selectionModel()->selectedRows();
    std::ranges::sort(rows, {}, placeOf);
    std::vector<workbench::ComparedLine> lines;
    int wholeItem = -1;
    for (const QModelIndex& row : rows) {
        if (model_.isItem(row)) {
            wholeItem = row.row();
        } else if (row.parent().row() == wholeItem) {
            continue;
        }
        lines.push_back(model_.lineAt(row));
    }
    if (!lines.empty()) {
        QApplication::clipboard()->setText(QString::fromStdString(
            workbench::comparisonCells(*model_.comparison(), lines, model_.isDifferencesOnly())));
    }
}

bool CompareTree::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && static_cast<QKeyEvent*>(event)->matches(QKeySequence::Copy)) {
        event->accept(); // rather than a command of the main window
        return true;
    }
    return QTreeView::event(event);
}

void CompareTree::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Copy)) {
        copySelected();
        event->accept();
        return;
    }
    QTreeView::keyPressEvent(event);
}

int CompareTree::numberWidth() const {
    // An arrow, a box for the tick, and room around the number.
    return indentation() + style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, this) +
           fontMetrics().horizontalAdvance("65535") + 3 * fontMetrics().averageCharWidth();
}

void CompareTree::resizeEvent(QResizeEvent* event) {
    isFitting_ = true;
    QTreeView::resizeEvent(event);
    if (!isSizedByUser_) {
        const int numbers = std::max(numberWidth(), viewport()->width() * kColumnShares[CompareModel::kNumber] / 100);
        setColumnWidth(CompareModel::kNumber, numbers);
        const int others = 100 - kColumnShares[CompareModel::kNumber];
        for (int column = CompareModel::kNumber + 1; column < CompareModel::kUnits; ++column) {
            setColumnWidth(column, (viewport()->width() - numbers) * kColumnShares[column] / others);
        }
    }
    isFitting_ = false;
}
