# The block database contract: databases, block sets, blocks, record views, the id-addressed
# adapters, the block copy between databases, and the group types.
target_sources(BrelonOnfEngine PRIVATE
    services/database/QSV_DataBlock.cpp
    services/database/QSV_DataRecord.cpp
    services/database/QSV_IdDataBlock.cpp
    services/database/QSV_Database.cpp
    services/database/QSV_RecordLayout.cpp
    services/database/QSV_Groups.cpp)
onf_add_test(test_database_contract tests/test_database_contract.cpp)
