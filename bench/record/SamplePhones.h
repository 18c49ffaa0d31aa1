#pragma once

#include "workbench/record/Database.h"
#include "workbench/record/Store.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

/// Phones like the sample phone, each with a calibration of its own, and what stations record of them. The same seeds
/// make the same phones.
namespace sample {

using Items = std::vector<record::SessionItem>;

/// What a read of the phone with this number finds the first time.
Items itemsOf(std::size_t phone);
/// Gives so many of the items another value.
void change(Items& items, std::size_t count, std::mt19937& random);

/// A read of a phone, at a time of its own: the one with this number among all sessions of all phones.
record::Session session(std::size_t phone, std::size_t number, record::SessionKind kind = record::SessionKind::kRead);

/// Fills a store with so many sessions of each phone: most find what the last one found, some find changes, some write.
/// Many sessions are one transaction, as it is about what comes out.
void fill(std::unique_ptr<record::Database> database, std::size_t phones, std::size_t sessionsOfEach);

/// What the windows ask.
struct Question {
    const char* name;
    std::function<std::size_t(record::Database&)> ask; ///< answers how many rows there were
};
std::vector<Question> questions();

} // namespace sample
