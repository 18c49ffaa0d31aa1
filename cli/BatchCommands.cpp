#include "cli/BatchCommands.h"

#include "cli/ItemJson.h"
#include "cli/ItemListing.h"
#include "cli/OutputFile.h"
#include "cli/ProgressBar.h"
#include "engine/Calvane.h"
#include "engine/TextExport.h"
#include "phonelink/TessraServer.h"
#include "tessra/ConfigError.h"
#include "tessra/Service.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;

/// The service's ports as its file describes them. A file that can't be used is reported, and the program goes on
/// without ports: what it says then of a port is worth more than nothing at all.
tessra::ServiceConfig configuredPorts(const std::string& path) {
    try {
        return tessra::loadServiceConfig(path);
    } catch (const tessra::ConfigError& error) {
        std::cerr << error.what() << "\nGoing on without ports.\n";
        return {};
    }
}

void showProgress(void* bar, std::uint16_t nvItemId, std::string nvItemName, std::uint32_t count,
                  std::uint32_t position) {
    static_cast<ProgressBar*>(bar)->show(position, count, std::to_string(nvItemId) + " " + nvItemName);
}

/// "3 items", "1 item".
std::string counted(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " item" : " items");
}

template <class Numbers>
std::string joined(const Numbers& numbers) {
    std::string text;
    for (const auto number : numbers) {
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    }
    return text;
}

std::string valuesOf(const NvItem& item) {
    std::string text;
    for (const SubItem& subItem : item.getSubItems()) {
        text += (text.empty() ? "" : ", ") + subItem.value;
    }
    return text;
}

std::string readFile(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error("Can't read '" + path + "': " + std::generic_category().message(errno));
    }
    return text;
}

std::vector<NvItem> readItems(Calvane& catalog, const std::string& comPort,
                              const std::optional<std::vector<std::uint16_t>>& numbers) {
    ProgressBar progress;
    return numbers ? catalog.getNvItemsFromPhone(comPort, *numbers, &progress, showProgress)
                   : catalog.getNvItemsFromPhone(comPort, &progress, showProgress);
}

/// The numbers of `wanted` of which `items` holds no item.
std::vector<std::uint16_t> missingNumbers(const std::vector<std::uint16_t>& wanted, const std::vector<NvItem>& items) {
    std::set<std::uint16_t> found;
    for (const NvItem& item : items) {
        found.insert(item.getId());
    }
    std::vector<std::uint16_t> missing;
    std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(missing),
                 [&found](std::uint16_t number) { return !found.contains(number); });
    return missing;
}

int printPorts(Calvane& catalog) {
    const auto ports = catalog.getTessraServer()->getActiveComPorts();
    for (const std::string& port : ports) {
        std::cout << port << '\n';
    }
    if (ports.empty()) {
        std::cerr << "No phone is present on any port.\n";
    }
    return kDone;
}

int readPhone(Calvane& catalog, const Arguments& arguments) {
    const auto items = readItems(catalog, arguments.comPort, arguments.itemNumbers);
    if (!arguments.textPath.empty()) {
        std::ostringstream text;
        items::writeTextExport(text, items);
        writeOutput(arguments.textPath, text.str());
    }
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, itemsToJson(items));
    }
    if (arguments.textPath.empty() && arguments.jsonPath.empty()) {
        printItems(std::cout, items);
    }
    std::cerr << "Read " << counted(items.size()) << " from " << arguments.comPort << ".";
    if (arguments.itemNumbers) {
        const auto missing = missingNumbers(*arguments.itemNumbers, items);
        std::cerr << (missing.empty() ? "" : " The phone has no value for " + joined(missing) + ".");
    } else if (const auto asked = catalog.getSupportedNvItems().size(); asked != items.size()) {
        std::cerr << " The phone has no value for the other " << asked - items.size() << " of the decoder ring.";
    }
    std::cerr << '\n';
    return kDone;
}

int listItems(Calvane& catalog, const Arguments& arguments) {
    std::vector<NvItem> items;
    if (arguments.itemNumbers) {
        for (const std::uint16_t number : *arguments.itemNumbers) {
            items.push_back(catalog.getSupportedNvItem(number));
        }
    } else {
        items = catalog.getSupportedNvItems();
    }
    printItems(std::cout, items);
    std::cerr << "The decoder ring describes " << counted(catalog.getSupportedNvItems().size()) << ".\n";
    return kDone;
}

/// Opens what the phone protects, where the user gave a code for it. The phone keeps it open until it is reset.
void sendAccessCode(Calvane& catalog, const Arguments& arguments) {
    if (!arguments.accessCode.empty()) {
        catalog.getTessraServer()->connect(arguments.comPort);
        catalog.getTessraServer()->sendSpc(arguments.accessCode.c_str());
    }
}

