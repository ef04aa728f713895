// escape.cpp: the setup escape, through which a host's dialog reads and changes single settings, and the geometry
// question that the same dialog asks.

#include <charconv>
#include <cstring>

#include "host/numbers.h"
#include "settings/limits.h"
#include "settings/strings.h"

using namespace tolva;

namespace {

constexpr int32_t kDone = 1;
constexpr int32_t kRefused = -1;
constexpr int32_t kNotHandled = 0;

constexpr int32_t kWordBytes = 4;
constexpr int32_t kDoubleBytes = 8;
constexpr int32_t kColourClassDistance = int32_t{kTolvaColourNormal} - int32_t{kTolvaColourClassNormal};
constexpr size_t kValueBytes = 32;

struct Request {
    Setup* setup;
    int32_t size;  // of the input, or a selector
    void* in;
    void* out;
    bool save;
};

void save(const Request& r, TolvaStringId key, const char* text) {
    if (r.save) WritePrivateProfileString(r.setup->sectionName, profileKey(key), text, r.setup->profilePath);
}

void saveNumber(const Request& r, TolvaStringId key, int32_t number) {
    char text[kValueBytes] = {};
    std::to_chars(text, text + sizeof text - 1, number);
    save(r, key, text);
}

// How an extent is saved: what stands in front of the number, and its significant digits.
struct ExtentFormat {
    TolvaStringId key;
    const char* prefix;
    int digits;
};

// Kept: the width gets ".3" in front of it where the height gets three digits; profiles of hosts have them so.
constexpr ExtentFormat kWidthFormat = {kTolvaStringWidth, ".3", 6};
constexpr ExtentFormat kHeightFormat = {kTolvaStringHeight, "", 3};

// With a point, whatever the host's locale writes.
void saveExtent(const Request& r, const ExtentFormat& format, double extent) {
    char text[kValueBytes] = {};
    const size_t length = std::strlen(format.prefix);
    std::memcpy(text, format.prefix, length);
    std::to_chars(text + length, text + sizeof text - 1, extent, std::chars_format::general, format.digits);
    save(r, format.key, text);
}

int32_t setColourClass(const Request& r) {
    if (r.size != kWordBytes || r.in == nullptr) return kRefused;
    const int32_t colourClass = load<int32_t>(r.in);
    if (colourClass < kTolvaColourClassNormal || colourClass > kTolvaColourClassInvertGrey) return kRefused;
    r.setup->colourMode = colourClass + kColourClassDistance;
    saveNumber(r, kTolvaStringColourMode, r.setup->colourMode);
    return kDone;
}

int32_t queryColourClass(const Request& r) {
    if (r.size != kWordBytes) return kDone;
    const int32_t mode = r.setup->colourMode;
    if (r.out == nullptr || mode < kTolvaColourNormal || mode > kTolvaColourInvertGrey) return kRefused;
    store(r.out, mode - kColourClassDistance);
    return kDone;
}

int32_t setResolution(const Request& r, int16_t Setup::*resolution, TolvaStringId key) {
    if (r.size != kWordBytes || r.in == nullptr) return kRefused;
    const int32_t dpi = load<int32_t>(r.in);
    if (dpi < kTolvaLowestResolution || dpi > kTolvaHighestResolution) return kRefused;
    r.setup->*resolution = static_cast<int16_t>(dpi);
    saveNumber(r, key, dpi);
    return kDone;
}

int32_t setExtent(const Request& r, double Setup::*extent, const ExtentFormat& format) {
    if (r.size != kDoubleBytes || r.in == nullptr) return kRefused;
    const double inches = load<double>(r.in);
    if (!isExtent(inches)) return kRefused;
    r.setup->*extent = inches;
    saveExtent(r, format, inches);
    return kDone;
}

template <class Number>
int32_t answerPair(const Request& r, bool known, Number first, Number second) {
    if (r.out == nullptr) return kRefused;
    const Number pair[] = {known ? first : Number{}, known ? second : Number{}};
    std::memcpy(r.out, pair, sizeof pair);
    return kDone;
}

int32_t queryResolution(const Request& r) {
    const Setup& setup = *r.setup;
    return answerPair<int32_t>(r, setup.resolutionMode != kTolvaResolutionOfPicture, setup.xResolution,
                               setup.yResolution);
}

int32_t querySize(const Request& r) {
    return answerPair(r, r.setup->sizeMode != kTolvaSizeOfPicture, r.setup->width, r.setup->height);
}

// Kept: another selector changes nothing, and that is no refusal: dialogs of hosts pass on rows of their own lists.
int32_t select(const Request& r, int32_t Setup::*mode, int32_t first) {
    if (r.size >= 0 && r.size < kTolvaModesEach) r.setup->*mode = first + r.size;
    return kDone;
}

// The pointer itself is the value; null takes the device away.
int32_t setOutputDevice(const Request& r) {
    if (r.size != kWordBytes) return kRefused;
    r.setup->outputDevice = reinterpret_cast<uintptr_t>(r.in);
    return kDone;
}

int32_t answerGeometry(Handle h, const Request& r) {
    if (r.in == nullptr || r.out == nullptr) return kRefused;
    GetRasterInfo(h, static_cast<const int32_t*>(r.in), static_cast<int32_t*>(r.out));
    return kDone;
}

}  // namespace

int32_t xEscapeSetup(Handle h, int32_t code, int32_t size, void* in, void* out, int32_t save) {
    Setup* const setup = static_cast<Setup*>(GlobalLock(h));
    if (setup == nullptr) return kRefused;
    const Request r = {setup, size, in, out, save != 0};
    switch (code) {
        case kTolvaEscSetColourClass: return setColourClass(r);
        case kTolvaEscSetXResolution: return setResolution(r, &TolvaSetup::xResolution, kTolvaStringXResolution);
        case kTolvaEscSetYResolution: return setResolution(r, &TolvaSetup::yResolution, kTolvaStringYResolution);
        case kTolvaEscSetWidth: return setExtent(r, &TolvaSetup::width, kWidthFormat);
        case kTolvaEscSetHeight: return setExtent(r, &TolvaSetup::height, kHeightFormat);
        case kTolvaEscQueryResolution: return queryResolution(r);
        case kTolvaEscQuerySize: return querySize(r);
        case kTolvaEscSelectResolutionMode: return select(r, &TolvaSetup::resolutionMode, kTolvaResolutionOfScreen);
        case kTolvaEscSelectSizeMode: return select(r, &TolvaSetup::sizeMode, kTolvaSizeOfScreen);
        case kTolvaEscRasterInfo: return answerGeometry(h, r);
        case kTolvaEscQueryColourClass: return queryColourClass(r);
        case kTolvaEscSetOutputDevice: return setOutputDevice(r);
        default: return kNotHandled;
    }
}

int32_t ScaleImageSize(double* width, double* height) {
    if (width == nullptr || height == nullptr) return 0;
    if (*width >= *height && *width > kLargestExtentInches) {
        *height = *height * kLargestExtentInches / *width;
        *width = kLargestExtentInches;
    } else if (*height > *width && *height > kLargestExtentInches) {
        *width = *width * kLargestExtentInches / *height;
        *height = kLargestExtentInches;
    }
    return 0;
}
