#include "tessra/host/ConfigEdit.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using namespace tessra;

namespace {

constexpr const char* kEveryKey = R"(task_window = false
[[port]]
name = "Bench"
number = 9
memory = "a.nvmem"
initial = "/elsewhere/b.nvmem"
model = "M"
software_version = "V"
serial = "S"
spc = "123456"
present = false
mode = "stream_download"
leave_after_ms = -1
away_ms = 50
[[port.fault]]
call = "send"
item = 500
on = 3
delay_ms = 10
nv_status = 6
[[port]]
name = "COM12"
device = "tty"
baud = 9600
[[fault]]
call = "create_agent"
from = 2
server_code = 0x80004005
)";

TEST(ServiceConfig, ReadsEveryKey) {
    const TemporaryFolder folder;
    writeText(folder / "t.toml", kEveryKey);
    const ServiceConfig config = loadServiceConfig(folder / "t.toml");
    EXPECT_FALSE(config.taskWindow);
    ASSERT_EQ(config.ports.size(), 2U);
    const PortConfig& port = config.ports[0];
    EXPECT_EQ(port.name + std::to_string(port.number), "Bench9");
    EXPECT_EQ(port.memory, folder / "a.nvmem");
    EXPECT_EQ(port.initial, "/elsewhere/b.nvmem");
    EXPECT_EQ(port.phone.model + port.phone.softwareVersion + port.phone.serialNumber + port.phone.spc, "MVS123456");
    EXPECT_FALSE(port.present);
    EXPECT_EQ(port.phone.mode, PhoneMode::kStreamDownload);
    EXPECT_EQ(port.phone.leaveAfterMs, -1);
    EXPECT_EQ(port.phone.awayMs, 50);
    ASSERT_EQ(port.faults.size(), 1U);
    const FaultRule& fault = port.faults[0];
    EXPECT_EQ(fault.item, 500);
    EXPECT_EQ(fault.firstCall, 3U);
    EXPECT_EQ(fault.lastCall, 3U);
    EXPECT_EQ(fault.delayMs, 10U);
    EXPECT_EQ(fault.value, 6U);
    EXPECT_EQ(config.ports[1].number, 12);
    EXPECT_EQ(config.ports[1].line.device, folder / "tty");
    EXPECT_EQ(config.ports[1].line.baud, 9600U);
    ASSERT_EQ(config.faults.size(), 1U);
    EXPECT_EQ(nameOf(config.faults[0].call), "create_agent");
    EXPECT_EQ(config.faults[0].firstCall, 2U);
    EXPECT_EQ(config.faults[0].lastCall, 0xFFFFFFFFU);
    EXPECT_EQ(config.faults[0].value, 0x80004005U);
}

// Each is refused with its line.
TEST(ServiceConfig, SaysWhichLineIsWrongAndWhy) {
    const std::string port = "[[port]]\nname = \"COM1\"\n";
    const std::string translator = "[[fault]]\ncall = \"translator\"\n";
    const struct {
        std::string text;
        const char* message; // after the file's name
    } rows[] = {
        {"\n[[port]\n", ":2: "},
        {"\n#" + std::string(4096, 'x'), ":2: the line is longer than 4096 characters"},
        {"\n[[port]]\npresent = true", ":2: a port needs its 'name'"},
        {"[[port]]\nname = \"B\"", ":2: the port 'B' needs a 'number', as its name is not COM and a number"},
        {port + port, ":3: there are two ports 'COM1'"},
        {port + "memory = \"a\"\n[[port]]\nname = \"COM2\"\nmemory = \"./a\"",
         ":4: the ports 'COM1' and 'COM2' have the same memory file"},
        {port + "spc = \"00000a\"", ":3: 'spc' must be six digits"},
        {translator + "thro = true", ":3: unknown key 'thro' in fault"},
        {translator + "wrong_object = true", ":1: the call 'translator' can't have this fault"},
    };
    const TemporaryFolder folder;
    const auto file = folder / "t.toml";
    for (const auto& row : rows) {
        writeText(file, row.text);
        EXPECT_THAT(messageOf<ConfigError>([&] { loadServiceConfig(file); }),
                    testing::StartsWith(file.string() + row.message));
    }
    EXPECT_THROW(loadServiceConfig("/dev/null/missing.toml"), ConfigError);
}

