// The catalogue table: the rules that reading and writing impose on every format, the item
// types and id spaces that the file kinds rely on, and the look-up of block numbers.
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"
#include "QSV_RecordLayout.h"
#include "catalogue/OnfCatalogueText.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace {

const QSV_OnfMetaData& Row(int block) {
    return QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block));
}

bool IsNameSpace(QSV_IdType type) {
    return QSV_ID_TYPE_INFO[type].keyKind != 0;
}

bool IsList(const QSV_LayoutItem& item) {
    return item.m_List != QSV_LayoutItem::LIST_KIND_NONE;
}

// Walks a record's items the way a record is written and reports every value that would open a
// line as an optional one (a reader would then take that line for the next record).
std::string OptionalsOpeningALine(const QSV_RecordLayout& layout) {
    std::string faults;
    size_t onLine = 0;
    for (size_t item = 0; item < layout.GetNumItems(); ++item) {
        const QSV_LayoutItem& it = layout[item];
        if (onLine % 10 == 0 || IsList(it)) {
            onLine = 0;
        }
        if (onLine == 0 && !it.m_Mandatory) {
            faults += std::to_string(item) + " ";
        }
        onLine += it.m_NumReals > 0 ? it.m_NumReals : 1;
        if (it.m_BreakBehind || IsList(it)) {
            onLine = 0;
        }
    }
    return faults;
}

TEST(Catalogue, EveryFormatKeepsTheRulesOfReadingAndWriting) {
    for (QSV_OnfId id : QSV_OnfInfoPool::GetAllOnfIds()) {
        const QSV_OnfMetaData& row = Row(id);
        const std::string& format = row.m_FormatString;
        SCOPED_TRACE(std::to_string(id) + " " + format);
        ASSERT_FALSE(format.empty());
        EXPECT_EQ(format.back(), 'b');
        EXPECT_EQ(format.find_first_not_of("IiRrFfSVTOLDb|"), std::string::npos);
        const QSV_RecordLayout layout(format);
        if (layout.HasKeyInFormat()) {
            EXPECT_EQ(format.find('|'), 1u);
            EXPECT_TRUE(format[0] == 'I' || format[0] == 'S');
        }
        for (size_t item = 1; item < layout.GetNumItems(); ++item) {
            if (IsList(layout[item])) {
                EXPECT_TRUE(layout[item - 1].m_BreakBehind) << "list item " << item;
            }
        }
        EXPECT_EQ(OptionalsOpeningALine(layout), "");
        EXPECT_EQ(row.m_NumItems, layout.GetNumItems());
        EXPECT_EQ(row.m_ItemNames.size(), layout.GetNumItems() - 1);
    }
}

// A string item is read with the id space at index (position minus marks), which is the item in
// front of it unless the format names its key; writing uses the string's own. Both must agree.
TEST(Catalogue, EveryItemHasAnIdSpaceItsTypeCanUse) {
    std::set<std::string> names;
    for (QSV_OnfId id : QSV_OnfInfoPool::GetAllOnfIds()) {
        const QSV_OnfMetaData& row = Row(id);
        SCOPED_TRACE(std::to_string(id));
        EXPECT_TRUE(names.insert(row.m_BlockName).second) << row.m_BlockName;
        EXPECT_EQ(row.m_BlockName.rfind("ONF_", 0), 0u);
        EXPECT_FALSE(row.m_Description.empty());
        EXPECT_EQ(row.m_BlockIdType, row.m_ItemIdTypes[0]);
        EXPECT_EQ(IsNameSpace(row.m_BlockIdType), row.m_FormatString.rfind("S|", 0) == 0);
        const QSV_RecordLayout layout(row.m_FormatString);
        for (size_t item = 1; item < layout.GetNumItems(); ++item) {
            const char c = layout[item].m_Char;
            const QSV_IdType type = row.m_ItemIdTypes[item];
            if (c == 'S') {
                EXPECT_TRUE(type == ID_NONE || IsNameSpace(type)) << "item " << item;
                EXPECT_EQ(row.m_ItemIdTypes[layout[item].m_RowItem], type)
                    << "string item " << item;
            } else if (c == 'I' || c == 'i' || c == 'L' || c == 'O') {
                EXPECT_FALSE(type != ID_NONE && IsNameSpace(type)) << "item " << item;
            } else {
                EXPECT_EQ(type, ID_NONE) << "item " << item;
            }
        }
    }
}

