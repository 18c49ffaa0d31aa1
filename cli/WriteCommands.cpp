#include "cli/CommandText.h"
#include "cli/ItemJson.h"
#include "cli/MoxCommands.h"
#include "cli/ProgressBar.h"
#include "cli/TypedValues.h"
#include "cli/Verbs.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/RegularFile.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace {

/// 65,536 items of 128 sub-fields each stay below this.
constexpr std::size_t kMaxJsonBytes = std::size_t{1} << 30;

volatile std::sig_atomic_t interrupted = 0;

/// While it lives, an interrupt waits for the item that is being written, so that the account of a write is complete.
class InterruptLater {
public:
    InterruptLater()
        : oldInterrupt_(std::signal(SIGINT, rememberInterrupt)),
          oldTermination_(std::signal(SIGTERM, rememberInterrupt)) {}
    ~InterruptLater() {
        std::signal(SIGINT, oldInterrupt_);
        std::signal(SIGTERM, oldTermination_);
    }
    InterruptLater(const InterruptLater&) = delete;
    InterruptLater& operator=(const InterruptLater&) = delete;

    static void check() {
        if (interrupted != 0) {
            throw std::runtime_error("Interrupted.");
        }
    }

private:
    static void rememberInterrupt(int) { interrupted = 1; }

    void (*oldInterrupt_)(int);
    void (*oldTermination_)(int);
};

std::string readFile(const std::string& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kMaxJsonBytes, text); error != 0) {
        throw std::runtime_error("Can't read '" + path + "': " +
                                 (error == EINVAL ? "it is no regular file" : std::generic_category().message(error)));
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

/// The item as the phone has it now; nothing where it has no value.
std::vector<NvItem> readBack(Calvane& catalog, const std::string& comPort, std::uint16_t number) {
    return catalog.getNvItemsFromPhone(comPort, std::vector<std::uint16_t>{number}, nullptr, nullptr);
}

/// Writes one item and makes sure that the phone has it. Answers the catalog's report of a tolerated refusal.
std::string writeAndReadBack(Calvane& catalog, const std::string& comPort, const NvItem& item,
                             const std::set<int>* toleratedNumbers) {
    std::string refusal = catalog.writeToPhone(comPort, {item}, false, toleratedNumbers);
    if (!refusal.empty()) {
        return refusal;
    }
    const auto after = readBack(catalog, comPort, item.getId());
    if (after.empty() || !std::ranges::equal(item.rawData(), after.front().rawData())) {
        throw std::runtime_error(std::to_string(item.getId()) + " " + item.getName() +
                                 " was written, but the phone reads back " +
                                 (after.empty() ? "no value" : valuesOf(after.front())) + " for it.");
    }
    return {};
}

/// Opens what the phone protects, where the user gave a code for it. The phone keeps it open until it is reset.
void sendAccessCode(Calvane& catalog, const Arguments& arguments) {
    if (!arguments.accessCode.empty()) {
        catalog.getTessraServer()->connect(arguments.comPort);
        catalog.getTessraServer()->sendSpc(arguments.accessCode.c_str());
    }
}

/// Writes items one by one, and reports how far it got.
class ItemWriter {
public:
    ItemWriter(Calvane& catalog, const Arguments& arguments) : catalog_(catalog), arguments_(arguments) {}

    int write(const std::vector<NvItem>& items) {
        try {
            writeAll(items);
        } catch (const std::exception& error) {
            std::cerr << forTerminal(error.what()) << '\n';
            report(items.size(), written_.empty() ? "." : ": " + joined(written_) + ".");
            if (current_ != nullptr) {
                std::cerr << "Stopped at " << current_->getId() << " " << current_->getName()
                          << ": read it back before you rely on it.\n";
            }
            return kRefused;
        }
        report(items.size(), ".");
        return kDone;
    }

private:
    void writeAll(const std::vector<NvItem>& items) {
        const InterruptLater interruptLater;
        ProgressBar progress;
        sendAccessCode(catalog_, arguments_);
        // Connects, and goes offline where that was asked for; also when there is nothing to write.
        catalog_.writeToPhone(arguments_.comPort, {}, arguments_.offlineFirst, nullptr);
        std::uint32_t position = 0;
        for (const NvItem& item : items) {
            InterruptLater::check();
            progress.show(++position, static_cast<std::uint32_t>(items.size()), item.getName());
            if (item.isWritable()) {
                writeOne(item);
            } else {
                skipped_.push_back(item.getId());
            }
        }
    }

    void writeOne(const NvItem& item) {
        current_ = &item;
        const std::string refusal = writeAndReadBack(catalog_, arguments_.comPort, item, &arguments_.toleratedNumbers);
        current_ = nullptr;
        refusals_ += refusal;
        if (refusal.empty()) {
            written_.push_back(item.getId());
        }
    }

    /// `account`: how the line about what was written ends.
    void report(std::size_t total, const std::string& account) const {
        std::cerr << refusals_ << "Wrote " << written_.size() << " of " << counted(total) << " to "
                  << arguments_.comPort << account << '\n';
        if (!skipped_.empty()) {
            std::cerr << "Skipped " << counted(skipped_.size())
                      << " whose access mark does not allow a write: " << joined(skipped_) << ".\n";
        }
    }

    Calvane& catalog_;
    const Arguments& arguments_;
    const NvItem* current_ = nullptr; // the item under way
    std::vector<std::uint16_t> written_;
    std::vector<std::uint16_t> skipped_;
    std::string refusals_; // of tolerated items
};

} // namespace

int setItem(Calvane& catalog, const Arguments& arguments) {
    NvItem item = catalog.getSupportedNvItem(arguments.itemNumber);
    const std::string what = std::to_string(item.getId()) + " " + item.getName();
    if (!item.isWritable()) {
        throw std::runtime_error(what + " can't be written: its access mark is '" + item.getAccess() + "'.");
    }
    item.setData(arguments.values);
    requireStoredAsTyped(item);
    const auto before = readBack(catalog, arguments.comPort, item.getId());
    sendAccessCode(catalog, arguments);
    writeAndReadBack(catalog, arguments.comPort, item, nullptr);
    const NvItem after = catalog.getSupportedNvItem(item.getId());
    std::cout << what << ": " << (before.empty() ? "no value" : valuesOf(before.front())) << " -> " << valuesOf(after)
              << '\n';
    return kDone;
}

int writePhone(Calvane& catalog, const Arguments& arguments) {
    // All of the file is checked before the first item is written.
    const auto items = arguments.moxPath.empty()
                           ? itemsFromJson(readFile(arguments.inputPath), arguments.inputPath, catalog)
                           : itemsOfMox(catalog, arguments.moxPath);
    return ItemWriter(catalog, arguments).write(items);
}
