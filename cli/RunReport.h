#pragma once

#include "cli/ExitStatus.h"
#include "workbench/PhoneReader.h"
#include "workbench/PhoneWriter.h"
#include "workbench/ResultJson.h"

#include <array>
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

    /// One of the two sides of a comparison.
    struct Side {
        std::string source; ///< the port or file, as it was named
        bool isPort = false;
        workbench::ReadReport read;
    };
    void setSides(std::array<Side, 2> sides) { sides_ = std::move(sides); }
    /// setRead() is of this side from now on.
    void beginSide(std::size_t side) { side_ = side; }

    void setRing(workbench::RingInfo ring) { ring_ = std::move(ring); }
    /// What the phone had, of a read or before a write.
    void setRead(workbench::ReadReport read) { (sides_ ? sides_->at(side_).read : read_) = std::move(read); }
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
    /// The read of the one port; null where there are two or none.
    const Side* onlyPort() const;

    const std::string verb_;
    const std::string port_;
    const std::chrono::system_clock::time_point start_;
    std::optional<workbench::RingInfo> ring_;
    std::optional<workbench::PhoneIdentity> phone_;
    std::optional<std::vector<std::string>> presentPorts_;
    workbench::ReadReport read_;
    std::optional<std::array<Side, 2>> sides_; ///< of a comparison, in place of read_
    std::size_t side_ = 0;
    std::optional<workbench::WritePlan> plan_;
    bool isDryRun_ = false;
    workbench::WriteReport write_;
    mutable std::mutex messagesMutex_;
    std::vector<std::string> messages_;
};
