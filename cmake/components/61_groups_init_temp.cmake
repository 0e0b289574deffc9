# The groups file, the init file of size hints and the temporary exchange file.
target_sources(BrelonOnfEngine PRIVATE
    src/OnfGroupsFile.cpp
    src/OnfInitFile.cpp
    src/OnfTemporaryFile.cpp)
onf_add_test(test_groups_init_temp tests/test_groups.cpp tests/test_init.cpp
    tests/test_temporary.cpp)
