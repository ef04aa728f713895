// k_means.h: weighted k-means over points.
#ifndef TOLVA_QUANTIZE_K_MEANS_H
#define TOLVA_QUANTIZE_K_MEANS_H

#include "quantize/points.h"

namespace tolva {

// Moves the clusters' centroids to where the squared error is small, and gives each rounded to a triple, and the mean
// squared error of three channels together in levels, in 16ths. False: no memory.
bool settleCentroids(const ColourPoint* points, Cluster* clusters, uint32_t count, uint8_t* table,
                     uint32_t* squaredError);

}  // namespace tolva

#endif