// The item types that the file kinds read and write, by block: one character for each item
// from 1 up, '.' where any type will do.
TEST(Catalogue, ItemTypesAreThoseTheFileKindsUse) {
    const struct {
        int block;
        const char* types;
    } kExpected[] = {
        {97, "III"},
        {100, "IISVVV"},
        {110, "IIV"},
        {120, "IS.....RRRRR"},
        {125, "IRR"},
        {130, "IISR..L"},
        {140, "IIIIIIIL"},
        {151, "ILO"},
        {152, "IO"},
        {164, "ILIL"},
        {165, "ILO"},
        {170, "IO"},
        {171, "IO"},
        {172, "IIRRRRRR"},
        {173, "ISL"},
        {174, "IIRRRRRR"},
        {175, "ISL"},
        {176, "IVIVIVIIIVISIO"},
        {177, "RRILL"},
        {178, "IO"},
        {179, "IO"},
        {180, "SIIIIIIIIIIIIIOOOOOO"},
        {181, "IO"},
        {200, "ISL"},
        {210, "ISL"},
        {400, "IIIIIILR"},
        {420, "IIS"},
        {430, "IIIII"},
        {440, "SSLIIIISSIVVV"},
        {800, "S"},
        {810, "V"},
        {812, ".L"},
        {821, "IISSIIIIIRRRRR"},
        {840, "...LL"},
        {841, "...II."},
        {842, ".L"},
        {879, ".IIII"},
        {900, "III"},
        {901, "IIII"},
        {910, "IIS"},
        {940, "O"},
        {950, "SS"},
        {1200, "IS"},
        {10030, "L"},
        {10032, "L"},
    };
    for (const auto& expected : kExpected) {
        SCOPED_TRACE(expected.block);
        const std::string items = onf_detail::ItemCharsOfFormat(Row(expected.block).m_FormatString);
        const std::string wanted = expected.types;
        ASSERT_EQ(items.size(), wanted.size() + 1);
        for (size_t i = 0; i < wanted.size(); ++i) {
            if (wanted[i] != '.') {
                EXPECT_EQ(items[i + 1], wanted[i]) << "item " << i + 1;
            }
        }
    }
}

TEST(Catalogue, KeysAndReferencesUseTheIdSpacesTheEngineReadsThrough) {
    EXPECT_EQ(Row(110).m_BlockIdType, ID_NODE);
    EXPECT_EQ(Row(140).m_BlockIdType, ID_ELEMENT);
    EXPECT_EQ(Row(140).m_ItemIdTypes[QSV_DataRecordItem::ELEM_ITEM_NODES], ID_NODE);
    EXPECT_EQ(Row(200).m_ItemIdTypes[QSV_DataRecordItem::GROUP_ITEM_MEMBERS], ID_NODE);
    EXPECT_EQ(Row(210).m_ItemIdTypes[QSV_DataRecordItem::GROUP_ITEM_MEMBERS], ID_ELEMENT);
    // Requests and sensitivity definitions are stored by record index.
    EXPECT_EQ(Row(400).m_BlockIdType, ID_NONE);
    EXPECT_EQ(Row(440).m_BlockIdType, ID_NONE);
    for (int type : {ITEM_TYPE_ELEMENT, ITEM_TYPE_NODE}) {
        const QSV_ItemTypeInfo& info = QSV_ItemTypeInfo::INFO[type];
        const QSV_OnfMetaData& groups = Row(info.groupBlock);
        EXPECT_TRUE(IsNameSpace(groups.m_BlockIdType));
        EXPECT_EQ(groups.m_ItemIdTypes[QSV_DataRecordItem::GROUP_ITEMS], info.idType);
    }
    EXPECT_EQ(QSV_ItemTypeInfo::INFO[ITEM_TYPE_NODE].idType, ID_NODE);
    EXPECT_EQ(QSV_ItemTypeInfo::INFO[ITEM_TYPE_ELEMENT].groupBlock, 10032);
    std::set<int> nameSpaces;
    for (int type = 0; type <= ID_NONE; ++type)
        if (IsNameSpace(static_cast<QSV_IdType>(type)))
            nameSpaces.insert(type);
    EXPECT_EQ(nameSpaces, (std::set<int>{ID_NODE_GROUP_NAME, ID_ELEMENT_GROUP_NAME}));
    EXPECT_STREQ(QSV_ID_TYPE_INFO[ID_NONE].name, "none");
}

