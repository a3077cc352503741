// The screen image the instrument sends, decoded as the driver decodes it.
#include "FuzzSupport.h"

#include <QGuiApplication>
#include <QImage>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication* app = new QGuiApplication(argc, argv);
    (void)app;
    QImage image;
    (void)image.loadFromData(fuzz::bytesOf(data, size), "PNG");
    (void)image.loadFromData(fuzz::bytesOf(data, size), "BMP");
    return 0;
}
