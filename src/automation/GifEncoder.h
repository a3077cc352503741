#pragma once

#include <QByteArray>
#include <QImage>

namespace BrumelTB {

// A GIF89a file of the image, for Qt has no GIF writer. An image of at most 256 colours keeps them
// exactly; a richer one is mapped onto a fixed palette of 6 x 7 x 6 levels (red, green, blue), green
// getting most because the eye resolves it best. Transparency is dropped.
QByteArray EncodeGif(const QImage& image);

} // namespace BrumelTB
