#pragma once

#include "automation/CEnums.h"

#include <QImage>
#include <QString>

namespace BrumelTB {

// The image formats the server can write. EMF and WMF are vector formats of another platform: they
// are refused, as is any value outside Tavrel_ImageFormat.
void CheckImageFormat(Tavrel_ImageFormat format);
// Writes the image to fileName in format; ServerError when the format is refused or the file cannot
// be written. TIF needs Qt's TIFF plugin (Debian: qt6-image-formats-plugins).
void WriteImageFile(const QImage& image, const QString& fileName, Tavrel_ImageFormat format);

} // namespace BrumelTB
