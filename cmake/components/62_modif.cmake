# The modification file: its blocks and queries, the sets of modified elements, the ply
# reduction and the material reduction.
target_sources(BrelonOnfEngine PRIVATE
    src/OnfModifFile.cpp
    src/OnfModifFileSets.cpp
    src/OnfMaterialsReducer.cpp)
onf_add_test(test_modif tests/test_modif_file.cpp tests/test_modif_reduce.cpp)
