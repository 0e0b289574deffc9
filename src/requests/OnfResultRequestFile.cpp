// The result request file: its blocks, the request map built from block 400, and writing.
#include "OnfResultRequestFile.h"

#include "OnfBlockTextReader.h"
#include "OnfResultRequestFileDetail.h"
#include "QSV_Failure.h"

#include <algorithm>
#include <memory>

using namespace onf_detail::rr;

namespace onf_detail {
namespace rr {
const char* const kTag = "|%P|BrelonOnfEngine|OnfResultRequestFile";
const char* const kCrossReferenceText =
    "Error in the cross-references between result-request data blocks.\n"
    "Record ID %d does not exist in ONF-block %d!";

const char* const kRequestItems = "IIIIIILR";
const char* const kUserVarItems = "IIS";
const char* const kMatrixItems = "IIIII";
const char* const kSensitivityItems = "SSLIIIISSIVVV";
const char* const kGroupItems = "L";

void CheckLayout(const QSV_DataBlock& block, QSV_OnfId id, const char* items) {
    size_t item = 1;
    for (const char* c = items; *c != '\0'; ++c, ++item) {
        if (block.GetItemType(item) != QSV_DataBlock::FormatCharType(*c)) {
            onf_detail::ThrowFailure(nullptr, kTag,
                                     "ONF block %d has the format '%s', which the "
                                     "result-request file cannot read.",
                                     static_cast<int>(id), block.GetFormatString().c_str());
        }
    }
}

size_t SideRecordIndex(const OnfBlock& block, QSV_OnfId id, const char* items, int recordId,
                       const char* failureId) {
    CheckLayout(block, id, items);
    const long long index = block.GetRecordIdx(recordId);
    if (index < 0) {
        onf_detail::ThrowFailure(failureId, kTag, kCrossReferenceText, recordId,
                                 static_cast<int>(id));
    }
    return static_cast<size_t>(index);
}
} // namespace rr
} // namespace onf_detail

namespace {
// Result blocks that InitForAllResults requests. 520 describes the loadcases of a result set
// and is written with every result, so it is never requested.
constexpr int kFirstResultBlock = 500;
constexpr int kLastResultBlock = 697;
constexpr int kUnrequestedResultBlock = 520;
} // namespace

// ---- Details and requests -----------------------------------------------------------------------

ResultRequestDetails::~ResultRequestDetails() = default;

MatrixRequest* MatrixRequest::Clone() const {
    return new MatrixRequest(*this);
}

UserVarRequest* UserVarRequest::Clone() const {
    return new UserVarRequest(*this);
}

OnfSensitivity::SensitivityRequest* OnfSensitivity::SensitivityRequest::Clone() const {
    return new SensitivityRequest(*this);
}

OnfResultRequestFile::ResultRequest::ResultRequest(const ResultRequest& other)
    : analysis_type(other.analysis_type), loadcase(other.loadcase), substep(other.substep),
      time_flag(other.time_flag), time_value(other.time_value),
      details(other.details ? other.details->Clone() : nullptr) {}

OnfResultRequestFile::ResultRequest&
OnfResultRequestFile::ResultRequest::operator=(const ResultRequest& other) {
    if (this != &other) {
        ResultRequest copy(other);
        *this = std::move(copy);
    }
    return *this;
}

OnfResultRequestFile::ResultRequest::~ResultRequest() = default;

// ---- The file -----------------------------------------------------------------------------------

const QSV_OnfId OnfResultRequestFile::m_MatrixRrOnf[NUM_MATRIX_RR_ONF] = {
    static_cast<QSV_OnfId>(590), static_cast<QSV_OnfId>(591), static_cast<QSV_OnfId>(592),
    static_cast<QSV_OnfId>(589)};

// Blocks 430 and 440 are not made here: only a file brings them, so that their absence tells
// that the file had none.
OnfResultRequestFile::OnfResultRequestFile(const std::wstring& name) : m_FileName(name) {
    InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), nullptr);
    AddEmptyBlock(kRequestBlock);
    AddEmptyBlock(kOptionsBlock);
    AddEmptyBlock(kUserVarBlock);
    AddEmptyBlock(kNodeGroupBlock);
    AddEmptyBlock(kElementGroupBlock);
}

OnfResultRequestFile::~OnfResultRequestFile() = default;

void OnfResultRequestFile::Read() {
    ReadFile(m_FileName, LOAD_REPLACE_BLOCKS);
    FinishRead();
}

void OnfResultRequestFile::FinishRead() {
    InitRrm();
}

