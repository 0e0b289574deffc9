# File kinds (src/kinds): which kind of ONF file a text holds, and the names of kinds and blocks.
onf_add_engine_folder(kinds)
# The typed file kinds used through the umbrella header: written, read back and compared.
onf_add_test(test_file_kinds tests/test_file_kinds.cpp tests/test_file_kind_rule.cpp)