// A level is a bracket, a part of the table's name or a dot of a key; what stands in texts and comments is none.
TEST(ServiceConfig, WhatIsTooLargeOrTooDeepNeverReachesTheParser) {
    const auto times = [](int count, const std::string& text) {
        std::string all;
        for (; count > 0; --count) {
            all += text;
        }
        return all;
    };
    const std::string deep = ": nested deeper than 32 levels";
    const std::string texts =
        "s = \"[[[\\\"{{{\" # [[[\nt = '{{.'\nu = \"\"\"\n[[\"\"[[\\\"\"\"\"\"\nw = [ 1.5, 2.5 ]\n";
    const std::pair<std::string, std::string> rows[] = {
        {"x" + times(32, ".x") + " = 1", ":1: unknown key 'x' in the file"},
        {"\nx" + times(33, ".x") + " = 1", ":2" + deep},
        {"# \u00e4\nx = \"\u00e4\"\n\u00e4 = 1", ":3: a character that is no ASCII stands outside quotation marks"},
        {"x = 5'\u00e4'", ":1: a quotation mark stands in the middle of a word"},
        {"x = \"\"\"\na\\\u00e4\"\"\"", ":2: a character that is no ASCII stands between three quotation marks"},
        {"x = 1 \x02", ":1: a control character"},
        {"\xEF\xBB\xBFx = 1", ":1: unknown key 'x' in the file"},
        {"[x" + times(20, ".x") + "]\ny = 1\nx" + times(12, ".x") + " = 1", ":3" + deep},
        {"x = " + times(33, "["), ":1" + deep},
        {"x = " + times(11, "{ x.y.z = [\n"), ":9" + deep},
        {texts + texts + "x = " + times(33, "["), ":11" + deep},
        {times(300, texts + "#" + times(160, "x") + "\n"), ":1704: the file is longer than 65536 bytes"},
    };
    const TemporaryFolder folder;
    const auto file = folder / "t.toml";
    for (const auto& [text, message] : rows) {
        writeText(file, text);
        EXPECT_THAT(messageOf<ConfigError>([&] { loadServiceConfig(file); }),
                    testing::StartsWith(file.string() + message));
    }
}

TEST(ServiceConfigEdit, APortIsAddedBehindWhatStandsThere) {
    const TemporaryFolder folder;
    const auto file = folder / "t.toml";
    const std::string added = "[[port]]\nname = \"COM3\"\ndevice = \"/dev/a \\\"b\\\\\\u0007\"\nbaud = 9600\n";
    const LineSetup line{.device = "/dev/a \"b\\\a", .baud = 9600};
    const std::pair<std::string, std::string> rows[] = {
        {"", added},
        {"# mine\n[[port]]\nname = \"COM1\" # bench\n  [[port.fault]]\n  call = \"send\"\n  throw = true", ""},
        {"[[fault]]\ncall = \"create_agent\"\nthrow = true\n", ""},
        {"task_window = false\r\n", ""},
    };
    for (const auto& [before, whole] : rows) {
        std::filesystem::remove(file);
        if (!before.empty()) {
            writeText(file, before);
        }
        const PortConfig port = addPortTo(file, "COM3", line);
        EXPECT_EQ(port.line.device, line.device);
        EXPECT_EQ(loadServiceConfig(file).ports.back().line.baud, 9600U);
        const std::string after = readText(file);
        EXPECT_EQ(after.substr(0, before.size()), before);
        EXPECT_TRUE(whole.empty() || after == whole) << after;
        EXPECT_EQ(std::ranges::count(after, '\r') > 0, before.ends_with('\r' + std::string("\n")));
    }
}

TEST(ServiceConfigEdit, AFileThatCantTakeAPortStaysAsItIs) {
    const TemporaryFolder folder;
    const auto file = folder / "t.toml";
    for (const std::string before :
         {"[[port]]\nname = \"COM3\"\n", "port = []\n", "x = \"\"\"", "[[port]]\nname = \"A\"\nnumber = 3\n",
          "[[port]]\nname = \"A\"\nnumber = 1\ndevice = \"/dev/x\"\n"}) {
        writeText(file, before);
        EXPECT_THROW(addPortTo(file, "COM3", {.device = "/dev/x"}), ConfigError) << before;
        EXPECT_EQ(readText(file), before);
    }
    std::filesystem::create_symlink("/dev/null", folder / "n");
    ServiceConfig config = parseServiceConfig("[[port]]\nname = \"A\"\nnumber = 1\ndevice = \"/dev/null\"\n", file);
    EXPECT_EQ(portOn(config, folder / "n"), &config.ports[0]) << "the same device";
    EXPECT_EQ(portOn(config, "/dev/zero"), nullptr);
    EXPECT_EQ(freePortName(config), "COM2");
}

} // namespace
