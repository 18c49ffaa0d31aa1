#include "app/dialogs/CProgressDlg.h"

#include "app/dialogs/ShownText.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <array>
#include <span>

namespace {

constexpr int kBarId = 1015;
constexpr int kTextId = 1016;
constexpr int kCancelId = 1030; ///< not the id that closes a dialog: closing the window ends no read

constexpr std::array<DialogControl, 3> kControls{{
    {kTextId, ControlKind::kEdit, "", 7, 7, 280, 14, kReadOnly},
    {kBarId, ControlKind::kProgressBar, "", 7, 29, 280, 21},
    {kCancelId, ControlKind::kPushButton, "Cancel", 237, 52, 50, 13},
}};
constexpr DialogTemplate kTemplate{137, "Reading NV From Phone", 294, 66, kControls};

constexpr int kPauseMs = 33;
/// Lines shown in one turn: they take the window's thread some 16 ms then. That is 40,000 lines a second, a thousand
/// times what a serial line of 115200 baud carries; only a phone inside the program, with many more items than any ring
/// has, is faster.
constexpr std::size_t kMostAtOnce = 2000;
/// The window's own message: lines have been added.
constexpr auto kLinesAdded = static_cast<QEvent::Type>(QEvent::User + 1);

} // namespace

CProgressDlg::CProgressDlg(QWidget* mainWindow)
    : TemplateDialog(kTemplate, mainWindow), bar_(item<QProgressBar>(kBarId)), text_(item<QLineEdit>(kTextId)),
      cancel_(item<QPushButton>(kCancelId)) {
    cancel_.hide();
    connect(&cancel_, &QPushButton::clicked, this, &CProgressDlg::cancelRequested);
    setModal(false);
    pause_.setSingleShot(true);
    connect(&pause_, &QTimer::timeout, this, &CProgressDlg::showLines);
    setAttribute(Qt::WA_ShowWithoutActivating); // the user may go on in the main window
}

void CProgressDlg::addLine(std::string line) {
    // An event per line would wake this window's thread for each, at the cost of the threads that read.
    if (lines_.push(std::move(line))) {
        QCoreApplication::postEvent(this, new QEvent(kLinesAdded));
    }
}

void CProgressDlg::setCancelOffered(bool offered) {
    cancel_.setVisible(offered);
}

void CProgressDlg::setVisible(bool visible) {
    if (!visible) {
        showLines();
    }
    TemplateDialog::setVisible(visible);
}

void CProgressDlg::customEvent(QEvent* event) {
    if (event->type() == kLinesAdded && !pause_.isActive()) {
        showLines();
    }
}

void CProgressDlg::showLines() {
    const auto lines = lines_.takeAll();
    if (lines.empty()) {
        return;
    }
    pause_.start(kPauseMs);
    bar_.setUpdatesEnabled(false); // it would paint itself for each of the lines
    for (const std::string& line : std::span(lines).last(lines.size() > kMostAtOnce ? 1 : lines.size())) {
        showLine(line);
    }
    bar_.setUpdatesEnabled(true);
}

void CProgressDlg::showLine(const std::string& line) {
    const ProgressLine progress = parseProgressLine(line);
    if (bar_.maximum() != progress.total) {
        bar_.setRange(0, progress.total);
    }
    bar_.setValue(progress.position);
    text_.setText(shownText(progress.text));
}
