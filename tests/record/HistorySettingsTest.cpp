// The file in which the user says what is recorded, and where.

#include "workbench/record/HistorySettings.h"

#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

using record::HistorySettings;
using std::chrono::days;

class Settings : public testing::Test {
protected:
    std::string refusal(const std::string& text) const {
        writeText(file, text);
        const std::string message = messageOf([&] { record::readSettings(folder.path); });
        return message.starts_with(file.string() + ":") ? message.substr(file.string().size() + 1) : message;
    }

    const TemporaryFolder folder;
    const std::filesystem::path file = folder / "Calvane.toml";
};

TEST_F(Settings, WhatIsWrongIsRefusedWithItsLine) {
    const std::string password =
        "the address of a shared store holds a password, which belongs into the file ~/.pgpass, "
        "or the one that PGPASSFILE names";
    const std::string period = "'keep' must be a period such as \"1y\", \"6m\", \"2w\" or \"30d\"";
    const std::pair<const char*, std::string> cases[] = {
        {"[history]\nrecord = 1\n", "2: 'record' must be true or false"},
        {"[history]\n\nkeep = \"1 year\"\n", "3: " + period},
        {"[history]\nkeep = \"0d\"\n", "2: " + period},
        {"[history]\nrecrod = true\n", "2: unknown key 'recrod' in [history]"},
        {"[histroy]\nrecord = false\n", "1: there is nothing but a table [history] here, and no 'histroy'"},
        {"[history]\nstore = \"/tmp/x\"\n",
         "2: a shared store is a PostgreSQL database, named as \"postgresql://HOST/DATABASE\""},
        {"[history]\nstore = \"postgresql://u:geheim@db/x\"\n", "2: " + password},
        {"[history]\nstore = \"postgres://db/x?sslmode=require&pass%77ord=geheim\"\n", "2: " + password},
        {"[history]\nr\xE9"
         "cord = true\n",
         "2: a character that is no ASCII stands outside quotation marks"},
    };
    for (const auto& [text, message] : cases) {
        EXPECT_EQ(refusal(text), message) << text;
    }
    for (const char* url :
         {"postgresql:///calvane?host=/run/postgresql", "postgresql://bench@db:5432/x", "postgresql://db/x:y@z"}) {
        EXPECT_EQ(refusal(std::string("[history]\nstore = \"") + url + "\"\n"), "") << url;
    }
}

TEST_F(Settings, SavingKeepsWhatPeopleHaveWritten) {
    const HistorySettings all{.isOn = false, .file = {}, .sharedUrl = "postgresql://db/x", .keep = days(365)};
    const HistorySettings none{};
    const struct {
        const char* before;
        const HistorySettings& settings;
        const char* after;
    } cases[] = {
        {"", none, nullptr},
        {"", all, "[history]\nrecord = false\nstore = \"postgresql://db/x\"\nkeep = \"1y\"\n"},
        {"# \xC3\xA4\r\n[history] # mine\r\nkeep = \"30d\" # month\r\n", all,
         "# \xC3\xA4\r\n[history] # mine\r\nrecord = false\r\nstore = \"postgresql://db/x\"\r\n"
         "keep = \"1y\" # month\r\n"},
        {"history = { keep = \"12m\", record = true, store = \"postgresql://\xC3\xA4/\" } # end", all,
         "history = { keep = \"12m\", record = false, store = \"postgresql://db/x\" } # end"},
        {"[history]\nkeep = \"2w\"\nstore = '''postgresql://a/'''", none, "[history]\nkeep = \"\"\nstore = \"\""},
        {"[history]", all, "[history]\nrecord = false\nstore = \"postgresql://db/x\"\nkeep = \"1y\"\n"},
    };
    for (const auto& row : cases) {
        writeText(file, row.before);
        record::saveSettings(folder.path, row.settings);
        EXPECT_EQ(readText(file), row.after == nullptr ? row.before : row.after);
        HistorySettings wanted = row.settings;
        wanted.file = folder / "History.sqlite";
        EXPECT_EQ(record::readSettings(folder.path), wanted);
    }
    writeText(file, "history = { }\n");
    EXPECT_EQ(messageOf([&] { record::saveSettings(folder.path, all); }),
              file.string() + ": the settings can't be put into what stands in it");
    EXPECT_EQ(readText(file), "history = { }\n");
}

} // namespace
