#include "cli/PhoneProgress.h"

#include "cli/Interruption.h"

PhoneProgress::PhoneProgress(Calvane& catalog) {
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        names_.emplace(item.getId(), item.getName());
    }
}

workbench::WorkControl PhoneProgress::control() {
    return {[this](std::size_t position, std::size_t count, std::uint16_t number) {
                number_ = number;
                position_ = position + 1;
                count_ = count;
                bar_.show(static_cast<std::uint32_t>(position_), static_cast<std::uint32_t>(count_), label(number));
            },
            Interruption::came};
}

std::string PhoneProgress::stoppedAt() const {
    return count_ == 0 ? ""
                       : "Stopped at " + label(number_) + ", item " + std::to_string(position_) + " of " +
                             std::to_string(count_) + ".";
}

std::string PhoneProgress::label(std::uint16_t number) const {
    const auto name = names_.find(number);
    return std::to_string(number) + (name == names_.end() ? "" : " " + name->second);
}
