// The read on its own thread, next to a user-interface thread that goes on working.

#include "phonelink/TessraServer.h"
#include "tests/app/DocumentFixture.h"

#include <atomic>
#include <thread>

namespace {

using PhoneReading = DocumentFixture;

std::string ringOf(int items) {
    std::string ring;
    for (int i = 1; i <= items; ++i) {
        ring += "NV_" + std::to_string(i) + "," + std::to_string(i) + ",ReadWrite,<BYTE,x>#\n";
    }
    return ring;
}

std::string phoneOf(int items) {
    std::string phone;
    for (int i = 1; i <= items; ++i) {
        phone += std::to_string(i) + " 0 2a\n";
    }
    return phone;
}

TEST_F(PhoneReading, LeavesTheListToTheUserInterfaceUntilItsResultIsTaken) {
    constexpr int kItems = 500;
    plugIn(phoneOf(kItems));
    open(ringOf(kItems).c_str());
    listSupported();
    bool ended = false;
    std::vector<std::string> shown;
    document->readFromPhone(progress, [&] { ended = true; });
    EXPECT_TRUE(document->isReading());
    bool alphabetical = false;
    ASSERT_TRUE(ui.runUntil([&] {
        if (ended) {
            return true;
        }
        // What the views do meanwhile: order the list, edit it, show progress.
        document->sortItems(alphabetical = !alphabetical);
        document->storeItemData(0, "1");
        for (std::string& line : progress.all()) {
            shown.push_back(std::move(line));
        }
        return false;
    }));
    for (std::string& line : progress.all()) {
        shown.push_back(std::move(line));
    }
    ASSERT_EQ(shown.size(), static_cast<std::size_t>(kItems));
    for (int i = 1; i <= kItems; ++i) {
        ASSERT_EQ(shown[static_cast<std::size_t>(i) - 1],
                  formatProgressLine(kItems, static_cast<std::uint32_t>(i), static_cast<std::uint16_t>(i),
                                     "NV_" + std::to_string(i)));
    }
    EXPECT_FALSE(document->isReading());
    EXPECT_EQ(document->nvItems().size(), static_cast<std::size_t>(kItems));
    EXPECT_EQ(document->nvItems().back().getSubItems()[0].value, "42");
    EXPECT_TRUE(document->changedItems().empty());
}

TEST(ProgressQueueTest, TellsItsTakerOncePerTakeAndLosesNoLine) {
    constexpr int kLines = 20000;
    ProgressQueue queue;
    std::atomic<int> told = 0;
    std::atomic<bool> done = false;
    std::thread reader([&] {
        for (int i = 0; i < kLines; ++i) {
            if (queue.push(std::to_string(i))) {
                ++told;
            }
        }
        done = true;
    });
    int next = 0;
    for (int takes = 0;; ++takes) {
        while (told == takes && !done) {
            std::this_thread::yield();
        }
        if (told == takes) {
            break;
        }
        const auto lines = queue.takeAll();
        EXPECT_FALSE(lines.empty()) << "told for nothing";
        for (const std::string& line : lines) {
            EXPECT_EQ(line, std::to_string(next++));
        }
    }
    reader.join();
    EXPECT_EQ(next, kLines);
    EXPECT_TRUE(queue.takeAll().empty());
}

TEST_F(PhoneReading, EndsBeforeItsNextItemWhenItIsCancelled) {
    plugIn(phoneOf(2000));
    open(ringOf(2000).c_str());
    listSupported();
    tessra::FaultRule slow;
    slow.delayMs = 5;
    service->port("COM1").faults().add(slow);
    bool ended = false;
    document->readFromPhone(progress, [&] { ended = true; });
    ASSERT_TRUE(ui.runUntil([&] { return !progress.all().empty(); }));
    document->cancelRead();
    ASSERT_TRUE(ui.runUntil([&] { return ended; }));
    EXPECT_LT(service->port("COM1").sentPackets().size(), 1000u) << "the rest was not asked for";
    EXPECT_EQ(document->nvItems().size(), 2000u) << "the list stays";
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(PhoneReading, IsWaitedForWhenTheDocumentGoes) {
    plugIn(phoneOf(2000));
    open(ringOf(2000).c_str());
    bool ended = false;
    document->readFromPhone(progress, [&] { ended = true; });
    ASSERT_TRUE(ui.runUntil([&] { return !progress.all().empty(); }));
    document.reset();
    ui.runPosted();
    EXPECT_FALSE(ended);
    EXPECT_EQ(ui.busyDepth, 0);
    EXPECT_EQ(contents("CalvaneConfig.ini"), "COM1\n");
}

TEST_F(PhoneReading, SaysWhyAPhoneThatVanishesEndsIt) {
    plugIn(phoneOf(20));
    open(ringOf(20).c_str());
    tessra::FaultRule vanish;
    vanish.item = 7;
    vanish.kind = tessra::FaultKind::kVanish;
    service->port("COM1").faults().add(vanish);
    ASSERT_TRUE(read());
    ASSERT_EQ(ui.messages.size(), 1u);
    EXPECT_EQ(ui.messages[0].find("(x) Exception Thrown!!: Calvane::getNvItemsFromPhone( const string comPort ) - "),
              0u)
        << ui.messages[0];
    EXPECT_TRUE(document->nvItems().empty());
    service->port("COM1").setPresent(true);
    service->port("COM1").faults().clear();
    ASSERT_TRUE(read());
    EXPECT_EQ(document->nvItems().size(), 20u);
}

TEST_F(PhoneReading, LetsThePhoneGoOfflineMeanwhile) {
    plugIn(phoneOf(300));
    open(ringOf(300).c_str());
    bool ended = false;
    document->readFromPhone(progress, [&] { ended = true; });
    ASSERT_TRUE(ui.runUntil([&] { return !progress.all().empty(); }));
    document->setPhoneOffline();
    ASSERT_TRUE(ui.runUntil([&] { return ended; }));
    EXPECT_EQ(document->nvItems().size(), 300u);
    EXPECT_TRUE(ui.messages.empty());
}

} // namespace
