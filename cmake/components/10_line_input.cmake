# Line input and the block descriptor: whole-file line loading, the line tokeniser, integer text
# test, file name conversions, and the ordered key of a block instance.
target_sources(BrelonOnfEngine PRIVATE
    services/text/LineInput.cpp
    services/descriptor/QSV_DataDescriptor.cpp)
onf_add_test(test_line_input tests/test_line_input.cpp tests/test_line_input_limits.cpp)
