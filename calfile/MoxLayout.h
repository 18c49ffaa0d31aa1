#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What stands in a calibration file, name by name and byte by byte. All numbers are little-endian.
///
///     root
///       File_Version                 stream, kVersionBytes
///       00000123                     storage, named by the phone model id
///         default                    storage
///           00000345                 storage, named by the item number; one per item
///             00000000               stream, itemBytes()
///           Mobile_Property_Info     stream, propertyBytes(); only in files that were given phone properties
namespace mox {

inline constexpr std::u16string_view kVersionStream = u"File_Version";
inline constexpr std::u16string_view kDefaultStorage = u"default";
inline constexpr std::u16string_view kItemStream = u"00000000";
inline constexpr std::u16string_view kPropertyStream = u"Mobile_Property_Info";

inline constexpr std::array<std::uint8_t, 6> kVersionBytes{0x01, 0, 0, 0, 0, 0};
inline constexpr std::size_t kItemDataBytes = 128;
inline constexpr std::size_t kItemDataOffset = 6;
inline constexpr std::size_t kItemStreamBytes = kItemDataOffset + kItemDataBytes;
/// The longest text of the property stream: its length field has 16 bits.
inline constexpr std::size_t kMaxPropertyTextBytes = 0xFFFF;

/// One item of a file: its number, its bytes and its status word, which is 0 in what a reader delivers.
struct Record {
    std::uint16_t id = 0;
    std::array<std::uint8_t, kItemDataBytes> data{};
    std::uint16_t status = 0;
};

struct Properties {
    std::uint32_t esn = 0;
    std::uint16_t phoneModelId = 0;
    std::uint8_t nvMajorVersion = 0;
    std::uint8_t nvMinorVersion = 0;
    std::string softwareVersion; ///< kMaxPropertyTextBytes at most, as the next
    std::string clientName;
};

/// The name of a storage that stands for `number`: eight decimal digits, filled with zeros on the left.
class NumberName {
public:
    explicit NumberName(std::uint16_t number);
    operator std::u16string_view() const { return {units_.data(), units_.size()}; }

private:
    std::array<char16_t, 8> units_{};
};

/// Whether a name consists of decimal digits alone, however many.
bool isNumberName(std::u16string_view name);
/// The number that such a name stands for; nothing for a name of something else, or of a number above 65535.
std::optional<std::uint16_t> numberOf(std::u16string_view name);

/// An item stream:
///
///     offset  size  content
///          0     2  item number, that of the storage's name
///          2     2  status word
///          4     2  134, the length of the stream
///          6   128  the item's data
std::array<std::uint8_t, kItemStreamBytes> itemBytes(const Record& record);

/// The property stream:
///
///     offset  size  content
///          0     4  ESN
///          4     2  phone model id
///          6     1  NV major version
///          7     1  NV minor version
///          8     2  S, the length of the software version
///         10     S  software version, not terminated
///     10 + S     2  C, the length of the client name
///     12 + S     C  client name, not terminated
std::vector<std::uint8_t> propertyBytes(const Properties& properties);
/// What such a stream says; nothing where it ends before its texts do.
std::optional<Properties> propertiesOf(std::span<const std::uint8_t> bytes);

} // namespace mox
