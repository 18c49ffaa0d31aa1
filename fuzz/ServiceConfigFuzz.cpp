// The input is the service's configuration. It is read, or refused with the file's name; all else would be a fault.
#include "fuzz/FuzzInput.h"
#include "tessra/host/ServiceConfig.h"

#include <set>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const InputFile file;
    file.fill(textOf(data, size));
    try {
        std::set<std::uint16_t> numbers;
        for (const tessra::PortConfig& port : tessra::loadServiceConfig(file.path).ports) {
            require(!port.name.empty() && port.number != 0 && numbers.insert(port.number).second);
        }
    } catch (const tessra::ConfigError& refusal) {
        require(std::string_view(refusal.what()).starts_with(file.path + ":"));
    }
    return 0;
}
