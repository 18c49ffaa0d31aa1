#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

/// Words for sets of items, as both front ends say them.
namespace workbench {

/// "3 items", "1 item".
std::string counted(std::size_t count);
/// "7, 9, 20-30": three or more numbers that follow each other as a range.
std::string joined(const std::vector<std::uint16_t>& numbers);

/// "item 7, 9"; "25 items" where there are too many to be named.
std::string namedItems(const std::set<std::uint16_t>& numbers);

/// Those of `numbers` that stand there more than once. A calibration file has an item twice where its storages are
/// named by different numbers of digits: nobody can say which of the two values is meant.
std::set<std::uint16_t> repeatedNumbers(const std::vector<std::uint16_t>& numbers);
/// "'p.mox' has item 7, 9 more than once, under names of different length."
std::string repeatedText(const std::string& path, const std::set<std::uint16_t>& repeated);

} // namespace workbench
