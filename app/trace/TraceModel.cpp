#include "app/trace/TraceModel.h"

#include "app/dialogs/ShownText.h"
#include "tessra/trace/TraceText.h"

#include <QDateTime>
#include <algorithm>
#include <iterator>
#include <utility>

namespace {

/// A cell shows no more bytes; the box below the table has all of them.
constexpr std::size_t kCellBytes = 64;

constexpr const char* kTitles[TraceModel::kColumns] = {"Time", "Port",   "Direction", "Command",
                                                       "Item", "Status", "Bytes"};
constexpr const char* kWays[] = {"to phone", "from phone", "damaged"};

QString cellBytes(const tessra::TraceRecord& record) {
    if (record.bytes.size() <= kCellBytes) {
        return QString::fromStdString(tessra::traceBytes(record, " "));
    }
    tessra::TraceRecord head = record;
    head.bytes.resize(kCellBytes);
    return QString::fromStdString(tessra::traceBytes(head, " ")) + " ...";
}

QString unlessNone(const std::string& word) {
    return word == "-" ? QString() : QString::fromStdString(word);
}

} // namespace

void TraceModel::append(tessra::TraceBuffer::Batch&& batch) {
    auto& coming = batch.records;
    dropped_ += batch.dropped;
    if (coming.empty()) {
        return;
    }
    makeRoom(coming.size());
    std::vector<std::uint64_t> fitting;
    for (std::size_t at = 0; at < coming.size(); ++at) {
        if (filter_.fits(coming[at])) {
            fitting.push_back(first_ + records_.size() + at);
        }
    }
    std::ranges::move(coming, std::back_inserter(records_));
    if (!fitting.empty()) {
        const int row = rowCount();
        beginInsertRows({}, row, row + static_cast<int>(fitting.size()) - 1);
        shown_.insert(shown_.end(), fitting.begin(), fitting.end());
        endInsertRows();
    }
}

// So many more than are needed, that a full table is not cut at every batch.
void TraceModel::makeRoom(std::size_t coming) {
    if (records_.size() + coming <= kMaxRecords) {
        return;
    }
    const std::size_t cut = std::min(records_.size(), records_.size() + coming - kMaxRecords + kMaxRecords / 50);
    const auto end = std::ranges::lower_bound(shown_, first_ + cut);
    if (const auto rows = end - shown_.begin(); rows > 0) {
        beginRemoveRows({}, 0, static_cast<int>(rows) - 1);
        shown_.erase(shown_.begin(), end);
        endRemoveRows();
    }
    records_.erase(records_.begin(), records_.begin() + static_cast<std::ptrdiff_t>(cut));
    first_ += cut;
    dropped_ += cut;
}

void TraceModel::clear() {
    beginResetModel();
    first_ += records_.size();
    records_.clear();
    shown_.clear();
    dropped_ = 0;
    endResetModel();
}

void TraceModel::setFilter(const PacketFilter& filter) {
    beginResetModel();
    filter_ = filter;
    shown_.clear();
    for (std::size_t at = 0; at < records_.size(); ++at) {
        if (filter_.fits(records_[at])) {
            shown_.push_back(first_ + at);
        }
    }
    endResetModel();
}

const tessra::TraceRecord& TraceModel::record(int row) const {
    return records_[shown_[static_cast<std::size_t>(row)] - first_];
}

int TraceModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

int TraceModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumns;
}

QVariant TraceModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || role != Qt::DisplayRole) {
        return {};
    }
    const tessra::TraceRecord& packet = record(index.row());
    switch (index.column()) {
    case kTime:
        return timeText(packet.timeUs);
    case kPort:
        return shownText(packet.port);
    case kWay:
        return kWays[static_cast<std::size_t>(packet.way)];
    case kCommand:
        return packet.way == tessra::TraceWay::kDamaged ? QString() : unlessNone(tessra::wordsOf(packet).command);
    case kItem:
        return unlessNone(tessra::wordsOf(packet).item);
    case kStatus:
        return unlessNone(tessra::wordsOf(packet).status);
    default:
        return cellBytes(packet);
    }
}

QVariant TraceModel::headerData(int section, Qt::Orientation orientation, int role) const {
    const bool isTitle = orientation == Qt::Horizontal && role == Qt::DisplayRole;
    return isTitle ? QVariant(kTitles[section]) : QVariant();
}

// The time of day, as a clock on the wall has it.
QString TraceModel::timeText(std::int64_t timeUs) const {
    using std::chrono::microseconds;
    const auto us = std::chrono::duration_cast<microseconds>(begin_.time_since_epoch()).count() + timeUs;
    return QDateTime::fromMSecsSinceEpoch(us / 1000).toString("hh:mm:ss.zzz") +
           QString("%1").arg(us % 1000, 3, 10, QChar('0'));
}
