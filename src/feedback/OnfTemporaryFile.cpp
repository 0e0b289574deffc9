// The temporary exchange file: typed views of blocks 900, 901, 910, 940 and 950.
#include "OnfTemporaryFile.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "OnfBlockTextReader.h"
#include "block/OnfBlockDetail.h"

using namespace QSV_DataRecordItem;
using onf_detail::ForEachRecord;

namespace {
const QSV_OnfId kLcRequestBlock = static_cast<QSV_OnfId>(900);
const QSV_OnfId kMarloLcBlock = static_cast<QSV_OnfId>(901);
const QSV_OnfId kMatrixStepBlock = static_cast<QSV_OnfId>(910);
const QSV_OnfId kSpecialElemSetBlock = static_cast<QSV_OnfId>(940);
const QSV_OnfId kDRespBlock = static_cast<QSV_OnfId>(950);
const char kQuote = '"';

// The alias of a block 950 record without its pair of enclosing quotes; a lone quote character
// is no pair and stays.
void GetUnquotedAlias(const OnfBlock& block, size_t index, std::string& alias) {
    block.GetString(index, ItemDRespAlias, alias);
    if (BrelonStringUtil::is_quoted_str(alias, kQuote) && alias.size() >= 2) {
        alias.pop_back();
        alias.erase(0, 1);
    }
}

// The record that follows the last one of a running-number block (id 1 in an empty block).
size_t NewRunningRecord(OnfBlock& block, int& id) {
    id = block.GetMaxId() + 1;
    bool created = false;
    return block.GetWarrantedRecordIdx(id, created);
}
} // namespace

OnfTemporaryFile::OnfTemporaryFile() {
    InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), nullptr);
    AddEmptyBlock(kLcRequestBlock);
    AddEmptyBlock(kMarloLcBlock);
    AddEmptyBlock(kMatrixStepBlock);
    AddEmptyBlock(kSpecialElemSetBlock);
    AddEmptyBlock(kDRespBlock);
    m_FileName.reserve(64);
    m_FileName = L"900";
    m_FileName += onf_suffix;
}

// The set has no file name of its own, so the release writes nothing.
OnfTemporaryFile::~OnfTemporaryFile() {
    Clear();
    ReleaseDb(false);
}

// ---- Files --------------------------------------------------------------------------------------

// A job's first step finds no file yet: that is the normal start, not an error.
void OnfTemporaryFile::Read() {
    if (BrelonFileUtil::FileExists(m_FileName)) {
        ReadFrom(m_FileName);
    }
}

void OnfTemporaryFile::Read(std::wstring const& path) {
    ReadFrom(path);
}

void OnfTemporaryFile::Write() const {
    WriteTo(m_FileName);
}

void OnfTemporaryFile::Write(std::wstring const& path) const {
    WriteTo(path);
}

void OnfTemporaryFile::ReadFrom(std::wstring const& path) {
    ReadFile(path, LOAD_REPLACE_BLOCKS);
}

void OnfTemporaryFile::WriteTo(std::wstring const& path) const {
    WriteFile(path);
}

// ---- Loadcase map (900) and marlo loadcases (901) -----------------------------------------------

void OnfTemporaryFile::AppendLcResReq(int requestLc, int solverLc, int a, int b) {
    OnfBlock& block = GetBlock(kLcRequestBlock);
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(solverLc, created);
    block.SetRecordItem(index, ItemLcRequestId, requestLc);
    block.SetRecordItem(index, ItemLcResReqA, a);
    block.SetRecordItem(index, ItemLcResReqB, b);
}

int OnfTemporaryFile::GetRequestLcId(int solverLc) const {
    const OnfBlock& block = GetBlock(kLcRequestBlock);
    const long long index = block.GetRecordIdx(solverLc);
    return index < 0 ? solverLc : block.GetInt(static_cast<size_t>(index), ItemLcRequestId);
}

void OnfTemporaryFile::GetLcMapZarnToCorvane(std::map<int, int>& map) const {
    map.clear();
    const OnfBlock& block = GetBlock(kLcRequestBlock);
    ForEachRecord(block, [&](size_t index) {
        map[block.GetId(index)] = block.GetInt(index, ItemLcRequestId);
    });
}

void OnfTemporaryFile::AppendMarloLc(int id, int a, int b, int c, int d) {
    OnfBlock& block = GetBlock(kMarloLcBlock);
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    block.SetRecordItem(index, ItemMarloLcA, a);
    block.SetRecordItem(index, ItemMarloLcB, b);
    block.SetRecordItem(index, ItemMarloLcC, c);
    block.SetRecordItem(index, ItemMarloLcD, d);
}

void OnfTemporaryFile::GetMarloLcId(int id, int& a, int& b, int& c, int& d) {
    const OnfBlock& block = GetBlock(kMarloLcBlock);
    const long long found = block.GetRecordIdx(id);
    if (found < 0) {
        a = b = c = d = -1;
        return;
    }
    const size_t index = static_cast<size_t>(found);
    a = block.GetInt(index, ItemMarloLcA);
    b = block.GetInt(index, ItemMarloLcB);
    c = block.GetInt(index, ItemMarloLcC);
    d = block.GetInt(index, ItemMarloLcD);
}

// ---- Matrix steps (910) -------------------------------------------------------------------------

// A null model name is stored as an empty one.
void OnfTemporaryFile::AppendMatrixStep(int step, wchar_t const* modelName, int kind) {
    OnfBlock& block = GetBlock(kMatrixStepBlock);
    int id = 0;
    const size_t index = NewRunningRecord(block, id);
    block.SetRecordItem(index, ItemMatrixStep, step);
    block.SetRecordItem(index, ItemMatrixStepKind, kind);
    block.SetRecordItem(index, ItemMatrixModelName, BrelonStringUtil::wide_to_utf8(modelName));
}

