#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
    // Real widgets without a display, unless somebody wants to watch.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
