// Numeric services: coordinate systems, graph sort, k-means, line fit, CRC-32, DOF hash, radix
// sort.
#include "BrelonNumerics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>

namespace {

using Vec3 = BrelonMatrix<3, 1, double>;
using CS = BrelonCoordinateSystem;

double Dot(const Vec3& a, const Vec3& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

void ExpectNear(const Vec3& expected, const Vec3& actual, double tol = 1e-12) {
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(expected[i], actual[i], tol) << "component " << i;
    }
}

void ExpectRightHandedOrthonormal(const CS& cs) {
    const Vec3 &x = cs.xDirection, &y = cs.yDirection, &z = cs.zDirection;
    for (const Vec3* v : {&x, &y, &z}) {
        EXPECT_NEAR(1.0, Dot(*v, *v), 1e-15);
    }
    EXPECT_NEAR(0.0, Dot(x, y), 1e-15);
    EXPECT_NEAR(0.0, Dot(y, z), 1e-15);
    EXPECT_NEAR(0.0, Dot(z, x), 1e-15);
    const Vec3 xy(x[1] * y[2] - x[2] * y[1], x[2] * y[0] - x[0] * y[2], x[0] * y[1] - x[1] * y[0]);
    ExpectNear(z, xy, 1e-15);
}

TEST(CoordinateSystem, FrameIsOrthonormalRightHandedEvenFromPoorDirections) {
    const CS skew(CS::CARTESIAN, Vec3(), Vec3(0, 0, 2), Vec3(1, 1, 0.5), CS::ANGLES_IN_DEGREES);
    ExpectRightHandedOrthonormal(skew);
    ExpectNear(Vec3(0, 0, 1), skew.zDirection);
    ExpectNear(Vec3(std::sqrt(0.5), std::sqrt(0.5), 0), skew.xDirection);
    // x along z, a zero z and NaNs still give a usable frame instead of NaNs.
    ExpectRightHandedOrthonormal(
        CS(CS::CARTESIAN, Vec3(), Vec3(0, 3, 0), Vec3(0, -1, 0), CS::ANGLES_IN_DEGREES));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const CS bad(CS::CARTESIAN, Vec3(), Vec3(), Vec3(nan, 0, 0), CS::ANGLES_IN_DEGREES);
    ExpectRightHandedOrthonormal(bad);
    ExpectNear(Vec3(0, 0, 1), bad.zDirection);
}

TEST(CoordinateSystem, ExpressesPointsOfEachKindInTheParent) {
    // z = (0,0,1), x = (0,1,0), hence y = (-1,0,0); origin (1,2,3).
    const CS cart(CS::CARTESIAN, Vec3(1, 2, 3), Vec3(0, 0, 1), Vec3(0, 1, 0),
                  CS::ANGLES_IN_DEGREES);
    EXPECT_EQ(Vec3(-1, 3, 6), cart.ExpressInParentCartesianSystem(Vec3(1, 2, 3)));
    EXPECT_EQ(Vec3(1, 5, 3), CS(static_cast<CS::Type>(7), Vec3(1, 2, 3), Vec3(0, 0, 1),
                                Vec3(0, 1, 0), CS::ANGLES_IN_DEGREES)
                                 .ExpressInParentCartesianSystem(Vec3(3, 0, 0)));

    const CS cyl(CS::CYLINDRICAL, Vec3(10, 0, 0), Vec3(0, 0, 1), Vec3(1, 0, 0),
                 CS::ANGLES_IN_DEGREES);
    // Whole quarter turns are exact, whatever the number of turns or the sign.
    EXPECT_EQ(Vec3(10, 2, 5), cyl.ExpressInParentCartesianSystem(Vec3(2, 90, 5)));
    EXPECT_EQ(Vec3(8, 0, 0), cyl.ExpressInParentCartesianSystem(Vec3(2, 540, 0)));
    EXPECT_EQ(Vec3(10, -2, 0), cyl.ExpressInParentCartesianSystem(Vec3(2, -90, 0)));
    EXPECT_EQ(Vec3(12, 0, 0), cyl.ExpressInParentCartesianSystem(Vec3(2, -1e-20, 0)));
    ExpectNear(Vec3(10 + std::sqrt(3.0), 1, 0), cyl.ExpressInParentCartesianSystem(Vec3(2, 30, 0)));
    ExpectNear(Vec3(10 - 1, 1, 0),
               cyl.ExpressInParentCartesianSystem(Vec3(std::sqrt(2.0), 135, 0)));

    const CS sph(CS::SPHERICAL, Vec3(), Vec3(0, 0, 1), Vec3(1, 0, 0), CS::ANGLES_IN_DEGREES);
    EXPECT_EQ(Vec3(0, 2, 0), sph.ExpressInParentCartesianSystem(Vec3(2, 90, 90)));
    EXPECT_EQ(Vec3(0, 0, 2), sph.ExpressInParentCartesianSystem(Vec3(2, 0, 77)));
    ExpectNear(Vec3(-std::sqrt(0.75), 0, 0.5),
               sph.ExpressInParentCartesianSystem(Vec3(1, 60, 180)));

    // A rotated spherical system: its z is the parent's x, its x the parent's y.
    const CS turned(CS::SPHERICAL, Vec3(1, 1, 1), Vec3(1, 0, 0), Vec3(0, 1, 0),
                    CS::ANGLES_IN_DEGREES);
    EXPECT_EQ(Vec3(4, 1, 1), turned.ExpressInParentCartesianSystem(Vec3(3, 0, 0)));
    EXPECT_EQ(Vec3(1, 1, 4), turned.ExpressInParentCartesianSystem(Vec3(3, 90, 90)));

    const CS rad(CS::CYLINDRICAL, Vec3(), Vec3(0, 0, 1), Vec3(1, 0, 0), CS::ANGLES_IN_RADIANS);
    ExpectNear(Vec3(0, 1, 0), rad.ExpressInParentCartesianSystem(Vec3(1, std::acos(-1.0) / 2, 0)));
}

TEST(CoordinateSystem, EqualityNamesAndDefault) {
    const CS a(CS::SPHERICAL, Vec3(1, 2, 3), Vec3(0, 1, 1), Vec3(1, 0, 0), CS::ANGLES_IN_DEGREES);
    CS b;
    EXPECT_FALSE(a == b);
    b = a;
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(a == CS(a));
    EXPECT_FALSE(
        a == CS(CS::SPHERICAL, Vec3(1, 2, 3), Vec3(0, 1, 1), Vec3(1, 0, 0), CS::ANGLES_IN_RADIANS));
    const CS global;
    EXPECT_EQ(Vec3(4, 5, 6), global.ExpressInParentCartesianSystem(Vec3(4, 5, 6)));
    EXPECT_STREQ("CARTESIAN", global.GetTypeString());
    EXPECT_STREQ("SPHERICAL", a.GetTypeString());
    b.type = CS::CYLINDRICAL;
    EXPECT_STREQ("CYLINDRICAL", b.GetTypeString());
    b.type = static_cast<CS::Type>(-1);
    EXPECT_STREQ("UNKNOWN", b.GetTypeString());
}

TEST(DirectedGraph, SortsRespectingEdgesAndInsertionOrder) {
    BrelonDirectedGraph g;
    for (int id : {5, 3, 9, 1}) {
        g.AddVertex(id);
    }
    g.AddVertex(3); // repeated: no second vertex
    g.AddDirectedEdge(9, 3);
    g.AddDirectedEdge(42, 5); // adds the unknown vertex 42
    std::vector<int> order{77};
    ASSERT_TRUE(g.GenerateTopologicalSort(order));
    EXPECT_EQ((std::vector<int>{9, 3, 1, 42, 5}), order);

    BrelonDirectedGraph empty;
    EXPECT_TRUE(empty.GenerateTopologicalSort(order));
    EXPECT_TRUE(order.empty());
}

TEST(DirectedGraph, CyclesAreReported) {
    BrelonDirectedGraph g;
    g.AddVertex(0);
    g.AddDirectedEdge(1, 2);
    g.AddDirectedEdge(2, 1);
    g.AddDirectedEdge(2, 3);
    std::vector<int> order;
    EXPECT_FALSE(g.GenerateTopologicalSort(order));
    EXPECT_EQ(std::vector<int>{0}, order); // 1, 2 on the cycle, 3 behind it

    BrelonDirectedGraph self;
    self.AddDirectedEdge(4, 4);
    EXPECT_FALSE(self.GenerateTopologicalSort(order));
}

TEST(DirectedGraph, LongChainNeedsNoDeepStack) {
    BrelonDirectedGraph g;
    const int n = 200000;
    for (int i = n - 1; i > 0; --i) {
        g.AddDirectedEdge(i - 1, i);
    }
    std::vector<int> order;
    ASSERT_TRUE(g.GenerateTopologicalSort(order));
    ASSERT_EQ(static_cast<size_t>(n), order.size());
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

struct Clustering {
    std::vector<double> centers;
    std::vector<size_t> assignment;
    KMeansPlusPlus1D::CLUSTERING_INFO info{};
};

Clustering Cluster(const std::vector<double>& values, size_t k, size_t maxIterations = 20000) {
    Clustering c;
    KMeansPlusPlus1D kmeans(values);
    kmeans.SeedCentersAdvanced(k);
    kmeans.CreateClusters(maxIterations, c.centers, c.assignment, c.info);
    return c;
}

TEST(KMeans, DistinctValuesAndEqualValues) {
    const Clustering own = Cluster({5, 1, 5, 3, 1}, 3);
    EXPECT_EQ((std::vector<double>{1, 3, 5}), own.centers);
    EXPECT_EQ((std::vector<size_t>{2, 0, 2, 1, 0}), own.assignment);
    EXPECT_EQ(5u, own.info.numValues);
    EXPECT_EQ(3u, own.info.numDistinctValues);
    EXPECT_EQ(3u, own.info.numClusters);
    EXPECT_EQ(1.0, KMeansPlusPlus1D::CalculateQualityFactor(own.info));
    EXPECT_GE(own.info.numIterations, 1u);
    EXPECT_EQ(Cluster({5, 1, 5, 3, 1}, 2, 1).info.numIterations, 1u);

    const Clustering same = Cluster({2.5, 2.5, 2.5, 2.5}, 1);
    EXPECT_EQ(std::vector<double>{2.5}, same.centers);
    EXPECT_EQ(std::vector<size_t>(4, 0), same.assignment);
    EXPECT_EQ(1u, same.info.numDistinctValues);
    EXPECT_EQ(1.0, KMeansPlusPlus1D::CalculateQualityFactor(same.info));

    // More clusters asked for than there are values to fill them.
    const Clustering few = Cluster({7, 2, 2}, 5);
    EXPECT_EQ((std::vector<double>{2, 7}), few.centers);
    EXPECT_EQ((std::vector<size_t>{1, 0, 0}), few.assignment);
    EXPECT_EQ(2.0, few.info.firstCenter);
    EXPECT_EQ(7.0, few.info.lastCenter);

    // Values far from 1 cluster as others do, though their squares leave the range of doubles.
    for (const double unit : {1e-200, 1e150}) {
        const Clustering far = Cluster({unit, 1.5 * unit, 5 * unit, 5.5 * unit, 6 * unit}, 2);
        ASSERT_EQ(far.centers.size(), 2u);
        EXPECT_DOUBLE_EQ(far.centers[0], 1.25 * unit);
        EXPECT_DOUBLE_EQ(far.centers[1], 5.5 * unit);
        EXPECT_EQ((std::vector<size_t>{0, 0, 1, 1, 1}), far.assignment);
    }

    const Clustering none = Cluster({}, 3);
    EXPECT_TRUE(none.centers.empty());
    EXPECT_TRUE(none.assignment.empty());
    EXPECT_EQ(0u, none.info.numClusters);
    Clustering reused = own; // a report filled before is replaced whole
    KMeansPlusPlus1D(std::vector<double>{})
        .CreateClusters(10, reused.centers, reused.assignment, reused.info);
    EXPECT_EQ(0u, reused.info.numClusters);
    EXPECT_EQ(0u, reused.info.numIterations);
}

TEST(KMeans, SeparatedGroupsAreFoundAndRunsRepeat) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> noise(-1.0, 1.0);
    std::vector<double> values;
    for (int i = 0; i < 300; ++i) {
        values.push_back(std::vector<double>{10, 500, 2000}[i % 3] + noise(rng));
    }
    const Clustering c = Cluster(values, 3);
    ASSERT_EQ(3u, c.centers.size());
    EXPECT_NEAR(10, c.centers[0], 0.3);
    EXPECT_NEAR(500, c.centers[1], 0.3);
    EXPECT_NEAR(2000, c.centers[2], 0.3);
    for (size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(i % 3, c.assignment[i]);
    }
    EXPECT_GT(KMeansPlusPlus1D::CalculateQualityFactor(c.info), 0.999);
    EXPECT_EQ(*std::min_element(values.begin(), values.end()), c.info.firstCenter);

    // Overlapping data where seeding matters: two runs agree exactly.
    std::vector<double> blur;
    for (int i = 0; i < 2000; ++i) {
        blur.push_back(noise(rng) * 100);
    }
    const Clustering r1 = Cluster(blur, 7), r2 = Cluster(blur, 7);
    EXPECT_EQ(r1.centers, r2.centers);
    EXPECT_EQ(r1.assignment, r2.assignment);
    EXPECT_EQ(r1.info.numIterations, r2.info.numIterations);
    ASSERT_EQ(7u, r1.centers.size());
    EXPECT_TRUE(std::is_sorted(r1.centers.begin(), r1.centers.end()));
    const double q = KMeansPlusPlus1D::CalculateQualityFactor(r1.info);
    EXPECT_GT(q, 0.9);
    EXPECT_LE(q, 1.0);
}

TEST(KMeans, AwkwardInputs) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Clustering c = Cluster({1, nan, 2, 100, 101}, 2);
    EXPECT_EQ((std::vector<double>{1.5, 100.5}), c.centers);
    EXPECT_EQ((std::vector<size_t>{0, 1, 0, 1, 1}), c.assignment);
    EXPECT_EQ(4u, c.info.numDistinctValues);

