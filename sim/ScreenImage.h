#pragma once

#include "sim/ScopeState.h"
#include "sim/WaveformRecord.h"

#include <QByteArray>
#include <QImage>
#include <array>

namespace tavrelsim {

class Acquisition;

// The scope's screen as :DISPlay:DATA? gives it: a 10 x 8 division graticule on black and every
// displayed channel, pod and stored trace in its own colour. Drawn on a raster QImage, which
// needs no display and no GUI application.
class ScreenImage {
public:
    static constexpr int Width = 800, Height = 480; // 80 x 60 pixels a division

    static QRgb channelColour(int channel); // 0..3
    static QRgb traceColour(int memory);    // 0..3
    static QRgb podColour();

    // acquisition may be null (nothing acquired): the graticule and stored traces only.
    static QImage render(const ScopeState& state, Acquisition* acquisition,
                         const std::array<WaveformRecord, ScopeState::TraceCount>& traces);
    // "PNG" or "BMP" file contents.
    static QByteArray encode(const QImage& image, const char* format);
};

} // namespace tavrelsim
