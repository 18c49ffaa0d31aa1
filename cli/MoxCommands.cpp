#include "cli/MoxCommands.h"

#include "calfile/MoxFile.h"
#include "cli/CommandText.h"
#include "cli/ItemJson.h"
#include "cli/ItemListing.h"
#include "cli/OutputFile.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <set>
#include <stdexcept>

namespace {

/// So many numbers are named one by one where they are missing.
constexpr std::size_t kMaxNamedNumbers = 20;

/// Runs `step`; what is refused in it is refused here with the file's path.
template <class Step>
auto naming(const std::string& path, Step step) {
    try {
        return step();
    } catch (const std::exception& error) {
        throw std::runtime_error("'" + path + "': " + error.what());
    }
}

/// All records of the file, also those that the ring does not describe.
std::vector<MoxFile::NvRecord> recordsOf(MoxFile& file, const std::string& path) {
    std::vector<MoxFile::NvRecord> records;
    file.open(path);
    auto record = file.begin();
    const auto end = file.end();
    for (; record != end; ++record) {
        records.push_back(*record);
    }
    return records;
}

std::vector<std::uint16_t> numbersOfRecords(const std::vector<MoxFile::NvRecord>& records) {
    std::vector<std::uint16_t> numbers;
    for (const MoxFile::NvRecord& record : records) {
        numbers.push_back(record.id);
    }
    return numbers;
}

std::map<std::uint16_t, std::string> describedNames(Calvane& catalog) {
    std::map<std::uint16_t, std::string> names;
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        names.emplace(item.getId(), item.getName());
    }
    return names;
}

/// " The decoder ring does not describe 2 of them: 7, 9."; nothing where it describes all.
std::string undescribedText(const std::vector<std::uint16_t>& numbers, Calvane& catalog) {
    const auto names = describedNames(catalog);
    std::vector<std::uint16_t> undescribed;
    std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(undescribed),
                 [&names](std::uint16_t number) { return !names.contains(number); });
    if (undescribed.empty()) {
        return {};
    }
    return " The decoder ring does not describe " + std::to_string(undescribed.size()) + " of them" +
           (undescribed.size() > kMaxNamedNumbers ? "." : ": " + joined(undescribed) + ".");
}

/// " It has no item 7, 9."
std::string missingText(const std::vector<std::uint16_t>& wanted, const std::vector<std::uint16_t>& present) {
    const auto missing = missingNumbers(wanted, present);
    if (missing.empty()) {
        return {};
    }
    return missing.size() > kMaxNamedNumbers
               ? " It does not have " + std::to_string(missing.size()) + " of the numbers."
               : " It has no item " + joined(missing) + ".";
}

} // namespace

std::vector<NvItem> itemsOfMox(Calvane& catalog, const std::string& path) {
    return naming(path, [&] {
        MoxFile file;
        const auto numbers = numbersOfRecords(recordsOf(file, path));
        file.cleanUp();
        const auto items = catalog.getNvItemFrompMoxFile(path);
        std::cerr << "'" << path << "' holds " << counted(numbers.size()) << "." << undescribedText(numbers, catalog)
                  << '\n';
        return items;
    });
}

std::string saveToMox(Calvane& catalog, const std::vector<NvItem>& items, const Arguments& arguments) {
    const std::string& path = arguments.moxPath;
    const auto names = describedNames(catalog);
    std::vector<std::uint16_t> written;
    std::vector<std::uint16_t> readOnly;
    std::vector<std::uint16_t> undescribed;
    // What the ring does not describe was read with its first byte alone: the file is better off without it.
    catalog.clearNvItems();
    for (const NvItem& item : items) {
        if (!names.contains(item.getId())) {
            undescribed.push_back(item.getId());
            continue;
        }
        (item.isWritable() ? written : readOnly).push_back(item.getId());
        catalog.setNvItem(item);
    }
    if (written.empty()) {
        throw std::runtime_error("'" + path + "' is left as it is: none of the " + counted(items.size()) +
                                 " read may be written to a file.");
    }
    naming(path, [&] {
        if (const auto& record = arguments.propertyRecord) {
            catalog.createMoxFile(path, arguments.phoneModelId, record->esn, record->nvMajorVersion,
                                  record->nvMinorVersion, record->softwareVersion, record->clientName);
        } else {
            catalog.createMoxFile(path, arguments.phoneModelId);
        }
    });
    std::string text = "Wrote " + counted(written.size()) + " to '" + path + "'.";
    if (!readOnly.empty()) {
        text += " Left out " + counted(readOnly.size()) +
                " whose access mark does not allow a write: " + joined(readOnly) + ".";
    }
    if (!undescribed.empty()) {
        text += " Left out " + counted(undescribed.size()) +
                " that the decoder ring does not describe: " + joined(undescribed) + ".";
    }
    return text + "\n";
}

int showMox(Calvane& catalog, const Arguments& arguments) {
    const std::string& path = arguments.moxPath;
    const auto isWanted = [wanted = arguments.itemNumbers](std::uint16_t number) {
        return !wanted || std::binary_search(wanted->begin(), wanted->end(), number);
    };
    MoxFile file;
    auto records = naming(path, [&] { return recordsOf(file, path); });
    file.cleanUp();
    auto items = naming(path, [&] { return catalog.getNvItemFrompMoxFile(path); });
    const auto numbers = numbersOfRecords(records);
    std::erase_if(records, [&](const MoxFile::NvRecord& record) { return !isWanted(record.id); });
    std::erase_if(items, [&](const NvItem& item) { return !isWanted(item.getId()); });
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, itemsToJson(items));
    }
    if (arguments.hex) {
        const auto names = describedNames(catalog);
        for (const MoxFile::NvRecord& record : records) {
            const auto name = names.find(record.id);
            printItemBytes(std::cout, record.id, name == names.end() ? "" : name->second, record.data);
        }
    } else if (arguments.jsonPath.empty()) {
        printItems(std::cout, items);
    }
    std::cerr << "'" << path << "' holds " << counted(numbers.size()) << "." << undescribedText(numbers, catalog)
              << (arguments.itemNumbers ? missingText(*arguments.itemNumbers, numbers) : "") << '\n';
    return kDone;
}

int pruneMox(const Arguments& arguments) {
    const std::string& path = arguments.moxPath;
    const auto& kept = *arguments.itemNumbers;
    MoxFile file;
    const auto numbers = naming(path, [&] { return numbersOfRecords(recordsOf(file, path)); });
    const auto unwanted = missingNumbers(numbers, kept);
    if (unwanted.size() == numbers.size()) {
        throw std::runtime_error("'" + path + "' is left as it is: it holds none of the items to keep.");
    }
    if (!unwanted.empty()) {
        naming(path, [&] { file.removeNvItems(unwanted); });
    }
    naming(path, [&] { file.cleanUp(); });
    std::cerr << "Kept " << numbers.size() - unwanted.size() << " of " << counted(numbers.size()) << " in '" << path
              << "'." << missingText(kept, numbers) << '\n';
    return kDone;
}
