# Numeric services: coordinate systems, graph sort, 1D k-means, line fit, CRC-32, DOF hash,
# radix sort.
target_sources(BrelonOnfEngine PRIVATE
    services/numerics/CoordinateSystem.cpp
    services/numerics/DirectedGraph.cpp
    services/numerics/KMeans1D.cpp
    services/numerics/SmallNumerics.cpp)
onf_add_test(test_numerics tests/test_numerics.cpp tests/test_numerics_limits.cpp)
