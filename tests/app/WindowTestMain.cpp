// One application for all tests of this program, on the offscreen platform and with settings of its own.

#include "app/frame/CCalvaneApp.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QTemporaryDir settings;
    qputenv("XDG_CONFIG_HOME", settings.path().toUtf8());
    testing::InitGoogleTest(&argc, argv);
    CCalvaneApp app(argc, argv);
    return RUN_ALL_TESTS();
}
