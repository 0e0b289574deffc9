// Failure texts and small helpers shared by the sources of the block database contract.
#pragma once

#include "QSV_Database.h"

#include <cstddef>

namespace onf_detail {

constexpr const char* TAG_DATA_BLOCK = "|%P|BrelonDbConnector|QSV_DataBlock";
constexpr const char* TAG_DATA_RECORD = "|%P|BrelonDbConnector|QSV_DataRecord";
constexpr const char* TAG_ID_DATA_RECORD = "|%P|BrelonDbConnector|QSV_IdDataRecord";
constexpr const char* TAG_ID_DATA_BLOCK = "|%P|BrelonDbConnector|QSV_IdDataBlock";
constexpr const char* TAG_DATA_BLOCK_SET = "|%P|BrelonDbConnector|QSV_DataBlockSet";

constexpr const char* MSG_NOT_CATALOGUED =
    "ONF block %d is not in the catalogue: a block of it needs a format text.";
constexpr const char* MSG_ITEM_OUT_OF_RANGE =
    "Record item %Iu does not exist: the records of ONF block %d have %Iu items.";
constexpr const char* MSG_ITEM_WRONG_TYPE =
    "Record item %Iu of ONF block %d is of type %d, which this access does not serve.";
constexpr const char* MSG_ITEM_OUTSIDE_RECORD =
    "Record item %Iu of ONF block %d does not fit into a record of %Iu bytes.";
constexpr const char* MSG_VIEW_SIZES_DIFFER =
    "A record view of %Iu bytes cannot take the bytes of a record view of %Iu bytes.";
constexpr const char* MSG_NO_ID_MAP_FOR_ID =
    "Record id %d cannot address a record of ONF block %d, which has no ID-map.";
constexpr const char* MSG_NO_ID_MAP_FOR_NAME =
    "Record name '%s' cannot address a record of ONF block %d, which has no ID-map.";
constexpr const char* MSG_UNKNOWN_ID = "ID %d is not known to the ID-map of type %d.";
constexpr const char* MSG_UNKNOWN_NAME = "Name '%s' is not known to the ID-map of type %d.";
constexpr const char* MSG_UNKNOWN_BLOCK =
    "The data block with ONF id %d does not exist in the database.";
constexpr const char* MSG_NULL_BLOCK = "A null data block cannot be stored under ONF id %d.";

// Bit of a BlockDataType in a type mask.
constexpr unsigned TypeBit(BlockDataType type) {
    return 1u << static_cast<unsigned>(type);
}
// The 4-byte items whose raw value is an integer, a string handle or a list reference.
constexpr unsigned FOUR_BYTE_INTEGER_TYPES = TypeBit(BDT_INTEGER) | TypeBit(BDT_STRING) |
                                             TypeBit(BDT_ORDERED_LIST) | TypeBit(BDT_INT_LIST) |
                                             TypeBit(BDT_DOUBLE_LIST);
constexpr unsigned INT_LIST_TYPES = TypeBit(BDT_ORDERED_LIST) | TypeBit(BDT_INT_LIST);

// The block number of a block, for messages; 0 when its descriptor has none.
int BlockNumber(const QSV_DataBlock& block);

// Where item `item` lies in a buffer of `bufferSize` bytes laid out for `block`. Fails (with
// `tag`) unless the item exists (1 upward), its type is in `typeMask` and `size` bytes of it lie
// inside the buffer.
size_t CheckedItemOffset(const QSV_DataBlock& block, size_t item, unsigned typeMask, size_t size,
                         size_t bufferSize, const char* tag);

// True for an id space that has a map (0 to 14).
inline bool HasIdSpace(QSV_IdType type) {
    return static_cast<unsigned>(type) < static_cast<unsigned>(ID_NONE);
}
// True for an id space of integer identities.
inline bool IsIntegerIdSpace(QSV_IdType type) {
    return HasIdSpace(type) && QSV_ID_TYPE_INFO[type].keyKind == 0;
}
// True when two blocks lay out their records alike.
bool SameLayout(const QSV_DataBlock& a, const QSV_DataBlock& b);

} // namespace onf_detail
