#include "cli/MoxCommands.h"

#include "calfile/MoxFile.h"
#include "cli/CommandText.h"
#include "cli/ItemListing.h"
#include "cli/Run.h"
#include "cli/Verbs.h"
#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace {

/// More numbers than these are counted instead of named.
constexpr std::size_t kMaxNamedNumbers = 20;

/// Runs `step`. What is refused in it is refused with the file's path in front.
template <class Step>
auto withPath(const std::string& path, Step step) {
    try {
        return step();
    } catch (const MoxFile::Exception& error) {
        throw BatchFailure(ExitStatus::kFile, quoted(path) + ": " + workbench::shownMessage(error.message(), path));
    }
}

/// What could be read of a file.
struct MoxContent {
    std::vector<MoxFile::NvRecord> records; ///< also those that the ring does not describe
    std::vector<std::string> failures;      ///< of items that can't be read
    std::optional<mox::Properties> properties;
    std::uint16_t phoneModelId = 0;
    bool isWhole = true;
};

MoxContent contentOf(const std::string& path) {
    return withPath(path, [&] {
        MoxContent content;
        MoxFile file;
        file.open(path);
        content.properties = file.readMobilePropertyInfo();
        auto record = file.begin();
        content.phoneModelId = file.readPhoneModelId();
        const auto end = file.end();
        // After an item that can't be read, the walk goes on behind it.
        for (bool isRead = true; !isRead || record != end;) {
            if (isRead) {
                content.records.push_back(*record);
            }
            try {
                isRead = false;
                ++record;
                isRead = true;
            } catch (const MoxFile::Exception& error) {
                content.failures.push_back(workbench::shownMessage(error.message(), path));
            }
        }
        content.isWhole = file.isWhole() && content.failures.empty();
        return content;
    });
}

std::vector<std::uint16_t> numbersOfRecords(const std::vector<MoxFile::NvRecord>& records) {
    std::vector<std::uint16_t> numbers(records.size());
    std::ranges::transform(records, numbers.begin(), &MoxFile::NvRecord::id);
    return numbers;
}

std::set<std::uint16_t> repeatedIn(const std::vector<MoxFile::NvRecord>& records) {
    return workbench::repeatedNumbers(numbersOfRecords(records));
}

/// Says what is wrong with the file.
void complain(const std::string& path, const MoxContent& content) {
    for (std::string failure : content.failures) {
        failure.erase(failure.find_last_not_of('\n') + 1);
        std::cerr << quoted(path) << ": " << failure << '\n';
    }
    if (!content.isWhole) {
        tellFailure(withPlace(quoted(path) + " is damaged: it may have had more items."));
    }
    if (const auto repeated = repeatedIn(content.records); !repeated.empty()) {
        std::cerr << workbench::repeatedText(path, repeated) << '\n';
    }
}

std::vector<MoxFile::NvRecord> wholeContentOf(const std::string& path) {
    MoxContent content = contentOf(path);
    if (!content.isWhole) {
        const auto& failures = content.failures;
        throw BatchFailure(ExitStatus::kFile, "Nothing is done with " + quoted(path) + ", as it is damaged." +
                                                  (failures.empty() ? "" : "\n" + failures.front()));
    }
    return std::move(content.records);
}

/// Throws where a file that is there has an item twice, and keeps it so as it is none of `written`: what is written
/// replaces both.
void requireNoneLeftTwice(const std::string& path, const std::vector<std::uint16_t>& written) {
    if (!mox::mayExist(path)) {
        return;
    }
    auto repeated = repeatedIn(wholeContentOf(path));
    for (const std::uint16_t number : written) {
        repeated.erase(number);
    }
    if (!repeated.empty()) {
        throw BatchFailure(ExitStatus::kFile, workbench::repeatedText(path, repeated) + "\nThe file is left as it is.");
    }
}

using Ring = std::map<std::uint16_t, NvItem>;

Ring ringOf(Calvane& catalog) {
    Ring ring;
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        ring.emplace(item.getId(), item);
    }
    return ring;
}

std::vector<NvItem> describedItems(const std::vector<MoxFile::NvRecord>& records, const Ring& ring) {
    std::vector<NvItem> items;
    for (const MoxFile::NvRecord& record : records) {
        if (const auto found = ring.find(record.id); found != ring.end()) {
            items.push_back(found->second);
            items.back().setRawData(record.data);
        }
    }
    return items;
}

/// "'p.mox' holds 5 items. The decoder ring does not describe 2 of them: 7, 9."
std::string accountOf(const std::string& path, const std::vector<std::uint16_t>& numbers, const Ring& ring) {
    std::vector<std::uint16_t> undescribed;
    std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(undescribed),
                 [&ring](std::uint16_t number) { return !ring.contains(number); });
    std::string text = quoted(path) + " holds " + counted(numbers.size()) + ".";
    if (undescribed.empty()) {
        return text;
    }
    return text + " The decoder ring does not describe " + std::to_string(undescribed.size()) + " of them" +
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

std::vector<NvItem> itemsOfMox(Calvane& catalog, Run& run, const std::string& path) {
    const auto records = wholeContentOf(path);
    if (const auto repeated = repeatedIn(records); !repeated.empty()) {
        throw BatchFailure(ExitStatus::kFile,
                           workbench::repeatedText(path, repeated) + "\nNothing is written from it.");
    }
    const Ring ring = ringOf(catalog);
    run.note(accountOf(path, numbersOfRecords(records), ring) + "\n");
    return describedItems(records, ring);
}

