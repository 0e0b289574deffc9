# The id maps of the text database and their pool.
target_sources(BrelonOnfEngine PRIVATE src/BrelonOnfIdMap.cpp)
