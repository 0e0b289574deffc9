// Where things stand in an ONF file's text, for messages a person can act on: the lines of each
// block, and the line and column of each record and value. The engine reads a file without
// keeping such places; the command finds them again by walking the text the reader holds, by
// the same grammar, only where a message needs them.
#pragma once

#include "BrelonLineInput.h"
#include "OnfBlockTextReader.h"
#include "OnfTool.h"

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace onf_tool {

// The lines of one block, as 0-based indices into the file's lines.
struct BlockPlace {
    size_t start = 0;     // the "   -1" that opens it
    size_t idLine = 0;    // the block number or NON_ONF
    size_t countLine = 0; // the record count
    size_t bodyStart = 0; // the first body line; equals `end` for an empty body
    size_t end = 0;       // the "   -1" that closes it; the number of lines when it is missing
};

// The places of the blocks in file order, found by the outer grammar of the reader: markers,
// the descriptor and format sections, id and count lines, and the body up to the closing marker.
// The walk stops at the first line where a block cannot go on (the reader fails there), so a
// file that reads has one place for each block the reader found, and a file that does not has
// the places of the blocks in front of the failure and of the failing one as far as it got.
std::vector<BlockPlace> LocateBlocks(const TextLinesParser& lines);

// One token of a line, [begin, end), its blanks at either end cut off.
struct TokenText {
    const char* begin;
    const char* end;
    std::string Text() const { return std::string(begin, end); }
};

// What a walk over the records of a block reports. Lines are 0-based indices into the file's
// lines, columns count bytes from 1.
// Each call but Record does nothing unless a visitor overrides it.
class RecordVisitor {
public:
    virtual ~RecordVisitor() = default;
    // A record starts on `line`; `key` is token 0 of the line (empty for an empty line).
    virtual void Record(size_t line, TokenText key) = 0;
    // A value of the record for item `item` of format character `c` (a vector or tensor gives
    // one call a component). A token a mandatory item lacks is empty, at the line's end.
    virtual void Value(size_t /*line*/, size_t /*column*/, char /*c*/, size_t /*item*/,
                       TokenText /*token*/) {}
    // Tokens behind the end of the record's format on `line`, the first at `column`.
    virtual void LeftOver(size_t /*line*/, size_t /*column*/,
                          const std::vector<TokenText>& /*tokens*/) {}
    // A list for item `item` starts on `line` with token `first` (empty for an empty list).
    virtual void ListStart(size_t /*line*/, size_t /*item*/, TokenText /*first*/) {}
};

// Walks the body of the block at `place` as the block loader reads it in `format`: a record a
// line, going on in the next line where the tokens run out in front of a mandatory item; lists
// from the first token of their line to the first line that does not end in a comma. The walk
// ends where the loader fails (a vector or tensor short of values, lines that run out).
void WalkRecords(const TextLinesParser& lines, const BlockPlace& place, const std::string& format,
                 RecordVisitor& visitor);

// The record key as the loader reads it from its token: an optional sign, then digits up to the
// first other byte, in 32-bit wrap-around; no digit gives 0.
int ReadKey(TokenText key);

// The format a block is read in: the catalogue's for a catalogued number, else the file's own.
std::string ReadFormat(const OnfBlockTextReader::BLOCK_INFO& block);

// Where the engine's messages about one file point, found from the reader that holds the file:
// - a message that names a line ("line 12", "at line 12", "line: 12", "Line 12") points there;
// - when the reader failed, a message about the block it failed on points to the line of that
//   block where it went wrong: its count line for a wrong number of records, its id line for
//   an inconsistent descriptor, the last line for a file that ends inside it;
// - during the load of a block (SetCurrentBlock), the summary of its invalid values points to
//   its first line, a record count that the body does not match to its count line, and any
//   other message to the line the load stopped on;
// - a coordinate system the model object refuses points to its record in block 100, a result
//   request of a block the catalogue lacks to its record in block 400, a block that is no part
//   of an optimisation result file to its id line, a group renamed for a name it shares to its
//   record.
class FileMessageLocator : public MessageLocator {
public:
    // `reader` holds the file's lines and the blocks decoded, all of them or those in front of a
    // failure; `name` is the file as messages name it.
    FileMessageLocator(std::shared_ptr<OnfBlockTextReader> reader, const std::string& name);

    // Lets go of the reader: messages are no longer located.
    void Forget() { m_Reader.reset(); }
    // The block whose load the next messages are about; SIZE_MAX for none.
    void SetCurrentBlock(size_t index) { m_Current = index; }
    size_t LocateMessage(int level, const std::string& message) override;

    // True when the load of block `index` reported invalid values (its summary reached
    // LocateMessage while the block was the current one).
    bool HasInvalidValues(size_t index) const { return m_InvalidValues.count(index) != 0; }
    // The places of the blocks (see LocateBlocks), found at the first call.
    const std::vector<BlockPlace>& GetPlaces();
    // The 1-based lines of the records `ids` of the last block numbered `block`; an id whose
    // record is not found has none. With `merged`, of the block that all blocks of the number
    // make when merged (a groups file): their records in file order, an id that an earlier
    // record holds renumbered to the highest id so far plus one, as the merge does.
    std::map<int, size_t> RecordLines(int block, const std::set<int>& ids, bool merged = false);

    // The 1-based line of the first record of the last block numbered `block` whose integer item
    // `item` reads `value`; 0 if none.
    size_t RecordLineWithValue(int block, size_t item, int value);

private:
    template <class Visitor>
    size_t LastBlockLine(int block, Visitor& visitor);
    size_t LineOfMissingReference(const std::string& message);
    size_t LineOfDecodeFailure(const std::string& message);
    size_t LineOfFileObjectFailure(const std::string& message);
    size_t LineInCurrentBlock(const std::string& message);

    std::shared_ptr<OnfBlockTextReader> m_Reader;
    std::string m_Name;
    std::vector<BlockPlace> m_Places;
    bool m_Located = false;
    size_t LineOfRenamedGroup(const std::string& name);

    size_t m_Current = SIZE_MAX;
    std::set<size_t> m_InvalidValues;
    std::map<std::string, size_t> m_RenamedGroups; // renamings told so far, by old name
};

} // namespace onf_tool
