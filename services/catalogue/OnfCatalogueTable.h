// The rows of the catalogue as written by hand: one plain entry a block. QSV_OnfCatalogue.cpp
// turns them into the QSV_OnfMetaData rows that the rest of the suite reads.
#pragma once

#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <cstdint>

namespace onf_detail {

// One hand-written row. `idTypes` holds one letter for each record item, entry 0 being the key;
// the letters are those of CatalogueIdTypeOfLetter. The record data size is not written here:
// it follows from the format (see RecordDataSizeOfFormat) so that the two can never disagree.
struct CatalogueRowDef {
    int32_t id;
    const char* name;
    const char* format;
    const char* idTypes;
    uint32_t flags;
    // Names of items 1 upward, separated by ", ".
    const char* items;
    const char* description;
};

// All rows, grouped by file kind; `count` receives their number.
const CatalogueRowDef* GetCatalogueRows(size_t& count);

// The id space that one letter of CatalogueRowDef::idTypes stands for; ID_NONE for '-' and for
// any letter that names no space.
QSV_IdType CatalogueIdTypeOfLetter(char letter);

// What one format character stands for in a record: the bytes its item takes and its item type,
// both 0 for a layout mark or an unknown character. An optional (lower-case) item has the size
// and type of its mandatory form. Every record layout is derived from these two.
size_t FormatCharSize(char c);
BlockDataType FormatCharType(char c);

// True for the characters that describe no item: `b` (a line end) and `|` (the key mark).
bool IsLayoutMark(char c);

// Bytes that a format's items 1 upward take in a record: the key (implicit, or the character in
// front of a bar) lives in the 4-byte id field and is not counted.
size_t RecordDataSizeOfFormat(const char* format);

// Number of record items that a format describes, the key included.
size_t ItemCountOfFormat(const char* format);

} // namespace onf_detail
