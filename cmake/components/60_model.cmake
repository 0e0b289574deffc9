# The model file: coordinate systems, nodes, elements, loads, properties and queries.
target_sources(BrelonOnfEngine PRIVATE
    src/OnfModelCs.cpp
    src/OnfModelFile.cpp
    src/OnfModelFileLoads.cpp
    src/OnfModelFileProperties.cpp
    src/OnfModelFileQueries.cpp
    src/OnfModelFileInit.cpp)
onf_add_test(test_model tests/test_model_cs.cpp tests/test_model_file.cpp
    tests/test_model_io.cpp)
