#pragma once

#include "app/document/SafeHands.h"

/// The menu's "Review Before Writing", kept in the program's settings; on at first.
class ReviewSwitch : public SafeHands {
public:
    bool isOn() const override;
    static void setOn(bool on);
};
