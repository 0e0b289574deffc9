// The ONF text reader: takes an ONF file apart into blocks and hands out the body lines of one
// block at a time.
#pragma once

#include "BrelonLineInput.h"
#include "QSV_DataDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Loads a whole ONF file into memory as lines, walks the lines once and keeps one BLOCK_INFO
// for each block: number, descriptor, body line range, declared records, explicit format.
// Records are not decoded here: a caller selects a block with ProvideBlock and pulls its body
// lines through the TextLinesProvider operations. Line pointers stay valid until the reader is
// destroyed or loads again. One thread at a time.
//
// Outer grammar of a block, one item a line: "   -1"; optionally "   -2", "KEY = value" lines,
// "   -2"; optionally "   -3", one "FORMAT = value" line, "   -3"; the block number or
// "NON_ONF" (any case); the record count; body lines up to the next "   -1", which ends the
// block. Empty and comment ("#") lines are skipped only outside blocks and inside the two
// sections. Every failure is a QSV_Failure with the tag "|%P|BrelonOnfEngine|OnfBlockTextReader".
class OnfBlockTextReader : public TextLinesProvider {
public:
    // What the reader knows of one block.
    struct BLOCK_INFO {
        // Number from the id line, also for a block the catalogue lacks; -1 for NON_ONF.
        int32_t block_id = 0;
        // Items of the descriptor section; item 1 is the block number for a catalogued block,
        // -1 for an uncatalogued one, absent for NON_ONF.
        QSV_DataDescriptor descriptor;
        // Index of the first body line; 0 when the count line reads 0.
        size_t first_line = 0;
        // Lines between the count line and the end marker.
        size_t num_lines = 0;
        // The count line's value, sign-extended from 32 bits.
        int64_t num_records = 0;
        // The FORMAT value; empty without a format section.
        std::string format;
    };

    // What happens to a block whose number the catalogue lacks and that has no format section.
    // Any other value drops such a block without a warning (the fixed underlying type makes
    // every int a valid value).
    enum UnknownBlockAction : int {
        UNKNOWN_BLOCK_WARN = 0, // log a warning (level 2) and drop the block
        UNKNOWN_BLOCK_KEEP = 1, // keep the block, silently
    };

    // Loads and decodes the file. Every failure of LoadFile leaves the constructor.
    OnfBlockTextReader(const wchar_t* name, UnknownBlockAction action);
    // Decodes a copy of `size` bytes at `data` as if it were a file named `nameForMessages`.
    OnfBlockTextReader(const char* data, size_t size, const wchar_t* nameForMessages,
                       UnknownBlockAction action);
    // Deep copy: lines, blocks, position and key table; the copy outlives its original.
    OnfBlockTextReader(const OnfBlockTextReader& other);
    ~OnfBlockTextReader() override;

    // Stores the name, loads the file's lines and decodes them into a fresh block vector.
    // Fails with "Loading of file ..." when the file cannot be read, or with a decoding failure.
    // The current block and line are not reset.
    void LoadFile(const wchar_t* name, UnknownBlockAction action);
    // As LoadFile, from a copy of a memory buffer.
    void LoadBuffer(const char* data, size_t size, const wchar_t* nameForMessages,
                    UnknownBlockAction action);
    // Scans the loaded lines and appends their blocks to the block vector. On a failure the
    // blocks decoded so far stay.
    void DecodeFile(UnknownBlockAction action);

    const std::vector<BLOCK_INFO>& GetBlocksInfo() const { return m_Blocks; }
    // True when some block's descriptor is equivalent to `descriptor`.
    bool AlreadyLoaded(const QSV_DataDescriptor& descriptor) const;
    // Selects block `index` of GetBlocksInfo() and puts the line index to its first body line.
    // An index out of range selects no block: the block then has no lines. Fails for a block
    // whose text was given back (ReleaseBlockText).
    void ProvideBlock(size_t index);
    // num_lines of the current block (0 with none).
    size_t GetNumBlockLines() const;

    // Whether a database's load from this reader gives back the text of each block as soon as
    // the block is loaded for the last time (ReleaseBlockText), so that a large file's text goes
    // while its blocks fill and a read never holds the whole text and all blocks at once. Off
    // unless turned on: the file objects turn it on for the reader of their Read, which nobody
    // reads again; a caller that looks at the lines after the load leaves it off.
    void SetReleaseLoadedText(bool release) { m_ReleaseLoadedText = release; }
    bool GetReleaseLoadedText() const { return m_ReleaseLoadedText; }
    // Gives back the memory of the body lines of block `index` as far as they fill whole pages:
    // those lines read as empty afterwards, and ProvideBlock fails for the block. An index out
    // of range does nothing.
    void ReleaseBlockText(size_t index);
    bool IsBlockTextReleased(size_t index) const {
        return index < m_Released.size() && m_Released[index];
    }