TEST(Catalogue, EveryBlockTheFileKindsNameIsThereAndNoOther) {
    const std::vector<QSV_OnfId>& ids = QSV_OnfInfoPool::GetAllOnfIds();
    for (size_t i = 1; i < ids.size(); ++i)
        EXPECT_LT(ids[i - 1], ids[i]);
    for (int id :
         {97,  100, 110, 120, 125, 130, 140,  151,   152,   164, 165, 170, 171, 172, 173, 174, 175,
          176, 177, 178, 179, 180, 181, 1200, 10030, 10032, 200, 210, 400, 410, 420, 430, 440, 520,
          589, 590, 591, 592, 620, 640, 641,  642,   643,   800, 810, 811, 812, 821, 825, 831, 840,
          841, 842, 850, 876, 877, 878, 879,  880,   890,   900, 901, 910, 940, 950})
        EXPECT_TRUE(QSV_OnfInfoPool::ExistsOnfBlock(id)) << id;
    for (int id = 700; id <= 740; ++id)
        EXPECT_FALSE(QSV_OnfInfoPool::ExistsOnfBlock(id)) << id;
    for (int id : {0, -1, -97, INT_MIN, INT_MAX, 10031, 10033, 1 << 20})
        EXPECT_FALSE(QSV_OnfInfoPool::ExistsOnfBlock(id)) << id;
    // A result request file asks for every catalogued block from 500 to 697 but 520.
    for (QSV_OnfId id : ids) {
        if (id >= 500 && id <= 697) {
            EXPECT_NE(Row(id).m_Flags & ONF_FLAG_RESULT, 0u) << id;
        }
    }
}

TEST(Catalogue, AnUnknownBlockHasNoRow) {
    try {
        QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(710));
        FAIL() << "no failure";
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetMessage(), "ONF block 710 is not in the catalogue.");
        EXPECT_EQ(failure.GetLogTag(), "|%P|BrelonOnfSpecification|QSV_OnfInfoPool");
        EXPECT_EQ(failure.GetId(), "");
    }
}

TEST(Catalogue, FileKindTextsAndSuffix) {
    EXPECT_STREQ(onf_suffix, L".onf");
    const std::set<std::string> kinds = {const_onf_input_file, const_onf_group_file,
                                         const_onf_ini_file, const_onf_mod_file,
                                         const_onf_opt_res_file};
    EXPECT_EQ(kinds.size(), 5u);
    EXPECT_FALSE(std::string(const_onf_version).empty());
}

TEST(Catalogue, ListingShowsEveryItemWithTypeAndIdSpace) {
    std::string text;
    onf_detail::AppendBlockListing(static_cast<QSV_OnfId>(110), text);
    EXPECT_EQ(text, "110 ONF_NODES  format IIVb  (model)\n"
                    "    Nodes: systems of definition and of displacement, and the position in "
                    "the definition system\n"
                    "      0  integer              node                 key\n"
                    "      1  integer              coordinate system    definition system\n"
                    "      2  integer              coordinate system    displacement system\n"
                    "      3  vector               none                 position\n");
}

// docs/catalogue.md is printed from the table; set ONF_UPDATE_CATALOGUE_DOC=1 to rewrite it.
TEST(Catalogue, DocumentMatchesTheTable) {
    const std::string path = std::string(ONF_DOCS_DIR) + "/catalogue.md";
    const std::string expected = onf_detail::CatalogueMarkdown();
    if (std::getenv("ONF_UPDATE_CATALOGUE_DOC") != nullptr)
        std::ofstream(path, std::ios::binary) << expected;
    std::ifstream file(path, std::ios::binary);
    std::stringstream actual;
    actual << file.rdbuf();
    EXPECT_TRUE(actual.str() == expected) << path << " is out of date";
}

} // namespace
