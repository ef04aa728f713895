// variance_cut.h: Wu's variance cut over points.
#ifndef TOLVA_QUANTIZE_VARIANCE_CUT_H
#define TOLVA_QUANTIZE_VARIANCE_CUT_H

#include "quantize/points.h"

namespace tolva {

// Orders the points into at most `most` clusters and tells how many; fewer where the points are; 0: no memory.
uint32_t cutByVariance(ColourPoint* points, uint32_t count, Cluster* clusters, uint32_t most);

}  // namespace tolva

#endif
