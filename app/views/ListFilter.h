#pragma once

#include "app/document/CCalvaneDoc.h"
#include "workbench/ItemFilter.h"

#include <QObject>
#include <QTimer>
#include <cstdint>
#include <optional>
#include <vector>

class FilterBar;

/// Which items of a document's list fit what stands in the filter bar. The texts that are looked through are made in
/// slices, between which the window paints and takes keys, when the bar is first used and after a read.
///
/// Owned by the list; the document and the bar outlive it. User-interface thread.
class ListFilter : public QObject {
    Q_OBJECT
public:
    using Positions = std::optional<std::vector<std::uint32_t>>;

    ListFilter(const CCalvaneDoc& document, FilterBar& bar, QObject* parent);

    /// The positions of the items to show, ascending; nothing for all, also while their texts are still being made.
    const Positions& shown() const { return shown_; }
    bool shows(std::size_t position) const;
    /// How many of the listed items it hides.
    std::size_t hiddenCount() const;
    /// What the words of the bar mark in lines and rows; empty while nothing is filtered.
    const workbench::ItemQuery& query() const { return query_; }

    /// To be called when the list was replaced or ordered anew. What is shown is settled at once where that takes less
    /// than a part of a frame; otherwise it is all of them until shownChanged().
    void listChanged();
    /// To be called when items may have other values. Where it matters, shownChanged() follows later.
    void valuesChanged();

signals:
    /// Other items are to be shown, or other parts of them marked.
    void shownChanged();

private:
    void barEdited();
    /// Works on the texts for a part of a frame; true when the positions are found.
    bool work();
    void workOn();
    bool fitsSwitches(const NvItem& item) const;

    const CCalvaneDoc& document_;
    FilterBar& bar_;
    workbench::ItemFilter filter_;
    workbench::ItemQuery query_;
    Positions shown_;
    std::size_t listed_ = 0;    ///< how many items the list had when it was last told to have changed
    std::uint64_t version_ = 0; ///< of the values that the texts have, or will have
    QTimer later_;
};
