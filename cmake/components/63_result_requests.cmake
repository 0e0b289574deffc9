# Result requests (src/requests): the result request file, the request map, its queries,
# sensitivity requests and time points.
target_sources(BrelonOnfEngine PRIVATE
    src/requests/OnfResultRequestFile.cpp
    src/requests/OnfResultRequestFileQueries.cpp
    src/requests/OnfResultRequestFileSensitivity.cpp
    src/requests/OnfResultRequestFileTimePoints.cpp)
onf_add_test(test_requests tests/test_requests.cpp)
