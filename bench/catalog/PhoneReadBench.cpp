// What reading a phone costs on top of the phone itself: the catalog reads 10,000 items through session and worker from
// a simulated phone that answers at once; beside it, the same packets go straight to the service's port, which is all
// that the phone's own answers cost.

#include "engine/Calvane.h"
#include "platform/com/Apartment.h"
#include "platform/com/ClassTable.h"
#include "platform/kernel/LittleEndian.h"
#include "tessra/Interfaces.h"
#include "tessra/Packet.h"
#include "tests/support/HostedService.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <array>
#include <fstream>
#include <optional>
#include <string>

namespace {

/// A ring of `count` items, and a service with a phone that has them all.
class Phone {
public:
    explicit Phone(std::int64_t count) {
        std::ofstream ring(ringPath());
        std::ofstream memory(folder_ / "phone.nvmem");
        for (std::int64_t number = 1; number <= count; ++number) {
            ring << "NV_ITEM_" << number << "_I," << number << ",ReadWrite,<SIGNED_WORD,offset>#<DWORD,stamp>#\n";
            memory << number << " 0 0102030405\n";
        }
        ring.close();
        memory.close();
        auto config = phonesOn({"COM1"});
        config.ports[0].initial = folder_ / "phone.nvmem";
        service_.emplace(config);
    }

    std::string ringPath() const { return folder_ / "ring.vrk"; }

private:
    TemporaryFolder folder_;
    std::optional<tessra::ServiceHost> service_;
};

void readThroughCatalog(benchmark::State& state) {
    const Phone phone(state.range(0));
    Calvane catalog;
    catalog.loadDecoderRingFile(phone.ringPath());
    for (auto _ : state) {
        if (catalog.getNvItemsFromPhone("COM1").size() != static_cast<std::size_t>(state.range(0))) {
            state.SkipWithError("not every item was read");
        }
    }
}

com::ComPtr<tessra::ISyncSend> senderOf(com::ComPtr<tessra::IServer>& server) {
    com::ComPtr<com::Unknown> created;
    com::throwIfFailed(com::createInstance(tessra::kServerClass, com::kAnyServer, created));
    com::throwIfFailed(created.query(server));
    com::throwIfFailed(server->setInterfaceVersion(tessra::kInterfaceVersion));
    com::ComPtr<tessra::IPortCollection> ports;
    com::throwIfFailed(server->portCollection(ports));
    com::ComPtr<tessra::IPhonePort> port;
    com::throwIfFailed(ports->portByNumber(1, port));
    com::ComPtr<tessra::ISyncSend> sender;
    com::throwIfFailed(port.query(sender));
    return sender;
}

void readFromThePhoneItself(benchmark::State& state) {
    const Phone phone(state.range(0));
    com::enterApartment();
    {
        com::ComPtr<tessra::IServer> server;
        const auto sender = senderOf(server);
        for (auto _ : state) {
            for (std::int64_t number = 1; number <= state.range(0); ++number) {
                std::array<std::uint8_t, tessra::kNvPacketBytes> request{
                    static_cast<std::uint8_t>(tessra::Command::kNvRead)};
                kernel::put16(request.data() + tessra::kNvItemOffset, static_cast<std::uint16_t>(number));
                std::array<std::uint8_t, tessra::kNvPacketBytes> answer{};
                auto length = static_cast<std::uint16_t>(answer.size());
                com::throwIfFailed(sender->sendSync(static_cast<std::uint32_t>(request.size()), request.data(), 1, 0,
                                                    2000, length, answer.data()));
                benchmark::DoNotOptimize(answer);
            }
        }
    }
    com::leaveApartment();
}

BENCHMARK(readThroughCatalog)->Name("PhoneRead")->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(readFromThePhoneItself)->Name("PhoneRead_phone")->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace
