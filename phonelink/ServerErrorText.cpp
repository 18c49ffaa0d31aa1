#include "phonelink/ServerErrorText.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

struct CodeText {
    std::uint32_t lowCode;
    std::string_view text;
};

constexpr std::array kCodeTexts{
    CodeText{0x2001, "Packet size is > 256"},
    CodeText{0x2002, "Serial framing error"},
    CodeText{0x2003, "Serial CRC error"},
    CodeText{0x2004, "Serial write failure"},
    CodeText{0x2005, "Timeout waiting for response"},
    CodeText{0x2006, "Zero timeout specified for synchronous send; no response available"},
    CodeText{0x2007, "Invalid baud rate specified"},
    CodeText{0x2008, "Bad response from phone (DM packet commands 19-24)"},
    CodeText{0x2009, "A command can not be issued as the phone is in different mode"},
    CodeText{0x200A, "A command can not be issued as the phone is not present."},
    CodeText{0x2014, "Phone is locked for exclusive use"},
    CodeText{0x2015, "Unlock attempt by user other than locker"},
    CodeText{0x2016, "Timeout waiting for response"},
};

} // namespace

std::string serverErrorText(const com::ComError& error) {
    const std::uint32_t lowCode = com::statusBits(error.code()) & 0xFFFF;
    const auto known = std::find_if(kCodeTexts.begin(), kCodeTexts.end(),
                                    [lowCode](const CodeText& row) { return row.lowCode == lowCode; });
    return known != kCodeTexts.end() ? std::string(known->text) : com::errorReport(error);
}

bool isUnspecifiedError(const com::ComError& error) {
    return std::string_view(error.what()).find("Unspecified error") != std::string_view::npos;
}
