# Model files (src/model): the model file with its nodes, elements, loads, properties and
# queries, its coordinate systems, the groups file and the init file of size hints.
target_sources(BrelonOnfEngine PRIVATE
    src/model/OnfModelCs.cpp
    src/model/OnfModelFile.cpp
    src/model/OnfModelFileLoads.cpp
    src/model/OnfModelFileProperties.cpp
    src/model/OnfModelFileQueries.cpp
    src/model/OnfModelFileInit.cpp
    src/model/OnfGroupsFile.cpp
    src/model/OnfInitFile.cpp)
onf_add_test(test_model tests/test_model_cs.cpp tests/test_model_file.cpp
    tests/test_model_io.cpp)
onf_add_test(test_groups_init tests/test_groups.cpp tests/test_init.cpp)
