// The model file: construction, reading and writing, nodes, elements and coordinate systems.
#include "OnfModelFile.h"

#include "BrelonLineInput.h"
#include "OnfBlockTextReader.h"
#include "OnfModelFileDetail.h"
#include "QSV_Failure.h"

using onf_detail::BlockId;
using onf_detail::kModelTag;
namespace Item = QSV_DataRecordItem;

namespace onf_detail {
const char* const kModelTag = "|%P|BrelonOnfEngine|OnfModelFile";
} // namespace onf_detail

namespace OnfElement {
// clang-format off
const ElemTypeInfo s_ElemTypeInfo[50] = {
    {0, 0, 0},   {4, 4, 0},   {10, 4, 0},  {8, 8, 32},  {20, 8, 33}, // 0 to 4
    {6, 6, 0},   {15, 6, 0},  {5, 5, 0},   {13, 5, 0},  {0, 0, 0},   // 5 to 9
    {3, 3, 0},   {6, 3, 0},   {4, 4, 36},  {8, 4, 37},  {0, 0, 0},   // 10 to 14
    {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   // 15 to 19
    {3, 3, 0},   {6, 3, 0},   {9, 3, 0},   {4, 4, 38},  {8, 4, 39},  // 20 to 24
    {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   {0, 0, 0},   // 25 to 29
    {8, 7, 0},   {8, 5, 0},   {8, 5, 0},   {20, 7, 0},  {20, 5, 0},  // 30 to 34
    {20, 5, 0},  {4, 3, 0},   {8, 3, 0},   {4, 3, 0},   {8, 3, 0},   // 35 to 39
    {0, 0, 0},   {2, 2, 0},   {3, 2, 0},   {1, 1, 0},   {2, 2, 0},   // 40 to 44
    {3, 3, 0},   {2, 2, 0},   {3, 3, 0},   {0, 0, 0},   {1, 1, 0},   // 45 to 49
};
// clang-format on
} // namespace OnfElement

namespace {

// Faces of each element kind. The counts are as the solver interfaces expect them, including
// those that look uneven (none for ELEM_PLANE_TRIA9, faces for 31 and 34 but not for 32 and 35).
// clang-format off
const int kElemFaces[50] = {
    0, 4, 4, 6, 6, 5, 5, 5, 5, 0,  // 0 to 9
    1, 1, 1, 1, 0, 0, 0, 0, 0, 0,  // 10 to 19
    1, 1, 0, 1, 1, 0, 0, 0, 0, 0,  // 20 to 29
    0, 5, 0, 0, 5, 0, 0, 0, 0, 0,  // 30 to 39
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  // 40 to 49
};
// clang-format on

// The most nodes an element record keeps.
const size_t kMaxElementNodes = 20;

const char* const kDefaultCsNames[3] = {"CS_0", "CS_1", "CS_2"};

// Blocks the constructor makes after block 100, ascending.
const onf_detail::ModelBlock kConstructedBlocks[] = {onf_detail::ONF_NODES,
                                                     onf_detail::ONF_MATERIALS,
                                                     onf_detail::ONF_LAYERS,
                                                     onf_detail::ONF_PROPERTIES,
                                                     onf_detail::ONF_ELEMENTS,
                                                     onf_detail::ONF_SPC_SETS,
                                                     onf_detail::ONF_SPCS,
                                                     onf_detail::ONF_RBES,
                                                     onf_detail::ONF_RBE_SETS,
                                                     onf_detail::ONF_LOADED_NODES,
                                                     onf_detail::ONF_LOADED_ELEMENTS,
                                                     onf_detail::ONF_FORCE_ITEMS,
                                                     onf_detail::ONF_FORCE_SETS,
                                                     onf_detail::ONF_DISP_ITEMS,
                                                     onf_detail::ONF_DISP_SETS,
                                                     onf_detail::ONF_ACCELERATIONS,
                                                     onf_detail::ONF_CONVECTION_SETS,
                                                     onf_detail::ONF_CONTACT_FIRST,
                                                     onf_detail::ONF_CONTACT_SECOND,
                                                     onf_detail::ONF_LOADCASES,
                                                     onf_detail::ONF_CONNECTORS};

std::string Utf8(const std::wstring& text) {
    return BrelonStringUtil::wide_to_utf8(text.c_str());
}

} // namespace

// ---- Construction and file ---------------------------------------------------------------------

OnfModelFile::OnfModelFile(const std::wstring& fileName, const QSV_IdMapsPool* pool)
    : m_ModelCs(*this), m_FileName(fileName) {
    InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), pool);
    SetHeader(const_onf_input_file);
    AddEmptyBlock(BlockId(onf_detail::ONF_COORD_SYSTEMS));
    CreateDefaultCoordSystem(true, false, false);
    AddModelBlocks();
}

