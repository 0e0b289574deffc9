# The text database and its line sink.
target_sources(BrelonOnfEngine PRIVATE
    src/OnfBlockTextWriter.cpp
    src/BrelonOnfTxtDatabase.cpp)
onf_add_test(test_database tests/test_database.cpp)