    // Huge magnitudes must not overflow into NaN centres or a quality outside 0..1.
    const Clustering huge = Cluster({-1e300, 1e300, 9e299, -9e299}, 2);
    EXPECT_EQ((std::vector<double>{-9.5e299, 9.5e299}), huge.centers);
    const double q = KMeansPlusPlus1D::CalculateQualityFactor(huge.info);
    EXPECT_TRUE(q >= 0.0 && q <= 1.0);

    // Without iterations the seeds still give a complete assignment.
    const Clustering raw = Cluster({1, 2, 3, 10, 11}, 2, 0);
    EXPECT_EQ(0u, raw.info.numIterations);
    EXPECT_EQ(2u, raw.centers.size());
    EXPECT_EQ(5u, raw.assignment.size());
}

TEST(LineFit, ThroughTwoPoints) {
    double a = 0, b = 0;
    ASSERT_TRUE(Interpolations::FindLine2D(1, 0, 3, 1, a, b));
    EXPECT_EQ(0.5, a);
    EXPECT_EQ(-0.5, b);
    ASSERT_TRUE(Interpolations::FindLine2D(3, 1, 1, 0, a, b));
    EXPECT_EQ(0.5, a);
    a = b = 42;
    EXPECT_FALSE(Interpolations::FindLine2D(2.1e11, 0, 2.1e11 * (1 + 1e-14), 1, a, b));
    EXPECT_FALSE(Interpolations::FindLine2D(0, 0, 1e-320, 1, a, b)); // infinite slope
    EXPECT_EQ(42, a);
    EXPECT_EQ(42, b);
}

