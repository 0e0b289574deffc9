# The id maps of the text database and their pool.
target_sources(BrelonOnfEngine PRIVATE src/BrelonOnfIdMap.cpp)
onf_add_test(test_idmap tests/test_idmap.cpp)
