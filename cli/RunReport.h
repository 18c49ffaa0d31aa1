#pragma once

#include "cli/ExitStatus.h"
#include "workbench/PhoneReader.h"
#include "workbench/PhoneWriter.h"
#include "workbench/ResultJson.h"

#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Number, result, NV status and milliseconds of one item, as reports and events have them.
nlohmann::ordered_json outcomeJson(const workbench::ItemReading& reading);
nlohmann::ordered_json outcomeJson(const workbench::WriteResult& result);

/// What a run of the tool on one port came to, for --report: filled while it runs, so that it also says what was done
/// before a failure. Belongs to one thread, but for the messages. The service programming code has no place in it.
/// docs/schema/report.json has the form.
class RunReport {
public:
    using Names = std::map<std::uint16_t, std::string>;

    RunReport(std::string verb, std::string port)
        : verb_(std::move(verb)), port_(std::move(port)), start_(std::chrono::system_clock::now()) {}

    void setRing(workbench::RingInfo ring) { ring_ = std::move(ring); }
    /// What the phone had, of a read or before a write.
    void setRead(workbench::ReadReport read) { read_ = std::move(read); }
    /// What is to be written, or would be.
    void setPlan(workbench::WritePlan plan, bool isDryRun);
    /// What a write came to so far. It may go on changing until the report is made.
    workbench::WriteReport& write() { return write_; }
    void setPhone(const workbench::PhoneIdentity& phone) { phone_ = phone; }
    void setPresentPorts(std::vector<std::string> ports) { presentPorts_ = std::move(ports); }
    /// A line that people were told on standard error. Any thread may tell one.
    void addMessage(std::string line) {
        const std::scoped_lock lock(messagesMutex_);
        messages_.push_back(std::move(line));
    }

    std::string json(ExitStatus status, const Names& names) const;

private:
    const std::string verb_;
    const std::string port_;
    const std::chrono::system_clock::time_point start_;
    std::optional<workbench::RingInfo> ring_;
    std::optional<workbench::PhoneIdentity> phone_;
    std::optional<std::vector<std::string>> presentPorts_;
    workbench::ReadReport read_;
    std::optional<workbench::WritePlan> plan_;
    bool isDryRun_ = false;
    workbench::WriteReport write_;
    mutable std::mutex messagesMutex_;
    std::vector<std::string> messages_;
};
