#include "app/CProgressDlg.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLineEdit>
#include <QProgressBar>
#include <array>

namespace {

constexpr int kBarId = 1015;
constexpr int kTextId = 1016;

constexpr std::array<DialogControl, 2> kControls{{
    {kTextId, ControlKind::Edit, "", 7, 7, 280, 14, kReadOnly},
    {kBarId, ControlKind::ProgressBar, "", 7, 29, 280, 21},
}};
constexpr DialogTemplate kTemplate{137, "Reading NV From Phone", 294, 66, kControls};

constexpr int kPaintIntervalMs = 33;
/// The window's own message: a line has been added.
constexpr auto kLineAdded = static_cast<QEvent::Type>(QEvent::User + 1);

} // namespace

CProgressDlg::CProgressDlg(QWidget* mainWindow) : TemplateDialog(kTemplate, mainWindow) {
    setModal(false);
    paintTimer_.setSingleShot(true);
    connect(&paintTimer_, &QTimer::timeout, this, [this] {
        setUpdatesEnabled(true);
        repaint(); // at once: the next line would take a mere request back
    });
    setAttribute(Qt::WA_ShowWithoutActivating); // the user may go on in the main window
}

void CProgressDlg::addLine(std::string line) {
    lines_.push(std::move(line));
    QCoreApplication::postEvent(this, new QEvent(kLineAdded));
}

void CProgressDlg::customEvent(QEvent* event) {
    if (event->type() == kLineAdded)
        showOldestLine();
}

void CProgressDlg::showOldestLine() {
    const auto line = lines_.takeOldest();
    if (!line)
        return;
    // Painting takes longer than the phone needs for an item, so it is done as often as eyes can follow.
    setUpdatesEnabled(false);
    if (!paintTimer_.isActive())
        paintTimer_.start(kPaintIntervalMs);
    const ProgressLine progress = parseProgressLine(*line);
    auto& bar = item<QProgressBar>(kBarId);
    if (bar.maximum() != progress.total)
        bar.setRange(0, progress.total);
    bar.setValue(progress.position);
    item<QLineEdit>(kTextId).setText(QString::fromStdString(progress.text));
}
