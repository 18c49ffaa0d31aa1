#pragma once

#include "app/frame/CommandTable.h"

#include <QObject>
#include <QStringList>
#include <functional>
#include <map>

class QAction;
class QMdiArea;
class QMenu;
class QMenuBar;
struct MenuInfo;

/// The menus of the main window: one set while a document is open, another while none is. What they list besides the
/// commands (files used last, document windows) is looked up as a menu opens. Owned by the main window, whose commands,
/// menu bar and area it uses. User-interface thread.
class MainMenus : public QObject {
    Q_OBJECT
public:
    using Actions = std::map<CommandId, QAction*>;

    /// All four outlive the menus.
    MainMenus(QMenuBar& bar, QMdiArea& area, const Actions& actions, QObject* parent);

    void show(bool forDocument);
    bool isForDocument() const { return forDocument_; }

signals:
    void portFileChosen(const QString& path);
    void calibrationFileChosen(const QString& path);

private:
    /// Says that the user has chosen a file of a list.
    using Chosen = void (MainMenus::*)(const QString& path);

    void fill(QMenu* menu, const MenuInfo& info);
    void addCommand(QMenu* menu, CommandId id, const QString& text);
    void listPortFiles(QMenu* menu);
    void listCalibrationFiles(QMenu* menu);
    /// One line per file, the first of which has the number `first`; "none" where there is none.
    void listFiles(QMenu* menu, const QStringList& paths, CommandId first, const QString& none, Chosen chosen);
    /// Lists the document windows behind the last separator of `menu`.
    void listWindows(QMenu* menu);

    QMenuBar& bar_;
    QMdiArea& area_;
    const Actions& actions_;
    bool forDocument_ = false;
};