OnfModelFile::~OnfModelFile() = default;

void OnfModelFile::AddModelBlocks() {
    for (onf_detail::ModelBlock block : kConstructedBlocks) {
        AddEmptyBlock(BlockId(block));
    }
}

void OnfModelFile::Read() {
    ReadFile(m_FileName, LOAD_REPLACE_BLOCKS);
    m_ModelCs.MarkAllCsResolved();
}

void OnfModelFile::Write() const {
    QSV_LOG(LOG_INFO, kModelTag, "Writing ONF input file %s", Utf8(m_FileName).c_str());
    WriteFile(m_FileName);
}

void OnfModelFile::Clear() {
    BrelonOnfTxtDatabase::Clear();
}

void OnfModelFile::PreWriteConvert() {
    m_ModelCs.ProcessBufferedCs();
}

void OnfModelFile::LoadFromDb(const QSV_Database& source) {
    BrelonIdMapsUtil::merge_id_maps_pool(source.GetIdMapsPool(), GetIdMapsPool());
    for (const QSV_DataDescriptor& descriptor : source.FindBlocks(QSV_DataDescriptorPattern())) {
        BrelonDatabaseUtils::copy_datablocks(source, *this, QSV_DataDescriptorPattern(descriptor),
                                             1);
    }
}

void OnfModelFile::SetFilename(const std::wstring& fileName) {
    m_FileName = fileName;
}

void OnfModelFile::SetNewModelName(const std::wstring& name) {
    m_NewModelName = name;
    m_WarningsLeft = 1;
}

void OnfModelFile::SetReadFEMData(bool read) {
    m_ReadFEMData = read;
}

// ---- Nodes and elements ------------------------------------------------------------------------

bool OnfModelFile::AppendNode(int id, int csDef, int csDisp, double x, double y, double z) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_NODES));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    block.SetRecordItem(index, Item::NODE_ITEM_CS, csDef);
    block.SetRecordItem(index, Item::NODE_ITEM_CS_DISP, csDisp);
    block.SetRecordItem(index, Item::NODE_ITEM_COORDS, x, y, z);
    return true;
}

bool OnfModelFile::AppendElement(int id, OnfElement::ElemType type, int property, int,
                                 const std::vector<int>& nodes, int flag1, int flag2, int flag3) {
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_ELEMENTS));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!m_ReadFEMData) {
        if (created) {
            AppendUnknownLaterElement(id, index);
            return true;
        }
        // A flag set in any deck stays set.
        const int flags[3] = {flag1, flag2, flag3};
        for (int k = 0; k < 3; ++k) {
            const OnfBlock::Item item = onf_detail::ItemNr(Item::ELEM_ITEM_FLAG_1 + k);
            const bool set = block.GetInt(index, item) != 0 || flags[k] != 0;
            block.SetRecordItem(index, item, set ? 1 : 0);
        }
        return true;
    }
    if (created) {
        SetNewElement(index, type, property, nodes, flag1, flag2, flag3);
        return true;
    }
    const int numNodes = static_cast<int>(nodes.size());
    if (block.GetInt(index, Item::ELEM_ITEM_TYPE) != type ||
        block.GetInt(index, Item::ELEM_ITEM_NUM_NODES) != numNodes ||
        block.GetInt(index, Item::ELEM_ITEM_PROPERTY) != property ||
        block.GetInt(index, Item::ELEM_ITEM_MATERIAL) != 0) {
        LogElementCollision(id, index, type, numNodes, property);
        ++m_NumColidedElements;
    }
    return false;
}

void OnfModelFile::SetNewElement(size_t index, OnfElement::ElemType type, int property,
                                 const std::vector<int>& nodes, int flag1, int flag2, int flag3) {
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_ELEMENTS));
    block.SetRecordItem(index, Item::ELEM_ITEM_TYPE, static_cast<int>(type));
    block.SetRecordItem(index, Item::ELEM_ITEM_NUM_NODES, static_cast<int>(nodes.size()));
    block.SetRecordItem(index, Item::ELEM_ITEM_PROPERTY, property);
    block.SetRecordItem(index, Item::ELEM_ITEM_MATERIAL, 0);
    block.SetRecordItem(index, Item::ELEM_ITEM_FLAG_1, flag1);
    block.SetRecordItem(index, Item::ELEM_ITEM_FLAG_2, flag2);
    block.SetRecordItem(index, Item::ELEM_ITEM_FLAG_3, flag3);
    if (nodes.size() <= kMaxElementNodes) {
        block.SetRecordItem(index, Item::ELEM_ITEM_NODES, nodes, ONF_INT_LIST_ORDERED);
        return;
    }
    if (type != OnfElement::ELEM_DUMMY) {
        onf_detail::ThrowFailure("301111140545", kModelTag,
                                 "Trying to define a non-dummy ONF-element with too many "
                                 "nodes!\nElement type: %d; number of nodes: %Iu",
                                 static_cast<int>(type), nodes.size());
    }
    const std::vector<int> kept(nodes.begin(), nodes.begin() + kMaxElementNodes);
    block.SetRecordItem(index, Item::ELEM_ITEM_NODES, kept, ONF_INT_LIST_ORDERED);
    block.SetRecordItem(index, Item::ELEM_ITEM_NUM_NODES, static_cast<int>(kMaxElementNodes));
}

