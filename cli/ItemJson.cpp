#include "cli/ItemJson.h"

#include "cli/TypedValues.h"

#include <nlohmann/json.hpp>

#include <set>
#include <stdexcept>

namespace {

using Json = nlohmann::ordered_json;

/// Where in the text a complaint belongs.
struct Place {
    const std::string& source;
    std::string item;

    [[noreturn]] void refuse(const std::string& reason) const {
        throw std::runtime_error(source + ": " + (item.empty() ? "" : item + ": ") + reason);
    }

    /// Runs `step`, and puts the place in front of a refusal in it.
    template <class Step>
    auto refusing(Step step) const {
        try {
            return step();
        } catch (const std::exception& error) {
            refuse(error.what());
        }
    }
};

Json parse(const std::string& text, const std::string& source) {
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        // The library's message names line and column behind its own error number.
        const std::string message = error.what();
        const auto start = message.find("] ");
        throw std::runtime_error(source + ": " + (start == std::string::npos ? message : message.substr(start + 2)));
    }
}

/// A piece of the text as a message quotes it: short, and without going into what it holds.
std::string quoted(const Json& piece) {
    if (piece.is_structured()) {
        return piece.is_array() ? "a list" : "an object";
    }
    constexpr std::size_t kMaxQuotedBytes = 60;
    const std::string text = piece.dump(-1, ' ', false, Json::error_handler_t::replace);
    return text.size() <= kMaxQuotedBytes ? text : text.substr(0, kMaxQuotedBytes) + "...";
}

/// The value of a field as the text that an item takes: one without a comma, which would start the next field.
std::string valueText(const Json& field, const Place& place) {
    const auto value = field.is_object() ? field.find("value") : field.end();
    if (value == field.end()) {
        place.refuse("each field needs a \"value\"");
    }
    if (value->is_number_integer()) {
        return value->dump();
    }
    if (!value->is_string() || value->get_ref<const std::string&>().find(',') != std::string::npos) {
        place.refuse("the value " + quoted(*value) + " is neither a whole number nor the text of one");
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

void requireSame(const Json& holder, const char* key, const std::string& expected, const Place& place) {
    const auto found = holder.find(key);
    if (found != holder.end() && (!found->is_string() || plainType(found->get<std::string>()) != plainType(expected))) {
        place.refuse(std::string("its ") + key + " is " + quoted(*found) + " here, but \"" + expected +
                     "\" in the decoder ring");
    }
}

NvItem itemFromJson(const Json& entry, Place place, Calvane& catalog) {
    const auto id = entry.is_object() ? entry.find("id") : entry.end();
    if (id == entry.end() || !id->is_number_unsigned() || id->get<std::uint64_t>() > 0xFFFF) {
        place.refuse("each item needs an \"id\" from 0 to 65535");
    }
    place.item = "item " + id->dump();
    NvItem item = place.refusing([&] { return catalog.getSupportedNvItem(id->get<unsigned short>()); });
    requireSame(entry, "name", item.getName(), place);
    const auto fields = entry.find("fields");
    const auto subItems = item.getSubItems();
    if (fields == entry.end() || !fields->is_array() || fields->size() != subItems.size()) {
        place.refuse("it needs \"fields\" with " + std::to_string(subItems.size()) +
                     " entries, as in the decoder ring");
    }
    std::string values;
    for (std::size_t index = 0; index < subItems.size(); ++index) {
        const Json& field = (*fields)[index];
        values += (index == 0 ? "" : ",") + valueText(field, place);
        requireSame(field, "type", subItems[index].typeName, place);
    }
    place.refusing([&] {
        item.setData(values);
        requireStoredAsTyped(item);
    });
    return item;
}

} // namespace

std::string itemsToJson(std::span<const NvItem> items) {
    Json list = Json::array();
    for (const NvItem& item : items) {
        Json fields = Json::array();
        for (const SubItem& subItem : item.getSubItems()) {
            fields.push_back(
                {{"type", subItem.typeName}, {"description", subItem.description}, {"value", subItem.value}});
        }
        list.push_back({{"id", item.getId()},
                        {"name", item.getName()},
                        {"access", item.getAccess()},
                        {"fields", std::move(fields)}});
    }
    // A ring is plain bytes: a byte that is no UTF-8 becomes a replacement character instead of ending the export.
    return Json{{"items", std::move(list)}}.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::vector<NvItem> itemsFromJson(const std::string& text, const std::string& source, Calvane& catalog) {
    const Json document = parse(text, source);
    const Place place{source, {}};
    const auto list = document.is_object() ? document.find("items") : document.end();
    if (list == document.end() || !list->is_array()) {
        place.refuse("it has no list \"items\"");
    }
    std::vector<NvItem> items;
    std::set<std::uint16_t> seen;
    for (const Json& entry : *list) {
        items.push_back(itemFromJson(entry, place, catalog));
        if (!seen.insert(items.back().getId()).second) {
            place.refuse("item " + std::to_string(items.back().getId()) + " stands in it twice");
        }
    }
    return items;
}
