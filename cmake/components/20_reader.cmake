# The ONF text reader: the outer grammar of an ONF file, block by block.
target_sources(BrelonOnfEngine PRIVATE src/OnfBlockTextReader.cpp)
onf_add_test(test_reader tests/test_reader.cpp)
