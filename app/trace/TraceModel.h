#pragma once

#include "app/trace/PacketFilter.h"
#include "tessra/trace/TraceBuffer.h"

#include <QAbstractTableModel>
#include <chrono>
#include <cstdint>
#include <deque>

/// The last packets of a trace, those that fit a filter as rows. When it is full, the oldest make room.
/// User-interface thread.
class TraceModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column { kTime, kPort, kWay, kCommand, kItem, kStatus, kBytes, kColumns };
    static constexpr std::size_t kMaxRecords = tessra::TraceBuffer::kMaxRecords;

    /// `begin` is when the trace began.
    TraceModel(std::chrono::system_clock::time_point begin, QObject* parent)
        : QAbstractTableModel(parent), begin_(begin) {}

    void append(tessra::TraceBuffer::Batch&& batch);
    void clear();
    void setFilter(const PacketFilter& filter);

    std::chrono::system_clock::time_point begin() const { return begin_; }
    const std::deque<tessra::TraceRecord>& records() const { return records_; }
    const tessra::TraceRecord& record(int row) const;
    /// How many older ones had to make room since the start or clear().
    std::uint64_t dropped() const { return dropped_; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    void makeRoom(std::size_t coming);
    QString timeText(std::int64_t timeUs) const;

    const std::chrono::system_clock::time_point begin_;
    std::deque<tessra::TraceRecord> records_;
    std::uint64_t first_ = 0;         ///< the number of the first record; they are counted from the start of the trace
    std::deque<std::uint64_t> shown_; ///< the numbers of the records that fit, ascending
    PacketFilter filter_;
    std::uint64_t dropped_ = 0;
};
