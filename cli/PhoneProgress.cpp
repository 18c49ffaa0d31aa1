#include "cli/PhoneProgress.h"

#include "cli/Interruption.h"

PhoneProgress::PhoneProgress(Run& run, const char* stage) : run_(run), stage_(stage) {}

workbench::WorkControl PhoneProgress::control() {
    return {[this](std::size_t position, std::size_t count, std::uint16_t number) {
                number_ = number;
                position_ = position + 1;
                count_ = count;
                run_.itemBegins(stage_, position_, count_, number);
                if (run_.showsBar()) {
                    bar_.show(static_cast<std::uint32_t>(position_), static_cast<std::uint32_t>(count_),
                              run_.labelOf(number));
                }
            },
            Interruption::came, [this](const workbench::ItemReading& reading) { run_.itemDone(reading); }};
}

std::string PhoneProgress::stoppedAt() const {
    return count_ == 0 ? ""
                       : "Stopped at " + run_.labelOf(number_) + ", item " + std::to_string(position_) + " of " +
                             std::to_string(count_) + ".";
}
