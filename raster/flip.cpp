// flip.cpp: mirroring a bitmap in place, horizontally and vertically.

#include "host/handle.h"
#include "raster/rows.h"

using namespace tolva;

namespace {

struct Picture {
    uint8_t* data;
    int64_t rowBytes;
    int64_t bytes;
    int16_t bits;
};

// Pixel x of a row may lie one place past the row's end: in the padding, in the next row, or past the bitmap. There it
// reads as 0 and is not written.
bool isInside(const Picture& p, int64_t row, int32_t x) {
    const int64_t lastByte = row * p.rowBytes + (int64_t{x} * p.bits + p.bits - 1) / 8;
    return lastByte < p.bytes;
}

uint32_t pixelAt(const Picture& p, int64_t row, int32_t x) {
    return isInside(p, row, x) ? rlGetPixel(p.data + row * p.rowBytes, 0, x, 0, p.bits) : 0;
}

void setPixel(const Picture& p, int64_t row, int32_t x, uint32_t value) {
    if (isInside(p, row, x)) rlSetPixel(p.data + row * p.rowBytes, 0, x, 0, p.bits, value, nullptr, nullptr, 0);
}

void exchangeRows(const Picture& p, int64_t top, int64_t bottom) {
    uint8_t* const a = p.data + top * p.rowBytes;
    uint8_t* const b = p.data + bottom * p.rowBytes;
    for (int64_t i = 0; a != b && i < p.rowBytes; ++i) {
        const uint8_t held = a[i];
        a[i] = b[i];
        b[i] = held;
    }
}

// Kept: the partner of pixel x is width - x, not width - 1 - x, so pixel 0 trades with the place past the row's end.
// Hosts allow for that pixel.
void mirrorRows(const Picture& p, int64_t top, int64_t bottom, int32_t width) {
    for (int32_t x = 0; x < width / 2; ++x) {
        const int32_t partner = width - x;
        const uint32_t a = pixelAt(p, top, x);
        const uint32_t b = pixelAt(p, top, partner);
        const uint32_t c = pixelAt(p, bottom, x);
        const uint32_t d = pixelAt(p, bottom, partner);
        setPixel(p, top, x, b);
        setPixel(p, top, partner, a);
        setPixel(p, bottom, x, d);
        setPixel(p, bottom, partner, c);
    }
}

}  // namespace

Handle rlFlipBitmap(Handle bits, int16_t bitsPerPixel, int32_t width, int32_t height, int16_t horizontal,
                    int16_t vertical) {
    uint8_t* const data = static_cast<uint8_t*>(rlLockMemory(bits));
    const int64_t rowBytes = paddedRowBytes(width, bitsPerPixel);
    if (data == nullptr || rowBytes == 0 || !holdsBitmap(bits, width, height, bitsPerPixel)) return bits;
    // Rows are exchanged whole, padding and all, also of depths that have no pixels.
    if (rlCalcNewSize(width, height, bitsPerPixel) > GlobalSize(bits)) return bits;
    const Picture picture = {data, rowBytes, rowBytes * height, bitsPerPixel};
    for (int64_t top = 0, bottom = int64_t{height} - 1; top <= bottom; ++top, --bottom) {
        if (vertical != 0) exchangeRows(picture, top, bottom);
        if (horizontal != 0) mirrorRows(picture, top, bottom, width);
    }
    return bits;
}
