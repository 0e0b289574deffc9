// One-dimensional k-means with greedy k-means++ seeding.
//
// The work runs on the distinct finite values, sorted and weighted by how often they occur,
// and scaled by a power of two into [-1, 1): scaling by a power of two is exact, so a cluster
// of one value has that value as its centre, and squared distances cannot overflow however
// large the inputs are. In one dimension a cluster is a run of neighbouring distinct values,
// so each round of assignment is one sweep over the sorted values.
#include "BrelonNumerics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace {

// A fixed seed: the same values always give the same clusters, run after run.
constexpr std::uint64_t kSeed = 0x6b4d65616e733144ull;

struct DistinctValues {
    std::vector<double> value;  // scaled, strictly ascending
    std::vector<double> weight; // occurrences of each value
    std::vector<size_t> of;     // for each input position, its distinct index (or SIZE_MAX)
    double scale = 1.0;         // input = value * scale
    size_t numFinite = 0;
};

double PowerOfTwoScale(const std::vector<double>& values) {
    double maxAbs = 0.0;
    for (double v : values) {
        if (std::isfinite(v)) {
            maxAbs = std::max(maxAbs, std::fabs(v));
        }
    }
    if (maxAbs == 0.0) {
        return 1.0;
    }
    int exponent = 0;
    std::frexp(maxAbs, &exponent); // maxAbs < 2^exponent
    return std::ldexp(1.0, exponent);
}

DistinctValues Prepare(const std::vector<double>& values) {
    DistinctValues d;
    d.scale = PowerOfTwoScale(values);
    d.of.assign(values.size(), SIZE_MAX);
    std::vector<size_t> order;
    order.reserve(values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        if (std::isfinite(values[i])) {
            order.push_back(i);
        }
    }
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return values[a] < values[b]; });
    d.numFinite = order.size();
    for (size_t pos = 0; pos < order.size(); ++pos) {
        const double v = values[order[pos]] / d.scale;
        if (d.value.empty() || d.value.back() != v) {
            d.value.push_back(v);
            d.weight.push_back(0.0);
        }
        d.weight.back() += 1.0;
        d.of[order[pos]] = d.value.size() - 1;
    }
    return d;
}

// Uniform in [0, 1) from the 53 high bits: the same numbers on every platform, unlike the
// standard distributions, whose algorithms the library implementations choose freely.
double Uniform01(std::mt19937_64& rng) {
    return static_cast<double>(rng() >> 11) * 0x1.0p-53;
}

// An index drawn with probability proportional to weight[i]; `total` is their sum (> 0).
size_t DrawWeighted(const std::vector<double>& weight, double total, std::mt19937_64& rng) {
    const double target = Uniform01(rng) * total;
    double cumulative = 0.0;
    size_t lastPositive = 0;
    for (size_t i = 0; i < weight.size(); ++i) {
        if (weight[i] > 0.0) {
            cumulative += weight[i];
            lastPositive = i;
            if (cumulative > target) {
                return i;
            }
        }
    }
    return lastPositive; // rounding left the target at the very top
}

// Greedy k-means++ over the distinct values: each new centre is the best, by the summed
// squared distance it leaves, of a few candidates drawn in proportion to that distance.
std::vector<double> SeedScaled(const DistinctValues& d, size_t k) {
    std::vector<double> seeds;
    const size_t m = d.value.size();
    if (k == 0 || m == 0) {
        return seeds;
    }
    std::mt19937_64 rng(kSeed);
    const size_t first = DrawWeighted(d.weight, static_cast<double>(d.numFinite), rng);
    seeds.push_back(d.value[first]);
    std::vector<double> nearest(m); // squared distance to the nearest seed
    for (size_t i = 0; i < m; ++i) {
        nearest[i] = (d.value[i] - seeds[0]) * (d.value[i] - seeds[0]);
    }
    const size_t numCandidates = 2 + static_cast<size_t>(std::log(static_cast<double>(k)));
    std::vector<double> potential(m);
    while (seeds.size() < k) {
        for (size_t i = 0; i < m; ++i) {
            potential[i] = d.weight[i] * nearest[i];
        }
        const double total = std::accumulate(potential.begin(), potential.end(), 0.0);
        if (!(total > 0.0)) {
            break; // every distinct value is a seed already
        }
        size_t best = SIZE_MAX;
        double bestCost = 0.0;
        for (size_t c = 0; c < numCandidates; ++c) {
            const size_t candidate = DrawWeighted(potential, total, rng);
            double cost = 0.0;
            for (size_t i = 0; i < m; ++i) {
                const double dist = d.value[i] - d.value[candidate];
                cost += d.weight[i] * std::min(nearest[i], dist * dist);
            }
            if (best == SIZE_MAX || cost < bestCost) {
                best = candidate;
                bestCost = cost;
            }
        }
        seeds.push_back(d.value[best]);
        for (size_t i = 0; i < m; ++i) {
            const double dist = d.value[i] - d.value[best];
            nearest[i] = std::min(nearest[i], dist * dist);
        }
    }
    std::sort(seeds.begin(), seeds.end());
    return seeds;
}

