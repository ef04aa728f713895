// limits.cpp: what is out of range in a Setup block is repaired, after its profile was read or by a host.

#include "settings/limits.h"

#include "settings/settings.h"

namespace {

using namespace tolva;

bool repairResolution(int16_t* resolution) {
    if (*resolution >= kLowestResolution && *resolution <= kHighestResolution) return false;
    *resolution = kDefaultResolution;
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
    if (repairResolution(&lpRaster->xResolution)) result = kResolutionRepaired;
    if (repairResolution(&lpRaster->yResolution)) result = kResolutionRepaired;
    if (repairExtent(&lpRaster->width, kDefaultWidth)) result = kExtentRepaired;
    if (repairExtent(&lpRaster->height, kDefaultHeight)) result = kExtentRepaired;
    return result;
}
