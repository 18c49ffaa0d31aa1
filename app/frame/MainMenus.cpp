#include "app/frame/MainMenus.h"

#include "app/compare/CompareWindow.h"
#include "app/dialogs/ShownText.h"
#include "app/frame/CSplitterFrame.h"
#include "app/frame/RecentFiles.h"

#include <QAction>
#include <QFontMetrics>
#include <QMdiArea>
#include <QMenu>
#include <QMenuBar>
#include <filesystem>

namespace {

/// A path that is longer loses its middle: the file's name and the folder's beginning tell most.
constexpr int kPathCharacters = 70;

QString text(std::string_view view) {
    return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

/// A line of a numbered list as a menu shows it.
QString numbered(qsizetype number, QString shown) {
    return QString(number < 10 ? "&%1 %2" : "%1 %2").arg(number).arg(shown.replace('&', "&&"));
}

} // namespace

MainMenus::MainMenus(QMenuBar& bar, QMdiArea& area, const Actions& actions, QObject* parent)
    : QObject(parent), bar_(bar), area_(area), actions_(actions) {}

void MainMenus::show(bool forDocument) {
    forDocument_ = forDocument;
    const auto old = bar_.findChildren<QMenu*>(QString(), Qt::FindDirectChildrenOnly);
    bar_.clear();
    bar_.setObjectName(forDocument ? "menu_136" : "menu_128");
    for (QMenu* menu : old) {
        menu->deleteLater(); // this may run in one of its own actions
    }
    for (const MenuInfo& info : forDocument ? documentMenus() : emptyMenus()) {
        fill(bar_.addMenu(text(info.title)), info);
    }
}

void MainMenus::fill(QMenu* menu, const MenuInfo& info) {
    QMenu* target = menu;
    for (const MenuEntry& entry : info.entries) {
        switch (entry.kind) {
        case MenuEntry::Kind::kSeparator:
            target->addSeparator();
            break;
        case MenuEntry::Kind::kSubmenu:
            target = menu->addMenu(text(entry.text));
            break;
        case MenuEntry::Kind::kEndOfSubmenu:
            target = menu;
            break;
        case MenuEntry::Kind::kRecentFiles:
            listPortFiles(menu);
            break;
        case MenuEntry::Kind::kRecentCalibrationFiles:
            listCalibrationFiles(menu->addMenu(text(entry.text)));
            break;
        case MenuEntry::Kind::kWindowList:
            connect(menu, &QMenu::aboutToShow, this, [this, menu] { listWindows(menu); });
            break;
        case MenuEntry::Kind::kCommand:
            addCommand(target, entry.id, text(entry.text));
            break;
        }
    }
}

void MainMenus::addCommand(QMenu* menu, CommandId id, const QString& text) {
    // A command has the text of the menu in which it stands now. Setting it must not lose the tooltip.
    QAction* action = actions_.at(id);
    const QString toolTip = action->toolTip();
    action->setText(text);
    action->setToolTip(toolTip);
    menu->addAction(action);
}

void MainMenus::listPortFiles(QMenu* menu) {
    listFiles(menu, recentPortFiles().paths(), CommandId::kRecentFiles, "Recent File", &MainMenus::portFileChosen);
}

void MainMenus::listCalibrationFiles(QMenu* menu) {
    const auto list = [this, menu] {
        menu->clear();
        listFiles(menu, recentCalibrationFiles().paths(), CommandId::kRecentCalibrationFiles, "None so far",
                  &MainMenus::calibrationFileChosen);
    };
    list(); // so that its commands can be found before it opens
    connect(menu, &QMenu::aboutToShow, this, list);
}

void MainMenus::listFiles(QMenu* menu, const QStringList& paths, CommandId first, const QString& none, Chosen chosen) {
    const auto add = [&](const QString& line, int id) {
        QAction* action = menu->addAction(line);
        action->setProperty("commandId", id);
        return action;
    };
    int id = static_cast<int>(first);
    if (paths.isEmpty()) {
        add(none, id)->setEnabled(false);
    }
    const QFontMetrics metrics(menu->font());
    for (const QString& path : paths) {
        const int room = kPathCharacters * metrics.averageCharWidth();
        const int number = id - static_cast<int>(first) + 1;
        QAction* file = add(numbered(number, metrics.elidedText(shownText(path.toStdString()), Qt::ElideMiddle, room)), id);
        file->setObjectName("cmd_" + QString::number(id));
        file->setStatusTip(shownText(path.toStdString()));
        connect(file, &QAction::triggered, this, [this, path, chosen] { emit(this->*chosen)(path); });
        ++id;
    }
}

void MainMenus::listWindows(QMenu* menu) {
    while (!menu->actions().constLast()->isSeparator()) {
        delete menu->actions().constLast();
    }
    const auto addLine = [&](const QString& text, QMdiSubWindow* window) {
        QAction* line = menu->addAction(text);
        line->setCheckable(true);
        line->setChecked(window == area_.currentSubWindow());
        connect(line, &QAction::triggered, window, [this, window] { area_.setActiveSubWindow(window); });
    };
    int number = 0;
    for (QMdiSubWindow* window : area_.subWindowList(QMdiArea::CreationOrder)) {
        auto* frame = qobject_cast<CSplitterFrame*>(window);
        if (frame == nullptr || frame->isClosing()) {
            continue;
        }
        ++number;
        const CCalvaneDoc& document = frame->document();
        QStringList parts{frame->windowTitle(), shownText(document.comPort())};
        const QString file = shownText(std::filesystem::path(document.fileName()).filename().string());
        if (!file.isEmpty() && !parts[0].contains(file)) {
            parts << file;
        }
        addLine(numbered(number, parts.join(" - ")), frame);
    }
    for (QMdiSubWindow* window : area_.subWindowList(QMdiArea::CreationOrder)) {
        if (const auto* compare = qobject_cast<CompareWindow*>(window); compare != nullptr && !compare->isClosing()) {
            addLine(window->windowTitle().replace('&', "&&"), window);
        }
    }
}
