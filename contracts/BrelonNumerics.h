// Numeric services: coordinate systems, a directed graph with topological sort, a
// one-dimensional k-means, a line fit, a CRC-32, a hash of degree-of-freedom lists and an
// integer radix sort. None of them fails; where an input cannot be served, the result says so.
#pragma once

#include "BrelonMatrix.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

// A coordinate system given by its origin and an orthonormal right-handed frame, expressed in
// a parent Cartesian system. A plain value: copyable member by member, nothing on the heap.
class BrelonCoordinateSystem {
public:
    // The kind of coordinates a point in this system is given in. The int base makes every
    // number a client casts to it a valid value (read from a file, say).
    enum Type : int {
        CARTESIAN = 0,   // (x, y, z)
        CYLINDRICAL = 1, // (r, theta, z): theta about the z axis, measured from the x axis
        SPHERICAL = 2    // (r, theta, phi): theta from the z axis, phi about z from the x axis
    };
    // The unit of the angles of cylindrical and spherical points. Solver decks give degrees.
    enum CoordConvention : int { ANGLES_IN_DEGREES = 0, ANGLES_IN_RADIANS = 1 };

    // The parent's own Cartesian system: zero origin and the unit axes.
    BrelonCoordinateSystem();
    // Origin and an orthonormal right-handed frame: z normalised, y = z x x normalised,
    // x = y x z. A zero or non-finite z is taken as (0, 0, 1); an x parallel to z is replaced
    // by the parent axis most nearly perpendicular to z.
    BrelonCoordinateSystem(Type type, const BrelonMatrix<3, 1, double>& origin,
                           const BrelonMatrix<3, 1, double>& zDirection,
                           const BrelonMatrix<3, 1, double>& xDirection,
                           CoordConvention convention);
    BrelonCoordinateSystem(const BrelonCoordinateSystem&) = default;
    BrelonCoordinateSystem& operator=(const BrelonCoordinateSystem&) = default;

    // Exact equality of every member: systems built from the same numbers compare equal.
    bool operator==(const BrelonCoordinateSystem& other) const;
    bool operator!=(const BrelonCoordinateSystem& other) const { return !(*this == other); }

    // Takes a point in this system's own kind of coordinates and gives its Cartesian
    // coordinates in the parent system. A type outside 0 to 2 is read as Cartesian.
    BrelonMatrix<3, 1, double>
    ExpressInParentCartesianSystem(const BrelonMatrix<3, 1, double>& point) const;
    // "CARTESIAN", "CYLINDRICAL", "SPHERICAL", or "UNKNOWN" for any other value. Static text.
    const char* GetTypeString() const;

    Type type;
    BrelonMatrix<3, 1, double> origin;
    BrelonMatrix<3, 1, double> xDirection;
    BrelonMatrix<3, 1, double> yDirection;
    BrelonMatrix<3, 1, double> zDirection;
    CoordConvention convention;
};

// A directed graph over integer vertex ids, for ordering things that depend on each other.
class BrelonDirectedGraph {
public:
    BrelonDirectedGraph();
    ~BrelonDirectedGraph();

    // Adds a vertex; adding an existing id again changes nothing.
    void AddVertex(int id);
    // Adds an edge meaning "from comes before to"; adds either vertex that is not there yet.
    void AddDirectedEdge(int from, int to);
    // Fills `order` with every vertex so that each edge's `from` stands before its `to`.
    // Among vertices free to go next, the one added first goes first, so the order repeats
    // and a graph without edges comes back in insertion order. On a cycle returns false, and
    // `order` holds only the vertices that do not stand on or behind a cycle.
    bool GenerateTopologicalSort(std::vector<int>& order) const;

private:
    std::unordered_map<int, size_t> m_IndexOfId;
    std::vector<int> m_Ids;
    std::vector<size_t> m_EdgeFrom;
    std::vector<size_t> m_EdgeTo;
};

// One-dimensional k-means with k-means++ seeding. The random source has a fixed seed, so two
// runs on the same values give the same clusters.
class KMeansPlusPlus1D {
public:
    // What one clustering run did, for the caller's report.
    struct CLUSTERING_INFO {
        size_t numValues;              // input values
        size_t numClusters;            // clusters made, never above numDistinctValues
        size_t numDistinctValues;      // different finite input values
        size_t numIterations;          // assignment rounds run
        size_t numRequestedClusters;   // the count given to SeedCentersAdvanced
        double totalSquaredDeviation;  // sum of squared distances to the mean of all values
        double withinSquaredDeviation; // sum of squared distances to the centres
        double firstCenter;            // the smallest input value
        double lastCenter;             // the largest input value
    };

    // Copies the values. Assignments are returned by their position in this vector.
    explicit KMeansPlusPlus1D(const std::vector<double>& values);
    virtual ~KMeansPlusPlus1D();

    // Chooses the initial centres by k-means++ (greedy: the best of several candidates at each
    // step). Fewer distinct finite values than `numClusters` give one centre per value.
    void SeedCentersAdvanced(size_t numClusters);
    // Runs at most `maxIterations` rounds from the seeded centres (one centre if none were
    // seeded). On return `centers` holds the cluster means in ascending order, every cluster
    // has at least one member, and `assignment[i]` is the cluster of value i. Non-finite
    // values move no centre and are assigned to the last cluster.
    void CreateClusters(size_t maxIterations, std::vector<double>& centers,
                        std::vector<size_t>& assignment, CLUSTERING_INFO& info) const;
    // The share of the values' spread that the clustering explains: 0 for bad, 1 for best.
    // Values that are all equal cluster perfectly and give 1.
    static double CalculateQualityFactor(const CLUSTERING_INFO& info);

private:
    std::vector<double> m_Values;
    std::vector<double> m_Seeds;
    size_t m_RequestedClusters = 0;
};

namespace Interpolations {
// The line y = a * x + b through (x1, y1) and (x2, y2): `a` is the slope, `b` the value at 0.
// False, with a and b untouched, when x1 and x2 agree to within a relative 1e-12 (or both are
// zero) or a result would not be finite.
bool FindLine2D(double x1, double y1, double x2, double y2, double& a, double& b);
} // namespace Interpolations

// The common CRC-32 (polynomial 0xEDB88320, reflected) with the state in the caller's hands:
// no initial or final inversion is applied by the object. Only member: the state.
class BrelonCrc32 {
public:
    // Advances the state over `size` bytes; zero bytes leave it alone.
    void Update(const void* data, size_t size);

    uint32_t m_Crc = 0xFFFFFFFFu;
};

namespace BrelonFemUtil {
// A number from 0 to 99 for a list of degree-of-freedom numbers; equal lists give equal
// numbers. Lists of the components 1 to 6 (also written as digit strings such as 123) map
// one to one onto 1 to 63 as a set of components; an empty list gives 0; others 64 to 99.
int hash_dof_vector(const std::vector<int>& dofs);
} // namespace BrelonFemUtil

namespace BrelonAlgorithmUtil {
// Sorts `count` values in place, ascending, negatives below positives (LSD radix sort,
// stable, O(count) time and `count` words of scratch memory).
void radix_sort_ascending(int* values, size_t count);
} // namespace BrelonAlgorithmUtil
