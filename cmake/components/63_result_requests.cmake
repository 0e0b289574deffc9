# Result requests (src/requests): the result request file, the request map, its queries,
# sensitivity requests and time points.
onf_add_engine_folder(requests)
onf_add_test(test_requests tests/test_requests.cpp)
