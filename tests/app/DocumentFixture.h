#pragma once

#include "app/document/CCalvaneDoc.h"
#include "tests/support/Eventually.h"
#include "tests/support/HostedService.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>
#include <mutex>

/// Answers a document's questions as the test has laid out, and keeps what the document said.
class ScriptedInterface : public UserInterface {
public:
    std::optional<std::string> file; ///< to open or to save
    std::optional<std::string> comPort;
    std::vector<std::string> filesWritten;
    int busyDepth = 0;

    void showMessage(const std::string& text, const std::string& caption, MessageIcon icon) override {
        const char* const icons[] = {"", "! ", "(x) "};
        messages_ += (messages_.empty() ? "" : "\n") + (icons[static_cast<int>(icon)] + caption) + ": " + text;
    }
    std::optional<std::string> askFileToOpen(const FileQuestion&) override { return file; }
    std::optional<std::string> askFileToSave(const FileQuestion&) override { return file; }
    void fileWritten(const std::string& path) override { filesWritten.push_back(path); }
    std::optional<FileProperties> askFileProperties(const OfferedProperties&) override { return std::nullopt; }
    std::optional<std::string> askComPort(const std::vector<std::string>&) override { return comPort; }
    std::optional<std::vector<NvItem>> askCustomizedList(const std::vector<NvItem>&,
                                                         const std::vector<NvItem>&) override {
        return std::nullopt;
    }
    void runWaiting(const std::function<void()>& work) override { std::async(std::launch::async, work).get(); }
    void beginBusyCursor() override { ++busyDepth; }
    void endBusyCursor() override { --busyDepth; }
    void post(std::function<void()> work) override {
        const std::lock_guard guard(lock_);
        posted_.push_back(std::move(work));
    }

    /// What was said since the last call, each message as "caption: text" with "! " or "(x) " before it for its icon.
    std::string takeMessages() { return std::exchange(messages_, {}); }
    void runPosted() {
        std::unique_lock guard(lock_);
        const auto work = std::exchange(posted_, {});
        guard.unlock();
        for (const auto& one : work) {
            one();
        }
    }

private:
    std::string messages_;
    std::mutex lock_; ///< guards posted_
    std::vector<std::function<void()>> posted_;
};

class CollectedLines : public ProgressWindow {
public:
    ProgressQueue lines;
    void addLine(std::string line) override { lines.push(std::move(line)); }
};

inline std::vector<int> numbersOf(const std::vector<NvItem>& items) {
    std::vector<int> numbers(items.size());
    std::ranges::transform(items, numbers.begin(), &NvItem::getId);
    return numbers;
}

/// A program directory with a ring and a phone on COM1, and a document in it once open() was called.
class DocumentFixture : public testing::Test {
protected:
    static constexpr const char* kRing = "NV_ZETA,10,ReadWrite,<BYTE,z>#<SIGNED_WORD,w>#\n"
                                         "NV_ALPHA,20,ReadWrite,<BYTE,a>#\n"
                                         "NV_FIXED,30,ReadOnly,<WORD,f>#\n"
                                         "NV_RF_NV_LOADED_DATE_I,40,ReadWrite Time,<DWORD,date>#\n";
    static constexpr const char* kPhone = "10 0 05feff\n20 0 07\n30 0 3412\n40 0 01000000\n";

    DocumentFixture() {
        std::filesystem::current_path(folder.path);
        NvItem::setCompareByName(false);
    }
    ~DocumentFixture() override {
        document.reset();
        std::filesystem::current_path("/");
    }

    void open(const std::string& ring = kRing) {
        writeText(folder / "NV Decoder.vrk", ring);
        document = std::make_unique<CCalvaneDoc>(ui, folder.path);
    }
    /// A phone on COM1 and further ones, with these serial numbers.
    void plugIn(const std::string& phone = kPhone, const std::vector<std::string>& serialNumbers = {"0000000001"}) {
        writeText(folder / "phone.nvmem", phone);
        tessra::ServiceConfig config;
        for (const std::string& serialNumber : serialNumbers) {
            config.ports.push_back(phonesOn({"COM" + std::to_string(config.ports.size() + 1)}).ports[0]);
            config.ports.back().initial = folder / "phone.nvmem";
            config.ports.back().phone.serialNumber = serialNumber;
        }
        service = std::make_unique<HostedService>(config);
    }
    void addFault(tessra::Call call, tessra::FaultKind kind, unsigned delayMs) {
        tessra::FaultRule rule = faultAt(call, kind);
        rule.delayMs = delayMs;
        service->faults("COM1").add(rule);
    }
    void refuse(std::uint16_t item, std::uint32_t status) {
        tessra::FaultRule rule = faultAt(tessra::Call::kSend, tessra::FaultKind::kNvStatus, status);
        rule.item = item;
        service->faults("COM1").add(rule);
    }
    /// Reads from the phone and waits until the read is over.
    bool read() {
        bool ended = false;
        document->readFromPhone(progress, [&] { ended = true; });
        return eventually([&] {
            ui.runPosted();
            return ended;
        });
    }
    void listSupported() {
        document->readSupportedItems();
        ui.runPosted();
    }
    /// The packets by which items were written to the phone.
    std::vector<std::vector<std::uint8_t>> written(const std::string& port = "COM1") {
        auto packets = service->sentPackets(port);
        std::erase_if(packets, [](const auto& packet) { return packet[0] != 0x27; });
        return packets;
    }
    std::vector<int> numbersWritten(const std::string& port = "COM1") {
        std::vector<int> numbers;
        for (const auto& packet : written(port)) {
            numbers.push_back(packet[1] | packet[2] << 8);
        }
        return numbers;
    }
    std::vector<int> listed() const { return numbersOf(document->nvItems()); }

    const TemporaryFolder folder;
    ScriptedInterface ui;
    CollectedLines progress;
    std::unique_ptr<HostedService> service;
    std::unique_ptr<CCalvaneDoc> document;
};
