#include "automation/ScreenImageFile.h"

#include "automation/GifEncoder.h"
#include "automation/ServerError.h"

#include <QImageWriter>
#include <QSaveFile>

namespace BrumelTB {

namespace {

struct FormatRow {
    Tavrel_ImageFormat format;
    const char* name;     // as hosts and messages say it
    const char* qtFormat; // Qt's writer; null where we write it ourselves or not at all
    bool writable;
};

constexpr FormatRow kFormats[] = {
    {Tavrel_ImageFormat_BMP, "BMP", "bmp", true},    {Tavrel_ImageFormat_GIF, "GIF", nullptr, true},
    {Tavrel_ImageFormat_JPG, "JPG", "jpeg", true},   {Tavrel_ImageFormat_TIF, "TIF", "tiff", true},
    {Tavrel_ImageFormat_PNG, "PNG", "png", true},    {Tavrel_ImageFormat_EMF, "EMF", nullptr, false},
    {Tavrel_ImageFormat_WMF, "WMF", nullptr, false},
};

const FormatRow& rowOf(Tavrel_ImageFormat format) {
    for (const FormatRow& row : kFormats)
        if (row.format == format) {
            if (!row.writable)
                throw ServerError(
                    QStringLiteral("%1 is a vector format; screen images can be had as BMP, GIF, "
                                   "JPG, TIF or PNG")
                        .arg(QLatin1String(row.name)));
            return row;
        }
    throw ServerError(
        QStringLiteral("%1 is not a value of Tavrel_ImageFormat").arg(static_cast<int>(format)));
}

} // namespace

void CheckImageFormat(Tavrel_ImageFormat format) {
    rowOf(format);
}

void WriteImageFile(const QImage& image, const QString& fileName, Tavrel_ImageFormat format) {
    const FormatRow& row = rowOf(format);
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly))
        throw ServerError(QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
    if (!row.qtFormat) {
        const QByteArray gif = EncodeGif(image);
        if (file.write(gif) != gif.size())
            throw ServerError(QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
    } else {
        QImageWriter writer(&file, row.qtFormat);
        if (!writer.canWrite())
            throw ServerError(QStringLiteral("this computer cannot write %1 images (%2)")
                                  .arg(QLatin1String(row.name), writer.errorString()));
        // The 32-bit form of a screen image would carry an unused alpha channel into BMP and TIF.
        if (!writer.write(image.convertToFormat(QImage::Format_RGB32)))
            throw ServerError(QStringLiteral("cannot write %1: %2").arg(fileName, writer.errorString()));
    }
    if (!file.commit())
        throw ServerError(QStringLiteral("cannot write %1: %2").arg(fileName, file.errorString()));
}

} // namespace BrumelTB
