#pragma once

#include "workbench/FieldRuns.h"
#include "workbench/TableEdit.h"

#include <QObject>
#include <QString>
#include <functional>
#include <optional>
#include <vector>

class CNvParam;
class EditorRow;
class QContextMenuEvent;
class QKeyEvent;
class QMenu;
class QMouseEvent;

/// The editor's boxes as a table: several of them can be selected, by Shift with a click or an arrow key, or by
/// dragging over their labels, and their values copied, pasted, filled down, calculated with and interpolated. What an
/// operation works on is the selection; without one the run of sub-fields of one type that the focused box belongs to.
///
/// An operation changes all its boxes or none. In safe hands the values are stored at once, as one edit; otherwise they
/// stand in their boxes as if they had been typed.
///
/// Owned by the editor. User-interface thread.
class EditorTable : public QObject {
    Q_OBJECT
public:
    enum class Operation { kCopyValues, kCopyWithDescriptions, kPaste, kFillDown, kAddOrMultiply, kInterpolate };

    explicit EditorTable(CNvParam& editor);

    /// To be called when a row was made, and when the editor shows an item, another one, or none.
    void addRow(EditorRow& row);
    void itemShown();

    /// A message names the first value that does not fit; then nothing is changed.
    void run(Operation operation);
    bool canRun(Operation operation) const;

    /// Says how many boxes are selected; empty where none is.
    QString notice() const;

signals:
    /// A context menu opens over the boxes; who knows the commands adds them.
    void menuWanted(QMenu* menu);
    void selectionChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Rows that follow each other.
    struct Span {
        std::size_t first = 0;
        std::size_t count = 0;
    };
    using NewValues = std::function<std::vector<std::string>(std::span<const workbench::TableCell> cells, int base)>;

    bool mousePressed(QObject* watched, const QMouseEvent& event);
    bool mouseMoved(QObject* watched, const QMouseEvent& event);
    bool keyPressed(const QKeyEvent& event);
    bool pressedInSelection(const QKeyEvent& event);
    void showMenu(QObject* watched, const QContextMenuEvent& event);

    std::optional<std::size_t> rowOf(const QObject* watched) const;
    /// The row at this height of the form; the nearest one where there is none.
    std::size_t rowAt(int y) const;
    void select(std::size_t anchor, std::size_t current);
    void clearSelection();
    void showSelection();
    void focus(std::size_t row);

    std::optional<Span> selection() const;
    /// The run that the row belongs to; the row itself where there is none.
    Span runOf(std::size_t row) const;
    /// What an operation works on.
    std::optional<Span> target(Operation operation) const;
    int base() const;
    std::vector<workbench::TableCell> cells(Span span) const;

    void copy(Span span, bool withDescriptions) const;
    /// Pastes from the first box of `span` on, which ends where the table ends.
    void paste(Span span);
    /// False where the box had better paste by itself.
    bool pasteSeveral();
    void askAndCalculate(Span span);
    /// Gives the boxes from the first one on new values. Answers what was wrong; then none has changed.
    QString change(Span span, const NewValues& newValues);
    void changeOrTell(Span span, const NewValues& newValues, const QString& caption);

    CNvParam& editor_;
    std::vector<workbench::FieldRun> runs_; ///< of the item that is shown
    std::optional<std::size_t> anchor_;     ///< where the selection began; none without one
    std::size_t current_ = 0;               ///< its other end
    std::optional<std::size_t> left_;       ///< the box that a click elsewhere has taken the focus from
};
