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

#include <algorithm>
#include <cstdint>
#include <memory>

const wchar_t* const BRELON_OPTIMIZATION_DATABASE = L"optimization_database";
const char* const BRELON_VTM_CACHE_SIZE = "vtm_cache_size";

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase";

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
    try {
        m_StringsPool = new BrelonStringsPool(0x10000);
        m_PackedIntLists = new BrelonPackedIntListsPool();
        m_Splitter = new TextLineSplitter(1024);
        m_CsvWriter = new CsvLineWriter(1024, ONF_SEPARATOR);
        m_FloatFormatter = new FloatingPointFormatter();
        m_LineFormatter = new TextLineFormatter(m_CsvWriter);
        m_Helpers = new OnfHelpers(*m_StringsPool, m_IntLists, *m_PackedIntLists, m_RealLists,
                                   *m_Splitter, *m_CsvWriter, *m_FloatFormatter, *m_LineFormatter);
        m_BlockContext = new OnfBlockContext{m_IdMapsPool, {}, *m_Helpers};
        for (int type = 0; type <= ID_NONE; ++type) {
            m_BlockContext->m_IdTries[type] =
                m_IdMapsPool.GetOnfIdMap(static_cast<QSV_IdType>(type)).GetIdTrie();
        }
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
    delete m_BlockContext;
    delete m_Helpers;
    m_StringsPool = nullptr;
    m_PackedIntLists = nullptr;
    m_Splitter = nullptr;
    m_CsvWriter = nullptr;
    m_FloatFormatter = nullptr;
    m_LineFormatter = nullptr;
    m_BlockContext = nullptr;
    m_Helpers = nullptr;
}

void BrelonOnfTxtDatabase::FreeListPools() {
    m_IntLists.clear();
    // The packed pool holds the lists that loads read, which the entries above refer to: it goes
    // with them, so that a cleared database holds no dead lists.
    if (m_PackedIntLists != nullptr) {
        m_PackedIntLists->Clear();
    }
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

// Slot 0 of each list pool, the absent list, is emptied and kept rather than made anew: nothing
// is allocated, so that the release in a file kind's destructor cannot fail for want of memory
// (a failure leaving a destructor would end the process).
void BrelonOnfTxtDatabase::ReInitPools() {
    for (size_t i = 1; i < m_RealLists.size(); ++i) {
        delete m_RealLists[i];
    }
    m_RealLists.resize(1);
    m_IntLists.erase(m_IntLists.begin() + 1, m_IntLists.end());
    // The packed lists that loads read go with the entries that refer to them.
    m_PackedIntLists->Clear();
    m_FirstIntList->clear();
    m_FirstIdxList->clear();
    m_FirstRealList->clear();
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
    reader.SetReleaseLoadedText(true); // nobody reads the lines again
    LoadFile(reader);
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
        WriteFile(m_FilePath);
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
    auto block = std::make_unique<OnfBlock>(descriptor, format.c_str(), 0, *m_BlockContext);
    OnfBlock& result = *block;
    m_DataBlockSet.StoreDataBlockInstance(descriptor, block.release());
    return result;
}

QSV_DataBlock& BrelonOnfTxtDatabase::CreateDataBlock(const QSV_DataDescriptor& descriptor, size_t) {
    descriptor.CheckValidity();
    auto block = std::make_unique<OnfBlock>(descriptor, 0, *m_BlockContext);
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
    // In the set's order, as a flush of the set would visit them; each block gets the writer.
    for (const QSV_DataBlock* block :
         m_DataBlockSet.GetDataBlocksInstances(QSV_DataDescriptorPattern())) {
        static_cast<const OnfBlock*>(block)->WriteBlock(writer);
    }
    writer.Flush();
}

void BrelonOnfTxtDatabase::WriteFile(const std::wstring& path) const {
    OnfBlockTextWriter writer(path.c_str(), OnfBlockTextWriter::WRITE_NEW);
    WriteSet(writer);
    writer.Close();
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
