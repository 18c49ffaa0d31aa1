#include "workbench/PhoneIdentity.h"

#include "phonelink/TessraServer.h"
#include "tessra/Interfaces.h"
#include "tessra/Packet.h"

#include <algorithm>
#include <array>

namespace workbench {
namespace {

constexpr std::uint32_t kAnswerTimeoutMs = 2000;

// Without blanks around it. Fields that nobody has ever written hold bytes that are no text, the same in many phones:
// they tell nothing.
std::string toldBy(const std::string& field) {
    const auto isText = [](char c) { return c >= ' ' && c <= '~'; };
    const auto first = field.find_first_not_of(' ');
    if (first == std::string::npos || !std::all_of(field.begin(), field.end(), isText)) {
        return {};
    }
    return field.substr(first, field.find_last_not_of(' ') - first + 1);
}

std::string joined(const std::string& left, const char* gap, const std::string& right) {
    return left.empty() || right.empty() ? left + right : left + gap + right;
}

} // namespace

bool isSamePhone(const PhoneIdentity& left, const PhoneIdentity& right) {
    return left.isKnown() && left.serialNumber == right.serialNumber && left.model == right.model;
}

std::string shortName(const PhoneIdentity& phone) {
    return phone.isKnown() ? joined(phone.model, " ", phone.serialNumber) : "unknown phone";
}

std::string fullName(const PhoneIdentity& phone) {
    const std::string name = phone.isKnown() ? shortName(phone) : joined(shortName(phone), " ", phone.model);
    return joined(name, ", software ", phone.softwareVersion);
}

PhoneIdentity askIdentity(TessraServer& session) {
    const auto request = static_cast<std::uint8_t>(tessra::Command::kVersion);
    std::array<std::uint8_t, tessra::kMaxPacketBytes> answer{};
    auto answerBytes = static_cast<std::uint32_t>(answer.size());
    try {
        session.sendSync(1, &request, answerBytes, answer.data(), kAnswerTimeoutMs);
    } catch (const TessraServer::Exception& error) {
        if (error.status() != tessra::kBadPhoneResponse) {
            throw;
        }
        return {}; // it is there, and refuses to tell
    }
    const auto texts = tessra::versionTextsOf({answer.data(), answerBytes});
    return texts ? PhoneIdentity{toldBy(texts->serialNumber), toldBy(texts->model), toldBy(texts->softwareVersion)}
                 : PhoneIdentity{};
}

} // namespace workbench
