#pragma once

/// Which of the keyboard's locks are on.
struct KeyboardLocks {
    bool caps = false;
    bool num = false;
    bool scroll = false;
};

/// As the display server tells; where it does not, as the lamps of the keyboards of this machine do.
KeyboardLocks keyboardLocks();