void OnfModelFile::AppendUnknownLaterElement(int id, size_t index) {
    GetBlock(BlockId(onf_detail::ONF_ELEMENTS))
        .SetRecordItem(index, Item::ELEM_ITEM_TYPE, static_cast<int>(OnfElement::ELEM_DUMMY));
    if (m_WarningsLeft-- > 0) {
        QSV_LOG(LOG_WARNING, kModelTag,
                "The input deck \"%s\" contains element(s)\nnot known from your first input "
                "deck.\nThe first such element has id = %d.\nThis element, as well as all "
                "successive new elements in this model which were\nnot defined in the first "
                "input deck, will NOT be considered in the optimization!\nPlease verify for "
                "instance that the mentioned element (with id = %d)\nis not used as a design "
                "element.",
                Utf8(m_NewModelName).c_str(), id, id);
    }
}

void OnfModelFile::LogElementCollision(int id, size_t index, OnfElement::ElemType type,
                                       int numNodes, int property) const {
    const OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_ELEMENTS));
    const int values[2][4] = {{static_cast<int>(type), numNodes, property, 0},
                              {block.GetInt(index, Item::ELEM_ITEM_TYPE),
                               block.GetInt(index, Item::ELEM_ITEM_NUM_NODES),
                               block.GetInt(index, Item::ELEM_ITEM_PROPERTY),
                               block.GetInt(index, Item::ELEM_ITEM_MATERIAL)}};
    const char* const titles[2] = {"The new one has the following properties:",
                                   "The old one had the following properties:"};
    const char* const stars = "**********************************************";
    QSV_LOG(LOG_WARNING, kModelTag, "Element ID %d collides with already defined one!", id);
    QSV_LOG(LOG_DETAIL, kModelTag, "%s", stars);
    for (int k = 0; k < 2; ++k) {
        QSV_LOG(LOG_DETAIL, kModelTag, "%s", titles[k]);
        QSV_LOG(LOG_DETAIL, kModelTag, "\tItem type     : %d", values[k][0]);
        QSV_LOG(LOG_DETAIL, kModelTag, "\tNum nodes     : %d", values[k][1]);
        QSV_LOG(LOG_DETAIL, kModelTag, "\tProperty id   : %d", values[k][2]);
        QSV_LOG(LOG_DETAIL, kModelTag, "\tMaterial id   : %d", values[k][3]);
    }
    QSV_LOG(LOG_DETAIL, kModelTag, "%s", stars);
}

size_t OnfModelFile::GetNumNodes() const {
    return GetBlock(BlockId(onf_detail::ONF_NODES)).GetNumRecords();
}

size_t OnfModelFile::GetNumElement() const {
    return GetBlock(BlockId(onf_detail::ONF_ELEMENTS)).GetNumRecords();
}

int OnfModelFile::GetNumElemFaces(int element) const {
    const OnfConstObject object = GetConstObject(BlockId(onf_detail::ONF_ELEMENTS), element);
    const int type = OnfBlock::GetInt(object, Item::ELEM_ITEM_TYPE);
    // A type read from a file may lie outside the table; it has no faces.
    return (type >= 0 && type < OnfElement::NUM_ELEM_TYPES) ? kElemFaces[type] : 0;
}

// ---- Coordinate systems ------------------------------------------------------------------------

