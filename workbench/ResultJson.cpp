#include "workbench/ResultJson.h"

#include "platform/kernel/Text.h"

#include <array>
#include <ctime>

namespace workbench {

using Json = nlohmann::ordered_json;

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

std::optional<std::chrono::system_clock::time_point> timeOfUtcText(const std::string& text) {
    constexpr std::string_view kForm = "2000-01-01T00:00:00.000Z";
    constexpr std::time_t kEnd = std::time_t{1} << 33U; // of what a clock of nanoseconds can say, with room
    std::tm parts{};
    const char* const behind = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S.", &parts);
    if (behind == nullptr || text.size() != kForm.size() || !text.ends_with('Z')) {
        return std::nullopt;
    }
    const auto ms = kernel::wholeNumber<std::uint16_t>(std::string_view(behind, 3));
    const std::time_t seconds = ::timegm(&parts);
    if (!ms || seconds < 0 || seconds >= kEnd) {
        return std::nullopt;
    }
    return std::chrono::system_clock::from_time_t(seconds) + std::chrono::milliseconds(*ms);
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
