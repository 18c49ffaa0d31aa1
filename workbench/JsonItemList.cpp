#include "workbench/JsonItemList.h"

#include "engine/SubItem.h"
#include "platform/kernel/Text.h"
#include "workbench/FieldValues.h"
#include "workbench/ResultJson.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace workbench {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMaxLevels = 32;
constexpr std::size_t kMaxTokenBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxComplaintBytes = 300;
/// Each field of an item has a byte of its own.
constexpr std::size_t kMaxFields = items::kItemDataBytes;
constexpr std::array<std::string_view, 21> kKeys{
    "items",   "id",     "name",   "raw",     "fields", "type",         "description",
    "value",   "form",   "schema", "missing", "phone",  "serialNumber", "softwareVersion",
    "noValue", "failed", "model",  "time",    "port",   "lost",         "notTried"};

[[noreturn]] void refuseLine(const std::string& source, std::size_t line, const std::string& reason) {
    throw ValuesRefused(ValuesRefused::Kind::kText, source + ": line " + std::to_string(line) + ": " + reason);
}

/// Refuses what would cost the parser more than a small multiple of the text, before it sees any of it.
void requireModestText(std::string_view text, const std::string& source) {
    std::size_t line = 1;
    std::size_t levels = 0;
    std::size_t tokenBytes = 0;
    bool inText = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char character = text[at];
        line += character == '\n' ? 1 : 0;
        ++tokenBytes;
        if (character == '\0') {
            refuseLine(source, line, "a zero byte"); // which the parser takes for the end
        }
        if (inText) {
            inText = character != '"';
            at += character == '\\' ? 1 : 0;
        } else if (character == '"') {
            inText = true;
            tokenBytes = 0;
        } else if (std::string_view(" \t\r\n,:[]{}").find(character) != std::string_view::npos) {
            tokenBytes = 0;
            levels += character == '[' || character == '{' ? 1 : 0;
            levels -= (character == ']' || character == '}') && levels > 0 ? 1 : 0;
        }
        if (levels > kMaxLevels) {
            refuseLine(source, line, "nested deeper than " + std::to_string(kMaxLevels) + " levels");
        }
        if (tokenBytes > kMaxTokenBytes) {
            refuseLine(source, line, "a text or number of more than " + std::to_string(kMaxTokenBytes) + " characters");
        }
    }
}

/// Takes what the parser finds, one piece at a time.
class ItemListReader : public nlohmann::json_sax<Json> {
public:
    ItemListReader(const std::string& source, std::span<const std::string_view> forms,
                   const std::function<void(const Json&)>& take)
        : source_(source), forms_(forms), take_(take) {}

    bool hasList() const { return hasList_; }
    const Json& head() const { return head_; }

    bool null() override { return put(nullptr); }
    bool boolean(bool value) override { return put(value); }
    bool number_integer(std::int64_t value) override { return put(value); }
    bool number_unsigned(std::uint64_t value) override { return put(value); }
    bool number_float(double value, const std::string& /*text*/) override { return put(value); }
    bool string(std::string& value) override { return put(std::move(value)); }
    bool binary(Json::binary_t& /*value*/) override { return false; } // of other formats
    bool start_object(std::size_t /*size*/) override { return open(Json::object()); }
    bool start_array(std::size_t /*size*/) override { return open(Json::array()); }

    bool key(std::string& name) override {
        Level& level = levels_.back();
        const auto known = std::ranges::find(kKeys, name);
        level.key = known == kKeys.end() ? std::string_view() : *known;
        if (known == kKeys.end()) {
            level.otherKeys.push_back(std::hash<std::string>()(name));
            return true;
        }
        const unsigned bit = 1U << (known - kKeys.begin());
        if ((level.keysSeen & bit) != 0) {
            refuse("the key \"" + name + "\" stands twice in one object");
        }
        level.keysSeen |= bit;
        return true;
    }

    bool end_object() override {
        auto& keys = levels_.back().otherKeys;
        std::ranges::sort(keys);
        if (std::ranges::adjacent_find(keys) != keys.end()) {
            refuse("a key stands twice in one object");
        }
        return end_array();
    }

    bool end_array() override {
        const Place place = levels_.back().place;
        levels_.pop_back();
        if (place == Place::kItem) {
            take_(item_);
            item_ = nullptr;
        }
        return true;
    }

    bool parse_error(std::size_t /*position*/, const std::string& /*token*/, const Json::exception& error) override {
        // The library's message names line and column behind its own error number, and quotes a piece of any length.
        std::string message = error.what();
        message.erase(0, message.find("] ") + 2);
        throw ValuesRefused(ValuesRefused::Kind::kText,
                            source_ + ": " + kernel::shortened(message, kMaxComplaintBytes));
    }

private:
    enum class Place { kDocument, kHead, kItems, kItem, kFields, kField, kElsewhere };

