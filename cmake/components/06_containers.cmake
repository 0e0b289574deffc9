# Pools and containers: records in chunks, interned strings, integer lists, run sets, the radix
# trie, and the id map bases.
target_sources(BrelonOnfEngine PRIVATE
    services/containers/BrelonMemRecArray.cpp
    services/containers/BrelonStringsPool.cpp
    services/containers/BrelonContainers.cpp
    services/containers/LargeBuffer.cpp
    services/containers/RadixTrie.cpp
    services/containers/QSV_IdMap.cpp)
onf_add_test(test_containers tests/test_containers.cpp tests/test_containers_limits.cpp
    tests/AllocationFaults.cpp)
