#include "app/frame/MainStatusBar.h"

#include "app/dialogs/ShownText.h"
#include "app/document/CCalvaneDoc.h"
#include "app/frame/KeyboardLocks.h"
#include "app/frame/StatusButton.h"
#include "app/frame/StatusPane.h"

#include <QApplication>
#include <QEvent>
#include <QFile>
#include <QIcon>
#include <QToolTip>
#include <algorithm>
#include <utility>

namespace {

constexpr int kLogoPaneId = 103;
constexpr int kFilePaneId = 102;
constexpr int kPortPaneId = 101;
constexpr int kPhonePaneId = 104;
constexpr int kMinimumHeight = 26;
constexpr QSize kLogoSize{119, 26};
constexpr int kFilePaneWidth = 500;
constexpr int kPortPaneWidth = 50;
constexpr int kPhonePaneWidth = 119;
constexpr int kIndicatorMargin = 12;

} // namespace

MainStatusBar::MainStatusBar(QWidget* parent) : QStatusBar(parent) {
    auto* logo = new StatusPane(kLogoPaneId, "VELN LOGO", kLogoSize.width(), this);
    logo->setMinimumSize(kLogoSize.width(), kLogoSize.height() + 2 * logo->frameWidth());
    logo->setToolTip("");
    if (QFile::exists(":/calvane/logo")) {
        logo->setPixmap(QIcon(":/calvane/logo").pixmap(kLogoSize, devicePixelRatioF()));
    }
    filePane_ = new StatusPane(kFilePaneId, "MOX File", kFilePaneWidth, this);
    portPane_ = new StatusPane(kPortPaneId, "COM", kPortPaneWidth, this);
    addWidget(logo);
    addWidget(filePane_, 1); // the first one to give way
    addWidget(portPane_);
    capsPane_ = addIndicator("CAP");
    numPane_ = addIndicator("NUM");
    scrollPane_ = addIndicator("SCRL");
    phonePane_ = new StatusPane(kPhonePaneId, "", kPhonePaneWidth, this);
    phonePane_->setAccessibleName("Phone");
    phonePane_->setWholeTextShown();
    addPermanentWidget(phonePane_);
    reportButton_ = new StatusButton(this);
    reportButton_->setObjectName("report");
    connect(reportButton_, &StatusButton::clicked, this, &MainStatusBar::reportAsked);
    addPermanentWidget(reportButton_);
    setMinimumHeight(std::max(kMinimumHeight, sizeHint().height())); // a bar's minimum counts more than its panes'
    qApp->installEventFilter(this);
}

MainStatusBar::~MainStatusBar() {
    qApp->removeEventFilter(this);
}

StatusPane* MainStatusBar::addIndicator(const char* indicator) {
    auto* pane = new StatusPane(0, indicator, fontMetrics().horizontalAdvance(indicator) + kIndicatorMargin, this);
    pane->setObjectName(QString("indicator_") + indicator);
    pane->setToolTip("");
    addPermanentWidget(pane);
    return pane;
}

void MainStatusBar::showDocument(const CCalvaneDoc* document) {
    filePane_->setEnabled(document != nullptr || !filePane_->prompt().isEmpty());
    portPane_->setEnabled(document != nullptr);
    filePane_->setFullText(document != nullptr ? shownText(document->fileName()) : QString());
    portPane_->setFullText(document != nullptr ? shownText(document->comPort()) : QString());
}

void MainStatusBar::showPhone(const QString& phone, const QString& report) {
    phonePane_->setFullText(phone);
    reportButton_->setFullText(report);
}

void MainStatusBar::setPrompt(const QString& prompt) {
    prompt_ = prompt;
    showPrompt();
}

void MainStatusBar::setNotice(const QString& notice) {
    notice_ = notice;
    showPrompt();
    // Between long texts about the phone the pane may be too narrow for it.
    const bool fits = fontMetrics().horizontalAdvance(notice) + 2 * kIndicatorMargin < filePane_->width();
    if (!notice.isEmpty() && !fits) {
        QToolTip::showText(filePane_->mapToGlobal(QPoint(0, -2 * height())), plainToolTip(notice), filePane_);
    }
}

void MainStatusBar::showPrompt() {
    filePane_->setPrompt(notice_.isEmpty() ? prompt_ : notice_);
}

bool MainStatusBar::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease ||
        event->type() == QEvent::WindowActivate) {
        locksMayDiffer_ = true;
    }
    return QStatusBar::eventFilter(watched, event);
}

void MainStatusBar::showKeyboardLocks() {
    if (!std::exchange(locksMayDiffer_, false)) {
        return;
    }
    const KeyboardLocks locks = keyboardLocks();
    capsPane_->setEnabled(locks.caps);
    numPane_->setEnabled(locks.num);
    scrollPane_->setEnabled(locks.scroll);
}
