# Model files (src/model): the model file with its nodes, elements, loads, properties and
# queries, its coordinate systems, the groups file and the init file of size hints.
onf_add_engine_folder(model)
onf_add_test(test_model tests/test_model_cs.cpp tests/test_model_file.cpp
    tests/test_model_io.cpp)
onf_add_test(test_groups_init tests/test_groups.cpp tests/test_init.cpp)