int OnfTemporaryFile::GetMatrixStep(int id) const {
    const OnfBlock& block = GetBlock(kMatrixStepBlock);
    const long long index = block.GetRecordIdx(id);
    return index < 0 ? 0 : block.GetInt(static_cast<size_t>(index), ItemMatrixStep);
}

void OnfTemporaryFile::GetMatrixStepModelName(int id, std::string& name) const {
    name.clear();
    const OnfBlock& block = GetBlock(kMatrixStepBlock);
    const long long index = block.GetRecordIdx(id);
    if (index >= 0) {
        block.GetString(static_cast<size_t>(index), ItemMatrixModelName, name);
    }
}

// The kind doubles as the request loadcase: 1 or more names it, 0 marks an element matrix step,
// whose loadcase the loadcase map decides.
void OnfTemporaryFile::GetMatrixStepsInfo(std::vector<MatrixStepInfo>& steps) const {
    steps.clear();
    const OnfBlock& block = GetBlock(kMatrixStepBlock);
    ForEachRecord(block, [&](size_t index) {
        MatrixStepInfo info;
        info.step = block.GetInt(index, ItemMatrixStep);
        info.modelName =
            BrelonStringUtil::utf8_to_wide(block.GetString(index, ItemMatrixModelName));
        const int kind = block.GetInt(index, ItemMatrixStepKind);
        info.requestLc = kind >= 1 ? kind : GetRequestLcId(info.step);
        steps.push_back(std::move(info));
    });
}

bool OnfTemporaryFile::HasElementMatrixStep() const {
    const OnfBlock& block = GetBlock(kMatrixStepBlock);
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        if (block.GetInt(*it, ItemMatrixStepKind) == 0) {
            return true;
        }
    }
    return false;
}

// ---- Special element sets (940) -----------------------------------------------------------------

// The set's values come out ascending and without duplicates, so they are stored as they come
// instead of through an intermediate tree set.
int OnfTemporaryFile::AddSpecialMatrixElemSet(QSV_IntSetIntvl<int> const& set) {
    OnfBlock& block = GetBlock(kSpecialElemSetBlock);
    int id = 0;
    const size_t index = NewRunningRecord(block, id);
    std::vector<int> values;
    set.GetValues(values);
    block.SetRecordItem(index, ItemSpecialElemSet, values, ONF_INT_LIST_ORDERED);
    return id;
}

// Ids count from 1 in a block indexed by id, so the first set lies in the first set record,
// not in slot 0.
void OnfTemporaryFile::GetSpecialMatrixElemSet(QSV_IntSetIntvl<int>& set) const {
    set.Clear();
    const OnfBlock& block = GetBlock(kSpecialElemSetBlock);
    const auto first = block.Begin();
    if (first.IsValid()) {
        set = block.GetIntList(*first, ItemSpecialElemSet);
    }
}

// ---- Design response aliases (950) --------------------------------------------------------------

void OnfTemporaryFile::AppendDRespNameMap(std::string const& name,
                                          std::vector<std::string> const& aliases) {
    OnfBlock& block = GetBlock(kDRespBlock);
    for (const std::string& alias : aliases) {
        int id = 0;
        const size_t index = NewRunningRecord(block, id);
        block.SetRecordItem(index, ItemDRespName, name);
        block.SetRecordItem(index, ItemDRespAlias, alias);
    }
}

void OnfTemporaryFile::GetDRespAliasesMap(std::map<std::string, std::string>& map) const {
    map.clear();
    const OnfBlock& block = GetBlock(kDRespBlock);
    std::string alias;
    ForEachRecord(block, [&](size_t index) {
        GetUnquotedAlias(block, index, alias);
        map[alias] = block.GetString(index, ItemDRespName);
    });
}

void OnfTemporaryFile::GetDRespMappedNames(std::string const& name,
                                           std::vector<std::string>& aliases) const {
    aliases.clear();
    const OnfBlock& block = GetBlock(kDRespBlock);
    std::string alias;
    ForEachRecord(block, [&](size_t index) {
        if (name == block.GetString(index, ItemDRespName)) {
            GetUnquotedAlias(block, index, alias);
            aliases.push_back(alias);
        }
    });
}

void OnfTemporaryFile::GetDRespMappedNamesPool(std::string const& name,
                                               BrelonStringsPool& pool) const {
    const OnfBlock& block = GetBlock(kDRespBlock);
    std::string alias;
    ForEachRecord(block, [&](size_t index) {
        if (name == block.GetString(index, ItemDRespName)) {
            GetUnquotedAlias(block, index, alias);
            pool.AddString(alias);
        }
    });
}

// ---- Registered matrices (memory only) ----------------------------------------------------------

void OnfTemporaryFile::RegisterMatrix(QSV_OnfId const& id) {
    m_RegisteredMatrices.insert(id);
}

void OnfTemporaryFile::RegisterMatrices(std::set<QSV_OnfId> const& ids) {
    m_RegisteredMatrices.insert(ids.begin(), ids.end());
}

void OnfTemporaryFile::UnregisterMatrices(std::set<QSV_OnfId> const& ids) {
    for (QSV_OnfId id : ids) {
        m_RegisteredMatrices.erase(id);
    }
}

bool OnfTemporaryFile::MatrixRegistered(QSV_OnfId const& id) const {
    return m_RegisteredMatrices.count(id) != 0;
}
