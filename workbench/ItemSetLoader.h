#pragma once

#include "engine/Calvane.h"
#include "workbench/ItemJson.h"
#include "workbench/ItemSet.h"
#include "workbench/PhoneWork.h"

#include <memory>
#include <string>

namespace workbench {

/// What a set of the items of a JSON file is. `when` is its time where the file does not say when they were read.
ItemSet::About aboutJson(const JsonItems& read, std::string label, std::string path,
                         std::chrono::system_clock::time_point when);

/// Makes sets of items out of phones and files, with a catalog and a session of its own, so that a document may go on
/// meanwhile. Items that the ring does not describe are left out, and counted in the set's remark, as are those that
/// could not be read.
///
/// One thread at a time. Every failure is a std::exception whose message is for the user.
class ItemSetLoader {
public:
    /// Where the ring can't be read to its end, the items before count, and each set's remark says so.
    explicit ItemSetLoader(const std::string& ringPath);

    /// All bytes of the file. An item that stands in it more than once is left out, as nobody knows which one counts.
    std::shared_ptr<const ItemSet> fromCalibrationFile(const std::string& path);
    /// A file as itemsToJson() or rawItemsToJson() makes it (ItemJson.h).
    std::shared_ptr<const ItemSet> fromJsonFile(const std::string& path);
    /// All items that the ring describes. Null where `control` has ended the read.
    std::shared_ptr<const ItemSet> fromPhone(const std::string& comPort, const WorkControl& control);

private:
    std::shared_ptr<const ItemSet> made(ItemSet::About about, std::vector<NvItem> items) const;

    Calvane catalog_;
    std::string ringFault_;
};

} // namespace workbench
