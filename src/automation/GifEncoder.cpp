#include "automation/GifEncoder.h"

#include "automation/ServerError.h"

#include <QHash>
#include <array>
#include <vector>

namespace BrumelTB {

namespace {

constexpr int kPaletteSize = 256;
constexpr int kMinCodeSize = 8; // one code per palette entry
constexpr int kMaxCodeBits = 12;
constexpr int kMaxCodes = 1 << kMaxCodeBits;
constexpr int kClearCode = 1 << kMinCodeSize;
constexpr int kEndCode = kClearCode + 1;
constexpr int kFirstFreeCode = kClearCode + 2;
constexpr int kRedLevels = 6, kGreenLevels = 7, kBlueLevels = 6;

struct IndexedImage {
    std::vector<QRgb> palette;
    std::vector<quint8> pixels;
};

int level(int component, int levels) {
    return (component * (levels - 1) + 127) / 255;
}
int component(int level, int levels) {
    return level * 255 / (levels - 1);
}

IndexedImage indexed(const QImage& source) {
    const QImage image = source.convertToFormat(QImage::Format_RGB32);
    const int width = image.width();
    IndexedImage out;
    out.pixels.resize(static_cast<size_t>(width) * static_cast<size_t>(image.height()));

    // Screen images have few colours: try an exact palette first.
    QHash<QRgb, quint8> exact;
    bool fits = true;
    for (int y = 0; y < image.height() && fits; ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < width; ++x) {
            const QRgb rgb = line[x] | 0xff000000u;
            auto it = exact.constFind(rgb);
            if (it == exact.constEnd()) {
                if (exact.size() == kPaletteSize) {
                    fits = false;
                    break;
                }
                it = exact.insert(rgb, static_cast<quint8>(exact.size()));
                out.palette.push_back(rgb);
            }
            out.pixels[static_cast<size_t>(y) * width + x] = *it;
        }
    }
    if (fits) return out;

    out.palette.clear();
    for (int r = 0; r < kRedLevels; ++r)
        for (int g = 0; g < kGreenLevels; ++g)
            for (int b = 0; b < kBlueLevels; ++b)
                out.palette.push_back(
                    qRgb(component(r, kRedLevels), component(g, kGreenLevels), component(b, kBlueLevels)));
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < width; ++x) {
            const QRgb rgb = line[x];
            const int index =
                (level(qRed(rgb), kRedLevels) * kGreenLevels + level(qGreen(rgb), kGreenLevels)) *
                    kBlueLevels +
                level(qBlue(rgb), kBlueLevels);
            out.pixels[static_cast<size_t>(y) * width + x] = static_cast<quint8>(index);
        }
    }
    return out;
}

// Codes go out least significant bit first, packed into data sub-blocks of at most 255 bytes.
class CodeWriter {
public:
    explicit CodeWriter(QByteArray& out) : m_out(out) {}

    void write(int code, int bits) {
        m_bits |= static_cast<quint32>(code) << m_count;
        m_count += bits;
        while (m_count >= 8) {
            byte(static_cast<char>(m_bits & 0xff));
            m_bits >>= 8;
            m_count -= 8;
        }
    }

    void finish() {
        if (m_count > 0) byte(static_cast<char>(m_bits & 0xff));
        flushBlock();
        m_out.append('\0'); // block terminator
    }

private:
    void byte(char b) {
        m_block[m_blockSize++] = b;
        if (m_blockSize == 255) flushBlock();
    }
    void flushBlock() {
        if (m_blockSize == 0) return;
        m_out.append(static_cast<char>(m_blockSize));
        m_out.append(m_block.data(), m_blockSize);
        m_blockSize = 0;
    }

    QByteArray& m_out;
    quint32 m_bits = 0;
    int m_count = 0;
    std::array<char, 255> m_block{};
    int m_blockSize = 0;
};

// LZW over the palette indices with an open-addressed table keyed by (prefix code, next index).
void compress(const std::vector<quint8>& pixels, QByteArray& out) {
    constexpr int kTableSize = 5003; // a prime comfortably above the 4096 codes
    std::vector<qint32> keys(kTableSize);
    std::vector<qint16> codes(kTableSize);
    CodeWriter writer(out);
    int codeBits = kMinCodeSize + 1;
    int nextCode = kFirstFreeCode;
    const auto reset = [&] {
        std::fill(keys.begin(), keys.end(), -1);
        codeBits = kMinCodeSize + 1;
        nextCode = kFirstFreeCode;
    };
    reset();
    writer.write(kClearCode, codeBits);
    if (pixels.empty()) {
        writer.write(kEndCode, codeBits);
        writer.finish();
        return;
    }
    int prefix = pixels[0];
    for (size_t i = 1; i < pixels.size(); ++i) {
        const int pixel = pixels[i];
        const qint32 key = (prefix << 8) | pixel;
        int slot = key % kTableSize;
        while (keys[slot] != -1 && keys[slot] != key)
            slot = slot + 1 == kTableSize ? 0 : slot + 1;
        if (keys[slot] == key) {
            prefix = codes[slot];
            continue;
        }
        writer.write(prefix, codeBits);
        prefix = pixel;
        keys[slot] = key;
        codes[slot] = static_cast<qint16>(nextCode++);
        // A decoder widens its codes once its table reaches the next power of two, one code later
        // than we add the entry.
        if (nextCode > (1 << codeBits) && codeBits < kMaxCodeBits) ++codeBits;
        if (nextCode == kMaxCodes) {
            writer.write(kClearCode, codeBits);
            reset();
        }
    }
    writer.write(prefix, codeBits);
    writer.write(kEndCode, codeBits);
    writer.finish();
}

void appendWord(QByteArray& out, int value) {
    out.append(static_cast<char>(value & 0xff));
    out.append(static_cast<char>((value >> 8) & 0xff));
}

} // namespace

QByteArray EncodeGif(const QImage& image) {
    if (image.isNull()) throw ServerError(QStringLiteral("there is no image to write as GIF"));
    if (image.width() > 0xffff || image.height() > 0xffff)
        throw ServerError(QStringLiteral("an image of %1 x %2 pixels is too large for GIF")
                              .arg(image.width())
                              .arg(image.height()));
    const IndexedImage indexedImage = indexed(image);

    QByteArray out("GIF89a");
    appendWord(out, image.width());
    appendWord(out, image.height());
    out.append(static_cast<char>(0xf7)); // global colour table of 256 entries, 8-bit colour resolution
    out.append('\0');                    // background colour index
    out.append('\0');                    // square pixels
    for (int i = 0; i < kPaletteSize; ++i) {
        const QRgb rgb = i < static_cast<int>(indexedImage.palette.size()) ? indexedImage.palette[i] : 0;
        out.append(static_cast<char>(qRed(rgb)));
        out.append(static_cast<char>(qGreen(rgb)));
        out.append(static_cast<char>(qBlue(rgb)));
    }
    out.append(',');
    appendWord(out, 0);
    appendWord(out, 0);
    appendWord(out, image.width());
    appendWord(out, image.height());
    out.append('\0'); // no local colour table, not interlaced
    out.append(static_cast<char>(kMinCodeSize));
    compress(indexedImage.pixels, out);
    out.append(';'); // trailer
    return out;
}

} // namespace BrumelTB
