// The rows of the catalogue as written by hand: one plain entry a block. QSV_OnfCatalogue.cpp
// turns them into the QSV_OnfMetaData rows that the rest of the suite reads.
#pragma once

#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <cstdint>

namespace onf_detail {

// One hand-written row. `idTypes` holds one letter for each record item, entry 0 being the key;
// the letters are those of CatalogueIdTypeOfLetter. The record data size is not written here:
// it follows from the format's record layout (QSV_RecordLayout), so that the two can never
// disagree.
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

} // namespace onf_detail
