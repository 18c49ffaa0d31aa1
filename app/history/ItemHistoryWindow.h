#pragma once

#include "app/history/ItemHistory.h"

#include <QWidget>
#include <memory>

class ItemChart;
class QComboBox;
class QLabel;
class QTabWidget;

/// One item of one phone over time, and over all phones: as lists, and as curves where the program is built with them.
/// It asks the store beside the windows. Owned by the main window. User-interface thread.
class ItemHistoryWindow : public QWidget {
    Q_OBJECT
public:
    ItemHistoryWindow(std::shared_ptr<UserInterface> userInterface, HistorySource source, QWidget* mainWindow);

    /// Asks for another item, or anew for the same.
    void showItem(const ItemQuestion& question, bool overPhones);
    bool isAsking() const { return desk_.isAsking(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void makeTabs();
    void take(ItemHistory history);
    void showField();
    void showChanges(std::size_t field, const workbench::FieldUnit* unit);
    void showSpread(std::size_t field, const workbench::FieldUnit* unit);
    void showState(const QString& failure = {});

    const std::shared_ptr<UserInterface> userInterface_;
    const HistorySource source_;
    ItemQuestion question_;
    ItemHistory history_;
    QLabel* head_;
    QLabel* message_;
    QLabel* summary_;
    QComboBox* field_;
    QTabWidget* tabs_;
    RowsTable changes_;
    RowsTable spread_;
    ItemChart* timeChart_ = nullptr; ///< both null where the program is built without curves
    ItemChart* spreadChart_ = nullptr;
    StoreDesk desk_; ///< last: its thread's end is reported to all of the above
};