// Bit by bit, straight from the polynomial: an oracle for the table-driven code.
uint32_t SlowCrc(uint32_t crc, const unsigned char* p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) ? (crc >> 1) ^ 0xEDB88320u : crc >> 1;
        }
    }
    return crc;
}

TEST(Crc32, MatchesTheCheckValueAndAnyChunking) {
    BrelonCrc32 crc;
    crc.m_Crc = 0xFFFFFFFFu;
    crc.Update("123456789", 9);
    EXPECT_EQ(0xCBF43926u, ~crc.m_Crc);
    const uint32_t before = crc.m_Crc;
    crc.Update(nullptr, 0);
    EXPECT_EQ(before, crc.m_Crc);
    static_assert(sizeof(BrelonCrc32) == sizeof(uint32_t), "the state is the only member");

    std::mt19937 rng(3);
    std::vector<unsigned char> bytes(1000);
    for (unsigned char& c : bytes) {
        c = static_cast<unsigned char>(rng());
    }
    for (int trial = 0; trial < 50; ++trial) {
        BrelonCrc32 pieces;
        pieces.m_Crc = rng();
        const uint32_t expected = SlowCrc(pieces.m_Crc, bytes.data(), bytes.size());
        for (size_t at = 0; at < bytes.size();) {
            const size_t n = std::min<size_t>(rng() % 40, bytes.size() - at);
            pieces.Update(bytes.data() + at, n);
            at += n;
        }
        EXPECT_EQ(expected, pieces.m_Crc);
    }
}

