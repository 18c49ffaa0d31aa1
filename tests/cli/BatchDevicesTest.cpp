// Serial devices that no file of ports describes. A folder of links to terminals stands for those of the system.

#include "BatchTool.h"
#include "tests/tessra/RunningPhone.h"

#include <nlohmann/json.hpp>

namespace {

class BatchDevices : public BatchTool {
protected:
    BatchDevices() { std::filesystem::create_directory(devices_); }

    const std::filesystem::path devices_ = folder / "devices";
    const std::string all_ = "ports --all --device-folder devices";
};

TEST_F(BatchDevices, AreListedWithoutBeingOpenedAndAskedByChoiceAlone) {
    EXPECT_EQ(run(all_).err, "No serial device is there.\n");
    const RunningPhone phone(devices_ / "phone", {.model = "M7", .serialNumber = "42"});
    std::filesystem::create_symlink("/nowhere", devices_ / "a");
    const std::string path = devices_.string() + "/";
    const std::string free = ::geteuid() == 0 ? "free" : "free as far as can be seen";
    EXPECT_EQ(run(all_).out, path + "a      gone  a\n" + path + "phone  " + free + "  phone\n");
    const auto list = nlohmann::json::parse(run(all_ + " --json").out).at("devices");
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[1], (nlohmann::json{{"device", path + "phone"},
                                       {"by_id", "phone"},
                                       {"product", ""},
                                       {"state", "free"},
                                       {"all_processes_seen", free == "free"}}));
    EXPECT_EQ(phone.terminal.packets(), 0U);
    ASSERT_EQ(run(all_ + " --probe devices/phone --report r").status, 0);
    const auto report = nlohmann::json::parse(readText(folder / "r"));
    EXPECT_EQ(report["port"].dump() + report["phone"]["serialNumber"].dump(), "\"devices/phone\"\"42\"");

    const struct {
        const char* device;
        int status;
        std::string text;
    } rows[] = {
        {"devices/phone --baud 9600", 0, "devices/phone: M7 42, software 1.0\n"},
        {"devices/a", 3, "calvane-batch: devices/a: gone\n"},
        {"devices/phone --baud 12345", 3,
         "calvane-batch: devices/phone: 12345 baud is none of the speeds of a serial line from 1800 to 4000000\n"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = run(all_ + " --probe " + row.device);
        EXPECT_EQ(outcome.status, row.status) << row.device;
        EXPECT_EQ(outcome.out + outcome.err, row.text);
    }
}

TEST_F(BatchDevices, APhoneOnADeviceNeedsNoFileOfPorts) {
    std::filesystem::remove(folder / "Tessra.toml");
    const RunningPhone phone(devices_ / "phone", {}, folder / "phone.nvmem");
    EXPECT_EQ(run("set 30 8 --device devices/phone --baud 230400", "").status, 0);
    const Outcome read = run("read --device devices/phone --ids 30 --text -", "");
    EXPECT_EQ(read.out, "NV_B\r\n8, \r\n\r\n") << read.err;
    EXPECT_EQ(run("read --device devices/phone --json j", "").status, 0);
    EXPECT_EQ(run("set 30 9 --device devices/phone", "").status, 0);
    write("ring.units", "30 1 V 1 0 - 8\n");
    EXPECT_EQ(run("diff j devices/phone").status, 10);
    EXPECT_EQ(run("check --device devices/phone --json j").status, 11);
    const Outcome none = run("reset --device devices/none", "");
    EXPECT_EQ(none.status, 3);
    EXPECT_NE(none.err.find(" devices/none: can't be opened: No such file or directory\n"), std::string::npos);
}

} // namespace
