// The text database: a block set filled from an ONF reader and written through an ONF writer,
// with the pools and text tools that all its blocks share.
#include "BrelonOnfTxtDatabase.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "OnfBlock.h"
#include "OnfBlockTextReader.h"
#include "OnfBlockTextWriter.h"
#include "OnfConstants.h"
#include "QSV_Failure.h"
#include "block/OnfBlockDetail.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>

const wchar_t* const BRELON_OPTIMIZATION_DATABASE = L"optimization_database";
const char* const BRELON_VTM_CACHE_SIZE = "vtm_cache_size";

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase";

bool IsCatalogued(const QSV_DataDescriptor& descriptor) {
    if (!descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID)) {
        return false;
    }
    const int id = descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
    return id >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(id);
}

// Bytes of one record of a block read in `format` (its id field included), laid out as
// QSV_DataBlock lays out a custom format: with a bar the first item lies over the id field and
// widens it when it is wider.
size_t RecordBytesOfFormat(const std::string& format) {
    const bool keyInFormat = format.find('|') != std::string::npos;
    size_t bytes = keyInFormat ? 0 : 4;
    bool keyPending = keyInFormat;
    for (const char c : format) {
        if (c == 'b' || c == '|') {
            continue;
        }
        bytes = keyPending ? QSV_DataBlock::FormatCharSize(c)
                           : bytes + QSV_DataBlock::FormatCharSize(c);
        keyPending = false;
    }
    return std::max<size_t>(bytes, 4);
}

// Fails before a block's declared records are made when they would hold more storage than its
// body text allows (see onf_detail::RecordBudget). The body's bytes are counted only when the
// records do not fit a budget of one byte a line, so ordinary blocks pay nothing.
void CheckRecordBudget(OnfBlockTextReader& reader, size_t blockIndex, size_t recordBytes) {
    const OnfBlockTextReader::BLOCK_INFO& info = reader.GetBlocksInfo()[blockIndex];
    const size_t records = static_cast<size_t>(info.num_records);
    if (records <= onf_detail::RecordBudget(info.num_lines) / recordBytes) {
        return;
    }
    reader.ProvideBlock(blockIndex);
    const size_t bodyBytes = onf_detail::BodyBytes(reader);
    const size_t budget = onf_detail::RecordBudget(bodyBytes);
    if (records <= budget / recordBytes) {
        return;
    }
    const size_t needed = records > SIZE_MAX / recordBytes ? SIZE_MAX : records * recordBytes;
    onf_detail::ThrowFailure(
        nullptr, kTag,
        "Error in ONF-file %s, block %d:\nIts %Iu records of %Iu bytes each need %Iu bytes, but "
        "its %Iu bytes of record lines allow at most %Iu bytes of records.",
        BrelonStringUtil::wide_to_utf8(reader.FileName().c_str()).c_str(),
        static_cast<int>(info.block_id), records, recordBytes, needed, bodyBytes, budget);
}

// CheckRecordBudget for block `blockIndex` of `reader`, read in the catalogue's layout
// (`catalogueLayout`) or in its file's format. A block that the catalogue lacks has no
// catalogue layout: its constructor refuses it.
void CheckReaderBlockBudget(OnfBlockTextReader& reader, size_t blockIndex, bool catalogueLayout) {
    const OnfBlockTextReader::BLOCK_INFO& info = reader.GetBlocksInfo()[blockIndex];
    if (!catalogueLayout) {
        CheckRecordBudget(reader, blockIndex, RecordBytesOfFormat(info.format));
    } else if (IsCatalogued(info.descriptor)) {
        const int id = info.descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
        const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(id));
        CheckRecordBudget(reader, blockIndex, row.m_RecordDataSize + 4);
    }
}
} // namespace

BrelonOnfTxtDatabase::BrelonOnfTxtDatabase(const std::wstring& name) : m_FileName(name) {
    InitPointers();
}

BrelonOnfTxtDatabase::BrelonOnfTxtDatabase(FILE* stream) : m_Stream(stream) {
    InitPointers();
}

BrelonOnfTxtDatabase::~BrelonOnfTxtDatabase() {
    // The blocks go before the pools and tools they refer to.
    m_DataBlockSet.Clear();
    FreePointers();
}

