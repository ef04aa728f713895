// indexed_picture.cpp: every QImage becomes indices: by its own table, or through the library's stages from true colour
// to a palette, which see it twice, a strip of rows at a time, so that no second picture stands in memory.

#include "qt/indexed_picture.h"

#include <algorithm>

#include <QImage>

#include <tolva/settings.h>

namespace qtolva {
namespace {

using Map = std::array<uint8_t, kTolvaLargestPalette>;
using Table = std::array<QRgb, kTolvaLargestPalette>;

constexpr int kMostStripRows = 64;
// Qt converts pictures from twice 65536 pixels, or bytes, on by several threads, and waits for ever where none can be
// had.
constexpr int kMostStripBytes = 2 * 65536 - 1;
constexpr uint8_t kWhite = 255;
constexpr QRgb kBlack = 0xFF000000;
constexpr QRgb kWhiteColour = 0xFFFFFFFF;

QString noMemory() { return QStringLiteral("there is no memory for it"); }

uint8_t* rowOf(const IndexedPicture& picture, int y) {
    return picture.rows.get() + static_cast<size_t>(picture.height - 1 - y) * picture.stride;
}

// ---- Pictures with a table ----

bool isMono(const QImage& image) {
    return image.format() == QImage::Format_Mono || image.format() == QImage::Format_MonoLSB;
}

bool hasTable(const QImage& image) { return isMono(image) || image.format() == QImage::Format_Indexed8; }

// As Qt shows them: without a table black and white, or greys; what a table does not have is black.
Table tableOf(const QImage& image) {
    Table table;
    table.fill(kBlack);
    const auto given = image.colorTable();
    if (isMono(image)) table[1] = kWhiteColour;
    for (int i = 0; given.isEmpty() && !isMono(image) && i < kTolvaLargestPalette; ++i) {
        table[static_cast<size_t>(i)] = qRgb(i, i, i);
    }
    std::copy_n(given.begin(), std::min<size_t>(static_cast<size_t>(given.size()), table.size()), table.begin());
    return table;
}

uint8_t overWhite(int level, int alpha) {
    return static_cast<uint8_t>((level * alpha + kWhite * (255 - alpha) + 127) / 255);
}

Colour shown(QRgb colour) {
    const int alpha = qAlpha(colour) < kTolvaHalfOpaque ? 255 : qAlpha(colour);
    return {overWhite(qRed(colour), alpha), overWhite(qGreen(colour), alpha), overWhite(qBlue(colour), alpha)};
}

// A GIF has one transparent entry: the first stands for all.
Map takeTable(const Table& table, IndexedPicture& picture) {
    Map map;
    picture.key = kTolvaNoKey;
    for (size_t i = 0; i < table.size(); ++i) {
        const bool isTransparent = qAlpha(table[i]) < kTolvaHalfOpaque;
        if (isTransparent && picture.key == kTolvaNoKey) picture.key = static_cast<int>(i);
        map[i] = static_cast<uint8_t>(isTransparent ? picture.key : static_cast<int>(i));
        picture.palette[i] = shown(table[i]);
    }
    return map;
}

void mapIndices(const QImage& image, const Map& map, IndexedPicture& picture) {
    for (int y = 0; y < picture.height; ++y) {
        const uchar* const from = image.constScanLine(y);
        std::transform(from, from + picture.width, rowOf(picture, y), [&](uchar index) { return map[index]; });
    }
}

void mapBits(const QImage& image, const Map& map, IndexedPicture& picture) {
    const int flip = image.format() == QImage::Format_Mono ? 7 : 0;  // the first pixel is the highest bit
    for (int y = 0; y < picture.height; ++y) {
        const uchar* const from = image.constScanLine(y);
        uint8_t* const to = rowOf(picture, y);
        for (int x = 0; x < picture.width; ++x) to[x] = map[from[x / 8] >> (x % 8 ^ flip) & 1];
    }
}

// ---- True colour ----

struct Kind {
    TolvaPixelFormat pixels;
    QImage::Format format;
};

Kind kindOf(const QImage& image) {
    if (image.hasAlphaChannel()) return {kTolvaRgba, QImage::Format_RGBA8888};
    if (image.format() == QImage::Format_RGB888) return {kTolvaRgb, QImage::Format_RGB888};
    return {kTolvaRgbx, QImage::Format_RGBX8888};
}

// Null where there is no memory to convert it.
int stripRows(const QImage& image) {
    const auto bytes = static_cast<int>(std::max<qint64>(image.width(), image.bytesPerLine()));
    return std::clamp(kMostStripBytes / bytes, 1, kMostStripRows);
}

QImage stripOf(const QImage& image, int first, QImage::Format format) {
    const int rows = std::min(stripRows(image), image.height() - first);
    const QImage strip(image.constScanLine(first), image.width(), rows, image.bytesPerLine(), image.format());
    return strip.convertToFormat(format);
}

struct Quantizer {
    TolvaQuantizer* calls = nullptr;
    Quantizer() = default;
    Quantizer(const Quantizer&) = delete;
    Quantizer& operator=(const Quantizer&) = delete;
    ~Quantizer() { tolvaQuantizeEnd(calls); }
};

// Calls `pass`(rows, y of the first) for strip after strip, from the top.
template <class Pass>
bool forStrips(const QImage& image, QImage::Format format, Pass pass) {
    for (int y = 0; y < image.height(); y += stripRows(image)) {
        const QImage strip = stripOf(image, y, format);
        if (strip.isNull()) return false;
        TolvaPixelRows rows = {};
        rows.pixels = const_cast<uchar*>(strip.constBits());  // only read: indices go elsewhere
        rows.stride = static_cast<intptr_t>(strip.bytesPerLine());
        rows.width = static_cast<uint32_t>(strip.width());
        rows.rows = static_cast<uint32_t>(strip.height());
        if (pass(rows, y) != kTolvaQuantized) return false;
    }
    return true;
}

bool quantize(const QImage& image, TolvaDiffusion diffusion, IndexedPicture& picture) {
    const Kind kind = kindOf(image);
    const TolvaQuantizeOrder order = {kTolvaLargestPalette, kind.pixels, diffusion, {kWhite, kWhite, kWhite}};
    TolvaPalette palette = {};
    Quantizer q;
    if (tolvaQuantizeBegin(&order, &q.calls) != kTolvaQuantized) return false;
    const auto count = [&](const TolvaPixelRows& rows, int) { return tolvaQuantizeCount(q.calls, &rows); };
    const auto map = [&](const TolvaPixelRows& rows, int y) {
        return tolvaQuantizeMap(q.calls, &rows, rowOf(picture, y), -static_cast<intptr_t>(picture.stride));
    };
    if (!forStrips(image, kind.format, count)) return false;
    if (tolvaQuantizePalette(q.calls, &palette) != kTolvaQuantized) return false;
    for (size_t i = 0; i < picture.palette.size(); ++i) {
        picture.palette[i] = {palette.colours[3 * i], palette.colours[3 * i + 1], palette.colours[3 * i + 2]};
    }
    picture.key = palette.key;
    return forStrips(image, kind.format, map);
}

}  // namespace

QString makeIndexed(const QImage& image, TolvaDiffusion diffusion, IndexedPicture& picture) {
    if (image.isNull()) return QStringLiteral("there is no picture");
    picture.width = image.width();
    picture.height = image.height();
    if (std::max(picture.width, picture.height) > kTolvaLargestExtent) {
        return QStringLiteral("%1 x %2 pixels; a GIF has at most %3 in either direction")
            .arg(picture.width)
            .arg(picture.height)
            .arg(int{kTolvaLargestExtent});
    }
    // The library's encoder emits nothing for a single pixel.
    if (picture.width == 1 && picture.height == 1) return QStringLiteral("a picture of 1 x 1 pixel cannot be written");
    picture.stride = (static_cast<size_t>(picture.width) + 3) / 4 * 4;
    // What pads the rows is never shown, but it is read.
    picture.rows.reset(static_cast<uint8_t*>(std::calloc(static_cast<size_t>(picture.height), picture.stride)));
    if (picture.rows == nullptr) return noMemory();
    if (!hasTable(image)) return quantize(image, diffusion, picture) ? QString() : noMemory();
    const Map map = takeTable(tableOf(image), picture);
    (isMono(image) ? mapBits : mapIndices)(image, map, picture);
    return QString();
}

}  // namespace qtolva
