// k_means.cpp: rounds of weighted k-means that begin with the clusters of the variance cut. The points of such a
// cluster stay together: only the few centroids that can be nearest to anything in its bounding box are looked at for
// them. All is done in whole numbers. The rounds are as many as a budget of points allows, so that a picture of many
// colours takes no longer than one of few.

#include "quantize/k_means.h"

#include <algorithm>
#include <cstdlib>

#include "quantize/centroids.h"
#include "quantize/texture.h"

namespace tolva {
namespace {

constexpr uint32_t kMostClusters = 256;
constexpr uint32_t kMostRounds = 20;
constexpr uint64_t kBudget = 80000;   // points looked at in all rounds
constexpr uint64_t kSmallGain = 400;  // a round that betters the error by less than one part in so many is the last

struct Members {
    uint64_t weight;
    uint64_t sums[kChannels];
    uint64_t heaviest;
    uint32_t point;  // the heaviest
};

struct Workspace {
    Bounds bounds[kMostClusters];
    Members members[kMostClusters];
    CentroidBlock all[kMostClusters / kLanes];
    CentroidBlock candidates[kMostClusters / kLanes];
    BoundDistances distances[kMostClusters / kLanes];
};

Bounds boundsOf(const ColourPoint* points, const Cluster& cluster) {
    Bounds b = {{INT16_MAX, INT16_MAX, INT16_MAX}, {0, 0, 0}};
    for (uint32_t i = cluster.first; i < cluster.first + cluster.points; ++i) {
        for (uint32_t c = 0; c < kChannels; ++c) {
            b.lowest[c] = std::min(b.lowest[c], points[i].mean[c]);
            b.highest[c] = std::max(b.highest[c], points[i].mean[c]);
        }
    }
    return b;
}

void setLane(CentroidBlock& block, uint32_t lane, const int16_t* centroid, uint32_t rank) {
    block.redGreen[2 * lane] = centroid[0];
    block.redGreen[2 * lane + 1] = centroid[1];
    block.blue[2 * lane] = centroid[2];
    block.blue[2 * lane + 1] = 0;
    block.rank[lane] = kRankTop | static_cast<int32_t>(rank);
}

// Fills the last block up with what stands first; the number of blocks.
uint32_t closeBlocks(CentroidBlock* blocks, uint32_t used) {
    const int16_t first[] = {blocks->redGreen[0], blocks->redGreen[1], blocks->blue[0]};
    for (; used % kLanes != 0; ++used) {
        setLane(blocks[used / kLanes], used % kLanes, first, static_cast<uint32_t>(blocks->rank[0] & kRankMask));
    }
    return used / kLanes;
}

// The clusters whose centroids can be nearest to something within the bounds, in their order; the number of blocks.
uint32_t findCandidates(Workspace& w, const Cluster* clusters, uint32_t count, const Bounds& bounds) {
    const uint32_t blocks = (count + kLanes - 1) / kLanes;
    int32_t bound[kLanes] = {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX};
    for (uint32_t i = 0; i < blocks; ++i) {
        w.distances[i] = distancesTo(bounds, w.all[i]);
        for (uint32_t lane = 0; lane < kLanes; ++lane)
            bound[lane] = std::min(bound[lane], w.distances[i].greatest[lane]);
    }
    const int32_t most = *std::min_element(bound, bound + kLanes);
    uint32_t ranks[kMostClusters];
    uint32_t found = 0;
    for (uint32_t k = 0; k < count; ++k) {  // without branches: few are found, and one cannot tell which
        ranks[found] = k;
        found += w.distances[k / kLanes].least[k % kLanes] <= most;
    }
    for (uint32_t i = 0; i < found; ++i)
        setLane(w.candidates[i / kLanes], i % kLanes, clusters[ranks[i]].centroid, ranks[i]);
    return closeBlocks(w.candidates, found);
}

// One round; the squared error with the centroids of before.
uint64_t assignPoints(Workspace& w, const ColourPoint* points, const Cluster* clusters, uint32_t count) {
    std::fill(w.members, w.members + count, Members{});
    for (uint32_t k = 0; k < count; ++k) setLane(w.all[k / kLanes], k % kLanes, clusters[k].centroid, k);
    closeBlocks(w.all, count);
    uint64_t error = 0;
    for (uint32_t k = 0; k < count; ++k) {
        const uint32_t blocks = findCandidates(w, clusters, count, w.bounds[k]);
        for (uint32_t i = clusters[k].first; i < clusters[k].first + clusters[k].points; ++i) {
            const ColourPoint& p = points[i];
            const Nearest nearest = nearestCentroid(w.candidates, blocks, p.mean);
            error += p.weight * nearest.distance;
            Members& m = w.members[nearest.rank];
            m.weight += p.weight;
            for (uint32_t c = 0; c < kChannels; ++c) m.sums[c] += p.weight * static_cast<uint16_t>(p.mean[c]);
            if (p.weight <= m.heaviest) continue;
            m.heaviest = p.weight;
            m.point = i;
        }
    }
    return error;
}

void moveCentroids(const Workspace& w, Cluster* clusters, uint32_t count) {
    for (uint32_t k = 0; k < count; ++k) {
        const Members& m = w.members[k];
        if (m.weight == 0) continue;
        for (uint32_t c = 0; c < kChannels; ++c) {
            clusters[k].centroid[c] = static_cast<int16_t>((m.sums[c] + m.weight / 2) / m.weight);
        }
    }
}

// A colour that most pixels of a cluster have is met exactly: on a plain background a level's difference is seen.
void roundCentroids(const Workspace& w, const ColourPoint* points, const Cluster* clusters, uint32_t count,
                    uint8_t* table) {
    for (uint32_t k = 0; k < count; ++k) {
        const Members& m = w.members[k];
        const int16_t* const chosen = m.heaviest > m.weight / 2 ? points[m.point].mean : clusters[k].centroid;
        for (uint32_t c = 0; c < kChannels; ++c) table[k * kChannels + c] = roundedLevel(chosen[c], c);
    }
}

}  // namespace

bool settleCentroids(const ColourPoint* points, Cluster* clusters, uint32_t count, uint8_t* table,
                     uint32_t* squaredError) {
    Workspace* const w = static_cast<Workspace*>(std::malloc(sizeof(Workspace)));
    if (w == nullptr) return false;
    uint64_t all = 0, weight = 0;
    for (uint32_t k = 0; k < count; ++k) {
        w->bounds[k] = boundsOf(points, clusters[k]);
        all += clusters[k].points;
    }
    for (uint64_t i = 0; i < all; ++i) weight += points[i].weight;
    // cppcheck-suppress zerodiv ; there is a cluster, and each has a point
    const uint64_t rounds = std::clamp<uint64_t>(kBudget / all, 1, kMostRounds);
    uint64_t error = UINT64_MAX;
    for (uint64_t round = 0; round < rounds; ++round) {
        const uint64_t before = error;
        error = assignPoints(*w, points, clusters, count);
        moveCentroids(*w, clusters, count);
        if (error + error / kSmallGain >= before) break;
    }
    *squaredError = static_cast<uint32_t>(error / weight / (kLevel[2] * kLevel[2] / kErrorParts));
    roundCentroids(*w, points, clusters, count, table);
    std::free(w);
    return true;
}

}  // namespace tolva