// Rebuilds the map from block 400. The loadcases, orientations and time points are kept, so a
// second run appends to them. Failures: "105466170309" (a matrix selection missing in block
// 430), "105617170309" (a user variable missing in 420), "104923030917" (a sensitivity output
// missing in 440), "171655230712" (a target block the catalogue lacks). A failure keeps what was
// decoded before it.
void OnfResultRequestFile::InitRrm() {
    m_Rrm.clear();
    bool hasTimePoints = false;
    const OnfBlock& block = GetBlock(kRequestBlock);
    CheckLayout(block, kRequestBlock, kRequestItems);
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        const size_t index = *it;
        const int target = block.GetInt(index, RR_TARGET_BLOCK);
        ResultRequest request;
        request.analysis_type = block.GetInt(index, RR_ANALYSIS_TYPE);
        request.loadcase = block.GetInt(index, RR_LOADCASE);
        request.substep = block.GetInt(index, RR_SUBSTEP);
        request.time_flag = block.GetInt(index, RR_TIME_FLAG);
        request.time_value = block.GetReal(index, RR_TIME_VALUE);
        if (std::find(m_Loadcases.begin(), m_Loadcases.end(), request.loadcase) ==
            m_Loadcases.end()) {
            m_Loadcases.push_back(request.loadcase);
        }
        hasTimePoints = hasTimePoints || request.time_flag != 0;
        const std::vector<int>& reference = block.GetIntList(index, RR_DETAIL_REF);
        if (!reference.empty()) {
            DecodeDetails(static_cast<QSV_OnfId>(target), reference.front(), request);
        }
        if (!QSV_OnfInfoPool::ExistsOnfBlock(target)) {
            onf_detail::ThrowFailure("171655230712", kTag,
                                     "An unknown/invalid ONF block %d was found in the "
                                     "result-request file!",
                                     target);
        }
        m_Rrm[static_cast<QSV_OnfId>(target)].push_back(std::move(request));
    }
    ReduceSensitivitySets();
    CreateTimePointsMap(hasTimePoints);
}

// The details that the side block record `recordId` gives a request for `target`. A reference
// on a request for any other target (640 among them) carries nothing and is ignored.
void OnfResultRequestFile::DecodeDetails(QSV_OnfId target, int recordId, ResultRequest& request) {
    if (target == kGlobalMatrices) {
        const OnfBlock& side = GetBlock(kMatrixBlock);
        const size_t at =
            SideRecordIndex(side, kMatrixBlock, kMatrixItems, recordId, "105466170309");
        std::unique_ptr<MatrixRequest> matrix(new MatrixRequest);
        matrix->flag_1 = side.GetInt(at, Item(1));
        matrix->flag_2 = side.GetInt(at, Item(2));
        matrix->flag_3 = side.GetInt(at, Item(3));
        matrix->flag_4 = side.GetInt(at, Item(4));
        matrix->flag_5 = side.GetInt(at, Item(5));
        request.details = std::move(matrix);
    } else if (target == kUserVariables) {
        const OnfBlock& side = GetBlock(kUserVarBlock);
        const size_t at =
            SideRecordIndex(side, kUserVarBlock, kUserVarItems, recordId, "105617170309");
        std::unique_ptr<UserVarRequest> userVar(new UserVarRequest);
        userVar->kind = side.GetInt(at, UV_KIND);
        if (userVar->kind == 1) {
            side.GetString(at, UV_NAME, userVar->name);
        } else if (userVar->kind == 2) {
            userVar->number = side.GetInt(at, UV_NUMBER);
        }
        request.details = std::move(userVar);
    } else if (target == kSensNodal || target == kSensElement || target == kSensShape) {
        InitSensRrm(request, recordId);
    }
}

void OnfResultRequestFile::InitForAllResults() {
    OnfBlock& block = GetBlock(kRequestBlock);
    CheckLayout(block, kRequestBlock, kRequestItems);
    block.Clear();
    int nextId = 1;
    for (int id = kFirstResultBlock; id <= kLastResultBlock; ++id) {
        if (id == kUnrequestedResultBlock || !QSV_OnfInfoPool::ExistsOnfBlock(id)) {
            continue;
        }
        bool created = false;
        const size_t index = block.GetWarrantedRecordIdx(nextId++, created);
        block.SetRecordItem(index, RR_TARGET_BLOCK, id);
        block.SetRecordItem(index, RR_ANALYSIS_TYPE, -1);
        block.SetRecordItem(index, RR_LOADCASE, -1);
        block.SetRecordItem(index, RR_SUBSTEP, -1);
        block.SetRecordItem(index, RR_MARK, 0);
        block.SetRecordItem(index, RR_TIME_FLAG, 0);
        block.SetRecordItem(index, RR_DETAIL_REF, std::vector<int>(), ONF_INT_LIST_ORDERED);
        block.SetRecordItem(index, RR_TIME_VALUE, 0.0);
    }
    InitRrm();
}

// The map holds a copy of its own, with details cloned, whatever the caller passed in.
void OnfResultRequestFile::AddResultRequest(QSV_OnfId id, ResultRequest request) {
    const ResultRequest& source = request;
    m_Rrm[id].push_back(source);
}

void OnfResultRequestFile::RemoveMatrixRequests() {
    OnfBlock& block = GetBlock(kRequestBlock);
    CheckLayout(block, kRequestBlock, kRequestItems);
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        const int target = block.GetInt(*it, RR_TARGET_BLOCK);
        const QSV_OnfId* end = m_MatrixRrOnf + NUM_MATRIX_RR_ONF;
        if (std::find(m_MatrixRrOnf, end, target) != end && block.HasRecord(*it)) {
            block.DeleteRecord(*it);
        }
    }
    InitRrm();
}