TEST(DofHash, StaysInRangeAndKeepsComponentSetsApart) {
    using BrelonFemUtil::hash_dof_vector;
    EXPECT_EQ(0, hash_dof_vector({}));
    EXPECT_EQ(hash_dof_vector({1, 2, 3}), hash_dof_vector({123}));
    EXPECT_EQ(hash_dof_vector({1, 2, 3}), hash_dof_vector({3, 2, 1}));
    std::set<int> seen;
    for (int mask = 1; mask < 64; ++mask) {
        std::vector<int> dofs;
        for (int c = 1; c <= 6; ++c) {
            if (mask & (1 << (c - 1))) {
                dofs.push_back(c);
            }
        }
        seen.insert(hash_dof_vector(dofs));
    }
    EXPECT_EQ(63u, seen.size());
    std::mt19937 rng(11);
    for (int trial = 0; trial < 2000; ++trial) {
        std::vector<int> dofs(rng() % 8);
        for (int& d : dofs) {
            d = static_cast<int>(rng());
        }
        const int h = hash_dof_vector(dofs);
        EXPECT_TRUE(h >= 0 && h <= 99) << h;
        EXPECT_EQ(h, hash_dof_vector(std::vector<int>(dofs)));
    }
    EXPECT_EQ(hash_dof_vector({0, INT_MIN}), hash_dof_vector({0, INT_MIN}));
}

