#include "app/dialogs/FocusHelp.h"

#include "app/dialogs/ShellOpen.h"
#include "workbench/ProgramFiles.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWidget>
#include <system_error>

namespace {

constexpr const char* kHelpPart = "helpPart";
constexpr const char* kHelpFileName = "CALVANE.HLP";

} // namespace

void setHelpPart(QWidget& widget, const char* anchor) {
    widget.setProperty(kHelpPart, anchor);
}

QString helpPartOf(const QWidget* widget) {
    for (; widget != nullptr; widget = widget->parentWidget()) {
        if (const QString part = widget->property(kHelpPart).toString(); !part.isEmpty()) {
            return part;
        }
    }
    return {};
}

FocusHelp::FocusHelp(std::filesystem::path programDirectory, QObject* parent)
    : QObject(parent), programDirectory_(std::move(programDirectory)) {
    // A shortcut of the main window would not be heard while a dialog is open.
    qApp->installEventFilter(this);
}

void FocusHelp::show(const std::filesystem::path& programDirectory, const QString& anchor, QWidget* parent) {
    std::error_code ignored; // as the result of showing the help is
    std::filesystem::current_path(programDirectory, ignored);
    shellOpen(QString::fromStdString(workbench::sideFile(kHelpFileName, programDirectory).string()), parent, anchor);
}

bool FocusHelp::eventFilter(QObject* watched, QEvent* event) {
    auto* widget = qobject_cast<QWidget*>(watched);
    if (widget == nullptr || event->type() != QEvent::KeyPress) {
        return false;
    }
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() != Qt::Key_F1 || key->modifiers() != Qt::NoModifier) {
        return false;
    }
    show(programDirectory_, helpPartOf(widget), widget->window());
    return true;
}
