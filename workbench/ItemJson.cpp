#include "workbench/ItemJson.h"

#include "platform/kernel/Text.h"
#include "workbench/FieldValues.h"
#include "workbench/ItemNumbers.h"
#include "workbench/JsonItemList.h"
#include "workbench/NumberTexts.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>

namespace workbench {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kRawDigits = 2 * items::kItemDataBytes;
constexpr const char* kItems = "items";
constexpr const char* kRawItems = "raw-items";
constexpr std::array<std::string_view, 2> kForms{kItems, kRawItems};
constexpr std::span kItemsAlone = std::span(kForms).first<1>();
constexpr std::span kRawAlone = std::span(kForms).last<1>();

/// Where in the text a complaint belongs.
struct Place {
    const std::string& source;
    std::string item;

    [[noreturn]] void refuse(ValuesRefused::Kind kind, const std::string& reason, bool wouldWrap = false) const {
        throw ValuesRefused(kind, source + ": " + (item.empty() ? "" : item + ": ") + reason, wouldWrap);
    }
    [[noreturn]] void refuseForm(const std::string& reason) const { refuse(ValuesRefused::Kind::kText, reason); }
    [[noreturn]] void refuseValue(const std::string& reason) const { refuse(ValuesRefused::Kind::kValues, reason); }

    /// Runs `step`, and puts the place in front of a refusal in it.
    template <class Step>
    auto refusing(Step step) const {
        try {
            return step();
        } catch (const ValuesRefused& refusal) {
            refuse(refusal.kind(), refusal.message(), refusal.wouldWrap());
        } catch (const std::exception& error) {
            refuseValue(kernel::messageOf(error));
        }
    }
};

/// A piece of the text as a message quotes it: short, and without going into what it holds.
std::string shortDump(const Json& piece) {
    if (piece.is_structured()) {
        return piece.is_array() ? "a list" : "an object";
    }
    constexpr std::size_t kMaxQuotedBytes = 60;
    return kernel::shortened(piece.dump(-1, ' ', false, Json::error_handler_t::replace), kMaxQuotedBytes);
}

/// The value of a field as the text that an item takes: one without a comma, which would start the next field.
std::string valueText(const Json& field, const Place& place) {
    const auto value = field.is_object() ? field.find("value") : field.end();
    if (value == field.end()) {
        place.refuseForm("each field needs a \"value\"");
    }
    if (value->is_number_integer()) {
        return value->dump();
    }
    if (!value->is_string() || value->get_ref<const std::string&>().find(',') != std::string::npos) {
        place.refuseValue("the value " + shortDump(*value) + " is neither a whole number nor the text of one");
    }
    return value->get<std::string>();
}

/// Spellings of a type with a blank and with an underscore are the same type.
std::string plainType(std::string typeName) {
    for (char& character : typeName) {
        character = character == '_' ? ' ' : character;
    }
    return typeName;
}

void requireSame(const Json& holder, const char* key, const std::string& ringText, const Place& place) {
    const std::string expected = utf8Text(ringText);
    const auto found = holder.find(key);
    if (found == holder.end() || *found == expected) {
        return;
    }
    const bool isType = std::string_view(key) == "type" && found->is_string();
    if (!isType || plainType(found->get<std::string>()) != plainType(expected)) {
        place.refuseValue(std::string("its ") + key + " is " + shortDump(*found) + " here, but \"" + expected +
                          "\" in the decoder ring");
    }
}

/// The bytes of "raw"; nothing where the item has none.
std::optional<ItemData> rawBytes(const Json& entry, const Place& place) {
    const auto raw = entry.find("raw");
    if (raw == entry.end()) {
        return std::nullopt;
    }
    const auto isDigits = [](const std::string& text) {
        return text.size() == kRawDigits && text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    };
    if (!raw->is_string() || !isDigits(raw->get_ref<const std::string&>())) {
        place.refuseForm("its \"raw\" needs " + std::to_string(kRawDigits) + " hexadecimal digits");
    }
    const std::string_view digits = raw->get_ref<const std::string&>();
    ItemData bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = *kernel::wholeNumber<std::uint8_t>(digits.substr(2 * i, 2), 16);
    }
    return bytes;
}

/// Values and bytes are of one mind: somebody who has changed one of them alone would get what he did not mean.
void requireSameAsRaw(const NvItem& item, const ItemData& raw, const Place& place) {
    NvItem rawItem = item;
    rawItem.setRawData(raw);
    const auto typed = item.getSubItems();
    const auto fromRaw = rawItem.getSubItems();
    std::size_t offset = 0;
    for (std::size_t index = 0; index < typed.size(); ++index) {
        const std::size_t bytes = subItemTypeInfo(item.getSubItemTypes()[index]).bytes;
        if (!std::ranges::equal(item.rawData().subspan(offset, bytes), std::span(raw).subspan(offset, bytes))) {
            place.refuseValue("field " + std::to_string(index + 1) + " ('" + typed[index].description + "') is " +
                              typed[index].value + " in \"value\" and " + fromRaw[index].value +
                              " in \"raw\": take \"raw\" out where the values count");
        }
        offset += bytes;
    }
}

