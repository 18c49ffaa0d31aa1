#pragma once

#include "app/document/CCalvaneDoc.h"
#include "tessra/Service.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <deque>
#include <fstream>
#include <mutex>
#include <thread>

/// Answers a document's questions as the test has laid out, and notes what the document said.
class ScriptedInterface : public UserInterface {
public:
    std::vector<std::string> messages; ///< "caption: text", with "! " or "(x) " before it for the icons
    std::optional<std::string> fileToOpen;
    std::optional<std::string> fileToSave;
    std::optional<FileProperties> properties;
    std::optional<std::string> comPort;
    std::optional<std::vector<NvItem>> customized;
    std::vector<std::string> portsOffered;
    std::vector<NvItem> availableOffered;
    std::vector<NvItem> customizedOffered;
    FileQuestion lastQuestion;
    int busyDepth = 0;
    int busyDepthAtMessage = 0;

    void showMessage(const std::string& text, const std::string& caption, MessageIcon icon) override {
        const char* const icons[] = {"", "! ", "(x) "};
        messages.push_back(icons[static_cast<int>(icon)] + caption + ": " + text);
        busyDepthAtMessage = busyDepth;
    }
    std::optional<std::string> askFileToOpen(const FileQuestion& question) override {
        lastQuestion = question;
        return fileToOpen;
    }
    std::optional<std::string> askFileToSave(const FileQuestion& question) override {
        lastQuestion = question;
        return fileToSave;
    }
    std::optional<FileProperties> askFileProperties() override { return properties; }
    std::optional<std::string> askComPort(const std::vector<std::string>& portNames) override {
        portsOffered = portNames;
        return comPort;
    }
    std::optional<std::vector<NvItem>> askCustomizedList(const std::vector<NvItem>& available,
                                                         const std::vector<NvItem>& list) override {
        availableOffered = available;
        customizedOffered = list;
        return customized;
    }
    void runWaiting(const std::function<void()>& work) override {
        std::exception_ptr failure;
        std::thread([&] {
            try {
                work();
            } catch (...) {
                failure = std::current_exception();
            }
        }).join();
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
    void beginBusyCursor() override { ++busyDepth; }
    void endBusyCursor() override { --busyDepth; }
    void post(std::function<void()> work) override {
        const std::lock_guard guard(lock_);
        posted_.push_back(std::move(work));
    }

    /// Runs what has been posted; answers whether there was any.
    bool runPosted() {
        std::deque<std::function<void()>> work;
        {
            const std::lock_guard guard(lock_);
            work.swap(posted_);
        }
        for (const auto& one : work) {
            one();
        }
        return !work.empty();
    }
    /// Runs what is posted until `done` says so; false if that takes longer than anything here may.
    bool runUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            if (!runPosted()) {
                std::this_thread::yield();
            }
        }
        return true;
    }

private:
    std::mutex lock_; ///< guards posted_
    std::deque<std::function<void()>> posted_;
};

class CollectedLines : public ProgressWindow {
public:
    ProgressQueue lines;
    void addLine(std::string line) override { lines.push(std::move(line)); }

    std::vector<std::string> all() { return lines.takeAll(); }
};

/// A program directory with a ring and a phone on COM1, and a document in it once open() was called.
class DocumentFixture : public testing::Test {
protected:
    static constexpr const char* kRing = "NV_ZETA,10,ReadWrite,<BYTE,z>#<SIGNED_WORD,w>#\n"
                                         "NV_ALPHA,20,ReadWrite,<BYTE,a>#\n"
                                         "NV_FIXED,30,ReadOnly,<WORD,f>#\n"
                                         "NV_RF_NV_LOADED_DATE_I,40,ReadWrite Time,<DWORD,date>#\n";
    static constexpr const char* kRingWithoutDate = "NV_ZETA,10,ReadWrite,<BYTE,z>#<SIGNED_WORD,w>#\n"
                                                    "NV_ALPHA,20,ReadWrite,<BYTE,a>#\n";
    static constexpr const char* kPhone = "10 0 05feff\n20 0 07\n30 0 3412\n40 0 01000000\n";

    DocumentFixture() {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        folder = std::filesystem::temp_directory_path() /
                 ("calvane-" + std::to_string(::getpid()) + "-" + test->test_suite_name() + "-" + test->name());
        std::filesystem::create_directories(folder);
        std::filesystem::current_path(folder);
        NvItem::setCompareByName(false);
    }
    ~DocumentFixture() override {
        document.reset();
        service.reset();
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder);
    }

    void write(const std::string& name, const std::string& text) {
        std::ofstream(folder / name, std::ios::binary) << text;
    }
    std::string contents(const std::string& name) {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void open(const char* ring = kRing) {
        if (ring != nullptr) {
            write("NV Decoder.vrk", ring);
        }
        document = std::make_unique<CCalvaneDoc>(ui, folder);
    }
    void plugIn(const std::string& phone = kPhone) {
        write("phone.nvmem", phone);
        tessra::ServiceConfig config;
        tessra::PortConfig port;
        port.name = "COM1";
        port.number = 1;
        port.initial = folder / "phone.nvmem";
        port.phone.awayMs = 120;
        config.ports.push_back(port);
        service = std::make_unique<tessra::Service>(config);
    }
    void refuse(std::uint16_t item, std::uint32_t status) {
        tessra::FaultRule rule;
        rule.call = tessra::Call::kSend;
        rule.item = item;
        rule.kind = tessra::FaultKind::kNvStatus;
        rule.value = status;
        service->port("COM1").faults().add(rule);
    }
    /// Reads from the phone and waits until the read is over.
    bool read() {
        bool ended = false;
        document->readFromPhone(progress, [&] { ended = true; });
        return ui.runUntil([&] { return ended; });
    }
    void listSupported() {
        document->readSupportedItems();
        ui.runPosted();
    }
    /// The numbers of the items that were sent to the phone, and the first bytes of their data.
    std::vector<std::pair<int, std::vector<int>>> written(std::size_t bytes = 1) {
        std::vector<std::pair<int, std::vector<int>>> result;
        for (const auto& packet : service->port("COM1").sentPackets()) {
            if (packet[0] == 0x27) {
                result.push_back({packet[1] | packet[2] << 8,
                                  {packet.begin() + 3, packet.begin() + 3 + static_cast<std::ptrdiff_t>(bytes)}});
            }
        }
        return result;
    }
    std::vector<int> numbersWritten() {
        std::vector<int> numbers;
        for (const auto& [number, data] : written()) {
            numbers.push_back(number);
        }
        return numbers;
    }
    static std::vector<int> numbersOf(const std::vector<NvItem>& items) {
        std::vector<int> numbers;
        for (const NvItem& item : items) {
            numbers.push_back(item.getId());
        }
        return numbers;
    }
    std::vector<int> listed() const { return numbersOf(document->nvItems()); }

    std::filesystem::path folder;
    ScriptedInterface ui;
    CollectedLines progress;
    std::unique_ptr<tessra::Service> service;
    std::unique_ptr<CCalvaneDoc> document;
};
