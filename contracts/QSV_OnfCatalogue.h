// The catalogue of ONF blocks: which block numbers exist, what each is called, what its records
// look like and which id space each of its items draws on; plus the small enumerations that the
// whole suite shares (block numbers, id spaces, item kinds, item types, record item numbers).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// A block number. Negative marks a custom block, which the catalogue does not know.
enum QSV_OnfId : int32_t { ONF_CUSTOM_BLOCK = -1 };

// An id space. 0 to 14 index the maps of an id maps pool; ID_NONE means "no id space".
// The values beyond nodes and elements are documented with QSV_ID_TYPE_INFO in the catalogue.
enum QSV_IdType : int32_t {
    ID_NODE = 0,
    ID_COORD_SYSTEM = 1,
    ID_ELEMENT = 2,
    ID_PROPERTY = 3,
    ID_MATERIAL = 4,
    ID_LAYER = 5, // laminate layers and plies
    ID_LOADCASE = 6,
    ID_NODE_GROUP_NAME = 7,    // names of node groups (block 10030)
    ID_ELEMENT_GROUP_NAME = 8, // names of element groups (block 10032)
    ID_LOAD = 9,               // load sets: loaded nodes and elements, forces, accelerations
    ID_LOAD_ITEM = 10,         // single nodal forces and prescribed displacements
    ID_CONNECTION = 11,        // constraints, rigid elements, contact surfaces, connectors
    ID_GROUP = 12,             // ids of node and element groups (blocks 200, 210)
    ID_ONF_BLOCK = 13,         // ONF block numbers used as keys (block 97)
    // 14 is reserved.
    ID_NONE = 15,
};

// The kind of item that a group holds.
enum QSV_ItemType : int32_t {
    ITEM_TYPE_ELEMENT = 0,
    ITEM_TYPE_NODE = 2,
};

// The type of one record item, as a block's record map holds it. 10 and 11 are the optional
// forms that only an exported table uses; no record map ever holds them.
enum BlockDataType : int32_t {
    BDT_INTEGER = 1,
    BDT_REAL = 2,
    BDT_FLOAT = 3,
    BDT_STRING = 4,
    BDT_VECTOR = 5,
    BDT_TENSOR = 6,
    BDT_ORDERED_LIST = 7,
    BDT_INT_LIST = 8,
    BDT_DOUBLE_LIST = 9,
    BDT_OPT_INTEGER = 10,
    BDT_OPT_REAL = 11,
};

// Record item numbers. Item 0 is the record's key. Items have no names in the file; the names
// below are those the file kinds use for the items they read, grouped by block.
namespace QSV_DataRecordItem {
enum DataRecordItem : int32_t {
    ITEM_ID = 0,

    // 100, coordinate systems
    CS_ITEM_ID = 0,
    CS_ITEM_TYPE = 1,
    CS_ITEM_REF_CS = 2,
    CS_ITEM_NAME = 3,
    CS_ITEM_ORIGIN = 4,
    CS_ITEM_Z_DIR = 5,
    CS_ITEM_X_DIR = 6,

    // 110, nodes
    NODE_ITEM_CS = 1,
    NODE_ITEM_CS_DISP = 2,
    NODE_ITEM_COORDS = 3,

    // 140, elements
    ELEM_ITEM_TYPE = 1,
    ELEM_ITEM_NUM_NODES = 2,
    ELEM_ITEM_PROPERTY = 3,
    ELEM_ITEM_MATERIAL = 4,
    ELEM_ITEM_FLAG_1 = 5,
    ELEM_ITEM_FLAG_2 = 6,
    ELEM_ITEM_FLAG_3 = 7,
    ELEM_ITEM_NODES = 8,

    // 200 and 210, groups
    GROUP_ITEM_ID = 0,
    GROUP_ITEM_SIZE = 1,
    GROUP_ITEM_NAME = 2,
    GROUP_ITEM_MEMBERS = 3,

    // 10030 and 10032, name-keyed groups
    GROUP_ITEMS = 1,

    // 97, size hints
    INIT_ITEM_BLOCK = 0,
    INIT_ITEM_FIRST_ID = 1,
    INIT_ITEM_LAST_ID = 2,
    INIT_ITEM_COUNT = 3,

    // 400, result requests
    RR_TARGET_BLOCK = 1,
    RR_ANALYSIS_TYPE = 2,
    RR_LOADCASE = 3,
    RR_SUBSTEP = 4,
    RR_MARK = 5,
    RR_TIME_FLAG = 6,
    RR_DETAIL_REF = 7,
    RR_TIME_VALUE = 8,

    // 420, user variables
    UV_KIND = 1,
    UV_NUMBER = 2,
    UV_NAME = 3,

    // 430, global matrices
    MX_FLAG_1 = 1,
    MX_FLAG_2 = 2,
    MX_FLAG_3 = 3,
    MX_FLAG_4 = 4,
    MX_FLAG_5 = 5,

