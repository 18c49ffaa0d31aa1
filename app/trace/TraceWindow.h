#pragma once

#include "app/document/PhoneJobs.h"
#include "app/trace/TraceSource.h"

#include <QTimer>
#include <QWidget>
#include <memory>
#include <string>

class QBoxLayout;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTableView;
class TraceModel;

/// Tools > Trace: the packets of all ports as they pass. It records while it is shown and not paused; closed, it keeps
/// what it has. Owned by the main window. User-interface thread.
class TraceWindow : public QWidget {
    Q_OBJECT
public:
    TraceWindow(std::shared_ptr<UserInterface> userInterface, TraceSource source, QWidget* mainWindow);
    ~TraceWindow() override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void makeTop(QBoxLayout& column);
    void makeTable();
    void takeRecords();
    void applyFilter();
    void followRecording();
    void clear();
    void save();
    void writeFile(const std::string& path);
    void copyRows() const;
    void showDetail();
    void showCounts();

    std::shared_ptr<UserInterface> userInterface_;
    TraceSource source_;
    TraceModel* model_;
    QLineEdit* filter_;
    QPushButton* pause_;
    QPushButton* save_;
    QTableView* table_;
    QPlainTextEdit* detail_;
    QLabel* counts_;
    QLabel* message_;
    QTimer batchTimer_;
    QTimer filterTimer_;
    PhoneJobs jobs_; ///< the save
};
