// limits.cpp: what is out of range in a Setup block is repaired, after its profile was read or by a host.

#include "settings/limits.h"

#include "settings/current.h"

namespace {

using namespace tolva;

bool repairResolution(int16_t* resolution) {
    if (*resolution >= kTolvaLowestResolution && *resolution <= kTolvaHighestResolution) return false;
    *resolution = kTolvaDefaultResolution;
    return true;
}

bool repairExtent(double* extent, double fallback) {
    if (isExtent(*extent)) return false;
    *extent = fallback;
    return true;
}

}  // namespace

int32_t LimitCheck() {
    if (lpRaster == nullptr) return 0;
    int32_t result = 0;
    if (repairResolution(&lpRaster->xResolution)) result = kTolvaResolutionRepaired;
    if (repairResolution(&lpRaster->yResolution)) result = kTolvaResolutionRepaired;
    if (repairExtent(&lpRaster->width, kDefaultWidth)) result = kTolvaExtentRepaired;
    if (repairExtent(&lpRaster->height, kDefaultHeight)) result = kTolvaExtentRepaired;
    return result;
}