void BrelonOnfTxtDatabase::InitPointers() {
    m_IsInitialized = false;
    m_ActiveWriter = nullptr;
    try {
        m_StringsPool = new BrelonStringsPool(0x10000);
        m_PackedIntLists = new BrelonPackedIntListsPool();
        m_Splitter = new TextLineSplitter(1024);
        m_CsvWriter = new CsvLineWriter(1024, ONF_SEPARATOR);
        m_FloatFormatter = new FloatingPointFormatter();
        m_LineFormatter = new TextLineFormatter(m_CsvWriter);
        m_Helpers = new OnfHelpers(*m_StringsPool, m_IntLists, *m_PackedIntLists, m_RealLists,
                                   *m_Splitter, *m_CsvWriter, *m_FloatFormatter, *m_LineFormatter);
        MakeEmptyListSlots();
    } catch (...) {
        FreePointers();
        throw;
    }
    m_AccessMode = QSV_DatabaseDefs::ACCESS_READ_WRITE;
}

void BrelonOnfTxtDatabase::FreePointers() {
    FreeListPools();
    delete m_StringsPool;
    delete m_PackedIntLists;
    delete m_Splitter;
    delete m_CsvWriter;
    delete m_FloatFormatter;
    delete m_LineFormatter;
    delete m_Helpers;
    m_StringsPool = nullptr;
    m_PackedIntLists = nullptr;
    m_Splitter = nullptr;
    m_CsvWriter = nullptr;
    m_FloatFormatter = nullptr;
    m_LineFormatter = nullptr;
    m_Helpers = nullptr;
}

void BrelonOnfTxtDatabase::FreeListPools() {
    m_IntLists.clear();
    for (std::vector<double>* list : m_RealLists) {
        delete list;
    }
    m_RealLists.clear();
    m_FirstIntList = nullptr;
    m_FirstIdxList = nullptr;
    m_FirstRealList = nullptr;
}

void BrelonOnfTxtDatabase::MakeEmptyListSlots() {
    auto ids = std::make_unique<std::vector<int>>();
    auto indices = std::make_unique<std::vector<int>>();
    m_FirstIntList = ids.get();
    m_FirstIdxList = indices.get();
    m_IntLists.emplace_back(std::move(ids), std::move(indices));
    auto reals = std::make_unique<std::vector<double>>();
    m_RealLists.push_back(reals.get());
    m_FirstRealList = reals.release();
}

void BrelonOnfTxtDatabase::ReInitPools() {
    FreeListPools();
    MakeEmptyListSlots();
}

void BrelonOnfTxtDatabase::PrepareFileName(const std::wstring& folder, const std::wstring& name,
                                           std::wstring& path) {
    if (!folder.empty()) {
        BrelonFileNameUtil::make_path(folder, name, path);
    } else {
        path = name;
    }
    // A database without a name stays without a path: ".onf" would name a file nobody asked for.
    if (!path.empty() && !BrelonFileNameUtil::path_has_ext(path)) {
        BrelonFileNameUtil::path_set_ext(path, ONF_DEFAULT_EXTENSION, path);
    }
}

// ---- Session ----------------------------------------------------------------------------------

