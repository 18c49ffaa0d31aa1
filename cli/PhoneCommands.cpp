#include "cli/CommandText.h"
#include "cli/ItemJson.h"
#include "cli/ItemListing.h"
#include "cli/MoxCommands.h"
#include "cli/ProgressBar.h"
#include "cli/Verbs.h"
#include "engine/TextExport.h"
#include "phonelink/TessraServer.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace {

/// Shows how far a read has got, and remembers it for the case that it gets no further.
class ReadProgress {
public:
    static void show(void* progress, std::uint16_t nvItemId, std::string nvItemName, std::uint32_t count,
                     std::uint32_t position) {
        auto& self = *static_cast<ReadProgress*>(progress);
        self.place_ = std::to_string(nvItemId) + " " + nvItemName;
        self.position_ = position;
        self.count_ = count;
        self.bar_.show(position, count, self.place_);
    }

    /// "Stopped at 1005 NV_BOARD_IDENTITY_I, item 6 of 222."; nothing before the first item.
    std::string stoppedAt() const {
        return count_ == 0 ? ""
                           : "Stopped at " + place_ + ", item " + std::to_string(position_) + " of " +
                                 std::to_string(count_) + "; nothing was written to a file.\n";
    }

private:
    ProgressBar bar_;
    std::string place_;
    std::uint32_t position_ = 0;
    std::uint32_t count_ = 0;
};

std::vector<NvItem> readItems(Calvane& catalog, const Arguments& arguments) {
    const auto progress = std::make_unique<ReadProgress>();
    try {
        return arguments.itemNumbers
                   ? catalog.getNvItemsFromPhone(arguments.comPort, *arguments.itemNumbers, progress.get(),
                                                 ReadProgress::show)
                   : catalog.getNvItemsFromPhone(arguments.comPort, progress.get(), ReadProgress::show);
    } catch (const Calvane::Exception& error) {
        throw std::runtime_error(error.what() + ("\n" + progress->stoppedAt()));
    }
}

/// Writes the items to the files that were asked for, or prints them where none was. Answers an account for the user.
/// A failure says which of the files were written before it.
std::string writeResults(Calvane& catalog, const std::vector<NvItem>& items, const Arguments& arguments) {
    std::string written;
    std::string report;
    try {
        if (!arguments.textPath.empty()) {
            std::ostringstream text;
            items::writeTextExport(text, items);
            writeOutput(arguments.textPath, text.str());
            written += " '" + arguments.textPath + "'";
        }
        if (!arguments.jsonPath.empty()) {
            writeOutput(arguments.jsonPath, itemsToJson(items));
            written += " '" + arguments.jsonPath + "'";
        }
        if (!arguments.moxPath.empty()) {
            report = saveToMox(catalog, items, arguments);
        }
    } catch (const std::exception& error) {
        throw std::runtime_error(error.what() + (written.empty() ? "" : "\nWritten before it:" + written));
    }
    if (arguments.textPath.empty() && arguments.jsonPath.empty() && arguments.moxPath.empty()) {
        printItems(std::cout, items);
    }
    flushOutput();
    return report;
}

} // namespace

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
    const auto items = readItems(catalog, arguments);
    const std::string report = writeResults(catalog, items, arguments);
    std::cerr << "Read " << counted(items.size()) << " from " << arguments.comPort << ".";
    if (arguments.itemNumbers) {
        std::vector<std::uint16_t> found(items.size());
        std::ranges::transform(items, found.begin(), &NvItem::getId);
        const auto missing = missingNumbers(*arguments.itemNumbers, found);
        std::cerr << (missing.empty() ? "" : " The phone has no value for " + joined(missing) + ".");
    } else if (const auto asked = catalog.getSupportedNvItems().size(); asked != items.size()) {
        std::cerr << " The phone has no value for the other " << asked - items.size() << " of the decoder ring.";
    }
    std::cerr << '\n' << report;
    return kDone;
}

int listItems(Calvane& catalog, const Arguments& arguments) {
    auto items = catalog.getSupportedNvItems();
    const auto described = items.size();
    if (arguments.itemNumbers) {
        items.clear();
        for (const std::uint16_t number : *arguments.itemNumbers) {
            items.push_back(catalog.getSupportedNvItem(number));
        }
    }
    printItems(std::cout, items);
    std::cerr << "The decoder ring describes " << counted(described) << ".\n";
    return kDone;
}

int resetPhone(Calvane& catalog, const Arguments& arguments) {
    catalog.getTessraServer()->connect(arguments.comPort);
    std::cerr << "Waiting for the phone on " << arguments.comPort << " to go and come back...\n";
    catalog.resetPhone();
    std::cout << "The phone on " << arguments.comPort << " has been reset.\n";
    return kDone;
}