    /// A list or an object that is open.
    struct Level {
        Place place;
        std::string_view key;               ///< the last one; empty for one that items do not have
        unsigned keysSeen = 0;              ///< a bit for each of kKeys
        std::vector<std::size_t> otherKeys; ///< their hashes, since the keys themselves may be any number of any length
    };

    bool open(Json value) {
        levels_.push_back({keep(std::move(value)), {}, 0, {}});
        return true;
    }

    template <class Value>
    bool put(Value value) {
        keep(Json(std::move(value)));
        return true;
    }

    /// Keeps a value where an item has one, and answers what place it is.
    Place keep(Json value) {
        if (levels_.empty()) {
            return value.is_object() ? Place::kDocument : Place::kElsewhere;
        }
        const std::string_view key = levels_.back().key;
        switch (levels_.back().place) {
        case Place::kDocument:
            hasList_ = hasList_ || (key == "items" && value.is_array());
            return key == "items" && value.is_array() ? Place::kItems : keepInHead(key, std::move(value));
        case Place::kHead:
            keepAs(head_[std::string(headKey_)], key, std::move(value));
            return Place::kElsewhere;
        case Place::kItems:
            if (value.is_object()) {
                item_ = std::move(value);
                return Place::kItem;
            }
            take_(value);
            return Place::kElsewhere;
        case Place::kItem:
            return keepAs(item_, key, std::move(value)) && key == "fields" ? Place::kFields : Place::kElsewhere;
        case Place::kFields:
            return keepField(item_["fields"], std::move(value));
        case Place::kField:
            keepAs(item_["fields"].back(), key, std::move(value));
            return Place::kElsewhere;
        default:
            return Place::kElsewhere;
        }
    }

    Place keepInHead(std::string_view key, Json value) {
        const bool isObject = value.is_object();
        if (key == "form") {
            requireForm(value);
        }
        keepAs(head_, key, std::move(value));
        headKey_ = key;
        return isObject && !key.empty() ? Place::kHead : Place::kElsewhere;
    }

    void requireForm(const Json& form) const {
        const auto isIt = [&form](std::string_view known) { return form == Json(known); };
        if (std::ranges::none_of(forms_, isIt)) {
            std::string needed;
            for (const std::string_view known : forms_) {
                needed += (needed.empty() ? "\"" : " or \"") + std::string(known) + "\"";
            }
            const std::string found = form.is_structured() ? "a list or an object" : form.dump();
            refuse("its form is " + kernel::shortened(found, kMaxComplaintBytes) + ", and " + needed + " is needed");
        }
    }

    /// Answers whether it is a list.
    static bool keepAs(Json& holder, std::string_view key, Json value) {
        const bool isList = value.is_array();
        if (!key.empty()) {
            holder[std::string(key)] = std::move(value);
        }
        return isList;
    }

    static Place keepField(Json& fields, Json value) {
        const bool isField = value.is_object() && fields.size() <= kMaxFields;
        if (fields.size() <= kMaxFields) {
            fields.push_back(std::move(value));
        }
        return isField ? Place::kField : Place::kElsewhere;
    }

    [[noreturn]] void refuse(const std::string& reason) const {
        const auto id = item_.find("id");
        const bool isNamed = id != item_.end() && id->is_number_unsigned();
        throw ValuesRefused(ValuesRefused::Kind::kText,
                            source_ + ": " + (isNamed ? "item " + id->dump() + ": " : std::string()) + reason);
    }

    const std::string& source_;
    const std::span<const std::string_view> forms_;
    const std::function<void(const Json&)>& take_;
    std::vector<Level> levels_;
    Json item_; ///< the one that is being read
    Json head_ = Json::object();
    std::string_view headKey_; ///< of the object in it that is being read
    bool hasList_ = false;
};

} // namespace

Json readItemList(const std::string& text, const std::string& source, std::span<const std::string_view> forms,
                  const std::function<void(const Json&)>& take) {
    requireModestText(text, source);
    ItemListReader reader(source, forms, take);
    Json::sax_parse(text, &reader);
    if (!reader.hasList()) {
        throw ValuesRefused(ValuesRefused::Kind::kText, source + ": it has no list \"items\"");
    }
    const auto schema = reader.head().find("schema");
    if (schema != reader.head().end() && *schema > kResultSchema) {
        throw ValuesRefused(ValuesRefused::Kind::kText,
                            source + ": its schema is " + kernel::shortened(schema->dump(), 20) +
                                ", and this program knows none above " + std::to_string(kResultSchema));
    }
    return reader.head();
}

} // namespace workbench
