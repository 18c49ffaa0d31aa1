// The read on its own thread, next to a user-interface thread that goes on working.

#include "app/document/PhoneDesk.h"
#include "tests/app/DocumentFixture.h"

#include <pthread.h>

namespace {

class PhoneReading : public DocumentFixture {
protected:
    /// A document with so many items, all of which the phone has.
    void openWith(int items) {
        std::string ring;
        std::string phone;
        for (int i = 1; i <= items; ++i) {
            const std::string number = std::to_string(i);
            ring += "NV_" + number + "," + number + ",ReadWrite,<BYTE,x>#\n";
            phone += number + " 0 2a\n";
        }
        plugIn(phone);
        open(ring);
        listSupported();
    }
    /// Starts a read, and waits until it reports its progress.
    void startRead() {
        document->readFromPhone(progress, [this] { ended = true; });
        EXPECT_TRUE(eventually([this] { return !progress.lines.takeAll().empty(); }));
    }

    bool ended = false;
};

TEST_F(PhoneReading, LeavesTheListToTheUserInterfaceUntilItsResultIsTaken) {
    openWith(500);
    document->readFromPhone(progress, [this] { ended = true; });
    std::vector<std::string> shown;
    ASSERT_TRUE(eventually([&] {
        ui.runPosted();
        for (const std::string& line : progress.lines.takeAll()) {
            shown.push_back(line);
        }
        if (!ended) { // what the user does meanwhile: orders the list, edits it
            document->sortItems(shown.size() % 2 == 0);
            document->storeItemData(0, "1");
        }
        return ended;
    }));
    ASSERT_EQ(shown.size(), 500u);
    EXPECT_EQ(document->nvItems().size(), 500u);
    EXPECT_EQ(document->nvItems().back().getSubItems()[0].value, "42");
    EXPECT_TRUE(document->changedItems().empty());
}

TEST_F(PhoneReading, EndsBeforeItsNextItemWhenItIsCancelled) {
    openWith(2000);
    addFault(tessra::Call::kSend, tessra::FaultKind::kNone, 5);
    startRead();
    EXPECT_TRUE(document->isReading());
    document->cancelRead();
    ASSERT_TRUE(eventually([this] {
        ui.runPosted();
        return ended;
    }));
    EXPECT_FALSE(document->isReading());
    EXPECT_LT(service->sentPackets("COM1").size(), 1000u) << "the rest was not asked for";
    EXPECT_EQ(document->nvItems()[0].getSubItems()[0].value, "") << "the list stays";
    EXPECT_EQ(ui.takeMessages(), "");
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(PhoneReading, IsWaitedForWhenTheDocumentOrItsDeskGoes) {
    openWith(2000);
    PhoneWatch watch(ui);
    auto desk = std::make_unique<PhoneDesk>(*document, ui, watch, [] {});
    desk->read(progress, [this] { ended = true; });
    EXPECT_TRUE(eventually([this] { return !progress.lines.takeAll().empty(); }));
    desk.reset();
    ui.runPosted();
    EXPECT_FALSE(ended);
    startRead();
    document.reset(); // the session ends before the one that watches it
    ui.runPosted();
    EXPECT_FALSE(ended);
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(PhoneReading, EndsWhereNoThreadIsToBeHad) {
    pthread_attr_t usual;
    pthread_attr_t vast;
    ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
    ASSERT_EQ(pthread_attr_init(&vast), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&vast, std::size_t{1} << 47), 0); // no address space has room for it
    ASSERT_EQ(pthread_setattr_default_np(&vast), 0);
    PhoneJobs jobs(ui);
    std::string why;
    jobs.start([](const workbench::WorkControl&) {}, [&](const std::string& failure) { why = failure; });
    EXPECT_EQ(pthread_setattr_default_np(&usual), 0);
    EXPECT_NE(why, "");
    EXPECT_FALSE(jobs.isRunning());
}

} // namespace
