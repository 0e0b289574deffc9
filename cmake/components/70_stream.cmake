# The stream-format optimisation result file: stream primitives, lists and groups, data blocks
# and result items, and the file object.
target_sources(BrelonOnfEngine PRIVATE
    src/onf_base.cpp
    src/onf_list.cpp
    src/onf_datablock.cpp
    src/ONFOptResultFile.cpp)
onf_add_test(test_stream tests/test_stream_list.cpp tests/test_stream_blocks.cpp
    tests/test_stream_file.cpp)