// Lloyd's iteration on sorted distinct values. A cluster is a run of values: cluster j holds
// value[start[j]] .. value[start[j + 1] - 1].
class Lloyd1D {
public:
    Lloyd1D(const DistinctValues& d, std::vector<double> centers)
        : m_D(d), m_Centers(std::move(centers)) {}

    size_t Run(size_t maxIterations) {
        std::vector<size_t> start = Assign();
        size_t iterations = 0;
        while (iterations < maxIterations) {
            UpdateCenters(start);
            ++iterations;
            std::vector<size_t> next = Assign();
            const bool stable = next == start;
            start.swap(next);
            if (stable) {
                break;
            }
        }
        Finish(start);
        return iterations;
    }

    const std::vector<double>& Centers() const { return m_Centers; }
    const std::vector<size_t>& ClusterOfDistinct() const { return m_ClusterOf; }

private:
    // Each value goes to its nearest centre, the lower one on a tie. Centres are ascending.
    std::vector<size_t> Assign() const {
        const size_t k = m_Centers.size();
        std::vector<size_t> start(k + 1, 0);
        size_t j = 0;
        for (size_t i = 0; i < m_D.value.size(); ++i) {
            const double v = m_D.value[i];
            while (j + 1 < k && m_Centers[j + 1] - v < v - m_Centers[j]) {
                ++j;
                start[j] = i;
            }
        }
        for (size_t c = j + 1; c <= k; ++c) {
            start[c] = m_D.value.size();
        }
        return start;
    }

    double Mean(size_t lo, size_t hi) const {
        double sum = 0.0, weight = 0.0;
        for (size_t i = lo; i < hi; ++i) {
            sum += m_D.weight[i] * m_D.value[i];
            weight += m_D.weight[i];
        }
        // Rounding must not carry a mean out of its run, or the centres lose their order.
        return std::min(std::max(sum / weight, m_D.value[lo]), m_D.value[hi - 1]);
    }

    // Moves each centre to the mean of its run. An empty cluster takes the value lying
    // farthest from its own centre, among clusters of two or more distinct values.
    void UpdateCenters(const std::vector<size_t>& start) {
        const size_t k = m_Centers.size();
        bool relocated = false;
        for (size_t j = 0; j < k; ++j) {
            if (start[j] < start[j + 1]) {
                m_Centers[j] = Mean(start[j], start[j + 1]);
            }
        }
        for (size_t j = 0; j < k; ++j) {
            if (start[j] == start[j + 1]) {
                relocated |= Relocate(j, start);
            }
        }
        if (relocated) {
            std::sort(m_Centers.begin(), m_Centers.end());
        }
    }

    bool Relocate(size_t empty, const std::vector<size_t>& start) {
        double farthest = 0.0;
        size_t chosen = SIZE_MAX;
        for (size_t j = 0; j + 1 < start.size(); ++j) {
            for (size_t i = start[j]; start[j + 1] - start[j] > 1 && i < start[j + 1]; ++i) {
                const double dist = std::fabs(m_D.value[i] - m_Centers[j]);
                const bool taken =
                    std::find(m_Centers.begin(), m_Centers.end(), m_D.value[i]) != m_Centers.end();
                if (dist > farthest && !taken) {
                    farthest = dist;
                    chosen = i;
                }
            }
        }
        if (chosen == SIZE_MAX) {
            return false;
        }
        m_Centers[empty] = m_D.value[chosen];
        return true;
    }

