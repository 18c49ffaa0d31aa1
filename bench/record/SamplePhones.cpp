#include "bench/record/SamplePhones.h"

#include "platform/kernel/Text.h"
#include "workbench/record/History.h"

#include <fstream>
#include <sstream>

namespace sample {
namespace {

using record::Session;
using record::SessionItem;
using record::SessionKind;
using record::SessionState;

constexpr std::size_t kSessionsAtOnce = 1000;
/// Of a shorter item phones have the same value, as it says what they are and not how they were tuned.
constexpr std::size_t kTuned = 3;
/// 2025-01-01.
constexpr std::int64_t kBeginMs = 1735689600000;
/// Stations record a session each minute.
constexpr std::int64_t kBetweenMs = 60000;

struct Sample {
    SessionItem item;
    std::size_t length = 0;
};

/// The items of the sample phone's memory file.
std::vector<Sample> readSamples() {
    std::vector<Sample> samples;
    std::ifstream file(CALVANE_SOURCE_DIR "/data/Sample Phone.nvmem");
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::uint16_t number = 0;
        std::uint16_t status = 0;
        std::string digits;
        if (!(words >> number >> status >> digits)) {
            continue;
        }
        Sample sample{.item = {.number = number, .state = record::ItemState::kRead, .status = status}};
        record::ItemData data{};
        for (; digits.size() >= 2 * (sample.length + 1); ++sample.length) {
            data.at(sample.length) =
                kernel::wholeNumber<std::uint8_t>(digits.substr(2 * sample.length, 2), 16).value_or(0);
        }
        sample.item.after = data;
        samples.push_back(sample);
    }
    return samples;
}

const std::vector<Sample>& samples() {
    static const std::vector<Sample> all = readSamples();
    return all;
}

void tune(SessionItem& item, std::size_t length, std::mt19937& random) {
    for (std::size_t at = 0; at < length; ++at) {
        item.after->at(at) = static_cast<std::uint8_t>(item.after->at(at) + random() % 7);
    }
}

/// Puts many sessions into one transaction.
class ManyAtOnce : public record::Database {
public:
    explicit ManyAtOnce(std::unique_ptr<record::Database> database) : database_(std::move(database)) {}
    ~ManyAtOnce() override { finish(); }

    std::vector<record::Row> run(std::string_view sql, std::span<const record::Value> parameters) override {
        return database_->run(sql, parameters);
    }
    void begin(bool) override {
        if (count_++ == 0) {
            database_->begin(false);
        }
    }
    void commit() override {
        if (count_ >= kSessionsAtOnce) {
            finish();
        }
    }
    void rollback() noexcept override { database_->rollback(); }
    std::string inOwnWords(std::string sql) const override { return database_->inOwnWords(std::move(sql)); }
    bool isShared() const override { return database_->isShared(); }
    bool mayWrite() override { return database_->mayWrite(); }
    std::int64_t nowMs() override { return database_->nowMs(); }
    void giveBackRoom() override {}

private:
    void finish() {
        if (count_ > 0) {
            database_->commit();
        }
        count_ = 0;
    }

    std::unique_ptr<record::Database> database_;
    std::size_t count_ = 0;
};

} // namespace

Items itemsOf(std::size_t phone) {
    std::mt19937 random(static_cast<std::uint32_t>(phone));
    Items items;
    for (Sample sample : samples()) {
        if (sample.length >= kTuned) {
            tune(sample.item, sample.length, random);
        }
        items.push_back(sample.item);
    }
    return items;
}

void change(Items& items, std::size_t count, std::mt19937& random) {
    for (; count > 0; --count) {
        tune(items.at(random() % items.size()), 2, random);
    }
}

Session session(std::size_t phone, std::size_t number, SessionKind kind) {
    const std::string digits = kernel::hexDigits(number, 12);
    const auto begun = record::timeOf(kBeginMs + static_cast<std::int64_t>(number) * kBetweenMs);
    return {.uuid = "5eed0000-0000-4000-8000-" + digits,
            .kind = kind,
            .state = SessionState::kComplete,
            .begun = begun,
            .ended = begun + std::chrono::seconds(9),
            .program = "calvane-batch 1.4.34",
            .ringPath = "/usr/share/calvane/NV Decoder.vrk",
            .ringSha256 = std::string(64, 'a'),
            .port = "COM" + std::to_string(1 + phone % 8),
            .phone = {.serialNumber = "S" + std::to_string(100000000 + phone),
                      .model = "Sample " + std::to_string(phone % 3),
                      .softwareVersion = "2.31"},
            .user = "operator" + std::to_string(phone % 5),
            .host = "station-" + std::to_string(phone % 8),
            .asked = "read: all supported items"};
}

void fill(std::unique_ptr<record::Database> database, std::size_t phones, std::size_t sessionsOfEach) {
    record::Store store(std::make_unique<ManyAtOnce>(std::move(database)));
    std::vector<Items> all;
    for (std::size_t phone = 0; phone < phones; ++phone) {
        all.push_back(itemsOf(phone));
    }
    std::mt19937 random(1);
    for (std::size_t round = 0; round < sessionsOfEach; ++round) {
        for (std::size_t phone = 0; phone < phones; ++phone) {
            const bool isWrite = round % 7 == 6;
            Items& items = all[phone];
            Items before = items;
            if (isWrite || round % 5 == 4) {
                change(items, 5, random);
            }
            const std::size_t number = round * phones + phone;
            if (!isWrite) {
                store.add(session(phone, number), items);
                continue;
            }
            Items written;
            for (std::size_t at = 0; at < items.size(); ++at) {
                if (!(items[at] == before[at])) {
                    written.push_back(items[at]);
                    written.back().state = record::ItemState::kVerified;
                    written.back().before = before[at].after;
                    written.back().wanted = items[at].after;
                }
            }
            store.add(session(phone, number, SessionKind::kWrite), written);
        }
    }
}

std::vector<Question> questions() {
    using record::Database;
    using record::History;
    static constexpr std::uint16_t kItem = 1007;
    static const auto somePhone = [](Database& database) {
        return History(database).findPhone(session(4711 % 1000, 0).phone, "").value_or(record::PhoneRow()).id;
    };
    static const auto sessionsOf = [](Database& database) {
        return History(database).sessions({.phone = somePhone(database)});
    };
    return {
        {"phones", [](Database& database) { return History(database).phones().size(); }},
        {"sessions of a phone", [](Database& database) { return sessionsOf(database).size(); }},
        {"the newest sessions", [](Database& database) { return History(database).sessions({}).size(); }},
        {"items of a read",
         [](Database& database) {
             const auto sessions = sessionsOf(database);
             return History(database).items(sessions.empty() ? "" : sessions.front().uuid).size();
         }},
        {"an item over time",
         [](Database& database) { return History(database).overTime(somePhone(database), kItem).size(); }},
        {"an item over all phones", [](Database& database) { return History(database).overPhones(kItem).size(); }},
    };
}

} // namespace sample