/// The number of the item, which stands in the place from now on.
std::uint16_t numberOf(const Json& entry, Place& place) {
    const auto id = entry.is_object() ? entry.find("id") : entry.end();
    if (id == entry.end() || !id->is_number_unsigned() || id->get<std::uint64_t>() > 0xFFFF) {
        place.refuseForm("each item needs an \"id\" from 0 to 65535");
    }
    place.item = "item " + id->dump();
    return id->get<std::uint16_t>();
}

ItemData neededRawBytes(const Json& entry, const Place& place) {
    const auto raw = rawBytes(entry, place);
    if (!raw) {
        place.refuseForm("it needs \"raw\"");
    }
    return *raw;
}

WantedItem itemFromJson(const Json& entry, Place place, Calvane& catalog, bool wrap) {
    const std::uint16_t number = numberOf(entry, place);
    NvItem item = place.refusing([&] { return catalog.getSupportedNvItem(number); });
    requireSame(entry, "name", item.getName(), place);
    const auto fields = entry.find("fields");
    const auto subItems = item.getSubItems();
    if (fields == entry.end() || !fields->is_array() || fields->size() != subItems.size()) {
        place.refuseValue("it needs \"fields\" with " + std::to_string(subItems.size()) +
                          " entries, as in the decoder ring");
    }
    std::string values;
    for (std::size_t index = 0; index < subItems.size(); ++index) {
        const Json& field = (*fields)[index];
        values += (index == 0 ? "" : ",") + valueText(field, place);
        requireSame(field, "type", subItems[index].typeName, place);
        requireSame(field, "description", subItems[index].description, place);
    }
    const auto raw = rawBytes(entry, place);
    place.refusing([&] { setTypedValues(item, values, wrap); });
    if (raw) {
        requireSameAsRaw(item, *raw, place);
        item.setRawData(*raw);
    }
    WantedItem wanted;
    wanted.item = std::move(item);
    wanted.bringsAllBytes = raw.has_value();
    return wanted;
}

/// Its bytes are meant, whatever they are. Fields that stand beside them must say the same.
WantedItem rawItemFromJson(const Json& entry, Place place, Calvane& catalog, bool wrap) {
    if (entry.is_object() && entry.contains("fields")) {
        WantedItem wanted = itemFromJson(entry, place, catalog, wrap);
        neededRawBytes(entry, place);
        return wanted;
    }
    WantedItem wanted{.item = catalog.describedItem(numberOf(entry, place)), .bringsAllBytes = true};
    wanted.item.setRawData(neededRawBytes(entry, place));
    return wanted;
}

using TakeItem = WantedItem (*)(const Json&, Place, Calvane&, bool);

WantedItem shownItemFromJson(const Json& entry, Place place, Calvane& catalog, bool wrap) {
    const bool hasFields = entry.is_object() && entry.contains("fields");
    WantedItem wanted = (hasFields ? itemFromJson : rawItemFromJson)(entry, std::move(place), catalog, wrap);
    wanted.item.setRawData(wanted.item.rawData());
    return wanted;
}

/// `head`: gets what stands beside the list.
std::vector<WantedItem> allItems(const std::string& text, const std::string& source, Calvane& catalog, bool wrap,
                                 std::span<const std::string_view> forms, TakeItem takeItem, Json* head = nullptr) {
    const Place place{source, {}};
    std::vector<WantedItem> items;
    std::set<std::uint16_t> seen;
    Json found = readItemList(text, source, forms, [&](const Json& entry) {
        items.push_back(takeItem(entry, place, catalog, wrap));
        const std::uint16_t number = items.back().item.getId();
        if (!seen.insert(number).second) {
            place.refuseForm("item " + std::to_string(number) + " stands in it twice");
        }
    });
    if (head != nullptr) {
        *head = std::move(found);
    }
    return items;
}

/// What a list lacks of what was asked for, by reason.
Json missingJson(const ReadReport& read) {
    return {{"noValue", joined(read.numbers(ReadState::kNoValue))},
            {"failed", joined(read.numbers(ReadState::kFailed))},
            {"lost", joined(read.numbers(ReadState::kMissing))},
            {"notTried", joined(read.numbers(ReadState::kNotTried))}};
}

