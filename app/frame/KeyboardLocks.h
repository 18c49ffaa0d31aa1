#pragma once

/// Which of the keyboard's locks are on.
struct KeyboardLocks {
    bool caps = false;
    bool num = false;
    bool scroll = false;
};

/// Asks the display server, or reads the lamps of this machine's keyboards where the server does not answer.
KeyboardLocks keyboardLocks();
