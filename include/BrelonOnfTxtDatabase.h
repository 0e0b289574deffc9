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
#include "OnfBlockTextReader.h"
#include "QSV_Database.h"

#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

class CsvLineWriter;
class FloatingPointFormatter;
class OnfBlock;
class OnfBlockTextWriter;
class OnfHelpers;
struct OnfBlockContext;
class TextLineFormatter;
class TextLineSplitter;

// Hears what a tolerant load (BrelonOnfTxtDatabase::LoadFrom with a listener) does with each
// block of the reader, told by the block's index in the reader's GetBlocksInfo() and its entry
// there. The calls come in file order, each while the block's load goes on or just after it, so
// that the engine's log lines between OnLoading and the next call belong to that block. Every
// operation but OnFailed does nothing unless overridden.
class OnfBlockLoadListener {
public:
    using BlockInfo = OnfBlockTextReader::BLOCK_INFO;

    virtual ~OnfBlockLoadListener();
    // The block's records are about to be read.
    virtual void OnLoading(size_t index, const BlockInfo& info);
    // The block is in the set now as `block`. In a merge by number (LOAD_MERGE_BY_NUMBER) this is
    // the merged block, told for the first block of its number after the others have joined it.
    virtual void OnLoaded(size_t index, const BlockInfo& info, const OnfBlock& block);
    // The block joined the merged block of the first block of its number, `head`.
    virtual void OnMerged(size_t index, const BlockInfo& info, size_t head);
    // The set holds a block of this descriptor already, and the load action keeps that one.
    virtual void OnSkipped(size_t index, const BlockInfo& info);
    // A number that the catalogue lacks, and no format of its own: nothing says how its records
    // read, so it is left out. Only a reader that keeps such blocks (UNKNOWN_BLOCK_KEEP) has them;
    // OnfBlockTextReader::WarnUnknownBlock says what a warning reader says of them.
    virtual void OnUnknown(size_t index, const BlockInfo& info);
    // The block's load failed with `failure`, which a strict load would have let out. The block
    // is left out, the set keeps the block of that descriptor it had, if any, and the load goes
    // on with the next block. The reader stands where the failure stopped it: its
    // GetCurrentIdx() is the index of the line behind the last one it handed out.
    virtual void OnFailed(size_t index, const BlockInfo& info, const std::exception& failure) = 0;
};

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

    // Loads every block of `reader` into the set, in file order, as `action` says. A catalogued
    // block is read in the catalogue's format, also where the file gives one of its own; any
    // other block in the file's format. Strict: the first failure of a block's load leaves, and
    // the blocks loaded before it stay in the set.
    void LoadFrom(OnfBlockTextReader& reader, BlockSetLoadAction action);
    // The same load, tolerant: each block's failure goes to `listener` instead, that block is
    // left out, and the load goes on. `listener` also hears what became of every other block.
    // Failures of the listener itself leave.
    void LoadFrom(OnfBlockTextReader& reader, BlockSetLoadAction action,
                  OnfBlockLoadListener& listener);
    // Writes the file header (WRITE_NEW writers only) and every block of the set.
    void WriteSet(OnfBlockTextWriter& writer) const;
    // Writes the set (header included) as the file `path`, through a WRITE_NEW writer that it
    // closes: the new file takes the old one's place only when complete, and a failure (from the
    // writer, a block or the file system) leaves the old file as it was.
    void WriteFile(const std::wstring& path) const;
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

    const std::wstring& GetFileName() const { return m_FileName; }
    // The full path that InitDb worked out.
    const std::wstring& GetFilePath() const { return m_FilePath; }

protected:
    // Reads the file `name` into the set as LoadFrom does (unknown blocks warned about and left
    // out), through a reader of its own that gives each block's text back as soon as the block
    // is loaded, so that the read never holds the whole text and all blocks at once. Returns the
    // number of blocks that the reader found.
    size_t ReadFile(const std::wstring& name, BlockSetLoadAction action);
    // Frees every integer and real list but slot 0 of both, which is emptied. Allocates nothing.
    void ReInitPools();
    // The bundle handed to every block of this database.
    OnfHelpers* GetBlockHelpers() const { return m_Helpers; }

private:
    void InitPointers();
    static void PrepareFileName(const std::wstring& folder, const std::wstring& name,
                                std::wstring& path);
    void FreeListPools();
    void MakeEmptyListSlots();
    void FreePointers();
    // One load of a reader's blocks into the set (OnfBlockLoader.cpp).
    class LoadPass;
    // InitDb's load: every block of `reader` in the format its file gives.
    void LoadFile(OnfBlockTextReader& reader);

    std::wstring m_FileName;
    std::wstring m_FilePath;
    BrelonOnfIdMapsPool m_IdMapsPool;
    OnfHelpers* m_Helpers = nullptr;
    // What every block of this database sees of it.
    OnfBlockContext* m_BlockContext = nullptr;
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
    std::string m_UserHeader;
    std::string m_Header;
    QSV_DatabaseDefs::AccessMode m_AccessMode;
    FILE* m_Stream = nullptr;
};
