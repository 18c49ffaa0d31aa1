#include "tessra/host/ServiceConfig.h"

#include "tessra/simulator/ConfigError.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace tessra;

TEST(ServiceConfig, ReadsEveryKey) {
    const TemporaryFolder folder;
    writeText(folder / "t.toml", R"(task_window = false
[[port]]
name = "Bench"
number = 9
kind = "simulated"
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
[[port.fault]]
call = "mode"
from = 2
server_code = 0x80004005
[[port]]
name = "COM12"
device = "tty"
baud = 9600
[[fault]]
call = "portless"
)");
    EXPECT_THROW(loadServiceConfig(folder / "t.toml"), ConfigError);
    std::string text = readText(folder / "t.toml");
    text.replace(text.find("\"portless\""), 10, "\"create_agent\"\nwrong_object = true");
    writeText(folder / "t.toml", text);

    const ServiceConfig config = loadServiceConfig(folder / "t.toml");
    EXPECT_FALSE(config.taskWindow);
    ASSERT_EQ(config.ports.size(), 2U);
    const PortConfig& port = config.ports[0];
    EXPECT_EQ(port.name, "Bench");
    EXPECT_EQ(port.number, 9);
    EXPECT_EQ(port.memory, folder / "a.nvmem");
    EXPECT_EQ(port.initial, "/elsewhere/b.nvmem");
    EXPECT_EQ(port.phone.model + port.phone.softwareVersion + port.phone.serialNumber + port.phone.spc, "MVS123456");
    EXPECT_FALSE(port.present);
    EXPECT_EQ(port.phone.mode, PhoneMode::kStreamDownload);
    EXPECT_EQ(port.phone.leaveAfterMs, -1);
    EXPECT_EQ(port.phone.awayMs, 50);
    ASSERT_EQ(port.faults.size(), 2U);
    EXPECT_EQ(port.faults[0].call, Call::kSend);
    EXPECT_EQ(port.faults[0].item, 500);
    EXPECT_EQ(port.faults[0].firstCall, 3U);
    EXPECT_EQ(port.faults[0].lastCall, 3U);
    EXPECT_EQ(port.faults[0].delayMs, 10U);
    EXPECT_EQ(port.faults[0].kind, FaultKind::kNvStatus);
    EXPECT_EQ(port.faults[0].value, 6U);
    EXPECT_EQ(port.faults[1].firstCall, 2U);
    EXPECT_EQ(port.faults[1].lastCall, 0xFFFFFFFFU);
    EXPECT_EQ(port.faults[1].value, 0x80004005U);
    EXPECT_EQ(config.ports[1].number, 12);
    EXPECT_EQ(config.ports[1].line.device, folder / "tty");
    EXPECT_EQ(config.ports[1].line.baud, 9600U);
    ASSERT_EQ(config.faults.size(), 1U);
    EXPECT_EQ(config.faults[0].kind, FaultKind::kWrongObject);
}

