// k_means.cpp: rounds of weighted k-means that begin with the clusters of the variance cut. The points of such a
// cluster stay together: only the few centroids that can be nearest to anything in its bounding box are looked at for
// them. All is done in whole numbers. The rounds are as many as a budget of points allows, so that a picture of many
// colours takes no longer than one of few.

#include "quantize/k_means.h"

#include <algorithm>
#include <cstdlib>

namespace tolva {
namespace {

constexpr uint32_t kMostClusters = 256;
constexpr uint32_t kMostRounds = 20;
constexpr uint64_t kBudget = 400000;   // points looked at in all rounds
constexpr uint64_t kSmallGain = 2000;  // a round that betters the error by less than one part in so many is the last

struct Bounds {
    int32_t lowest[kChannels];
    int32_t highest[kChannels];
};

struct Members {
    uint64_t weight;
    uint64_t sums[kChannels];
    uint64_t heaviest;
    uint8_t colour[kChannels];  // of the heaviest point
};

struct Candidate {
    int32_t centroid[kChannels];
    uint32_t cluster;
};

struct Workspace {
    Bounds bounds[kMostClusters];
    Members members[kMostClusters];
    Candidate candidates[kMostClusters];
    uint32_t least[kMostClusters];
};

uint32_t squared(int32_t x) { return static_cast<uint32_t>(x * x); }

Bounds boundsOf(const ColourPoint* points, const Cluster& cluster) {
    Bounds b = {{INT32_MAX, INT32_MAX, INT32_MAX}, {0, 0, 0}};
    for (uint32_t i = cluster.first; i < cluster.first + cluster.points; ++i) {
        for (uint32_t c = 0; c < kChannels; ++c) {
            b.lowest[c] = std::min<int32_t>(b.lowest[c], points[i].mean[c]);
            b.highest[c] = std::max<int32_t>(b.highest[c], points[i].mean[c]);
        }
    }
    return b;
}

// The clusters whose centroids can be nearest to something within the bounds, in their order.
uint32_t findCandidates(Workspace& w, const Cluster* clusters, uint32_t count, const Bounds& b) {
    uint32_t bound = UINT32_MAX;
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t least = 0, greatest = 0;
        for (uint32_t c = 0; c < kChannels; ++c) {
            const int32_t at = clusters[i].centroid[c];
            least += squared(std::max({b.lowest[c] - at, at - b.highest[c], 0}));
            greatest += squared(std::max(at - b.lowest[c], b.highest[c] - at));
        }
        w.least[i] = least;
        bound = std::min(bound, greatest);
    }
    uint32_t found = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (w.least[i] > bound) continue;
        const uint16_t* const at = clusters[i].centroid;
        w.candidates[found++] = {{at[0], at[1], at[2]}, i};
    }
    return found;
}

// One round; the squared error with the centroids of before.
uint64_t assignPoints(Workspace& w, const ColourPoint* points, Cluster* clusters, uint32_t count) {
    std::fill(w.members, w.members + count, Members{});
    uint64_t error = 0;
    for (uint32_t k = 0; k < count; ++k) {
        const uint32_t found = findCandidates(w, clusters, count, w.bounds[k]);
        for (uint32_t i = clusters[k].first; i < clusters[k].first + clusters[k].points; ++i) {
            const ColourPoint& p = points[i];
            uint32_t best = 0, least = UINT32_MAX;
            for (uint32_t j = 0; j < found; ++j) {
                const int32_t* const at = w.candidates[j].centroid;
                const uint32_t d = squared(at[0] - p.mean[0]) + squared(at[1] - p.mean[1]) + squared(at[2] - p.mean[2]);
                if (d >= least) continue;
                least = d;
                best = j;
            }
            Members& m = w.members[w.candidates[best].cluster];
            m.weight += p.weight;
            for (uint32_t c = 0; c < kChannels; ++c) m.sums[c] += p.weight * p.mean[c];
            error += p.weight * least;
            if (p.weight <= m.heaviest) continue;
            m.heaviest = p.weight;
            for (uint32_t c = 0; c < kChannels; ++c) m.colour[c] = roundedLevel(p.mean[c]);
        }
    }
    return error;
}

}  // namespace

bool settleCentroids(const ColourPoint* points, Cluster* clusters, uint32_t count, uint8_t* table) {
    Workspace* const w = static_cast<Workspace*>(std::malloc(sizeof(Workspace)));
    if (w == nullptr) return false;
    uint64_t all = 0, error = UINT64_MAX;
    for (uint32_t k = 0; k < count; ++k) {
        w->bounds[k] = boundsOf(points, clusters[k]);
        all += clusters[k].points;
    }
    const uint64_t rounds = std::clamp<uint64_t>(kBudget / all, 1, kMostRounds);
    for (uint64_t round = 0; round < rounds; ++round) {
        const uint64_t before = error;
        error = assignPoints(*w, points, clusters, count);
        for (uint32_t k = 0; k < count; ++k) {
            const Members& m = w->members[k];
            if (m.weight == 0) continue;
            for (uint32_t c = 0; c < kChannels; ++c) {
                clusters[k].centroid[c] = static_cast<uint16_t>((m.sums[c] + m.weight / 2) / m.weight);
            }
        }
        if (before != UINT64_MAX && before - error < before / kSmallGain) break;
    }
    for (uint32_t k = 0; k < count; ++k) {
        const Members& m = w->members[k];
        const bool dominated = m.heaviest > m.weight / 2;
        for (uint32_t c = 0; c < kChannels; ++c) {
            table[k * kChannels + c] = dominated ? m.colour[c] : roundedLevel(clusters[k].centroid[c]);
        }
    }
    std::free(w);
    return true;
}

}  // namespace tolva
