// What the commands share about one ONF file: its kind, its blocks as the reader found them,
// the one read of it, into a database of its own or into the file object of its kind, and the
// names and texts by which the commands show blocks.
#pragma once

#include "OnfTool.h"
#include "OnfToolLocate.h"

#include "BrelonOnfTxtDatabase.h"
#include "OnfBlockTextReader.h"
#include "OnfFileKind.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class OnfBlock;
class OnfGroupsFile;
class OnfModelFile;
class ONFOptResultFile;

namespace onf_tool {

// The same as OnfFileKindName behind its article: "a model input file", "an init file", "an
// ONF file".
std::string KindWithArticle(OnfFileKind kind);
// The rule by which OnfFileKindOf decides, as `onf help` prints it.
extern const char* const KIND_RULE_TEXT;

// "110 ONF_NODES", "4711 (not in the catalogue)" or "NON_ONF", followed by the descriptor's
// items other than the block number as " KEY=value".
std::string BlockLabel(const OnfBlockTextReader::BLOCK_INFO& block);
// "ONF_NODES", "NON_ONF", the title of a result file's own block, or empty for a number the
// catalogue lacks.
std::string BlockName(const OnfBlockTextReader::BLOCK_INFO& block);
// The names of the record items of a catalogued block (item 1 first); null for a block number
// the catalogue lacks.
const std::vector<std::string>* CatalogueItemNames(int block);
// The catalogue's name of item `item` (from 1) of `block`'s records; empty where it has none.
std::string CatalogueItemName(int block, size_t item);
// "item 3 (position)": an item of a block's records with its name in the catalogue, where it
// has one.
std::string ItemLabel(int block, size_t item);
// The descriptor items other than the block number as a JSON object.
std::string JsonDescriptor(const QSV_DataDescriptor& descriptor);
// The descriptor items other than the block number, as " KEY=value" each.
std::string DescriptorText(const QSV_DataDescriptor& descriptor);
// A real in the fewest digits that read back to the same value.
std::string RealText(double value);
// The reals of a real, float, vector or tensor item of a record (1, 1, 3 or 6 values).
std::vector<double> ItemReals(const OnfBlock& block, size_t index, size_t item);

// One ONF file, read once: its text taken apart by the reader (blocks of numbers the catalogue
// lacks are kept, so that the kind can be told), and on request its blocks loaded, into a
// database of its own or into the file object of its kind. Failures of the reader leave the
// constructor; failures of one block's load are reported to the scope, at their line, and that
// block is left out, so that one run names every broken block. The scope locates every message
// about the file (see FileMessageLocator) as long as it lives, also after the ToolFile is gone.
class ToolFile {
public:
    // What became of a block of the file.
    enum BlockState {
        BLOCK_UNREAD = 0, // not loaded (yet)
        BLOCK_LOADED,     // GetLoadedBlock holds it
        BLOCK_UNKNOWN,    // a number the catalogue lacks, and no format
        BLOCK_FAILED,     // its load failed
        BLOCK_REPLACED,   // a later block with the same descriptor replaced it
        BLOCK_MERGED,     // merged into the first block of its number (groups files)
    };

    // `path` "-" reads standard input, named STANDARD_INPUT_NAME in messages.
    ToolFile(const std::string& path, FileLogScope& scope, const Progress& progress);
    ~ToolFile();

    // The path as given ("-" for standard input).
    const std::string& GetPath() const { return m_Path; }
    // The name of the file in messages, as a wide string: what file objects are made on.
    const std::wstring& GetWidePath() const { return m_WidePath; }
    OnfFileKind GetKind() const { return m_Kind; }
    // Every block found, in file order. Stays after ReleaseText.
    const std::vector<OnfBlockTextReader::BLOCK_INFO>& GetBlocks() const { return m_Blocks; }
    // The lines of each block of GetBlocks(). Needs the text.
    const std::vector<BlockPlace>& GetPlaces() { return m_Locator->GetPlaces(); }
    // Where messages about the file point. Needs the text.
    FileMessageLocator& GetLocator() { return *m_Locator; }
    // Bytes of the file's text.
    size_t GetTextSize() const { return m_TextSize; }
    // The reader holding the file's text. Needs the text.
    OnfBlockTextReader& GetReader() { return *m_Reader; }

