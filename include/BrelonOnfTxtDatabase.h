// The block database over one ONF text file: all blocks of the file in memory as OnfBlock objects,
// the pools and text tools that those blocks share, and the id maps. It fills itself from a
// reader (LoadFrom, InitDb) and writes itself through a writer (WriteSet, ReleaseDb).
//
// Ownership: blocks, pools and id maps belong to the database and die with it; no block may
// outlive it. The destructor writes nothing. One database belongs to one thread, and its blocks
// must not be loaded or written in parallel (they share a splitter and a line builder).
#pragma once

#include "BrelonContainers.h"
#include "BrelonOnfIdMap.h"
#include "QSV_Database.h"

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

class CsvLineWriter;
class FloatingPointFormatter;
class OnfBlock;
class OnfBlockTextReader;
class OnfBlockTextWriter;
class OnfHelpers;
class TextLineFormatter;
class TextLineSplitter;

// Named constants of the suite that stand beside the text database; the engine does not use them.
extern const wchar_t* const BRELON_OPTIMIZATION_DATABASE; // L"optimization_database"
extern const char* const BRELON_VTM_CACHE_SIZE;           // "vtm_cache_size"

// The block database over one ONF text file: holds every block of the file in memory, owns the
// pools, id maps and text tools its blocks share, fills itself from a reader and writes itself
// through a writer. Blocks live as long as the database; one database belongs to one thread.
class BrelonOnfTxtDatabase : public QSV_Database {
public:
    // What LoadFrom does with a block of the file.
    enum BlockSetLoadAction {
        LOAD_REPLACE_SET = 0,    // clear the set first; of equal descriptors the first wins
        LOAD_ADD_MISSING = 1,    // a block the set has already is left out
        LOAD_REPLACE_BLOCKS = 2, // a block the set has already is replaced; the last wins
        LOAD_MERGE_BY_NUMBER = 3 // blocks of one number are merged, clashing ids renumbered
    };

    // A database on the file `name` (folder and extension may be missing; InitDb completes
    // them). Not initialised, access mode 1, empty set, pools ready.
    explicit BrelonOnfTxtDatabase(const std::wstring& name);
    // A database that ReleaseDb writes to `stream` (not owned), without a file header.
    explicit BrelonOnfTxtDatabase(FILE* stream);
    // Frees the pools and the blocks; writes nothing.
    ~BrelonOnfTxtDatabase() override;
    BrelonOnfTxtDatabase(const BrelonOnfTxtDatabase&) = delete;
    BrelonOnfTxtDatabase& operator=(const BrelonOnfTxtDatabase&) = delete;

    // Works out the file path (folder + name, extension "onf" if none), merges `pool` into the
    // id maps, and loads the file if it exists. A missing file is an empty database, except with
    // mode 0 and a path: "Trying to open file %s, which does not exist.". `size` is ignored.
    void InitDb(QSV_DatabaseDefs::AccessMode mode, size_t size, const std::wstring& folder,
                const QSV_IdMapsPool* pool) override;
    using QSV_Database::InitDb;
    // Writes the set to the stream or, with a name and a non-zero access mode, to the file;
    // then clears the set and the list pools. The argument is ignored.
    void ReleaseDb(bool flag) override;
    bool IsInitialized() const override;
    // A new custom block with the format text `format`, stored in the set (ints ignored).
    QSV_DataBlock& CreateDataBlock(const QSV_DataDescriptor& descriptor, int, long long,
                                   const std::string& format) override;
    // A new block in the catalogue's format, stored in the set (size ignored).
    QSV_DataBlock& CreateDataBlock(const QSV_DataDescriptor& descriptor, size_t) override;
    const QSV_IdMapsPool& GetIdMapsPool() const override;
    QSV_IdMapsPool& GetIdMapsPool() override;
    // The id maps with their concrete type.
    BrelonOnfIdMapsPool& GetOnfIdMapsPool() { return m_IdMapsPool; }
    const BrelonOnfIdMapsPool& GetOnfIdMapsPool() const { return m_IdMapsPool; }

    // Loads every block of `reader` into the set, in file order, as `action` says. A failure
    // leaves the blocks loaded so far in the set.
    void LoadFrom(OnfBlockTextReader& reader, BlockSetLoadAction action);
    // Writes the file header (WRITE_NEW writers only) and every block of the set.
    void WriteSet(OnfBlockTextWriter& writer) const;
    // Makes the index lists of every block's id-typed list items from their external ids.
    void UpdateForExport();
    // Removes all blocks and list pools; the strings pool keeps its contents.
    void Clear();

    // The first optional header line, written as "# " plus the text.
    const std::string& GetHeader() const { return m_Header; }
    void SetHeader(const std::string& header) { m_Header = header; }
    // The second optional header line.
    const std::string& GetUserHeader() const { return m_UserHeader; }
    void SetUserHeader(const std::string& header) { m_UserHeader = header; }

    // The writer that WriteSet is writing through, null outside WriteSet.
    OnfBlockTextWriter* GetActiveWriter() const { return m_ActiveWriter; }
    const std::wstring& GetFileName() const { return m_FileName; }
    // The full path that InitDb worked out.
    const std::wstring& GetFilePath() const { return m_FilePath; }

protected:
    // Frees every integer and real list and makes slot 0 of both anew.
    void ReInitPools();
    // The bundle handed to every block of this database.
    OnfHelpers* GetBlockHelpers() const { return m_Helpers; }

private:
    void InitPointers();
    static void PrepareFileName(const std::wstring& folder, const std::wstring& name,
                                std::wstring& path);
    void FreeListPools();
    void MakeEmptyListSlots();
    OnfBlock* NewBlock(const QSV_DataDescriptor& descriptor, const std::string& format,
                       size_t numRecords);
    std::unique_ptr<OnfBlock> LoadReaderBlock(OnfBlockTextReader& reader, size_t blockIndex);
    void MergeBlocksByNumber(OnfBlockTextReader& reader);
    void MergeGroup(OnfBlockTextReader& reader, const std::vector<size_t>& group);
    void FreePointers();

    std::wstring m_FileName;
    std::wstring m_FilePath;
    BrelonOnfIdMapsPool m_IdMapsPool;
    OnfHelpers* m_Helpers = nullptr;
    BrelonStringsPool* m_StringsPool = nullptr;
    BrelonPackedIntListsPool* m_PackedIntLists = nullptr;
    TextLineSplitter* m_Splitter = nullptr;
    CsvLineWriter* m_CsvWriter = nullptr;
    FloatingPointFormatter* m_FloatFormatter = nullptr;
    TextLineFormatter* m_LineFormatter = nullptr;
    std::vector<BrelonOnfIntListEntry> m_IntLists;
    std::vector<std::vector<double>*> m_RealLists;
    std::vector<int>* m_FirstIntList = nullptr;
    std::vector<int>* m_FirstIdxList = nullptr;
    std::vector<double>* m_FirstRealList = nullptr;
    mutable OnfBlockTextWriter* m_ActiveWriter = nullptr;
    std::string m_UserHeader;
    std::string m_Header;
    QSV_DatabaseDefs::AccessMode m_AccessMode;
    FILE* m_Stream = nullptr;
};
