# Optimisation feedback (src/feedback): the modification file with its blocks and queries, the
# sets of modified elements, the ply and material reductions, and the temporary exchange file.
onf_add_engine_folder(feedback)
onf_add_test(test_modif tests/test_modif_file.cpp tests/test_modif_reduce.cpp)
onf_add_test(test_temporary tests/test_temporary.cpp)
