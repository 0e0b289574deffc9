# The result request file: the request map, its queries, sensitivity requests and time points.
target_sources(BrelonOnfEngine PRIVATE
    src/OnfResultRequestFile.cpp
    src/OnfResultRequestFileQueries.cpp
    src/OnfResultRequestFileSensitivity.cpp
    src/OnfResultRequestFileTimePoints.cpp)
onf_add_test(test_requests tests/test_requests.cpp)