MoxItems readMoxItems(Calvane& catalog, const std::string& path) {
    const MoxContent content = contentOf(path);
    complain(path, content);
    MoxItems found;
    found.repeated = repeatedIn(content.records);
    found.phoneModelId = content.phoneModelId;
    found.isSound = content.isWhole && found.repeated.empty();
    if (const auto& record = content.properties) {
        found.properties = {record->esn, record->nvMajorVersion, record->nvMinorVersion, record->softwareVersion,
                            record->clientName};
    }
    for (const MoxFile::NvRecord& record : content.records) {
        if (!found.repeated.contains(record.id)) {
            found.items.push_back(catalog.describedItem(record.id));
            found.items.back().setRawData(record.data);
        }
    }
    return found;
}

std::string saveToMox(Calvane& catalog, const std::vector<NvItem>& items, const Arguments& arguments) {
    const std::string& path = arguments.moxPath;
    const Ring ring = ringOf(catalog);
    std::vector<std::uint16_t> written;
    std::vector<std::uint16_t> readOnly;
    std::vector<std::uint16_t> undescribed;
    withPath(path, [&] {
        // Not through the catalog, which would keep the bytes of the sub-fields alone.
        MoxFile file;
        for (const NvItem& item : items) {
            if (!ring.contains(item.getId())) {
                undescribed.push_back(item.getId());
            } else if (!item.isWritable()) {
                readOnly.push_back(item.getId());
            } else {
                written.push_back(item.getId());
                file.addNvItem(item.getId(), item.getData());
            }
        }
        if (written.empty()) {
            throw BatchFailure(ExitStatus::kFile, quoted(path) + " is left as it is: none of the " +
                                                      counted(items.size()) + " read may be written to a file.");
        }
        if (const auto& properties = arguments.properties) {
            file.setMobilePropertyInfo(properties->esn, properties->nvMajorVersion, properties->nvMinorVersion,
                                       properties->softwareVersion, properties->clientName);
        }
        requireNoneLeftTwice(path, written);
        file.writeToDisk(path.c_str(), arguments.phoneModelId);
        file.cleanUp();
    });
    const auto leftOut = [](const std::vector<std::uint16_t>& numbers, const std::string& reason) {
        return numbers.empty() ? "" : " Left out " + counted(numbers.size()) + reason + ": " + joined(numbers) + ".";
    };
    return "Wrote " + counted(written.size()) + " to " + quoted(path) + "." +
           leftOut(readOnly, " whose access mark does not allow a write") +
           leftOut(undescribed, " that the decoder ring does not describe") + "\n";
}

ExitStatus showMox(Calvane& catalog, const Arguments& arguments) {
    if (arguments.info) {
        return showMoxInfo(catalog, arguments);
    }
    const std::string& path = arguments.moxPath;
    const auto& wanted = arguments.itemNumbers;
    const Ring ring = ringOf(catalog);
    const MoxContent content = contentOf(path);
    auto records = content.records;
    const auto repeated = repeatedIn(records);
    const auto numbers = numbersOfRecords(records);
    std::erase_if(records, [&](const MoxFile::NvRecord& record) {
        return wanted && !std::binary_search(wanted->begin(), wanted->end(), record.id);
    });
    const auto items = describedItems(records, ring);
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, workbench::itemsToJson(items, arguments.run->ring()));
    }
    if (arguments.hex) {
        for (const MoxFile::NvRecord& record : records) {
            const auto found = ring.find(record.id);
            printItemBytes(std::cout, record.id, found == ring.end() ? "" : found->second.getName(), record.data,
                           repeated);
        }
    } else if (arguments.jsonPath.empty()) {
        printItems(std::cout, items, repeated);
    }
    std::cerr << accountOf(path, numbers, ring) << (wanted ? missingText(*wanted, numbers) : "") << '\n';
    complain(path, content);
    return content.isWhole && repeated.empty() ? ExitStatus::kDone : ExitStatus::kFile;
}

ExitStatus pruneMox(const Arguments& arguments) {
    const std::string& path = arguments.moxPath;
    const auto& kept = *arguments.itemNumbers;
    const auto records = wholeContentOf(path);
    // Without these numbers the file is a sound one again.
    auto repeated = repeatedIn(records);
    std::erase_if(repeated, [&](std::uint16_t number) { return !std::ranges::binary_search(kept, number); });
    if (!repeated.empty()) {
        throw BatchFailure(ExitStatus::kFile, workbench::repeatedText(path, repeated) + "\nThe file is left as it is.");
    }
    const auto numbers = numbersOfRecords(records);
    const auto unwanted = missingNumbers(numbers, kept);
    if (unwanted.size() == numbers.size()) {
        throw BatchFailure(ExitStatus::kFile, quoted(path) + " is left as it is: it holds none of the items to keep.");
    }
    // With a slip in one number, its item would go with all the others. Ranges and lists name more than a file has.
    if (const auto absent = missingNumbers(arguments.singleNumbers, numbers);
        !absent.empty() && arguments.listPath.empty()) {
        throw BatchFailure(ExitStatus::kValues,
                           quoted(path) + " is left as it is." + missingText(arguments.singleNumbers, numbers));
    }
    if (!unwanted.empty()) {
        withPath(path, [&] {
            MoxFile file;
            file.open(path);
            file.removeNvItems(unwanted);
            file.cleanUp();
        });
    }
    std::cerr << "Kept " << numbers.size() - unwanted.size() << " of " << counted(numbers.size()) << " in "
              << quoted(path) << "." << missingText(kept, numbers) << '\n';
    return ExitStatus::kDone;
}
