#include "export/html/leaf.h"

#include <algorithm>
#include <cmath>

namespace exporting {

namespace {

void measureAs(Leaf& leaf, double number) {
    leaf.least = leaf.most = number;
    leaf.measured = 1;
}

void takeValue(Leaf& leaf, const Sample& sample, std::int64_t before) {
    const auto since = static_cast<double>(static_cast<std::int64_t>(static_cast<std::uint64_t>(sample.time) -
                                                                     static_cast<std::uint64_t>(before)));
    leaf.duration = sample.duration != 0 ? static_cast<double>(sample.duration) : std::max(since, 0.0);
    leaf.weighted = sample.value * leaf.duration;
    measureAs(leaf, sample.value);
}

void takeDelta(Leaf& leaf, const Sample& sample, const Measure& measure) {
    if (sample.duration == 0) return;
    leaf.duration = static_cast<double>(sample.duration);
    leaf.weighted = sample.value;
    measureAs(leaf, sample.value * measure.factor / (leaf.duration / measure.ticksPerSecond));
}

}  // namespace

Leaf leafOf(const Sample& sample, std::int64_t before, const Measure& measure) {
    Leaf leaf;
    leaf.first = leaf.last = sample.time;
    leaf.count = 1;
    if (std::isnan(sample.value)) {
        leaf.skipped = 1;
        return leaf;
    }
    leaf.sum = sample.value;
    switch (measure.type) {
        case pwr::Metric::SAMPLED_VALUE:
            takeValue(leaf, sample, before);
            break;
        case pwr::Metric::SAMPLED_DELTA:
            takeDelta(leaf, sample, measure);
            break;
        default:
            leaf.duration = static_cast<double>(sample.duration);
            break;
    }
    return leaf;
}

void mergeInto(Leaf& leaf, const Leaf& next) {
    leaf.last = next.last;
    leaf.duration += next.duration;
    leaf.sum += next.sum;
    leaf.weighted += next.weighted;
    if (next.measured != 0) {
        leaf.least = leaf.measured != 0 ? std::min(leaf.least, next.least) : next.least;
        leaf.most = leaf.measured != 0 ? std::max(leaf.most, next.most) : next.most;
    }
    leaf.count += next.count;
    leaf.skipped += next.skipped;
    leaf.measured += next.measured;
}

}  // namespace exporting
