#include "app/views/ListFilter.h"

#include "app/views/FilterBar.h"

#include <QApplication>
#include <algorithm>
#include <span>

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

std::size_t ListFilter::hiddenCount() const {
    return shown_ ? listed_ - shown_->size() : 0;
}

void ListFilter::barEdited() {
    query_ = workbench::ItemQuery(bar_.text().toStdString());
    if (document_.listChanged()) {
        return; // listChanged() is about to be called
    }
    if (work()) {
        emit shownChanged();
    } else {
        later_.start(0);
    }
}

void ListFilter::listChanged() {
    listed_ = document_.nvItems().size();
    filter_.setStale();
    if (!work()) {
        shown_.reset();
        later_.start(0);
    }
}

void ListFilter::valuesChanged() {
    // Not at once: this may be in the midst of a selection, whose lines must stay where they are.
    if (version_ != document_.baseline().version() && !bar_.isEmpty()) {
        later_.start(0);
    }
}

void ListFilter::workOn() {
    if (QApplication::activeModalWidget() != nullptr || document_.isWaiting()) {
        later_.start(kRetryMs);
    } else {
        barEdited();
    }
}

bool ListFilter::work() {
    if (bar_.isEmpty()) {
        later_.stop();
        shown_.reset();
        bar_.showNoCount();
        return true;
    }
    if (version_ != document_.baseline().version()) {
        version_ = document_.baseline().version();
        filter_.setStale();
    }
    // An item that was appended since the list was last told has no line.
    const std::span<const NvItem> items(document_.nvItems().data(), std::min(listed_, document_.nvItems().size()));
    if (!filter_.renew(items, kSlice)) {
        return false;
    }
    later_.stop();
    shown_ = filter_.find(query_, [&](std::size_t position) { return fitsSwitches(items[position]); });
    bar_.showCount(shown_->size(), listed_);
    return true;
}

bool ListFilter::fitsSwitches(const NvItem& item) const {
    return (!bar_.wantsWithoutValue() || !item.hasValues()) && (!bar_.wantsReadOnly() || !item.isWritable()) &&
           (!bar_.wantsChanged() || document_.baseline().isChanged(item));
}
