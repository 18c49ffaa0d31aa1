#include "workbench/ResultJson.h"

#include "engine/Calvane.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"

#include <sha2.h>

#include <array>
#include <ctime>

namespace workbench {
namespace {

using Json = nlohmann::ordered_json;

/// A ring of 65,536 items with the longest lines stays below this.
constexpr std::size_t kMaxRingBytes = std::size_t{1} << 30;

} // namespace

RingInfo ringInfo(const std::filesystem::path& path, Calvane& catalog) {
    RingInfo info{.path = path, .sha256 = {}, .items = catalog.getSupportedNvItems().size()};
    std::string text;
    // What came through a pipe is gone by now.
    if (kernel::readRegularFile(path, kMaxRingBytes, text) == 0) {
        std::array<char, SHA256_DIGEST_STRING_LENGTH> digits{};
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the library takes unsigned bytes
        info.sha256 = SHA256Data(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), digits.data());
    }
    return info;
}

std::string utcText(std::chrono::system_clock::time_point when) {
    using namespace std::chrono;
    const auto seconds = floor<std::chrono::seconds>(when);
    const std::time_t time = system_clock::to_time_t(seconds);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, sizeof "2000-01-01T00:00:00"> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const std::string ms = std::to_string(duration_cast<milliseconds>(when - seconds).count());
    return std::string(text.data()) + "." + std::string(3 - ms.size(), '0') + ms + "Z";
}

Json headJson(const char* form, const std::optional<RingInfo>& ring) {
    Json head{{"form", form}, {"schema", kResultSchema}, {"program", kProgramVersion}};
    if (ring) {
        head["ring"] = {{"path", ring->path.string()}, {"sha256", ring->sha256}, {"items", ring->items}};
    }
    return head;
}

Json phoneJson(const PhoneIdentity& phone) {
    return phone == PhoneIdentity() ? Json()
                                    : Json{{"model", phone.model},
                                           {"serialNumber", phone.serialNumber},
                                           {"softwareVersion", phone.softwareVersion}};
}

std::string textOf(const Json& document) {
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string hexText(std::span<const std::uint8_t> bytes) {
    std::string digits;
    for (const std::uint8_t byte : bytes) {
        digits += kernel::hexDigits(byte, 2);
    }
    return digits;
}

} // namespace workbench
