#ifdef TAVREL_TEST_WIDGETS
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QGuiApplication>
using TestApplication = QGuiApplication;
#endif
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Tests run inside a Qt application object (a widgets one for the tests of the pages) so that timers,
// sockets, resources, fonts and images work headless (the offscreen platform needs no display). Each test
// process gets a temporary directory of its own, so that the diagnostics' log files of tests running side by
// side never meet.
int main(int argc, char** argv) {
    QTemporaryDir temporary;
    if (temporary.isValid()) qputenv("TMPDIR", QFile::encodeName(temporary.path()));
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    TestApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
