#include "engine/Calvane.h"
#include "platform/kernel/TickCount.h"
#include "tests/support/HostedService.h"

#include <gtest/gtest.h>

#include <memory>

TEST(CatalogEnd, IsHeldByAServiceThatHangsForTenSecondsOnly) {
    HostedService service(phonesOn({"COM1"}));
    auto catalog = std::make_unique<Calvane>();
    catalog->getNvItemsFromPhone("COM1");
    tessra::FaultRule hang = faultAt(tessra::Call::kReleaseAgent, tessra::FaultKind::kNone);
    hang.delayMs = 60000;
    service.faults().add(hang);
    const std::uint32_t start = kernel::tickCount();
    catalog.reset();
    const std::uint32_t tookMs = kernel::elapsedMs(start, kernel::tickCount());
    EXPECT_GE(tookMs, 9900u) << "the session did not wait for the service at all";
    EXPECT_LT(tookMs, 20000u) << "the file was closed after the session, behind the work that hangs";
}
