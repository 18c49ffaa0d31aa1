#pragma once

#include "workbench/PhoneWork.h"
#include "workbench/SetComparison.h"

#include <array>
#include <functional>
#include <memory>
#include <string>

/// What one side of a comparison is, as the user has chosen it.
struct CompareSource {
    using Origin = workbench::ItemSet::Origin;
    using Set = std::shared_ptr<const workbench::ItemSet>;

    Origin origin = Origin::kDocument;
    std::string label = {}; ///< of a document
    std::string place = {}; ///< otherwise: the port, or the path of the file
    bool isHome = false;    ///< the document, or its last known values, beside which the window was opened
    /// Of neither a document nor a place: reads it, on the job's thread. Throws as loadAndCompare() does.
    std::function<Set()> load = {};
    /// Of a document: its items as they are now; null once it is closed. User-interface thread.
    std::function<Set()> take = {};

    bool isOfDocument() const { return origin == Origin::kDocument || origin == Origin::kLastKnown; }
    bool hasPlace() const { return !isOfDocument() && load == nullptr; }
};

/// What is to be compared: the sources, and the sets of those that need not be read again.
struct CompareJob {
    std::string ringPath;
    std::array<CompareSource, 2> sources;
    std::array<CompareSource::Set, 2> sets; ///< null: to be read
};

/// Reads the sets that are missing and compares; null where `control` has ended that. Any thread, but not with sources
/// of documents whose sets are missing. Every failure is a std::exception whose message is for the user.
std::shared_ptr<const workbench::SetComparison> loadAndCompare(CompareJob job, const workbench::WorkControl& control);
