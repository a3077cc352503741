#include <QCoreApplication>
#include <gtest/gtest.h>

// Tests run inside a Qt application object so that timers, sockets and resources work headless.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
