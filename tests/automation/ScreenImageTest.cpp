#include "AutomationTestSupport.h"
#include "automation/AcquisitionTavrel.h"
#include "automation/AnalogChannelsTavrel.h"
#include "automation/GifEncoder.h"
#include "automation/ScopeTavrel.h"
#include "automation/ServerError.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace BrumelTB;

namespace {

QImage decodeGif(const QByteArray& gif) {
    QBuffer buffer;
    buffer.setData(gif);
    QImageReader reader(&buffer, "gif");
    QImage image = reader.read();
    EXPECT_FALSE(image.isNull()) << reader.errorString().toStdString();
    return image.convertToFormat(QImage::Format_RGB32);
}

// Pixels whose colours come from a palette of the given size, in a pattern that LZW cannot
// shorten much, so that a large image fills the code table several times over.
QImage paletteNoise(int width, int height, int colours) {
    QImage image(width, height, QImage::Format_RGB32);
    QRandomGenerator random(42);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int i = random.bounded(colours);
            image.setPixel(x, y, qRgb(i, (i * 7) & 0xff, 255 - i));
        }
    return image;
}

int maxComponentError(const QImage& a, const QImage& b) {
    int worst = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            worst = std::max({worst, std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                              std::abs(qBlue(p) - qBlue(q))});
        }
    return worst;
}

} // namespace

TEST(GifEncoder, FewColoursSurviveExactly) {
    const struct {
        int width, height, colours;
    } cases[] = {{1, 1, 1}, {3, 2, 2}, {17, 5, 16}, {640, 480, 256}, {1000, 700, 200}, {255, 1, 256}};
    for (const auto& c : cases) {
        const QImage image = paletteNoise(c.width, c.height, c.colours);
        const QImage back = decodeGif(EncodeGif(image));
        ASSERT_EQ(back.size(), image.size()) << c.width << "x" << c.height;
        EXPECT_EQ(maxComponentError(image, back), 0) << c.width << "x" << c.height << ", " << c.colours;
    }
}

TEST(GifEncoder, ManyColoursMapOntoTheFixedPalette) {
    QImage image(300, 256, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x * 255 / 299, y, (x + y) & 0xff));
    const QImage back = decodeGif(EncodeGif(image));
    ASSERT_EQ(back.size(), image.size());
    // Half a step of the coarsest axis (6 levels: 51 apart).
    EXPECT_LE(maxComponentError(image, back), 26);
    EXPECT_THROW(EncodeGif(QImage()), ServerError);
}

class SimScreen : public ::testing::Test {
protected:
    void SetUp() override {
        scope.Open(kSimScope);
        scope.Reset();
        scope.Acquisition().SetPoints(10000);
        scope.AnalogChannels().Item(Tavrel_Channel_1).SetDisplay(Tavrel_On);
        scope.Digitize();
    }
    ScopeTavrel scope{simManager()};
    QTemporaryDir dir;
};

TEST_F(SimScreen, TheScreenDecodesAndEveryRasterFormatIsSavedAndReadBack) {
    const QImage image = scope.GetScreenImage();
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.width() >= 320 && image.height() >= 200) << image.width() << "x" << image.height();
    EXPECT_EQ(image, scope.GetScreenImage(Tavrel_ImageFormat_PNG)) << "a stopped scope shows the same screen";
    const QImage screen = image.convertToFormat(QImage::Format_RGB32);
    const struct {
        Tavrel_ImageFormat format;
        const char* readerFormat;
        int tolerance; // lossy formats
    } formats[] = {{Tavrel_ImageFormat_BMP, "bmp", 0},
                   {Tavrel_ImageFormat_GIF, "gif", 26},
                   {Tavrel_ImageFormat_JPG, "jpeg", 255},
                   {Tavrel_ImageFormat_TIF, "tiff", 0},
                   {Tavrel_ImageFormat_PNG, "png", 0}};
    for (const auto& f : formats) {
        // The extension says nothing: the format argument decides.
        const QString path = dir.filePath(QStringLiteral("screen%1.img").arg(int(f.format)));
        scope.SaveScreenImage(path, f.format);
        QImageReader reader(path);
        EXPECT_EQ(reader.format(), QByteArray(f.readerFormat)) << f.readerFormat;
        const QImage back = reader.read().convertToFormat(QImage::Format_RGB32);
        ASSERT_EQ(back.size(), screen.size()) << f.readerFormat << ": " << reader.errorString().toStdString();
        EXPECT_LE(maxComponentError(screen, back), f.tolerance) << f.readerFormat;
    }
}

TEST_F(SimScreen, VectorFormatsAreRefused) {
    for (auto format : {Tavrel_ImageFormat_EMF, Tavrel_ImageFormat_WMF, static_cast<Tavrel_ImageFormat>(1)}) {
        const QString path = dir.filePath(QStringLiteral("screen%1").arg(int(format)));
        EXPECT_THROW(scope.SaveScreenImage(path, format), ServerError) << int(format);
        EXPECT_THROW(scope.GetScreenImage(format), ServerError) << int(format);
        EXPECT_FALSE(QFile::exists(path));
    }
}
