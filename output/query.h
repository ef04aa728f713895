// query.h: how a callback of the filter's own answers what OutputPicture asks first. Used by output/ alone.
#ifndef TOLVA_OUTPUT_QUERY_H
#define TOLVA_OUTPUT_QUERY_H

#include <tolva/output.h>

namespace tolva {

// In pixels, or in inches where a resolution is given.
inline void answerSize(TolvaOffscreenQuery& query, double width, double height, int32_t resolution, int16_t value) {
    const double perUnit = resolution != 0 ? resolution : 1.0;
    query.width = width / perUnit;
    query.height = height / perUnit;
    query.resolution = resolution;
    query.value = value;
}

}  // namespace tolva

#endif