    // Loads every block that can be held into `database`, through the engine's tolerant load:
    // a catalogued one in the catalogue's format, another one in the format it gives. A block of
    // an unknown number without a format is left out, with the reader's own warning when
    // `warnDropped`. A block whose descriptor an earlier one has replaces it, with a warning; in
    // a groups file such blocks are merged instead, as the groups file object reads them.
    // `database` may be the file object of the file's kind: this is then the load its Read does,
    // on the text read already. Returns false when a block failed. Needs the text.
    bool LoadInto(BrelonOnfTxtDatabase& database, bool warnDropped);
    // LoadInto a database of the file's own.
    bool LoadBlocks(bool warnDropped) { return LoadInto(GetDatabase(), warnDropped); }
    // The loaded block of GetBlocks()[index]; null if it was not loaded or a later block
    // replaced it.
    const OnfBlock* GetLoadedBlock(size_t index) const { return m_Loaded[index]; }
    BlockState GetBlockState(size_t index) const { return m_States[index]; }
    // The blocks of the file that the last load took (loaded, merged or failed).
    size_t GetNumBlocksTaken() const;
    // The database of the file's own, made empty at the first call.
    BrelonOnfTxtDatabase& GetDatabase();

    // The text of a block as it stands in the file: markers, sections, number, count, body.
    // Needs the text.
    void GetRawBlockLines(size_t index, std::vector<std::string>& lines) const;
    // The body lines of a block; empty when its count line reads 0. Needs the text.
    void GetBodyLines(size_t index, std::vector<const char*>& lines) const;
    // Frees the file's text and the database (blocks loaded before are gone); messages are no
    // longer located.
    void ReleaseText();

private:
    class LoadListener;

    std::string m_Path;
    std::wstring m_WidePath;
    FileLogScope& m_Scope;
    const Progress& m_Progress;
    std::shared_ptr<OnfBlockTextReader> m_Reader;
    std::shared_ptr<FileMessageLocator> m_Locator;
    std::vector<OnfBlockTextReader::BLOCK_INFO> m_Blocks;
    size_t m_TextSize = 0;
    OnfFileKind m_Kind = ONF_FILE_GENERIC;
    std::unique_ptr<BrelonOnfTxtDatabase> m_Database;
    std::vector<const OnfBlock*> m_Loaded;
    std::vector<BlockState> m_States;
};

// "12 records declared, not loaded (...)" for a block that is not loaded, by its state.
std::string UnloadedText(const OnfBlockTextReader::BLOCK_INFO& block, ToolFile::BlockState state);

// The file read into the object of its kind, once: the load of its text (LoadInto), then, when
// every block loaded, what the object's own Read does after that, so that its own checks run
// (the coordinate systems of a model, the request map of a result request file, the
// modification lists of a modification file). An optimisation result file is read through its
// own route from the same text. Failures of those steps pass through.
class TypedFile {
public:
    // Reads `file`, whose kind must not be ONF_FILE_GENERIC.
    explicit TypedFile(ToolFile& file);
    ~TypedFile();
    // The object as a block set; null for an optimisation result file.
    BrelonOnfTxtDatabase* GetDatabase() const { return m_Database.get(); }
    // The model; null for another kind.
    OnfModelFile* GetModel() const;
    // The result file; null for another kind.
    ONFOptResultFile* GetOptResult() const { return m_Result.get(); }
    // True when every block of the file loaded.
    bool IsComplete() const { return m_Complete; }

private:
    std::unique_ptr<BrelonOnfTxtDatabase> m_Database;
    std::unique_ptr<ONFOptResultFile> m_Result;
    bool m_Complete = false;
};

// Reads the file into an object of its kind made by the caller, as TypedFile does; false when a
// block failed (reported), and the object's own steps after reading did not run.
bool ReadModel(ToolFile& file, OnfModelFile& model);
bool ReadGroups(ToolFile& file, OnfGroupsFile& groups);
void ReadOptResult(ToolFile& file, ONFOptResultFile& result);

// Runs a command that shows its FILE operands one by one, with the one option `flag` (such as
// "--json"): the usage errors; then per file a scope (its messages on standard error), progress,
// and the file read, handed to `show` with whether the flag was given. A file that fails gives,
// with the flag, the line {"file": ..., "error": ...} on standard output. Returns EXIT_OK when
// every file was shown, EXIT_FAILED when one failed.
int RunFileCommand(const OnfCommand& command, const std::vector<std::string>& args,
                   const char* flag, const std::function<void(ToolFile&, bool)>& show);

// The name of a FILE operand in messages: STANDARD_INPUT_NAME for "-", else the operand.
std::string DisplayName(const std::string& path);

} // namespace onf_tool