TEST(RadixSort, AgreesWithStdSort) {
    std::mt19937 rng(5);
    for (size_t n : {0, 1, 2, 31, 32, 33, 1000, 100000}) {
        for (int range : {0, 3, 70000, -1}) { // -1: the whole int range
            std::vector<int> v(n);
            for (int& x : v) {
                x = range < 0 ? static_cast<int>(rng())
                              : static_cast<int>(rng() % (2 * range + 1)) - range;
            }
            if (n > 2) {
                v[0] = INT_MIN;
                v[1] = INT_MAX;
            }
            std::vector<int> expected = v;
            std::sort(expected.begin(), expected.end());
            BrelonAlgorithmUtil::radix_sort_ascending(v.data(), v.size());
            EXPECT_EQ(expected, v) << "n " << n << " range " << range;
        }
    }
    int pair[] = {2, 1}; // the shortest list that can be out of order
    BrelonAlgorithmUtil::radix_sort_ascending(pair, 2);
    EXPECT_EQ(pair[0], 1);
}

// An x along z leaves the frame to turn about the parent axis farthest from z: y is z times that
// axis, made a unit. Angles in radians are taken as they are.
TEST(CoordinateSystemEdges, AnXAlongZTurnsAboutTheAxisFarthestFromZ) {
    const std::pair<Vec3, Vec3> cases[] = {{Vec3(4, 2, 1), Vec3(0, 0, 1)},
                                           {Vec3(4, 1, 2), Vec3(0, 1, 0)},
                                           {Vec3(1, 4, 2), Vec3(1, 0, 0)}};
    for (const auto& [z, axis] : cases) {
        const CS cs(CS::CARTESIAN, Vec3(), z, z, CS::ANGLES_IN_DEGREES);
        ExpectRightHandedOrthonormal(cs);
        const Vec3& u = cs.zDirection;
        Vec3 y(u[1] * axis[2] - u[2] * axis[1], u[2] * axis[0] - u[0] * axis[2],
               u[0] * axis[1] - u[1] * axis[0]);
        const double length = std::sqrt(Dot(y, y));
        ExpectNear(Vec3(y[0] / length, y[1] / length, y[2] / length), cs.yDirection);
    }
    const CS rad(CS::CYLINDRICAL, Vec3(), Vec3(0, 0, 1), Vec3(1, 0, 0), CS::ANGLES_IN_RADIANS);
    ExpectNear(Vec3(2 * std::cos(1.0), 2 * std::sin(1.0), 3),
               rad.ExpressInParentCartesianSystem(Vec3(2, 1, 3)));
}

} // namespace
