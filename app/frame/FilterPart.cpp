#include "app/frame/FilterPart.h"

#include "app/dialogs/MessageBox.h"
#include "app/document/CCalvaneDoc.h"
#include "app/frame/MainStatusBar.h"
#include "app/views/CNvItemList.h"
#include "app/views/CNvParam.h"
#include "app/views/ListFilter.h"

#include <QMessageBox>
#include <QPushButton>
#include <algorithm>

namespace {

constexpr std::chrono::seconds kNoticeTime{10};

} // namespace

FilterPart::FilterPart(QWidget& window, CCalvaneDoc& document, CNvItemList& list, CNvParam& editor)
    : window_(window), document_(document), list_(list), editor_(editor) {
    noticeEnd_.setSingleShot(true);
    noticeEnd_.setInterval(kNoticeTime);
    QObject::connect(&noticeEnd_, &QTimer::timeout, &noticeEnd_, [this] { endNotice(); });
    QObject::connect(&list_, &CNvItemList::searchNotice, &noticeEnd_,
                     [this](const QString& notice) { showNotice(notice); });
    QObject::connect(&list_, &CNvItemList::filterChanged, &noticeEnd_, [this] { markRows(); });
}

FilterPart::~FilterPart() {
    endNotice();
}

bool FilterPart::owns(CommandId command) const {
    return command == CommandId::kFilter || command == CommandId::kFilterBar || command == CommandId::kFindNext ||
           command == CommandId::kFindPrevious;
}

void FilterPart::run(CommandId command) {
    switch (command) {
    case CommandId::kFilter:
        list_.editFilter();
        break;
    case CommandId::kFilterBar:
        list_.setFilterShown(!list_.isFilterShown());
        break;
    default:
        list_.findAgain(command == CommandId::kFindNext);
        break;
    }
}

bool FilterPart::canRun(CommandId command) const {
    const bool findsAgain = command == CommandId::kFindNext || command == CommandId::kFindPrevious;
    return !findsAgain || list_.hasSearched();
}

bool FilterPart::isChecked(CommandId command) const {
    return command == CommandId::kFilterBar && list_.isFilterShown();
}

void FilterPart::markRows() {
    const workbench::ItemQuery& query = list_.filter().query();
    if (query.isEmpty()) {
        editor_.markRows({});
    } else {
        editor_.markRows([query](const SubItem& field) { return query.fitsField(field); });
    }
}

void FilterPart::showNotice(const QString& notice) {
    endNotice();
    bar_ = window_.window()->findChild<MainStatusBar*>();
    if (bar_ != nullptr && !notice.isEmpty()) {
        notice_ = notice;
        bar_->setNotice(notice);
        noticeEnd_.start();
    }
}

void FilterPart::endNotice() {
    noticeEnd_.stop();
    // Another notice may have taken its place.
    if (bar_ != nullptr && !notice_.isEmpty() && bar_->notice() == notice_) {
        bar_->setNotice({});
    }
    notice_.clear();
}

std::size_t FilterPart::hiddenOf(CommandId command) const {
    switch (command) {
    case CommandId::kWriteListedToPhone:
    case CommandId::kWriteListedToMox:
    case CommandId::kWriteListedToText:
        return list_.filter().hiddenCount();
    case CommandId::kWriteChangedToPhone:
        return static_cast<std::size_t>(std::ranges::count_if(
            document_.changedItems(), [this](std::size_t position) { return !list_.filter().shows(position); }));
    default:
        return 0;
    }
}

bool FilterPart::agreesToHidden(CommandId command) {
    const std::size_t hidden = hiddenOf(command);
    if (hidden == 0) {
        return true;
    }
    const std::string_view name = documentMenuText(command);
    QMessageBox box(QMessageBox::Question, QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())),
                    hidden == 1 ? QString("1 item hidden by the filter is included.")
                                : QString("%1 items hidden by the filter are included.").arg(hidden),
                    QMessageBox::Cancel, window_.window());
    box.setInformativeText("A filter changes what is shown, not what is written. Clear Filter shows all items and "
                           "leaves the command for later.");
    const QPushButton* go = box.addButton("Continue", QMessageBox::AcceptRole);
    const QPushButton* clear = box.addButton("Clear Filter", QMessageBox::ActionRole);
    box.setDefaultButton(QMessageBox::Cancel);
    makeRoomForCaption(box);
    box.exec();
    if (box.clickedButton() == clear) {
        list_.clearFilter();
    }
    return box.clickedButton() == go;
}