    // Final centres are the means of the final runs; empty clusters are dropped.
    void Finish(const std::vector<size_t>& start) {
        std::vector<double> centers;
        m_ClusterOf.assign(m_D.value.size(), 0);
        for (size_t j = 0; j + 1 < start.size(); ++j) {
            if (start[j] == start[j + 1]) {
                continue;
            }
            for (size_t i = start[j]; i < start[j + 1]; ++i) {
                m_ClusterOf[i] = centers.size();
            }
            centers.push_back(Mean(start[j], start[j + 1]));
        }
        m_Centers.swap(centers);
    }

    const DistinctValues& m_D;
    std::vector<double> m_Centers;
    std::vector<size_t> m_ClusterOf;
};

// Squared spreads of the finite values: about their mean and about their cluster centres.
void Spreads(const DistinctValues& d, const Lloyd1D& lloyd, double& total, double& within) {
    double sum = 0.0;
    for (size_t i = 0; i < d.value.size(); ++i) {
        sum += d.weight[i] * d.value[i];
    }
    const double mean = d.numFinite > 0 ? sum / static_cast<double>(d.numFinite) : 0.0;
    total = 0.0;
    within = 0.0;
    for (size_t i = 0; i < d.value.size(); ++i) {
        const double toMean = d.value[i] - mean;
        const double toCenter = d.value[i] - lloyd.Centers()[lloyd.ClusterOfDistinct()[i]];
        total += d.weight[i] * toMean * toMean;
        within += d.weight[i] * toCenter * toCenter;
    }
    total *= d.scale * d.scale;
    within *= d.scale * d.scale;
}

} // namespace

KMeansPlusPlus1D::KMeansPlusPlus1D(const std::vector<double>& values) : m_Values(values) {}

KMeansPlusPlus1D::~KMeansPlusPlus1D() = default;

void KMeansPlusPlus1D::SeedCentersAdvanced(size_t numClusters) {
    m_RequestedClusters = numClusters;
    const DistinctValues d = Prepare(m_Values);
    m_Seeds = SeedScaled(d, std::min(numClusters, d.value.size()));
    for (double& seed : m_Seeds) {
        seed *= d.scale;
    }
}

void KMeansPlusPlus1D::CreateClusters(size_t maxIterations, std::vector<double>& centers,
                                      std::vector<size_t>& assignment,
                                      CLUSTERING_INFO& info) const {
    const DistinctValues d = Prepare(m_Values);
    info = CLUSTERING_INFO{};
    info.numValues = m_Values.size();
    info.numDistinctValues = d.value.size();
    info.numRequestedClusters = m_RequestedClusters;
    centers.clear();
    assignment.assign(m_Values.size(), 0);
    if (d.value.empty()) {
        // Nothing finite to cluster: one cluster without a meaningful centre.
        if (!m_Values.empty()) {
            centers.push_back(std::numeric_limits<double>::quiet_NaN());
            info.numClusters = 1;
        }
        info.firstCenter = info.lastCenter = centers.empty() ? 0.0 : centers[0];
        return;
    }
    std::vector<double> seeds = m_Seeds.empty() ? SeedScaled(d, 1) : m_Seeds;
    if (!m_Seeds.empty()) {
        for (double& seed : seeds) {
            seed /= d.scale;
        }
    }
    Lloyd1D lloyd(d, std::move(seeds));
    info.numIterations = lloyd.Run(maxIterations);
    for (double c : lloyd.Centers()) {
        centers.push_back(c * d.scale);
    }
    info.numClusters = centers.size();
    for (size_t i = 0; i < m_Values.size(); ++i) {
        assignment[i] =
            d.of[i] == SIZE_MAX ? centers.size() - 1 : lloyd.ClusterOfDistinct()[d.of[i]];
    }
    Spreads(d, lloyd, info.totalSquaredDeviation, info.withinSquaredDeviation);
    info.firstCenter = d.value.front() * d.scale;
    info.lastCenter = d.value.back() * d.scale;
}

double KMeansPlusPlus1D::CalculateQualityFactor(const CLUSTERING_INFO& info) {
    if (info.numClusters == 0) {
        return 0.0;
    }
    if (!(info.totalSquaredDeviation > 0.0)) {
        return 1.0; // all values equal: one cluster describes them perfectly
    }
    const double explained = 1.0 - info.withinSquaredDeviation / info.totalSquaredDeviation;
    if (!(explained > 0.0)) {
        return 0.0; // also a NaN from spreads too large to represent
    }
    return std::min(explained, 1.0);
}
