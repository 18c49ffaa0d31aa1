#pragma once

#include "workbench/record/HistorySettings.h"
#include "workbench/record/Store.h"

#include <memory>
#include <string>

namespace record {

/// The store that people look at.
struct ShownStore {
    std::unique_ptr<Store> store;
    bool isShared = false;
    std::string place = {};  ///< for people: the file or the url
    std::string remark = {}; ///< a sentence on what is not shown here; empty: nothing to be told
};

/// The shared store where the settings name one that can be reached, and this computer's own otherwise, which the
/// remark says then. Waits a few seconds for a server. Throws a DatabaseError where neither can be opened, and where
/// nothing has been recorded yet.
ShownStore openShown(const HistorySettings& settings);
/// The store at `place`, a file that is there or "postgresql://...". Throws a DatabaseError, or std::runtime_error for
/// a url that is none.
ShownStore openShownAt(const std::string& place);

/// The store of this computer, which is made where there is none.
std::unique_ptr<Store> openOwn(const HistorySettings& settings);

} // namespace record