void BrelonOnfTxtDatabase::InitDb(QSV_DatabaseDefs::AccessMode mode, size_t,
                                  const std::wstring& folder, const QSV_IdMapsPool* pool) {
    m_AccessMode = mode;
    PrepareFileName(folder, m_FileName, m_FilePath);
    if (pool != nullptr) {
        BrelonIdMapsUtil::merge_id_maps_pool(*pool, m_IdMapsPool);
    }
    if (m_FilePath.empty() || !BrelonFileUtil::FileExists(m_FilePath)) {
        if (mode != QSV_DatabaseDefs::ACCESS_READ_ONLY || m_FilePath.empty()) {
            m_IsInitialized = true;
            return;
        }
        onf_detail::ThrowFailure(nullptr, kTag, "Trying to open file %s, which does not exist.",
                                 BrelonStringUtil::wide_to_utf8(m_FilePath.c_str()).c_str());
    }
    OnfBlockTextReader reader(m_FilePath.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
    const std::vector<OnfBlockTextReader::BLOCK_INFO>& blocks = reader.GetBlocksInfo();
    for (size_t i = 0; i < blocks.size(); ++i) {
        const OnfBlockTextReader::BLOCK_INFO& info = blocks[i];
        const size_t numRecords = static_cast<size_t>(info.num_records);
        CheckReaderBlockBudget(reader, i, info.format.empty());
        std::unique_ptr<OnfBlock> block(
            info.format.empty() ? new OnfBlock(info.descriptor, numRecords, *this, *m_Helpers)
                                : new OnfBlock(info.descriptor, info.format.c_str(), numRecords,
                                               *this, *m_Helpers));
        reader.ProvideBlock(i);
        block->LoadBlock(reader);
        m_DataBlockSet.StoreDataBlockInstance(info.descriptor, block.release());
    }
    m_IsInitialized = true;
}

void BrelonOnfTxtDatabase::ReleaseDb(bool) {
    if (m_Stream != nullptr) {
        OnfBlockTextWriter writer(m_Stream);
        WriteSet(writer);
    } else if (!m_FileName.empty() && m_AccessMode != QSV_DatabaseDefs::ACCESS_READ_ONLY) {
        // Released without InitDb: the path is made from the name as InitDb would make it.
        if (m_FilePath.empty()) {
            PrepareFileName(std::wstring(), m_FileName, m_FilePath);
        }
        OnfBlockTextWriter writer(m_FilePath.c_str(), OnfBlockTextWriter::WRITE_NEW);
        WriteSet(writer);
    }
    m_DataBlockSet.Clear();
    ReInitPools();
    m_IsInitialized = false;
}

bool BrelonOnfTxtDatabase::IsInitialized() const {
    return m_IsInitialized;
}

// ---- Blocks -----------------------------------------------------------------------------------

QSV_DataBlock& BrelonOnfTxtDatabase::CreateDataBlock(const QSV_DataDescriptor& descriptor, int,
                                                     long long, const std::string& format) {
    descriptor.CheckValidity();
    auto block = std::make_unique<OnfBlock>(descriptor, format.c_str(), 0, *this, *m_Helpers);
    OnfBlock& result = *block;
    m_DataBlockSet.StoreDataBlockInstance(descriptor, block.release());
    return result;
}

QSV_DataBlock& BrelonOnfTxtDatabase::CreateDataBlock(const QSV_DataDescriptor& descriptor, size_t) {
    descriptor.CheckValidity();
    auto block = std::make_unique<OnfBlock>(descriptor, 0, *this, *m_Helpers);
    OnfBlock& result = *block;
    m_DataBlockSet.StoreDataBlockInstance(descriptor, block.release());
    return result;
}

const QSV_IdMapsPool& BrelonOnfTxtDatabase::GetIdMapsPool() const {
    return m_IdMapsPool;
}

QSV_IdMapsPool& BrelonOnfTxtDatabase::GetIdMapsPool() {
    return m_IdMapsPool;
}

OnfBlock* BrelonOnfTxtDatabase::NewBlock(const QSV_DataDescriptor& descriptor,
                                         const std::string& format, size_t numRecords) {
    // Blocks are read in the catalogue's format, also where the file gives one of its own. A
    // block the catalogue does not know (a custom block, or a number kept for its format) can
    // only be read in the format the file gives.
    if (IsCatalogued(descriptor) || format.empty()) {
        return new OnfBlock(descriptor, numRecords, *this, *m_Helpers);
    }
    return new OnfBlock(descriptor, format.c_str(), numRecords, *this, *m_Helpers);
}

std::unique_ptr<OnfBlock> BrelonOnfTxtDatabase::LoadReaderBlock(OnfBlockTextReader& reader,
                                                                size_t blockIndex) {
    const OnfBlockTextReader::BLOCK_INFO& info = reader.GetBlocksInfo()[blockIndex];
    CheckReaderBlockBudget(reader, blockIndex,
                           IsCatalogued(info.descriptor) || info.format.empty());
    std::unique_ptr<OnfBlock> block(
        NewBlock(info.descriptor, info.format, static_cast<size_t>(info.num_records)));
    reader.ProvideBlock(blockIndex);
    block->LoadBlock(reader);
    return block;
}

void BrelonOnfTxtDatabase::LoadFrom(OnfBlockTextReader& reader, BlockSetLoadAction action) {
    if (action == LOAD_REPLACE_SET) {
        Clear();
    } else if (action == LOAD_MERGE_BY_NUMBER) {
        MergeBlocksByNumber(reader);
    }
    const std::vector<OnfBlockTextReader::BLOCK_INFO>& blocks = reader.GetBlocksInfo();
    for (size_t i = 0; i < blocks.size(); ++i) {
        const QSV_DataDescriptor& descriptor = blocks[i].descriptor;
        if (m_DataBlockSet.HasBlockInstance(descriptor)) {
            if (action != LOAD_REPLACE_BLOCKS) {
                continue;
            }
            m_DataBlockSet.DeleteDataBlockInstance(descriptor);
        }
        std::unique_ptr<OnfBlock> block = LoadReaderBlock(reader, i);
        m_DataBlockSet.StoreDataBlockInstance(descriptor, block.release());
    }
}

void BrelonOnfTxtDatabase::MergeBlocksByNumber(OnfBlockTextReader& reader) {
    // Groups in order of their first block; a block without a catalogued number has no number
    // to merge by and is loaded on its own.
    const std::vector<OnfBlockTextReader::BLOCK_INFO>& blocks = reader.GetBlocksInfo();
    std::vector<std::vector<size_t>> groups;
    std::map<int, size_t> groupOfNumber;
    for (size_t i = 0; i < blocks.size(); ++i) {
        if (!IsCatalogued(blocks[i].descriptor)) {
            continue;
        }
        const int number = blocks[i].descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
        const auto found = groupOfNumber.emplace(number, groups.size());
        if (found.second) {
            groups.emplace_back();
        }
        groups[found.first->second].push_back(i);
    }
    for (const std::vector<size_t>& group : groups) {
        MergeGroup(reader, group);
    }
}

void BrelonOnfTxtDatabase::MergeGroup(OnfBlockTextReader& reader,
                                      const std::vector<size_t>& group) {
    std::unique_ptr<OnfBlock> merged = LoadReaderBlock(reader, group[0]);
    QSV_IntSetIntvl<int> used;
    for (auto it = merged->Begin(); it.IsValid(); ++it) {
        used.Insert(merged->GetId(*it));
    }
    for (size_t k = 1; k < group.size(); ++k) {
        std::unique_ptr<OnfBlock> other = LoadReaderBlock(reader, group[k]);
        for (auto it = other->Begin(); it.IsValid(); ++it) {
            int identity = other->GetId(*it);
            bool created = false;
            size_t target = merged->GetWarrantedRecordIdx(identity, created);
            if (!created) {
                // Wrap-around arithmetic: the highest identity plus one, without overflow.
                identity = static_cast<int>(static_cast<uint32_t>(used.GetLast()) + 1u);
                target = merged->GetWarrantedRecordIdx(identity, created);
            }
            used.Insert(identity);
            merged->CopyRecord(*other, *it, target, -1);
        }
    }
    const QSV_DataDescriptor& head = reader.GetBlocksInfo()[group[0]].descriptor;
    m_DataBlockSet.DeleteDataBlockInstance(head);
    m_DataBlockSet.StoreDataBlockInstance(head, merged.release());
}

// ---- Writing ----------------------------------------------------------------------------------

void BrelonOnfTxtDatabase::WriteSet(OnfBlockTextWriter& writer) const {
    if (writer.GetWriteMode() == OnfBlockTextWriter::WRITE_NEW) {
        writer.WriteLine(ONF_COMMENT_MARK);
        writer.WriteLine(std::string("# ") + const_onf_version);
        if (!m_Header.empty()) {
            writer.WriteLine("# " + m_Header);
        }
        if (!m_UserHeader.empty()) {
            writer.WriteLine("# " + m_UserHeader);
        }
    }
    m_ActiveWriter = &writer;
    m_DataBlockSet.FlushToDisk();
    m_ActiveWriter = nullptr;
    writer.Flush();
}

void BrelonOnfTxtDatabase::UpdateForExport() {
    for (QSV_DataBlock* block :
         m_DataBlockSet.GetDataBlocksInstances(QSV_DataDescriptorPattern())) {
        static_cast<OnfBlock*>(block)->UpdateIdIntLists();
    }
}

void BrelonOnfTxtDatabase::Clear() {
    m_DataBlockSet.Clear();
    ReInitPools();
}