TEST(ServiceConfig, SaysWhichLineIsWrongAndWhy) {
    struct Row {
        const char* name;
        const char* text;
        const char* message; // after the file's name
    };
    // The parser works on such a name recursively.
    std::string manyParts = "\n[a";
    for (int part = 0; part < 300000; ++part) {
        manyParts += ".a";
    }
    manyParts += "]";
    const Row rows[] = {
        {"no TOML", "\n[[port]\n", ":2: "},
        {"a name of very many parts", manyParts.c_str(), ":2: the line is longer than 4096 characters"},
        {"a key that is not known", "a = 1", ":1: unknown key 'a' in the file"},
        {"a line's key on a simulated phone", "[[port]]\nname = \"COM1\"\nbaud = 1", ":3: unknown key 'baud' in port"},
        {"a port as a plain table", "[port]\nname = \"COM1\"", ":1: 'port' must be tables, each under [[port]]"},
        {"no name", "\n[[port]]\npresent = true", ":2: a port needs its 'name'"},
        {"no number", "[[port]]\nname = \"Bench\"",
         ":2: the port 'Bench' needs a 'number', as its name is not COM and a number"},
        {"a number out of range", "[[port]]\nname = \"A\"\nnumber = 65536",
         ":3: 'number' must be a whole number from 1 to 65535"},
        {"a text for a number", "[[port]]\nname = \"A\"\nnumber = \"1\"",
         ":3: 'number' must be a whole number from 1 to 65535"},
        {"two ports of one name", "[[port]]\nname = \"COM1\"\n\n[[port]]\nname = \"COM1\"",
         ":4: there are two ports 'COM1'"},
        {"two ports of one number", "[[port]]\nname = \"COM1\"\n\n[[port]]\nname = \"A\"\nnumber = 1",
         ":4: the ports 'COM1' and 'A' have the same number"},
        {"two ports with one memory",
         "[[port]]\nname = \"COM1\"\nmemory = \"a\"\n[[port]]\nname = \"COM2\"\nmemory = \"./a\"",
         ":4: the ports 'COM1' and 'COM2' have the same memory file"},
        {"another kind", "[[port]]\nname = \"COM1\"\nkind = \"tty\"", ":3: 'kind' must be \"simulated\" or \"serial\""},
        {"no device", "\n[[port]]\nname = \"COM1\"\nkind = \"serial\"", ":2: a serial port needs its 'device'"},
        {"a speed that is none", "[[port]]\nname = \"COM1\"\ndevice = \"a\"\nbaud = 0",
         ":4: 'baud' must be a whole number from 1 to 4294967295"},
        {"a simulated phone's key on a line", "[[port]]\nname = \"COM1\"\ndevice = \"a\"\nmemory = \"m\"",
         ":4: unknown key 'memory' in port"},
        {"two ports on one device",
         "[[port]]\nname = \"COM1\"\ndevice = \"a\"\n[[port]]\nname = \"COM2\"\ndevice = \"./a\"",
         ":4: the ports 'COM1' and 'COM2' have the same device"},
        {"no flag", "[[port]]\nname = \"COM1\"\npresent = 1", ":3: 'present' must be true or false"},
        {"an empty path", "[[port]]\nname = \"COM1\"\nmemory = \"\"", ":3: 'memory' must be a text that is not empty"},
        {"a model too long for its field", "[[port]]\nname = \"COM1\"\nmodel = \"thirteen char\"",
         ":3: 'model' must be at most 12 printable ASCII characters"},
        {"a code with letters", "[[port]]\nname = \"COM1\"\nspc = \"00000a\"", ":3: 'spc' must be six digits"},
        {"an unknown mode", "[[port]]\nname = \"COM1\"\nmode = \"reset\"",
         ":3: 'mode' must be \"online\", \"offline\", \"download\" or \"stream_download\""},
        {"a fault of no call", "[[fault]]\nthrow = true", ":1: a fault needs its 'call'"},
        {"a fault of an unknown call", "[[fault]]\ncall = \"dial\"", ":2: there is no call 'dial'"},
        {"a port's fault without a port", "[[fault]]\ncall = \"send\"\nthrow = true",
         ":1: the call 'send' belongs to a port"},
        {"a fault that does nothing", "[[fault]]\ncall = \"translator\"",
         ":1: a fault needs something to do, such as 'no_answer' or 'delay_ms'"},
        {"two faults in one", "[[fault]]\ncall = \"translator\"\nthrow = true\nnull_object = true",
         ":4: a fault does one thing; for more, write another"},
        {"a fault that its call can't have", "[[fault]]\ncall = \"translator\"\nwrong_object = true",
         ":1: the call 'translator' can't have this fault"},
        {"a status for a call that is no packet",
         "[[port]]\nname = \"COM1\"\n[[port.fault]]\ncall = \"lock\"\nnv_status = 5",
         ":3: the call 'lock' can't have this fault"},
        {"two occasions", "[[fault]]\ncall = \"translator\"\non = 1\nfrom = 2\nthrow = true",
         ":4: a fault has either 'on' or 'from'"},
    };
    const TemporaryFolder folder;
    const auto file = folder / "t.toml";
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        writeText(file, row.text);
        try {
            loadServiceConfig(file);
            ADD_FAILURE() << "accepted";
        } catch (const ConfigError& error) {
            EXPECT_THAT(error.what(), testing::StartsWith(file.string() + row.message));
        }
    }
    writeText(file, "");
    EXPECT_TRUE(loadServiceConfig(file).ports.empty());
    EXPECT_THROW(loadServiceConfig(folder / "missing.toml"), ConfigError);
    EXPECT_THROW(loadServiceConfig(folder.path), ConfigError);
}

TEST(ServiceConfig, WhatShipsIsOnePhoneOnCom1) {
    const ServiceConfig config = loadServiceConfig(CALVANE_SOURCE_DIR "/data/Tessra.toml");
    EXPECT_TRUE(config.taskWindow);
    EXPECT_TRUE(config.faults.empty());
    ASSERT_EQ(config.ports.size(), 1U);
    EXPECT_EQ(config.ports[0].name, "COM1");
    EXPECT_EQ(config.ports[0].initial.filename(), "Sample Phone.nvmem");
}
