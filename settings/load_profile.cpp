// load_profile.cpp: from the lines of a profile's section to the fields of a Setup block. Called when a block is made
// and by hosts whose dialog goes back to what was saved.

#include <clocale>
#include <cstdlib>

#include "host/numbers.h"
#include "settings/limits.h"
#include "settings/strings.h"

using namespace tolva;

namespace {

constexpr int32_t kExtentTextBytes = 30;

int32_t loadNumber(const Setup& setup, TolvaStringId key, int32_t fallback) {
    return GetPrivateProfileInt(setup.sectionName, profileKey(key), fallback, setup.profilePath);
}

// As the text of a C program reads, whatever the host's locale writes for a decimal point.
double parseNumber(const char* text) {
    const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    if (plain == nullptr) return std::atof(text);
    const double number = strtod_l(text, nullptr, plain);
    freelocale(plain);
    return number;
}

// Kept: a text shorter than the default leaves the default's tail, so that "8" is read as "8.67"; profiles were written
// with that in mind.
double loadExtent(const Setup& setup, TolvaStringId key, const char* fallback) {
    char text[kExtentTextBytes + 1] = {};
    GetPrivateProfileString(setup.sectionName, profileKey(key), fallback, text, kExtentTextBytes, setup.profilePath);
    return parseNumber(text);
}

}  // namespace

int32_t LoadProfile(uintptr_t) {
    if (lpRaster == nullptr) return 0;
    Setup& setup = *lpRaster;
    const int32_t driver = GetPrivateProfileString(setup.sectionName, profileKey(kTolvaStringDriver), "",
                                                   setup.driverName, kTolvaDriverNameBytes, setup.profilePath);
    if (driver == 0) return 0;
    setup.colourMode = loadNumber(setup, kTolvaStringColourMode, kTolvaColourNormal);
    setup.sizeMode = loadNumber(setup, kTolvaStringSizeMode, kTolvaSizeOfPicture);
    setup.resolutionMode = loadNumber(setup, kTolvaStringResolutionMode, kTolvaResolutionOfPicture);
    setup.xResolution = low16(loadNumber(setup, kTolvaStringXResolution, kTolvaDefaultResolution));
    setup.yResolution = low16(loadNumber(setup, kTolvaStringYResolution, kTolvaDefaultResolution));
    setup.width = loadExtent(setup, kTolvaStringWidth, kDefaultWidthText);
    setup.height = loadExtent(setup, kTolvaStringHeight, kDefaultHeightText);
    setup.lineMode = loadNumber(setup, kTolvaStringLineMode, kTolvaDefaultLineMode);
    LimitCheck();
    return 1;
}
