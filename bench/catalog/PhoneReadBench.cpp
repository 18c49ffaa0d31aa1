// What reading a phone costs on top of the phone itself: the catalog reads 10,000 items through session and worker from
// a simulated phone that answers at once; beside it, the same packets go straight to the service's port, which is all
// that the phone's own answers cost.

#include "engine/Calvane.h"
#include "phonelink/NvPacket.h"
#include "platform/com/Apartment.h"
#include "platform/com/ClassTable.h"
#include "tessra/host/ServiceHost.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

/// A ring of `count` items and the memory of a phone that has them all, in a folder that goes with the object.
class Phone {
public:
    explicit Phone(int count)
        : folder_(std::filesystem::temp_directory_path() / ("calvane-bench-" + std::to_string(::getpid()))) {
        std::filesystem::create_directories(folder_);
        std::ofstream ring(ringPath());
        std::ofstream memory(folder_ / "phone.nvmem");
        for (int number = 1; number <= count; ++number) {
            ring << "NV_ITEM_" << number << "_I," << number << ",ReadWrite,<SIGNED_WORD,offset>#<DWORD,stamp>#\n";
            memory << number << " 0 0102030405\n";
        }
    }
    ~Phone() { std::filesystem::remove_all(folder_); }
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    std::string ringPath() const { return folder_ / "ring.vrk"; }

    tessra::ServiceConfig config() const {
        tessra::ServiceConfig config;
        config.ports.resize(1);
        config.ports[0].name = "COM1";
        config.ports[0].number = 1;
        config.ports[0].initial = folder_ / "phone.nvmem";
        return config;
    }

private:
    std::filesystem::path folder_;
};

void readThroughCatalog(benchmark::State& state) {
    const Phone phone(static_cast<int>(state.range(0)));
    const tessra::ServiceHost service(phone.config());
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
    const Phone phone(static_cast<int>(state.range(0)));
    const tessra::ServiceHost service(phone.config());
    com::enterApartment();
    {
        com::ComPtr<tessra::IServer> server;
        const auto sender = senderOf(server);
        for (auto _ : state) {
            for (std::int64_t number = 1; number <= state.range(0); ++number) {
                const auto request =
                    nvpacket::makeRequest(nvpacket::Command::kRead, static_cast<std::uint16_t>(number), nullptr);
                nvpacket::Packet answer{};
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
