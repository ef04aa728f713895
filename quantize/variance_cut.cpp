// variance_cut.cpp: the box of all points is cut, always where the sum of squared errors falls most for its pixels,
// until there are as many boxes as entries (after X. Wu, "Efficient Statistical Computations for Optimal Color
// Quantization", Graphics Gems II, 1991). Moments are summed along each axis of a box from its own points, not over a
// grid of the whole cube: a picture of few colours or of narrow range is cut as finely as any. Called between the first
// pass and k-means.
//
// Sums are whole numbers in doubles, exact up to 2^53 and so the same in any order.

#include "quantize/variance_cut.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "host/numbers.h"

namespace tolva {
namespace {

constexpr uint32_t kLevels = 256;

// The weight, and behind it a sum for each channel, two of which are added at once.
using Pair = double __attribute__((vector_size(16)));
struct Moments {
    Pair halves[2];
};

struct Box {
    uint32_t first;
    uint32_t points;
    Moments all;
    double gain;   // of its best cut; 0 where all its points are one
    double worth;  // what boxes are chosen by
    uint32_t axis;
    int32_t below;  // means on the lower side
};

struct Workspace {
    Moments axes[kChannels][kLevels];
    Box boxes[kLevels];
};

uint32_t levelOf(int16_t mean, uint32_t channel) { return static_cast<uint32_t>(mean / kLevel[channel]); }

double weightOf(const Moments& m) { return m.halves[0][0]; }
double sumOf(const Moments& m, uint32_t channel) { return m.halves[(1 + channel) / 2][(1 + channel) % 2]; }

void add(Moments& to, const Moments& m) {
    to.halves[0] += m.halves[0];
    to.halves[1] += m.halves[1];
}

// The fall of the squared error when a box is cut into these two.
double gainOf(const Moments& all, const Moments& low) {
    const double lowWeight = weightOf(low), highWeight = weightOf(all) - lowWeight;
    const double toLow = 1.0 / lowWeight, toHigh = 1.0 / highWeight;
    double distance = 0;
    for (uint32_t c = 0; c < kChannels; ++c) {
        const double apart = sumOf(low, c) * toLow - (sumOf(all, c) - sumOf(low, c)) * toHigh;
        distance += apart * apart;
    }
    return distance * (lowWeight * highWeight / weightOf(all));
}

// In levels. A whole point is taken at a time; what is no mean counts in vain.
void findExtents(const ColourPoint* points, uint32_t count, uint32_t* lowest, uint32_t* highest) {
    using Lanes = int16_t __attribute__((vector_size(sizeof(ColourPoint))));
    Lanes least = Lanes{} + INT16_MAX, most = {};
    for (uint32_t i = 0; i < count; ++i) {
        Lanes point;
        std::memcpy(&point, points + i, sizeof point);
        least = point < least ? point : least;
        most = point > most ? point : most;
    }
    for (uint32_t c = 0; c < kChannels; ++c) {
        lowest[c] = levelOf(least[c], c);
        highest[c] = levelOf(most[c], c);
    }
}

void findCut(Workspace& w, const ColourPoint* points, Box& box) {
    uint32_t lowest[kChannels], highest[kChannels];
    findExtents(points + box.first, box.points, lowest, highest);
    for (uint32_t c = 0; c < kChannels; ++c) std::fill(w.axes[c] + lowest[c], w.axes[c] + highest[c] + 1, Moments{});
    for (const ColourPoint* p = points + box.first; p < points + box.first + box.points; ++p) {
        const double weight = static_cast<double>(p->weight);
        const Moments m = {{{weight, weight * p->mean[0]}, {weight * p->mean[1], weight * p->mean[2]}}};
        for (uint32_t c = 0; c < kChannels; ++c) add(w.axes[c][levelOf(p->mean[c], c)], m);
    }
    box.all = Moments{};
    for (uint32_t i = lowest[0]; i <= highest[0]; ++i) add(box.all, w.axes[0][i]);
    box.gain = 0;
    for (uint32_t c = 0; c < kChannels; ++c) {
        Moments low = {};
        for (uint32_t i = lowest[c]; i < highest[c]; ++i) {
            if (weightOf(w.axes[c][i]) == 0) continue;
            add(low, w.axes[c][i]);
            const double gain = gainOf(box.all, low);
            if (gain <= box.gain) continue;
            box.gain = gain;
            box.axis = c;
            box.below = static_cast<int32_t>(i + 1) * kLevel[c];
        }
    }
    // Squares alone give rare colours more entries than the eye would, because a few large errors count most; times the
    // pixels, about the distances themselves would count. Half way to that, photographs are 1.5 % nearer in Lab, and
    // lose 0.05 dB.
    box.worth = box.gain * std::sqrt(weightOf(box.all));
}

uint32_t partitioned(ColourPoint* points, const Box& box) {
    ColourPoint* const first = points + box.first;
    ColourPoint* low = first;
    for (ColourPoint* high = first + box.points;;) {
        while (low < high && low->mean[box.axis] < box.below) ++low;
        while (low < high && (high - 1)->mean[box.axis] >= box.below) --high;
        if (low == high) return static_cast<uint32_t>(low - first);
        std::swap(*low++, *--high);
    }
}

}  // namespace

uint32_t cutByVariance(ColourPoint* points, uint32_t count, Cluster* clusters, uint32_t most) {
    if (count == 0 || most == 0) return 0;
    Workspace* const w = static_cast<Workspace*>(std::malloc(sizeof(Workspace)));
    if (w == nullptr) return 0;
    uint32_t boxes = 1;
    w->boxes[0].first = 0;
    w->boxes[0].points = count;
    findCut(*w, points, w->boxes[0]);
    while (boxes < most) {
        Box& box =
            *std::max_element(w->boxes, w->boxes + boxes, [](const Box& a, const Box& b) { return a.worth < b.worth; });
        if (!(box.gain > 0)) break;
        Box& upper = w->boxes[boxes++];
        const uint32_t low = partitioned(points, box);
        upper.first = box.first + low;
        upper.points = box.points - low;
        box.points = low;
        findCut(*w, points, box);
        findCut(*w, points, upper);
    }
    for (uint32_t i = 0; i < boxes; ++i) {
        const Box& box = w->boxes[i];
        clusters[i].first = box.first;
        clusters[i].points = box.points;
        for (uint32_t c = 0; c < kChannels; ++c) {
            clusters[i].centroid[c] = truncated<int16_t>(sumOf(box.all, c) / weightOf(box.all) + 0.5);
        }
    }
    std::free(w);
    return boxes;
}

}  // namespace tolva