    // The current body line without advancing; null beyond the file's last line.
    const char* GetLine() const override;
    // The current body line, then advances; null once the block's num_lines are handed out.
    const char* ExtractLine() override;
    // Back to the block's first body line.
    void Rewind() override;
    // first_line plus the line index: an index into the file's lines.
    size_t GetCurrentIdx() const override;
    const std::wstring& FileName() const override { return m_FileName; }
    // The number of the block ProvideBlock selected; false with none.
    bool GetBlockNumber(int& number) const override;

    // The whole file's lines.
    const TextLinesParser& GetLines() const { return m_Lines; }

    // Logs (level 2) what a reader with UNKNOWN_BLOCK_WARN says of a block of `file` whose number
    // `blockId` the catalogue lacks: that the block will be skipped.
    static void WarnUnknownBlock(const std::wstring& file, int32_t blockId);

private:
    // Maps descriptor keys (capitals and "_") to item numbers; any unambiguous prefix of a key
    // finds it.
    class DescriptorKeyTrie {
    public:
        // Statuses of Insert and Find.
        enum Status {
            TRIE_OK = 0,
            TRIE_BAD_BYTE = 1,  // a byte outside the alphabet
            TRIE_DUPLICATE = 2, // the key is there already
            TRIE_AMBIGUOUS = 3, // a prefix of more than one key
            TRIE_NOT_FOUND = 4, // no key has this prefix
        };
        DescriptorKeyTrie();
        Status Insert(const char* key, int value);
        Status Find(const char* key, int& value) const;

    private:
        struct Node {
            std::vector<Node> children; // empty until first passed, then alphabet-sized
            int numUsed = 0;            // children passed by some insertion
            int numPasses = 0;          // words that pass through this node
            int firstUsed = -1;         // position of the first used child
            bool terminal = false;
            int value = 0;
        };
        void UndoPasses(const std::vector<Node*>& path);

        int m_NotFound;
        Node m_Root;
        int m_ChildPosition[256]; // -1 outside the alphabet
        int m_AlphabetSize;
    };

    static bool IsOnfMarkerLine(const char* line, const char* marker);
    // One line of a descriptor or format section: the next line that is no empty or comment
    // line, either the section's closing `marker` or a "key = value" pair cut into `splitter`.
    // At the file's end `error` becomes `endOfFile`; a line of other than two tokens is a
    // syntax error.
    enum SectionLine { SECTION_PAIR, SECTION_END, SECTION_FAILED };
    static SectionLine NextSectionLine(const TextLinesParser& lines, size_t& line,
                                       const char* marker, const char* endOfFile,
                                       TextLineSplitter& splitter, std::string& error);
    bool LoadDescriptor(const TextLinesParser& lines, size_t& line, QSV_DataDescriptor& descriptor,
                        std::string& error);
    bool LoadFormat(const TextLinesParser& lines, size_t& line, std::string& format,
                    std::string& error);
    static void SkipEmptyAndCommentLines(const TextLinesParser& lines, size_t& line);
    // DecodeBlock and its steps, in the order of a block's lines.
    struct BlockDecoding;
    size_t DecodeBlock(size_t start, UnknownBlockAction action, const std::string& file);
    void DecodeStartMarker(BlockDecoding& block) const;
    void DecodeSections(BlockDecoding& block);
    void EndSection(BlockDecoding& block, bool loaded, const char* failure,
                    const std::string& error) const;
    void DecodeIdLine(BlockDecoding& block, UnknownBlockAction action) const;
    void DecodeCountLine(BlockDecoding& block) const;
    size_t DecodeBody(BlockDecoding& block) const;
    const BLOCK_INFO* CurrentBlock() const;

    std::wstring m_FileName;
    TextLinesParser m_Lines;
    std::vector<BLOCK_INFO> m_Blocks;
    size_t m_LineIdx = 0;  // next line within the current block
    size_t m_BlockIdx = 0; // current block
    bool m_BlockProvided = false;
    DescriptorKeyTrie m_KeyTrie;
    bool m_ReleaseLoadedText = false;
    std::vector<bool> m_Released; // by block: its text was given back
};
