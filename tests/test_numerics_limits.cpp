// Clusterings checked against what settled k-means means rather than against chosen numbers:
// every centre is the mean of its values, every value lies nearest its own centre, the spreads
// reported are those of the result, and well separated groups each get a cluster of their own.
#include "BrelonNumerics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace {

void ExpectSettled(const std::vector<double>& values, size_t k) {
    KMeansPlusPlus1D kmeans(values);
    kmeans.SeedCentersAdvanced(k);
    std::vector<double> centers;
    std::vector<size_t> assignment;
    KMeansPlusPlus1D::CLUSTERING_INFO info{};
    kmeans.CreateClusters(100000, centers, assignment, info);
    ASSERT_EQ(assignment.size(), values.size());
    ASSERT_EQ(info.numClusters, centers.size());
    EXPECT_EQ(info.numRequestedClusters, k);
    EXPECT_LE(centers.size(), k);
    EXPECT_TRUE(std::adjacent_find(centers.begin(), centers.end(), std::greater_equal<double>()) ==
                centers.end());
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / values.size();
    std::vector<double> sum(centers.size(), 0.0);
    std::vector<size_t> count(centers.size(), 0);
    double total = 0.0;
    double within = 0.0;
    for (size_t i = 0; i < values.size(); ++i) {
        const size_t own = assignment[i];
        ASSERT_LT(own, centers.size());
        const double distance = std::fabs(values[i] - centers[own]);
        for (double other : centers) {
            EXPECT_LE(distance, std::fabs(values[i] - other) + 1e-9) << values[i];
        }
        sum[own] += values[i];
        ++count[own];
        total += (values[i] - mean) * (values[i] - mean);
        within += distance * distance;
    }
    for (size_t c = 0; c < centers.size(); ++c) {
        ASSERT_GT(count[c], 0u);
        EXPECT_NEAR(centers[c], sum[c] / count[c], 1e-9 * (1 + std::fabs(centers[c])));
    }
    EXPECT_NEAR(info.totalSquaredDeviation, total, 1e-9 * (1 + total));
    EXPECT_NEAR(info.withinSquaredDeviation, within, 1e-9 * (1 + total));
    EXPECT_EQ(info.firstCenter, *std::min_element(values.begin(), values.end()));
    EXPECT_EQ(info.lastCenter, *std::max_element(values.begin(), values.end()));
}

TEST(KMeansEdges, ClusteringsSettleOnRandomData) {
    std::mt19937 rng(11);
    for (int trial = 0; trial < 40; ++trial) {
        SCOPED_TRACE(trial);
        const size_t n = 2 + rng() % 200;
        std::normal_distribution<double> spread(0.0, 1.0 + rng() % 50);
        std::vector<double> values;
        for (size_t i = 0; i < n; ++i) {
            const double center = 100.0 * (rng() % 6);
            values.push_back(std::round((center + spread(rng)) * 4) / 4); // repeats
        }
        ExpectSettled(values, 1 + rng() % 12);
    }
}

TEST(KMeansEdges, SeparatedGroupsOfUnequalSizeGetAClusterEach) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> noise(-5.0, 5.0);
    std::vector<double> values;
    for (int group = 0; group < 10; ++group) {
        for (int i = 0; i < 1 + (group * 7) % 13; ++i) {
            values.push_back(1000.0 * group + noise(rng));
        }
    }
    std::shuffle(values.begin(), values.end(), rng);
    KMeansPlusPlus1D kmeans(values);
    kmeans.SeedCentersAdvanced(10);
    std::vector<double> centers;
    std::vector<size_t> assignment;
    KMeansPlusPlus1D::CLUSTERING_INFO info{};
    kmeans.CreateClusters(100, centers, assignment, info);
    ASSERT_EQ(centers.size(), 10u);
    for (size_t group = 0; group < 10; ++group) {
        EXPECT_NEAR(centers[group], 1000.0 * group, 5.0);
    }
}

// A list that names anything but components 1 to 6, wherever it stands, takes a hashed number
// from 64 up, apart from the 63 numbers of the common sets.
TEST(DofHashEdges, AnUnusualMemberMakesTheWholeListUnusual) {
    for (const std::vector<int>& dofs :
         {std::vector<int>{7}, {1, 7}, {7, 1}, {123, 0}, {-1, 2}, {17}}) {
        EXPECT_GE(BrelonFemUtil::hash_dof_vector(dofs), 64) << dofs[0];
    }
}

// A line whose slope is finite but whose intercept is not has no use either.
TEST(LineFitEdges, AnInfiniteInterceptIsNoLine) {
    double a = 42;
    double b = 42;
    EXPECT_FALSE(Interpolations::FindLine2D(1e200, 0, 1.0000000001e200, 1e300, a, b));
    EXPECT_EQ(a, 42);
}

} // namespace
