# The typed file kinds used through the umbrella header: written, read back and compared.
onf_add_test(test_file_kinds tests/test_file_kinds.cpp)
