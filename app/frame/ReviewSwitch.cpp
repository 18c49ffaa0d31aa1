#include "app/frame/ReviewSwitch.h"

#include <QSettings>

namespace {

constexpr const char* kSetting = "review/beforeWriting";

} // namespace

bool ReviewSwitch::isOn() const {
    return QSettings().value(kSetting, true).toBool();
}

void ReviewSwitch::setOn(bool on) {
    QSettings().setValue(kSetting, on);
}
