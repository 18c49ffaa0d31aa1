#pragma once

/// Makes the pictures available, each under the name that calvane.qrc gives it: ":/calvane/icon", ":/calvane/logo",
/// ":/calvane/toolbar/<command>". To be called once, before the first of them is asked for.
void initResources();
