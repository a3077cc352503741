// :DISPlay:DATA? images: they decode, have the screen's size and show what is displayed.

#include "sim/ScreenImage.h"
#include "SimTestSupport.h"

#include <QImage>
#include <gtest/gtest.h>

using namespace tavrelsim;
using simtest::ask;
using simtest::blockData;

namespace {

int pixelsOf(const QImage& image, QRgb colour) {
    int n = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            n += (image.pixel(x, y) & 0xFFFFFF) == (colour & 0xFFFFFF);
    }
    return n;
}

QImage screen(TavrelScope& scope, const QByteArray& format, const char* decodeAs) {
    const QByteArray query = format.isEmpty() ? ":DISP:DATA?" : ":DISP:DATA? " + format;
    return QImage::fromData(blockData(ask(scope, query)), decodeAs);
}

TEST(ScreenImage, PngByDefaultAndBmpOnRequest) {
    TavrelScope scope;
    const QByteArray png = blockData(ask(scope, ":DISP:DATA?"));
    EXPECT_TRUE(png.startsWith("\x89PNG"));
    EXPECT_TRUE(blockData(ask(scope, ":DISP:DATA? BMP")).startsWith("BM"));
    for (const auto& [format, decodeAs] :
         {std::pair{"", "PNG"}, std::pair{"png", "PNG"}, std::pair{"BMP", "BMP"}}) {
        const QImage image = screen(scope, format, decodeAs);
        ASSERT_FALSE(image.isNull()) << format;
        EXPECT_EQ(image.size(), QSize(800, 480)) << format;
        EXPECT_GT(pixelsOf(image, ScreenImage::channelColour(0)), 800) << "channel 1's trace, " << format;
        EXPECT_EQ(image.pixel(400, 10) & 0xFFFFFF, 0x808080u) << "the centre line";
    }
}

TEST(ScreenImage, EachDisplayedTraceInItsColour) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 10000;:STOP;:TRAC2:STOR CHAN3");
    QImage image = screen(scope, "", "PNG");
    EXPECT_EQ(pixelsOf(image, ScreenImage::channelColour(1)), 0);
    EXPECT_EQ(pixelsOf(image, ScreenImage::traceColour(1)), 0);
    ask(scope, ":CHAN1:DISP OFF;:CHAN2:DISP ON;:CHAN4:DISP ON;:TRAC2:DISP ON;:POD1:DISP ON");
    image = screen(scope, "BMP", "BMP");
    EXPECT_EQ(pixelsOf(image, ScreenImage::channelColour(0)), 0);
    EXPECT_GT(pixelsOf(image, ScreenImage::channelColour(1)), 500);
    EXPECT_GT(pixelsOf(image, ScreenImage::channelColour(3)), 500);
    EXPECT_GT(pixelsOf(image, ScreenImage::traceColour(1)), 500);
    EXPECT_GT(pixelsOf(image, ScreenImage::podColour()), 800);
}

TEST(ScreenImage, TraceFollowsTheScale) {
    TavrelScope scope;
    ask(scope, ":ACQ:POIN 10000;:CHAN1:SCAL 0.25;:STOP"); // the sine fills the screen top to bottom
    const QImage image = screen(scope, "", "PNG");
    const QRgb yellow = ScreenImage::channelColour(0) & 0xFFFFFF;
    int top = 480, bottom = -1;
    for (int y = 0; y < 480; ++y) {
        for (int x = 0; x < 800; ++x) {
            if ((image.pixel(x, y) & 0xFFFFFF) == yellow) {
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    }
    EXPECT_LE(top, 2);
    EXPECT_GE(bottom, 477);
}

} // namespace
