# The text database and its line sink.
target_sources(BrelonOnfEngine PRIVATE
    src/OnfBlockTextWriter.cpp
    src/BrelonOnfTxtDatabase.cpp)
