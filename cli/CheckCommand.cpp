#include "cli/CommandText.h"
#include "cli/ItemSides.h"
#include "cli/Run.h"
#include "cli/Verbs.h"
#include "workbench/ItemJson.h"
#include "workbench/LimitCheck.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>

namespace {

using State = workbench::LimitedField::State;

/// Holds values against their limits, and keeps what is to be told of them.
class LimitCheck {
public:
    explicit LimitCheck(const workbench::Units& units) : units_(units) {}

    /// An item that the ring describes; null where the side does not have it.
    void take(const NvItem& described, const NvItem* item, const std::set<std::uint16_t>& unknown) {
        const auto fields = workbench::limitedFields(item == nullptr ? described : *item, units_);
        if (fields.empty()) {
            return;
        }
        if (item == nullptr) {
            (unknown.contains(described.getId()) ? unknown_ : without_).push_back(described.getId());
            return;
        }
        ++items_;
        for (const auto& field : fields) {
            ++values_;
            outside_ += field.isOutside() ? 1 : 0;
            noNumbers_ += field.state == State::kNoNumber ? 1 : 0;
            if (field.state != State::kWithin) {
                text_ += workbench::limitText(*item, field) + "\n";
            }
            json_ += (json_.empty() ? "\n    " : ",\n    ") + workbench::limitJson(*item, field);
        }
    }

    /// An item that the side has and the ring does not describe: nobody knows which bytes a limit of it is for.
    void takeUndescribed(std::uint16_t number) {
        bool hasLimits = false;
        for (std::size_t field = 0; field < items::kItemDataBytes; ++field) {
            const auto* const unit = units_.find(number, field);
            hasLimits = hasLimits || (unit != nullptr && (unit->lowest() || unit->highest()));
        }
        (hasLimits ? unknown_ : undescribed_).push_back(number);
    }

    const std::string& text() const { return text_; }
    /// Every value that was checked, on a line each, and the numbers of the items without values.
    std::string json(const std::string& source) const {
        const auto list = [](const std::vector<std::uint16_t>& numbers) { return nlohmann::json(numbers).dump(); };
        return "{\n  \"source\": " + nlohmann::json(workbench::utf8Text(source)).dump() + ",\n  \"values\": [" + json_ +
               "\n  ],\n  \"checked\": " + std::to_string(values_) + ",\n  \"outside\": " + std::to_string(outside_) +
               ",\n  \"without\": " + list(without_) + ",\n  \"unknown\": " + list(unknown_) +
               ",\n  \"undescribed\": " + list(undescribed_) + "\n}\n";
    }
    std::string account() const {
        const auto numbers = [](const char* words, const std::vector<std::uint16_t>& which) {
            return which.empty() ? "" : words + joined(which) + ".\n";
        };
        return "Checked " + std::to_string(values_) + (values_ == 1 ? " value of " : " values of ") + counted(items_) +
               ": " + std::to_string(outside_) + " outside their limits" +
               (noNumbers_ == 0 ? "" : ", " + std::to_string(noNumbers_) + " without a number") + ".\n" +
               numbers("Without a value: ", without_) + numbers("Not known: ", unknown_) +
               (undescribed_.empty() ? ""
                                     : "Not in the decoder ring and without limits: " +
                                           workbench::namedItems({undescribed_.begin(), undescribed_.end()}) + ".\n");
    }
    /// Nothing that was checked is nothing that can be relied on.
    ExitStatus status() const {
        const bool isIncomplete = values_ == 0 || noNumbers_ > 0 || !unknown_.empty();
        return worse(isIncomplete ? ExitStatus::kIncomplete : ExitStatus::kDone,
                     outside_ > 0 ? ExitStatus::kOutside : ExitStatus::kDone);
    }

private:
    const workbench::Units& units_;
    std::size_t items_ = 0;
    std::size_t values_ = 0;
    std::size_t outside_ = 0;
    std::size_t noNumbers_ = 0;
    std::vector<std::uint16_t> without_;     ///< items with limits that the side does not have
    std::vector<std::uint16_t> unknown_;     ///< those of which nobody knows whether it has them
    std::vector<std::uint16_t> undescribed_; ///< the others of the side that the ring does not describe
    std::string text_;
    std::string json_;
};

} // namespace

ExitStatus checkItems(Calvane& catalog, const Arguments& arguments) {
    const workbench::Units units = loadUnits(arguments, true);
    ItemSide side = arguments.comPort.empty() ? sideOfFile(catalog, arguments.inputPath, arguments)
                                              : sideOfPort(catalog, arguments);
    const workbench::ItemSet set(std::move(side.about), std::move(side.items));
    LimitCheck check(units);
    for (const NvItem& described : catalog.getSupportedNvItems()) {
        if (isNamed(arguments, described.getId())) {
            check.take(described, set.find(described.getId()), set.about().unknown);
        }
    }
    for (const std::uint16_t number : side.undescribed) {
        check.takeUndescribed(number);
    }
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, check.json(workbench::longLabel(set)));
    } else {
        std::cout << check.text();
    }
    const ExitStatus status = worse(side.status, check.status());
    arguments.run->account(check.account(), status);
    return status;
}