std::string OnfResultRequestFile::UserVarName() {
    const RequestMap::const_iterator found = m_Rrm.find(static_cast<QSV_OnfId>(kUserVariables));
    if (found == m_Rrm.end()) {
        return std::string();
    }
    for (const ResultRequest& request : found->second) {
        const UserVarRequest* userVar = dynamic_cast<const UserVarRequest*>(request.details.get());
        if (userVar != nullptr && userVar->kind == 1) {
            return userVar->name;
        }
    }
    return std::string();
}

// ---- Writing ------------------------------------------------------------------------------------

// The written file is built in a set of its own, so the object's blocks stay as they were read.
void OnfResultRequestFile::Write(const GroupItems& groups) const {
    OnfBlockSet set;
    set.InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), nullptr);
    RebuildOnfBlocks(set);
    WriteGroups(groups, ITEM_TYPE_NODE, set);
    WriteGroups(groups, ITEM_TYPE_ELEMENT, set);
    set.WriteFile(m_FileName);
}

// Only sensitivity requests are written: the solver interface that reads the file back needs
// no other, and matrix and user-variable requests have no way into the rebuilt blocks. Details
// of another kind under a sensitivity block count as none.
void OnfResultRequestFile::RebuildOnfBlocks(OnfBlockSet& set) const {
    set.Clear();
    for (const RequestMap::value_type& entry : m_Rrm) {
        if (entry.first < kSensResponses || entry.first > kSensShape) {
            continue;
        }
        for (const ResultRequest& request : entry.second) {
            const OnfSensitivity::SensitivityRequest* sensitivity =
                dynamic_cast<const OnfSensitivity::SensitivityRequest*>(request.details.get());
            if (sensitivity == nullptr) {
                continue;
            }
            const size_t index = AddRRSensRecord(set, *sensitivity);
            AddRRRecord(set, entry.first, request, index);
        }
    }
}

void OnfResultRequestFile::AddRRRecord(OnfBlockSet& set, QSV_OnfId id, const ResultRequest& request,
                                       size_t index) const {
    OnfBlock& block = set.AddEmptyBlock(kRequestBlock);
    std::unique_ptr<QSV_DataRecord> record(block.CreateDataRecord());
    FillRRRecord(*record, id, request, index);
    block.SetRecord(static_cast<size_t>(block.GetMaxIndex() + 1), *record);
}

// The time flag and time (items 6 and 8) stay as a new record has them: a written file asks for
// no time points.
void OnfResultRequestFile::FillRRRecord(QSV_DataRecord& record, QSV_OnfId id,
                                        const ResultRequest& request, size_t index) const {
    record.SetInteger(RR_TARGET_BLOCK, static_cast<int>(id));
    record.SetInteger(RR_ANALYSIS_TYPE, request.analysis_type);
    record.SetInteger(RR_LOADCASE, request.loadcase);
    record.SetInteger(RR_SUBSTEP, request.substep);
    record.SetInteger(RR_MARK, 1);
    record.SetIntList(RR_DETAIL_REF, std::vector<int>(1, static_cast<int>(index)));
}

// The index of the first record of `block` equal to `record`, byte for byte; GetMaxIndex() + 1
// without one (0 in an empty block).
size_t OnfResultRequestFile::FindRecord(const QSV_DataBlock& block,
                                        const QSV_ConstDataRecord& record) const {
    if (block.GetNumRecords() == 0) {
        return 0;
    }
    QSV_ConstDataRecord view(block);
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        block.GetRecord(*it, view);
        if (view == record) {
            return *it;
        }
    }
    return static_cast<size_t>(block.GetMaxIndex() + 1);
}

// The groups of `itemType` as records of its group block, keyed by name, with the member ids as
// given. No group of that type makes no block.
void OnfResultRequestFile::WriteGroups(const GroupItems& groups, QSV_ItemType itemType,
                                       QSV_Database& database) const {
    size_t count = 0;
    for (const GroupItems::value_type& entry : groups) {
        count += entry.first.GetItemType() == itemType ? 1 : 0;
    }
    if (count == 0) {
        return;
    }
    const QSV_ItemTypeInfo& info = QSV_ItemTypeInfo::INFO[itemType];
    QSV_DataBlock& block = database.FetchDataBlock(QSV_DataDescriptor(info.groupBlock), count);
    QSV_IdMapsPool& pool = database.GetIdMapsPool();
    QSV_IdDataBlock idBlock(block, pool, true);
    QSV_IdMap& members = pool.GetIdMap(info.idType);
    std::unique_ptr<QSV_IdDataRecord> record(idBlock.CreateIdDataRecord());
    for (const GroupItems::value_type& entry : groups) {
        if (entry.first.GetItemType() != itemType) {
            continue;
        }
        for (int id : entry.second) {
            members.FetchIdx(id);
        }
        record->SetIntList(GROUP_ITEMS, entry.second);
        idBlock.SetRecord(entry.first.GetName(), *record);
    }
}