    // 440, sensitivity definitions
    SR_NAME = 1,
    SR_LABEL = 2,
    SR_USER_OUTPUT_IDS = 3,
    SR_TYPE = 4,
    SR_QUALIFIER = 5,
    SR_HAS_NODE_SET = 6,
    SR_HAS_ELEMENT_SET = 7,
    SR_NODE_SET = 8,
    SR_ELEMENT_SET = 9,
    SR_CS_TYPE = 10,
    SR_CS_ORIGIN = 11,
    SR_CS_AXIS_Z = 12,
    SR_CS_AXIS_X = 13,

    // 800 to 890, modification instructions
    ItemInstructionText = 1,
    ItemNewPosition = 1,
    ItemDeletedIds = 2,
    ItemElemAddedMaterials = 4,
    ItemElemPlies = 5,
    ItemChildMaterial = 4,
    ItemChildParent = 5,
    ItemMarkerForce = 2,
    ItemMarkerMoment = 3,
    ItemMarkerOtherA = 4,
    ItemMarkerOtherB = 5,
    ItemAddMatId = 0,
    ItemAddMatRef = 1,
    ItemAddMatParent = 2,
    ItemAddMatText = 3,
    ItemAddMatName = 4,
    ItemAddMatFlag0 = 5,
    ItemAddMatFlag1 = 6,
    ItemAddMatFlag2 = 7,
    ItemAddMatFlag3 = 8,
    ItemAddMatFlag4 = 9,
    ItemAddMatValue0 = 10,
    ItemAddMatValue1 = 11,
    ItemAddMatValue2 = 12,
    ItemAddMatValue3 = 13,
    ItemAddMatValue4 = 14,

    // 900 to 950, temporary exchange
    ItemLcRequestId = 1,
    ItemLcResReqA = 2,
    ItemLcResReqB = 3,
    ItemMarloLcA = 1,
    ItemMarloLcB = 2,
    ItemMarloLcC = 3,
    ItemMarloLcD = 4,
    ItemMatrixStep = 1,
    ItemMatrixStepKind = 2,
    ItemMatrixModelName = 3,
    ItemSpecialElemSet = 1,
    ItemDRespName = 1,
    ItemDRespAlias = 2,
};
} // namespace QSV_DataRecordItem

// Bits of QSV_OnfMetaData::m_Flags: the file kinds that carry a block. A block may belong to
// more than one kind.
enum QSV_OnfBlockFlags : uint32_t {
    ONF_FLAG_MODEL = 0x01,
    ONF_FLAG_GROUPS = 0x02,
    ONF_FLAG_INIT = 0x04,
    ONF_FLAG_REQUEST = 0x08,
    ONF_FLAG_MODIF = 0x10,
    ONF_FLAG_TEMPORARY = 0x20,
    ONF_FLAG_RESULT = 0x40, // a result block, which a result request can name as its target
};

// One constant row of the catalogue. Rows live as long as the process.
struct QSV_OnfMetaData {
    std::string m_BlockName;
    // Indexed by record item number; entry 0 is the id type of the record key.
    const QSV_IdType* m_ItemIdTypes;
    size_t m_NumItems; // entries of m_ItemIdTypes
    // Bytes of a record without its 4-byte id field.
    size_t m_RecordDataSize;
    std::string m_FormatString;
    uint32_t m_Flags; // QSV_OnfBlockFlags: the file kinds that carry the block
    QSV_IdType m_BlockIdType;
    // One line for users of `onf catalogue`.
    std::string m_Description;
    // Short names of items 1 upward, one per item, for listings; empty where unnamed.
    std::vector<std::string> m_ItemNames;

    const std::string& GetBlockName() const { return m_BlockName; }
    const std::string& GetFormatString() const { return m_FormatString; }
};

// The catalogue as a whole: which block numbers exist and the metadata row of each.
class QSV_OnfInfoPool {
public:
    // True for a number in the catalogue; false, never a failure, for any other.
    static bool ExistsOnfBlock(int id);
    // The row of a catalogued, non-negative block number.
    static const QSV_OnfMetaData& GetOnfInfo(QSV_OnfId id);
    // Every catalogued block number, ascending.
    static const std::vector<QSV_OnfId>& GetAllOnfIds();
};

// What the suite knows of one id space.
struct QSV_IdTypeInfoData {
    const char* name;
    int keyKind; // 0: integer ids; non-zero: names
};
// Indexed by QSV_IdType, 16 rows (the last is ID_NONE).
extern const QSV_IdTypeInfoData QSV_ID_TYPE_INFO[16];

// What the suite knows of one kind of group member.
struct QSV_ItemTypeInfo {
    QSV_IdType idType;                     // id space of the members
    QSV_OnfId groupBlock;                  // block that holds named groups of this kind
    static const QSV_ItemTypeInfo INFO[3]; // indexed by QSV_ItemType
};

// File kind and version texts that file headers carry.
extern const char* const const_onf_input_file;
extern const char* const const_onf_group_file;
extern const char* const const_onf_ini_file;
extern const char* const const_onf_mod_file;
extern const char* const const_onf_opt_res_file;
extern const char* const const_onf_version;
// File name suffix of ONF files, with its dot.
extern const wchar_t* const onf_suffix;
