#pragma once

/// The user's choice between the safe ways and the bare commands: a review before each write, questions before
/// something is lost, typed values checked before they are stored. Asked anew each time, as it may change between two
/// commands. Outlives who asks; user-interface thread.
class SafeHands {
public:
    virtual ~SafeHands() = default;
    virtual bool isOn() const = 0;
};

/// Without a choice the commands are bare.
inline bool isOn(const SafeHands* safeHands) {
    return safeHands != nullptr && safeHands->isOn();
}
