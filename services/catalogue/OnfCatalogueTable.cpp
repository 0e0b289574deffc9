// The catalogue of ONF blocks: every block number the suite knows, with its name, record format,
// the id space of each record item and a line for users.
#include "catalogue/OnfCatalogueTable.h"

#include <cstring>

namespace onf_detail {

namespace {

const CatalogueRowDef kRows[] = {
    {110, "ONF_NODES", "IIVb", "n--c", 0, "Nodes: coordinate systems and position"},
};

} // namespace

const CatalogueRowDef* GetCatalogueRows(size_t& count) {
    count = sizeof(kRows) / sizeof(kRows[0]);
    return kRows;
}

QSV_IdType CatalogueIdTypeOfLetter(char letter) {
    switch (letter) {
    case 'n':
        return ID_NODE;
    case 'e':
        return ID_ELEMENT;
    default:
        return ID_NONE;
    }
}

namespace {
size_t SizeOfFormatChar(char c) {
    switch (c) {
    case 'R':
    case 'r':
        return 8;
    case 'V':
        return 24;
    case 'T':
        return 48;
    case 'I':
    case 'i':
    case 'F':
    case 'f':
    case 'S':
    case 'O':
    case 'L':
    case 'D':
        return 4;
    default:
        return 0;
    }
}
bool IsLayoutMark(char c) {
    return c == 'b' || c == '|';
}
} // namespace

size_t RecordDataSizeOfFormat(const char* format) {
    bool skipKey = std::strchr(format, '|') != nullptr;
    size_t size = 0;
    for (const char* c = format; *c != '\0'; ++c) {
        if (IsLayoutMark(*c))
            continue;
        if (skipKey) {
            skipKey = false;
            continue;
        }
        size += SizeOfFormatChar(*c);
    }
    return size;
}

size_t ItemCountOfFormat(const char* format) {
    size_t items = std::strchr(format, '|') != nullptr ? 0 : 1;
    for (const char* c = format; *c != '\0'; ++c)
        if (!IsLayoutMark(*c))
            ++items;
    return items;
}

} // namespace onf_detail
