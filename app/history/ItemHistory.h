#pragma once

#include "app/history/RowsModel.h"
#include "app/history/StoreDesk.h"
#include "workbench/record/Unusual.h"

#include <optional>
#include <string>
#include <vector>

/// Which item of which phone is asked for.
struct ItemQuestion {
    workbench::PhoneIdentity phone; ///< of nobody: over all phones alone
    std::string port;
    std::uint16_t number = 0;
};

/// What the record knows of one item: on one phone over time, and on all phones. A value.
struct ItemHistory {
    struct Change {
        record::Time since;
        NvItem item;
        std::string by;
        std::string asked;
    };

    NvItem layout;
    std::optional<record::PhoneRow> phone; ///< nothing where the record does not have it
    std::vector<Change> changes;           ///< the newest first
    std::vector<record::PhoneRow> phones;  ///< those of `values`, in their order
    std::vector<record::ValueOfPhone> values;
};

ItemHistory askItemHistory(StoreLink& link, const ItemQuestion& question);

/// One sub-field of an item on all phones.
class FieldSpread {
public:
    /// `unit`: what its raw values mean; may be null. Both outlive this.
    FieldSpread(const ItemHistory& history, std::size_t field, const workbench::FieldUnit* unit);

    const std::vector<record::PhoneNumber>& numbers() const { return numbers_; }
    const record::Usual& usual() const { return usual_; }
    bool isUsualKnown() const { return usual_.phones() >= record::kFewestPhones; }
    /// What the asked phone has.
    std::optional<double> own() const;
    /// How many phones there are, what is usual among them, and how the asked phone stands to that.
    QString summary() const;
    /// Of all phones, the one farthest from the median first; which of the rows is the asked phone's, -1 for none.
    std::vector<RowsModel::Row> rows() const;
    int ownRow() const;

private:
    QString textOf(double raw) const;
    bool standsOut(double raw) const;
    /// The positions of the numbers in the order of the rows.
    std::vector<std::size_t> order() const;
    double distance(std::size_t position) const;
    bool isAsked(std::int64_t phone) const { return history_.phone && history_.phone->id == phone; }

    const ItemHistory& history_;
    const workbench::FieldUnit* unit_;
    const std::vector<record::PhoneNumber> numbers_; ///< in the order of the phones
    const record::Usual usual_;
};

QStringList spreadTitles();

/// The changes with the values of one sub-field, where the item has it; those in which it changed are marked.
QStringList changeTitles();
std::vector<RowsModel::Row> rowsOf(const ItemHistory& history, std::size_t field, const workbench::FieldUnit* unit);
