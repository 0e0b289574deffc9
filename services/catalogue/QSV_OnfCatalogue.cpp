// The catalogue's look-up side: turns the hand-written rows into process-long QSV_OnfMetaData
// rows, answers ExistsOnfBlock through a flat index over block numbers, and holds the id space
// and item type tables and the file kind texts.
#include "QSV_OnfCatalogue.h"

#include "QSV_Failure.h"
#include "QSV_RecordLayout.h"
#include "catalogue/OnfCatalogueTable.h"

#include <algorithm>

namespace {

const char* const kTag = "|%P|BrelonOnfSpecification|QSV_OnfInfoPool";

class Catalogue {
public:
    Catalogue();
    const QSV_OnfMetaData* Find(int id) const {
        if (id < 0 || static_cast<size_t>(id) >= m_RowOfNumber.size())
            return nullptr;
        const int16_t row = m_RowOfNumber[static_cast<size_t>(id)];
        return row < 0 ? nullptr : &m_Rows[static_cast<size_t>(row)];
    }
    const std::vector<QSV_OnfId>& Ids() const { return m_Ids; }

private:
    std::vector<QSV_OnfMetaData> m_Rows;
    // One array of id types a row, kept here so that m_ItemIdTypes pointers stay valid.
    std::vector<std::vector<QSV_IdType>> m_IdTypes;
    std::vector<QSV_OnfId> m_Ids;
    // Row of each block number from 0 to the largest one, -1 where there is none: a look-up is
    // one bounds test and one array access, since every block of every file is looked up.
    std::vector<int16_t> m_RowOfNumber;
};

std::vector<std::string> SplitItemNames(const char* names) {
    std::vector<std::string> out;
    const char* start = names;
    for (const char* c = names;; ++c) {
        if (*c != ',' && *c != '\0')
            continue;
        out.emplace_back(start, static_cast<size_t>(c - start));
        if (*c == '\0')
            break;
        start = c + 1;
        while (*start == ' ')
            ++start;
    }
    return out;
}

Catalogue::Catalogue() {
    size_t count = 0;
    const onf_detail::CatalogueRowDef* defs = onf_detail::GetCatalogueRows(count);
    int32_t largest = 0;
    for (size_t r = 0; r < count; ++r)
        largest = std::max(largest, defs[r].id);
    m_RowOfNumber.assign(static_cast<size_t>(largest) + 1, -1);
    m_Rows.reserve(count);
    m_IdTypes.reserve(count);
    m_Ids.reserve(count);
    for (size_t r = 0; r < count; ++r) {
        const onf_detail::CatalogueRowDef& def = defs[r];
        std::vector<QSV_IdType> types;
        for (const char* letter = def.idTypes; *letter != '\0'; ++letter)
            types.push_back(onf_detail::CatalogueIdTypeOfLetter(*letter));
        m_IdTypes.push_back(std::move(types));
        const std::vector<QSV_IdType>& kept = m_IdTypes.back();
        QSV_OnfMetaData row;
        row.m_BlockName = def.name;
        row.m_ItemIdTypes = kept.data();
        row.m_NumItems = kept.size();
        row.m_RecordDataSize = QSV_RecordLayout(def.format).GetRecordDataSize();
        row.m_FormatString = def.format;
        row.m_Flags = def.flags;
        row.m_BlockIdType = kept.empty() ? ID_NONE : kept[0];
        row.m_Description = def.description;
        row.m_ItemNames = SplitItemNames(def.items);
        m_Rows.push_back(std::move(row));
        m_Ids.push_back(static_cast<QSV_OnfId>(def.id));
        m_RowOfNumber[static_cast<size_t>(def.id)] = static_cast<int16_t>(r);
    }
    // The table groups its rows by file kind; callers get the numbers in ascending order.
    std::sort(m_Ids.begin(), m_Ids.end());
}

// Built on first use, never destroyed before the process ends: rows are handed out by
// reference and blocks keep those references for their whole life.
const Catalogue& TheCatalogue() {
    static const Catalogue* const catalogue = new Catalogue();
    return *catalogue;
}

} // namespace

bool QSV_OnfInfoPool::ExistsOnfBlock(int id) {
    return TheCatalogue().Find(id) != nullptr;
}

const QSV_OnfMetaData& QSV_OnfInfoPool::GetOnfInfo(QSV_OnfId id) {
    const QSV_OnfMetaData* row = TheCatalogue().Find(id);
    if (row == nullptr)
        onf_detail::ThrowFailure(nullptr, kTag, "ONF block %d is not in the catalogue.",
                                 static_cast<int>(id));
    return *row;
}

const std::vector<QSV_OnfId>& QSV_OnfInfoPool::GetAllOnfIds() {
    return TheCatalogue().Ids();
}

// Indexed by QSV_IdType. Only the two group name spaces hold names; 14 is kept free for a space
// that a later block may need.
const QSV_IdTypeInfoData QSV_ID_TYPE_INFO[16] = {
    {"node", 0},     {"coordinate system", 0}, {"element", 0},
    {"property", 0}, {"material", 0},          {"layer", 0},
    {"loadcase", 0}, {"node group name", 1},   {"element group name", 1},
    {"load set", 0}, {"load item", 0},         {"connection", 0},
    {"group", 0},    {"ONF block", 0},         {"reserved", 0},
    {"none", 0},
};

// Indexed by QSV_ItemType: 0 elements, 2 nodes; 1 is no item type and names no block.
const QSV_ItemTypeInfo QSV_ItemTypeInfo::INFO[3] = {
    {ID_ELEMENT, static_cast<QSV_OnfId>(10032)},
    {ID_NONE, ONF_CUSTOM_BLOCK},
    {ID_NODE, static_cast<QSV_OnfId>(10030)},
};

const char* const const_onf_input_file = "ONF model input file";
const char* const const_onf_group_file = "ONF groups file";
const char* const const_onf_ini_file = "ONF init file";
const char* const const_onf_mod_file = "ONF modification file";
const char* const const_onf_opt_res_file = "ONF optimisation result file";
const char* const const_onf_version = "ONF version 1.0";
const wchar_t* const onf_suffix = L".onf";
