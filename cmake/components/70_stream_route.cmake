# Stream route (src/stream): the stream-format optimisation result file, its stream primitives,
# lists and groups, data blocks and result items, and the file object.
onf_add_engine_folder(stream)
onf_add_test(test_stream tests/test_stream_list.cpp tests/test_stream_blocks.cpp
    tests/test_stream_file.cpp)