Json readHead(const char* form, const std::optional<RingInfo>& ring, const ReadReport* read) {
    Json head = headJson(form, ring);
    if (read != nullptr) {
        head["port"] = utf8Text(read->comPort);
        head["phone"] = phoneJson(read->phone);
        head["time"] = utcText(read->when);
        head["missing"] = missingJson(*read);
    }
    return head;
}

/// A text of an object; empty where it has none.
std::string textIn(const Json& object, const char* key) {
    const auto text = object.is_object() ? object.find(key) : object.end();
    return text != object.end() && text->is_string() ? text->get<std::string>() : "";
}

std::vector<std::uint16_t> numbersIn(const Json& missing, const char* reason, const Place& place) {
    const std::string numbers = textIn(missing, reason);
    try {
        return numbers.empty() ? std::vector<std::uint16_t>() : parseItemNumbers(numbers).all;
    } catch (const std::invalid_argument& error) {
        place.refuseForm(std::string("\"") + reason + "\" of \"missing\": " + error.what());
    }
}

JsonHead headFrom(const Json& head, const std::string& source) {
    const Place place{source, {}};
    const Json phone = head.value("phone", Json());
    const Json missing = head.value("missing", Json());
    return {.form = textIn(head, "form"),
            .comPort = textIn(head, "port"),
            .phone = {textIn(phone, "serialNumber"), textIn(phone, "model"), textIn(phone, "softwareVersion")},
            .when = timeOfUtcText(textIn(head, "time")),
            .noValue = numbersIn(missing, "noValue", place),
            .failed = numbersIn(missing, "failed", place),
            .lost = numbersIn(missing, "lost", place),
            .notTried = numbersIn(missing, "notTried", place)};
}

} // namespace

std::string utf8Text(const std::string& ringText) {
    if (kernel::isUtf8(ringText)) {
        return ringText;
    }
    std::string text;
    for (const char character : ringText) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            text += character;
        } else {
            text += static_cast<char>(0xC0U | byte >> 6U);
            text += static_cast<char>(0x80U | (byte & 0x3FU));
        }
    }
    return text;
}

std::string itemsToJson(std::span<const NvItem> items, const std::optional<RingInfo>& ring, const ReadReport* read) {
    Json list = Json::array();
    for (const NvItem& item : items) {
        Json fields = Json::array();
        for (const SubItem& subItem : item.getSubItems()) {
            fields.push_back(
                {{"type", subItem.typeName}, {"description", utf8Text(subItem.description)}, {"value", subItem.value}});
        }
        list.push_back({{"id", item.getId()},
                        {"name", utf8Text(item.getName())},
                        {"access", utf8Text(item.getAccess())},
                        {"fields", std::move(fields)},
                        {"raw", hexText(item.rawData())}});
    }
    Json document = readHead(kItems, ring, read);
    document["items"] = std::move(list);
    return textOf(document);
}

std::vector<WantedItem> itemsFromJson(const std::string& text, const std::string& source, Calvane& catalog, bool wrap) {
    return allItems(text, source, catalog, wrap, kItemsAlone, itemFromJson);
}

std::string rawItemsToJson(const ReadReport& read, const RingInfo& ring) {
    Json list = Json::array();
    for (const ItemReading& reading : read.readings) {
        if (reading.state == ReadState::kRead) {
            list.push_back({{"id", reading.number}, {"raw", hexText(reading.data)}});
        }
    }
    Json document = readHead(kRawItems, ring, &read);
    document["items"] = std::move(list);
    return textOf(document);
}

std::vector<WantedItem> rawItemsFromJson(const std::string& text, const std::string& source, Calvane& catalog,
                                         bool wrap) {
    return allItems(text, source, catalog, wrap, kForms, rawItemFromJson);
}

JsonItems shownItemsFromJson(const std::string& text, const std::string& source, Calvane& catalog) {
    Json head;
    auto all = allItems(text, source, catalog, false, kForms, shownItemFromJson, &head);
    JsonItems shown{.head = headFrom(head, source), .items = {}};
    for (WantedItem& wanted : all) {
        shown.bringsAllBytes = shown.bringsAllBytes && wanted.bringsAllBytes;
        shown.items.push_back(std::move(wanted.item));
    }
    return shown;
}

EarlierRead earlierReadFromJson(const std::string& text, const std::string& source) {
    EarlierRead read;
    std::set<std::uint16_t> seen;
    const Json head = readItemList(text, source, kRawAlone, [&](const Json& entry) {
        Place place{source, {}};
        const std::uint16_t number = numberOf(entry, place);
        if (!seen.insert(number).second) {
            place.refuseForm("it stands in it twice");
        }
        read.items.push_back({.number = number, .state = ReadState::kRead, .data = neededRawBytes(entry, place)});
    });
    read.head = headFrom(head, source);
    return read;
}

} // namespace workbench
