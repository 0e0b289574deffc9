# Optimisation feedback (src/feedback): the modification file with its blocks and queries, the
# sets of modified elements, the ply and material reductions, and the temporary exchange file.
target_sources(BrelonOnfEngine PRIVATE
    src/feedback/OnfModifFile.cpp
    src/feedback/OnfModifFileSets.cpp
    src/feedback/OnfMaterialsReducer.cpp
    src/feedback/OnfTemporaryFile.cpp)
onf_add_test(test_modif tests/test_modif_file.cpp tests/test_modif_reduce.cpp)
onf_add_test(test_temporary tests/test_temporary.cpp)