int setItem(Calvane& catalog, const Arguments& arguments) {
    const std::vector<std::uint16_t> number{arguments.itemNumber};
    NvItem item = catalog.getSupportedNvItem(arguments.itemNumber);
    const std::string what = std::to_string(item.getId()) + " " + item.getName();
    if (!item.isWritable()) {
        std::cerr << what << " can't be written: its access mark is '" << item.getAccess() << "'.\n";
        return kRefused;
    }
    const auto before = catalog.getNvItemsFromPhone(arguments.comPort, number, nullptr, nullptr);
    if (!before.empty()) {
        item = before.front();
    }
    item.setData(arguments.values);
    sendAccessCode(catalog, arguments);
    catalog.writeToPhone(arguments.comPort, {item}, false, nullptr);
    // What counts is what the phone has now, not what it was sent.
    const auto after = catalog.getNvItemsFromPhone(arguments.comPort, number, nullptr, nullptr);
    if (after.empty() ||
        !std::equal(item.getData(), item.getData() + TessraServer::kNvDataBytes, after.front().getData())) {
        std::cerr << what << " was written, but the phone reads back "
                  << (after.empty() ? "no value" : valuesOf(after.front())) << " for it.\n";
        return kRefused;
    }
    std::cout << what << ": " << (before.empty() ? "no value" : valuesOf(before.front())) << " -> "
              << valuesOf(after.front()) << '\n';
    return kDone;
}

/// Writes items one by one and keeps account of them, so that it can be told how far a write got.
class ItemWriter {
public:
    ItemWriter(Calvane& catalog, const Arguments& arguments) : catalog_(catalog), arguments_(arguments) {}

    int write(const std::vector<NvItem>& items) {
        try {
            ProgressBar progress;
            sendAccessCode(catalog_, arguments_);
            // Connects, and goes offline where that was asked for; also when there is nothing to write.
            catalog_.writeToPhone(arguments_.comPort, {}, arguments_.offlineFirst, nullptr);
            std::uint32_t position = 0;
            for (const NvItem& item : items) {
                progress.show(++position, static_cast<std::uint32_t>(items.size()), item.getName());
                writeOne(item);
            }
        } catch (const std::exception& error) {
            std::cerr << error.what() << '\n';
            report(items.size(), ": " + joined(written_) + ".");
            return kRefused;
        }
        report(items.size(), ".");
        return kDone;
    }

private:
    void writeOne(const NvItem& item) {
        if (!item.isWritable()) {
            skipped_.push_back(item.getId());
            return;
        }
        const std::string refusal =
            catalog_.writeToPhone(arguments_.comPort, {item}, false, &arguments_.toleratedNumbers);
        refusals_ += refusal;
        if (refusal.empty()) {
            written_.push_back(item.getId());
        }
    }

    /// `account`: how the line about what was written ends.
    void report(std::size_t total, const std::string& account) const {
        std::cerr << refusals_ << "Wrote " << written_.size() << " of " << counted(total) << " to "
                  << arguments_.comPort << (written_.empty() ? "." : account) << '\n';
        if (!skipped_.empty()) {
            std::cerr << "Skipped " << counted(skipped_.size())
                      << " whose access mark does not allow a write: " << joined(skipped_) << ".\n";
        }
    }

    Calvane& catalog_;
    const Arguments& arguments_;
    std::vector<std::uint16_t> written_;
    std::vector<std::uint16_t> skipped_;
    std::string refusals_; // of tolerated items
};

int writeFromJson(Calvane& catalog, const Arguments& arguments) {
    // All of the file is checked before the first item is written.
    const auto items = itemsFromJson(readFile(arguments.inputPath), arguments.inputPath, catalog);
    return ItemWriter(catalog, arguments).write(items);
}

int resetPhone(Calvane& catalog, const Arguments& arguments) {
    catalog.getTessraServer()->connect(arguments.comPort);
    std::cerr << "Waiting for the phone on " << arguments.comPort << " to go and come back...\n";
    catalog.resetPhone();
    std::cout << "The phone on " << arguments.comPort << " has been reset.\n";
    return kDone;
}

int dispatch(const Arguments& arguments) {
    using Verb = Arguments::Verb;
    // Listing the ring needs no phone, and the ports need no ring.
    std::optional<tessra::Service> service;
    if (arguments.verb != Verb::list) {
        service.emplace(configuredPorts(arguments.servicePath));
    }
    Calvane catalog;
    if (arguments.verb != Verb::ports && arguments.verb != Verb::reset) {
        catalog.loadDecoderRingFile(arguments.ringPath);
    }
    switch (arguments.verb) {
    case Verb::ports:
        return printPorts(catalog);
    case Verb::read:
        return readPhone(catalog, arguments);
    case Verb::list:
        return listItems(catalog, arguments);
    case Verb::set:
        return setItem(catalog, arguments);
    case Verb::write:
        return writeFromJson(catalog, arguments);
    case Verb::reset:
        return resetPhone(catalog, arguments);
    }
    return kRefused;
}

} // namespace

int runBatch(const Arguments& arguments) {
    try {
        const int status = dispatch(arguments);
        std::cout.flush();
        if (!std::cout) {
            throw std::runtime_error("Can't write to standard output.");
        }
        return status;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return kRefused;
    }
}
