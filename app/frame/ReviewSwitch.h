#pragma once

#include "app/document/SafeHands.h"

#include <QSettings>

/// The switch "Review Before Writing", on at first and kept in the program's settings. Owned by the main window.
class ReviewSwitch : public SafeHands {
public:
    bool isOn() const override { return isOn_; }
    void set(bool isOn) {
        isOn_ = isOn;
        QSettings().setValue(kSetting, isOn);
    }

private:
    static constexpr const char* kSetting = "phone/reviewBeforeWriting";

    bool isOn_ = QSettings().value(kSetting, true).toBool();
};
