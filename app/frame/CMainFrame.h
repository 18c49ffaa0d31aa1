#pragma once

#include "app/frame/CommandTable.h"

#include <QMainWindow>
#include <QPointer>
#include <filesystem>
#include <map>
#include <string>

class CSplitterFrame;
class MainMenus;
class MainStatusBar;
class Shutdown;
class QMdiArea;
class QMdiSubWindow;

/// The program's window: menus, toolbar and status bar around the area of the document windows. Hands the commands of
/// the document menu to the active document window, and carries out the others with the application's help (signals).
/// Owned by the application. User-interface thread.
class CMainFrame : public QMainWindow {
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Calvane 1.4.34";

    explicit CMainFrame(std::filesystem::path programDirectory);
    ~CMainFrame() override;

    /// Adds a window for a new document and makes it the active one. Null, after a message, if it can't be made.
    CSplitterFrame* addDocument();
    /// The window that commands go to; null where there is none.
    CSplitterFrame* activeFrame() const;

    QAction* action(CommandId id) const;
    void runCommand(CommandId id);

    /// Shows the record's window, at the session with this uuid where one is named.
    void showHistory(const std::string& uuid = {});

    /// Tells something in the status bar, for a minute.
    void tellForAWhile(const QString& text);

    /// Brings texts of the panes and states of the commands up to date.
    void refresh();

signals:
    void newRequested();
    void openRequested();
    void saveRequested();
    /// A file that names a port was chosen from the last ones.
    void recentRequested(const QString& path);
    void recentCalibrationFileRequested(const QString& path);
    void calibrationFilesDropped(const QStringList& paths);
    /// The last document has been destroyed and the window is hidden: the program is to end.
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool event(QEvent* event) override;
    /// The menu of the bars' right mouse button.
    QMenu* createPopupMenu() override;

private:
    void makeActions();
    void makeKeys();
    void makeToolbar();
    void activated(QMdiSubWindow* window);
    void leaveCloseKeys(QMdiSubWindow* window);
    void showTitle(bool withDocument);
    void showPhone(CSplitterFrame* frame);
    void showVersions();
    void restorePlaces();
    void savePlaces();

    const std::filesystem::path programDirectory_;
    QMdiArea* area_;
    std::map<CommandId, QAction*> actions_;
    MainMenus* menus_;
    QToolBar* toolbar_ = nullptr;
    QPointer<CSplitterFrame> lastActive_;
    QString title_;
    MainStatusBar* statusBar_;
    bool started_ = false;
    Shutdown* shutdown_;
};