void OnfModelFile::CreateDefaultCoordSystem(bool first, bool second, bool third) {
    const bool wanted[3] = {first, second, third};
    for (int id = 0; id < 3; ++id) {
        if (!wanted[id]) {
            continue;
        }
        m_ModelCs.DeclareCsResolved(id);
        if (!m_ReadFEMData) {
            continue;
        }
        OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_COORD_SYSTEMS));
        bool created = false;
        const size_t index = block.GetWarrantedRecordIdx(id, created);
        if (!created) {
            continue;
        }
        block.SetRecordItem(index, Item::CS_ITEM_TYPE, id);
        block.SetRecordItem(index, Item::CS_ITEM_REF_CS, 0);
        block.SetRecordItem(index, Item::CS_ITEM_NAME, std::string(kDefaultCsNames[id]));
        block.SetRecordItem(index, Item::CS_ITEM_ORIGIN, 0.0, 0.0, 0.0);
        block.SetRecordItem(index, Item::CS_ITEM_Z_DIR, 0.0, 0.0, 1.0);
        block.SetRecordItem(index, Item::CS_ITEM_X_DIR, 1.0, 0.0, 0.0);
    }
}

bool OnfModelFile::AppendCoordSys(int id, OnfCoordSystem::CsType type, int refCs,
                                  const std::string& name, const BrelonMatrix<3, 1, double>& origin,
                                  const BrelonMatrix<3, 1, double>& zDirection,
                                  const BrelonMatrix<3, 1, double>& xDirection) {
    if (!m_ReadFEMData) {
        return true;
    }
    m_ModelCs.DeclareCsResolved(id);
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_COORD_SYSTEMS));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (created) {
        block.SetRecordItem(index, Item::CS_ITEM_TYPE, static_cast<int>(type));
        block.SetRecordItem(index, Item::CS_ITEM_REF_CS, refCs);
        block.SetRecordItem(index, Item::CS_ITEM_NAME, name);
        block.SetRecordItem(index, Item::CS_ITEM_ORIGIN, origin);
        block.SetRecordItem(index, Item::CS_ITEM_Z_DIR, zDirection);
        block.SetRecordItem(index, Item::CS_ITEM_X_DIR, xDirection);
    }
    return created;
}

namespace {
// A buffered system with what both ways of defining one give.
OnfModelCs::BufferedCs NewBufferedCs(int id, OnfCoordSystem::CsType type, const std::string& name,
                                     OnfCoordSystem::CsDefType defType) {
    OnfModelCs::BufferedCs cs;
    cs.id = id;
    cs.type = type;
    cs.name = name;
    cs.def_type = defType;
    return cs;
}
} // namespace

bool OnfModelFile::BufferCoordSys(int id, OnfCoordSystem::CsType type, const std::string& name,
                                  OnfCoordSystem::CsDefType defType, int refCs,
                                  const BrelonMatrix<3, 1, double>& point1,
                                  const BrelonMatrix<3, 1, double>& point2,
                                  const BrelonMatrix<3, 1, double>& point3) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfModelCs::BufferedCs cs = NewBufferedCs(id, type, name, defType);
    cs.ref_cs = refCs;
    cs.point1 = point1;
    cs.point2 = point2;
    cs.point3 = point3;
    return TakeBufferedCsId(cs);
}

bool OnfModelFile::BufferCoordSys(int id, OnfCoordSystem::CsType type, const std::string& name,
                                  OnfCoordSystem::CsDefType defType, int node1, int node2,
                                  int node3) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfModelCs::BufferedCs cs = NewBufferedCs(id, type, name, defType);
    cs.node1 = node1;
    cs.node2 = node2;
    cs.node3 = node3;
    return TakeBufferedCsId(cs);
}

bool OnfModelFile::TakeBufferedCsId(const OnfModelCs::BufferedCs& cs) {
    // The record takes the id now, so that nothing else gets it before the system is resolved.
    bool created = false;
    GetBlock(BlockId(onf_detail::ONF_COORD_SYSTEMS)).GetWarrantedRecordIdx(cs.id, created);
    if (!created) {
        QSV_LOG(LOG_WARNING, kModelTag,
                "A coordinate system with id %d has been previously defined and will be "
                "overwritten!",
                cs.id);
    }
    m_ModelCs.AppendBufferedCs(cs);
    return created;
}

size_t OnfModelFile::GetNumCoordSystem() const {
    return GetBlock(BlockId(onf_detail::ONF_COORD_SYSTEMS)).GetNumRecords();
}

void OnfModelFile::GetCoordSysData(int id, BrelonCoordinateSystem& cs, int& refCs) const {
    m_ModelCs.GetCoordSysData(id, cs, refCs);
}

BrelonMatrix<3, 1, double> OnfModelFile::GetNodeGlobalCoordinates(int node) const {
    return m_ModelCs.GetNodeGlobalCoordinates(node);
}

BrelonMatrix<3, 1, double> OnfModelFile::GetNodeGlobalCoordinatesAtIdx(size_t index) const {
    return m_ModelCs.GetNodeGlobalCoordinatesAtIdx(index);
}
