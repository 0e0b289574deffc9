# The block store: record layout, record access, block text in and out, and the block set.
target_sources(BrelonOnfEngine PRIVATE
    src/OnfBlock.cpp
    src/OnfBlockText.cpp
    src/OnfBlockSet.cpp)
onf_add_test(test_block tests/test_block_grammar.cpp tests/test_block_roundtrip.cpp
    tests/test_block_access.cpp tests/test_block_strings.cpp)
