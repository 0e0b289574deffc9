// Clients spell these names and numbers in their own code: the umbrella header must offer them,
// with these values, for a client compiled against include/ and contracts/ alone.
#include "BrelonOnfEngine.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

static_assert(static_cast<QSV_OnfId>(110) == 110, "block numbers convert from integers");
static_assert(sizeof(QSV_OnfId) == 4 && sizeof(QSV_IdType) == 4, "32-bit enumerations");
static_assert(ID_NODE == 0 && ID_ELEMENT == 2 && ID_NONE == 15, "id spaces");
static_assert(ITEM_TYPE_ELEMENT == 0 && ITEM_TYPE_NODE == 2, "group item kinds");
static_assert(BDT_INTEGER == 1 && BDT_REAL == 2 && BDT_FLOAT == 3 && BDT_STRING == 4 &&
                  BDT_VECTOR == 5 && BDT_TENSOR == 6 && BDT_ORDERED_LIST == 7 &&
                  BDT_INT_LIST == 8 && BDT_DOUBLE_LIST == 9 && BDT_OPT_INTEGER == 10 &&
                  BDT_OPT_REAL == 11,
              "item types");
static_assert(QSV_LogMacros::LOG_ERROR == 1 && QSV_LogMacros::LOG_WARNING == 2 &&
                  QSV_LogMacros::LOG_INFO == 4 && QSV_LogMacros::LOG_DETAIL == 5 &&
                  QSV_LogMacros::LOG_TRACE == 6,
              "log levels");
static_assert(OnfBlockTextReader::UNKNOWN_BLOCK_WARN == 0 &&
                  OnfBlockTextReader::UNKNOWN_BLOCK_KEEP == 1,
              "unknown block actions");
static_assert(OnfBlockTextWriter::WRITE_NEW == 0 && OnfBlockTextWriter::WRITE_APPEND == 1,
              "write modes");
static_assert(BrelonOnfTxtDatabase::LOAD_REPLACE_SET == 0 &&
                  BrelonOnfTxtDatabase::LOAD_ADD_MISSING == 1 &&
                  BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS == 2 &&
                  BrelonOnfTxtDatabase::LOAD_MERGE_BY_NUMBER == 3,
              "load actions");
static_assert(static_cast<QSV_DatabaseDefs::AccessMode>(0) == 0, "access modes");
static_assert(static_cast<OnfIntListType>(1) == 1, "list kinds");
static_assert(std::is_same<decltype(BrelonCrc32().m_Crc), uint32_t>::value, "CRC state");
static_assert(sizeof(BrelonMatrix<3, 1, double>) == 24, "three doubles");
static_assert(std::is_default_constructible<BrelonOnfIdMapsPool>::value, "public pool");
static_assert(std::is_base_of<QSV_Exception, QSV_Failure>::value &&
                  std::is_base_of<std::exception, QSV_Exception>::value,
              "failure hierarchy");
static_assert(std::is_base_of<OnfBlockSet, OnfModelFile>::value &&
                  std::is_base_of<BrelonOnfTxtDatabase, OnfBlockSet>::value &&
                  std::is_base_of<QSV_Database, BrelonOnfTxtDatabase>::value &&
                  std::is_base_of<QSV_DataBlock, OnfBlock>::value,
              "layers of a file object");

TEST(Interface, ValueTypesBehaveAsClientsExpect) {
    QSV_IntSetIntvl<int> set(std::vector<int>{7, 5, 5, 6, 9});
    EXPECT_EQ(set.GetBounds(), (std::vector<int>{5, 7, 9, 9}));
    EXPECT_EQ(set.Size(), 4u);
    EXPECT_TRUE(set.Has(6));
    EXPECT_FALSE(set.Has(8));

    BrelonMatrix<3, 1, double> v(1.0, 2.0, 3.0);
    EXPECT_EQ(v(1), 2.0);
    EXPECT_EQ(v[2], 3.0);

    QSV_Group group("G", ITEM_TYPE_NODE, {0, 1});
    EXPECT_EQ(group.GetName(), "G");
    EXPECT_EQ(group.size(), 2u);
    EXPECT_EQ(QSV_ItemTypeInfo::INFO[ITEM_TYPE_NODE].idType, ID_NODE);
    EXPECT_EQ(QSV_ID_TYPE_INFO[ID_NODE].keyKind, 0);
    EXPECT_EQ(QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(110)).GetBlockName(),
              "ONF_NODES");
}

} // namespace
