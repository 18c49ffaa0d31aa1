#pragma once

#include "workbench/record/Store.h"

#include <filesystem>
#include <memory>
#include <string>

namespace record {

/// How much of a file is looked at before it is used.
enum class Check {
    kQuick, ///< what opening it shows
    kWhole, ///< every page; takes seconds for a large one
};

/// This computer's own store: the file `path`, made with its folder where there is none. One that is damaged, or of
/// somebody else's making, is moved aside with its side files, and a new one is begun; `told` says so then, a sentence
/// for people. After a DatabaseError of the kind kDamaged from an open store, let go of that store and open it again
/// with a check of the whole: another process may have moved the file aside meanwhile, and the new one is left alone.
/// Throws a DatabaseError where there is no store to be had.
std::unique_ptr<Store> openLocalStore(const std::filesystem::path& path, std::string& told,
                                      Check check = Check::kQuick);

} // namespace record
