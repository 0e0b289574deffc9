# Block store (src/block): the record layout of one block, record access, and block text in and
# out through the line source and sink of the text services.
onf_add_engine_folder(block)
onf_add_test(test_block tests/test_block_grammar.cpp tests/test_block_roundtrip.cpp
    tests/test_block_access.cpp tests/test_block_strings.cpp tests/test_block_limits.cpp)
