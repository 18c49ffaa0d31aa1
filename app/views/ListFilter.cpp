#include "app/views/ListFilter.h"

#include "app/views/FilterBar.h"

#include <QApplication>
#include <algorithm>

namespace {

constexpr std::chrono::milliseconds kSlice{8}; ///< half a frame of a display
/// A window on top keeps the list as it is, as what it asks about may be in it; and the items are those of a command as
/// long as it waits for a phone or a disk.
constexpr int kRetryMs = 50;

} // namespace

ListFilter::ListFilter(const CCalvaneDoc& document, FilterBar& bar, QObject* parent)
    : QObject(parent), document_(document), bar_(bar) {
    later_.setSingleShot(true);
    connect(&later_, &QTimer::timeout, this, &ListFilter::workOn);
    connect(&bar_, &FilterBar::edited, this, &ListFilter::barEdited);
}

bool ListFilter::shows(std::size_t position) const {
    return !shown_ || std::ranges::binary_search(*shown_, static_cast<std::uint32_t>(position));
}

std::size_t ListFilter::hiddenCount(std::size_t listed) const {
    if (!shown_) {
        return 0;
    }
    const auto end = std::ranges::lower_bound(*shown_, static_cast<std::uint32_t>(listed));
    return listed - static_cast<std::size_t>(end - shown_->begin());
}

void ListFilter::barEdited() {
    query_ = workbench::ItemQuery(bar_.text().toStdString());
    if (work()) {
        emit shownChanged();
    } else {
        later_.start(0);
    }
}

void ListFilter::listChanged() {
    filter_.setStale();
    version_ = document_.baseline().version();
    if (!work()) {
        shown_.reset();
        later_.start(0);
    }
}

void ListFilter::valuesChanged() {
    if (version_ == document_.baseline().version()) {
        return;
    }
    version_ = document_.baseline().version();
    filter_.setStale();
    // Not at once: this may be in the midst of a selection, whose lines must stay where they are.
    if (!bar_.isEmpty()) {
        later_.start(0);
    }
}

void ListFilter::workOn() {
    if (QApplication::activeModalWidget() != nullptr || document_.isWaiting()) {
        later_.start(kRetryMs);
    } else if (work()) {
        emit shownChanged();
    } else {
        later_.start(0);
    }
}

bool ListFilter::work() {
    if (bar_.isEmpty()) {
        later_.stop();
        shown_.reset();
        bar_.showNoCount();
        return true;
    }
    if (!filter_.renew(document_.nvItems(), kSlice)) {
        return false;
    }
    later_.stop();
    const auto fits = [this](std::size_t position) { return fitsSwitches(document_.nvItems()[position]); };
    shown_ = filter_.find(query_, fits);
    bar_.showCount(shown_->size(), document_.nvItems().size());
    return true;
}

bool ListFilter::fitsSwitches(const NvItem& item) const {
    return (!bar_.wantsWithoutValue() || !item.hasValues()) && (!bar_.wantsReadOnly() || !item.isWritable()) &&
           (!bar_.wantsChanged() || document_.baseline().isChanged(item));
}
