// What the commands share about one ONF file: its kind, its blocks as the reader found them,
// and a database holding every block that can be loaded.
#pragma once

#include "OnfTool.h"

#include "BrelonOnfTxtDatabase.h"
#include "OnfBlockTextReader.h"

#include <memory>
#include <string>
#include <vector>

class OnfBlock;

namespace onf_tool {

// The kinds of ONF file, each read by a file object of its own except the generic one.
enum FileKind {
    KIND_GENERIC = 0, // no kind decided, or blocks of several kinds
    KIND_MODEL,
    KIND_GROUPS,
    KIND_INIT,
    KIND_MODIFICATION,
    KIND_TEMPORARY,
    KIND_REQUESTS,
    KIND_OPT_RESULT,
};

// "model input file", ...; "ONF file" for the generic kind.
const char* KindName(FileKind kind);
// The header text that the kind's file object writes behind the version line; null if none.
const char* KindHeader(FileKind kind);
// The rule by which DetectKind decides, as `onf help` prints it.
extern const char* const KIND_RULE_TEXT;

// The kind of a file from the numbers of its blocks and, where they leave it open, from the
// comment lines ahead of its first block (`lines` of the reader). See KIND_RULE_TEXT.
FileKind DetectKind(const std::vector<OnfBlockTextReader::BLOCK_INFO>& blocks,
                    const TextLinesParser& lines);

// "110 ONF_NODES", "4711 (not in the catalogue)" or "NON_ONF", followed by the descriptor's
// items other than the block number as " KEY=value".
std::string BlockLabel(const OnfBlockTextReader::BLOCK_INFO& block);
// The descriptor items other than the block number, as " KEY=value" each.
std::string DescriptorText(const QSV_DataDescriptor& descriptor);
// A real in the fewest digits that read back to the same value.
std::string RealText(double value);

// One ONF file, taken apart by the reader (blocks of numbers the catalogue lacks are kept, so
// that the kind can be told), and on request its blocks loaded into a database of its own.
// Failures of the reader leave the constructor; failures of one block's load are reported to
// the scope and that block is left out, so that one run names every broken block.
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

    ToolFile(const std::string& path, FileLogScope& scope, const Progress& progress);
    ~ToolFile();

    const std::string& GetPath() const { return m_Path; }
    const std::wstring& GetWidePath() const { return m_WidePath; }
    FileKind GetKind() const { return m_Kind; }
    // Every block found, in file order. Stays after ReleaseText.
    const std::vector<OnfBlockTextReader::BLOCK_INFO>& GetBlocks() const { return m_Blocks; }

    // Loads every block that can be held, through the engine's tolerant load: a catalogued one in
    // the catalogue's format, another one in the format it gives. A block of an unknown number
    // without a format is left out, with the reader's own warning when `warnDropped`. A block
    // whose descriptor an earlier one has replaces it, with a warning; in a groups file such
    // blocks are merged instead, as the groups file object reads them. Needs the text.
    void LoadBlocks(bool warnDropped);
    // The loaded block of GetBlocks()[index]; null if it was not loaded or a later block
    // replaced it.
    const OnfBlock* GetLoadedBlock(size_t index) const { return m_Loaded[index]; }
    BlockState GetBlockState(size_t index) const { return m_States[index]; }
    BrelonOnfTxtDatabase& GetDatabase();

    // The text of a block as it stands in the file: markers, sections, number, count, body.
    // Needs the text.
    void GetRawBlockLines(size_t index, std::vector<std::string>& lines) const;
    // The body lines of a block; empty when its count line reads 0. Needs the text.
    void GetBodyLines(size_t index, std::vector<const char*>& lines) const;
    // Frees the file's text and the database (blocks loaded before are gone).
    void ReleaseText();

private:
    class LoadListener;

    std::string m_Path;
    std::wstring m_WidePath;
    FileLogScope& m_Scope;
    const Progress& m_Progress;
    std::unique_ptr<OnfBlockTextReader> m_Reader;
    std::vector<OnfBlockTextReader::BLOCK_INFO> m_Blocks;
    FileKind m_Kind = KIND_GENERIC;
    std::unique_ptr<BrelonOnfTxtDatabase> m_Database;
    std::vector<const OnfBlock*> m_Loaded;
    std::vector<BlockState> m_States;
};

// "12 records declared, not loaded (...)" for a block that is not loaded, by its state.
std::string UnloadedText(const OnfBlockTextReader::BLOCK_INFO& block, ToolFile::BlockState state);

// Reads the file through the file object of its kind (not the generic kind), so that the
// object's own checks run: coordinate systems of a model, the request map of a request file,
// the modification lists of a modification file. Failures pass through.
void ReadTyped(FileKind kind, const std::wstring& path);

} // namespace onf_tool
