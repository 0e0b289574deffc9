// Places of blocks, records and values in an ONF file's text.
#include "OnfToolLocate.h"

#include "OnfConstants.h"
#include "QSV_OnfCatalogue.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace onf_tool {

namespace {

bool IsBlank(char c) {
    return c == ' ' || (c >= 9 && c <= 13);
}

// A marker line: the marker byte for byte from the first byte on, then only blanks.
bool IsMarker(const char* line, const char* marker) {
    const size_t length = std::strlen(marker);
    if (std::strncmp(line, marker, length) != 0) {
        return false;
    }
    for (line += length; *line != '\0'; ++line) {
        if (!IsBlank(*line)) {
            return false;
        }
    }
    return true;
}

bool IsEmptyOrComment(const char* line) {
    while (IsBlank(*line)) {
        ++line;
    }
    return *line == '\0' || *line == '#';
}

// From the opening marker of a section at `line`, to the line behind its closing marker; false
// when the file ends inside the section.
bool SkipSection(const TextLinesParser& lines, size_t& line, const char* marker) {
    for (++line; line < lines.GetNumLines(); ++line) {
        if (IsMarker(lines.GetLine(line), marker)) {
            ++line;
            return true;
        }
    }
    return false;
}

// The place of the block whose opening marker is at `start`; false when the block cannot be
// followed to its end (the place then holds as much as was found).
bool LocateBlock(const TextLinesParser& lines, size_t start, BlockPlace& place) {
    const size_t count = lines.GetNumLines();
    place = BlockPlace();
    place.start = start;
    place.idLine = place.countLine = place.bodyStart = place.end = count;
    size_t line = start + 1;
    if (line < count && IsMarker(lines.GetLine(line), ONF_DESCRIPTOR_MARKER) &&
        !SkipSection(lines, line, ONF_DESCRIPTOR_MARKER)) {
        return false;
    }
    if (line < count && IsMarker(lines.GetLine(line), ONF_FORMAT_MARKER) &&
        !SkipSection(lines, line, ONF_FORMAT_MARKER)) {
        return false;
    }
    if (line + 1 >= count) {
        place.idLine = line < count ? line : count;
        return false;
    }
    place.idLine = line;
    place.countLine = line + 1;
    place.bodyStart = line + 2;
    for (line += 2; line < count; ++line) {
        if (IsMarker(lines.GetLine(line), ONF_BLOCK_MARKER)) {
            place.end = line;
            return true;
        }
    }
    return false;
}

} // namespace

std::vector<BlockPlace> LocateBlocks(const TextLinesParser& lines) {
    std::vector<BlockPlace> places;
    const size_t count = lines.GetNumLines();
    size_t line = 0;
    for (;;) {
        while (line < count && IsEmptyOrComment(lines.GetLine(line))) {
            ++line;
        }
        if (line >= count || !IsMarker(lines.GetLine(line), ONF_BLOCK_MARKER)) {
            return places;
        }
        BlockPlace place;
        const bool complete = LocateBlock(lines, line, place);
        places.push_back(place);
        if (!complete) {
            return places;
        }
        line = place.end + 1;
    }
}

namespace {

// Cuts a line into tokens at the commas outside double quotes (an unclosed quote runs to the
// end), each without its blanks at either end; an empty or blank line has no token. The block
// loader's own cut, so that a place found here is the place the loader read; `views` is its
// scratch.
void Split(const char* line, std::vector<onf_detail::TokenView>& views,
           std::vector<TokenText>& tokens) {
    const size_t count = onf_detail::split_record_line(line, views);
    tokens.resize(count);
    for (size_t i = 0; i < count; ++i) {
        tokens[i] = TokenText{views[i].begin, views[i].end};
    }
}

bool IsMandatory(char c) {
    return c >= 'A' && c <= 'Z';
}

bool IsList(char c) {
    return c == 'L' || c == 'O' || c == 'D';
}

// The walk of one block body.
class BodyWalk {
public:
    BodyWalk(const TextLinesParser& lines, const BlockPlace& place, const std::string& format,
             RecordVisitor& visitor)
        : m_Lines(lines), m_Line(place.bodyStart), m_End(place.end), m_Format(format),
          m_Visitor(visitor) {
        m_KeyInFormat = format.find('|') != std::string::npos;
        m_NumItems = m_KeyInFormat ? 0 : 1;
        for (char c : format) {
            m_NumItems += c != 'b' && c != '|' ? 1 : 0;
        }
    }

    void Run() {
        for (; m_Line < m_End; ++m_Line) {
            SplitCurrent();
            m_Visitor.Record(m_Line, m_Tokens.empty() ? TokenText{Text(), Text()} : m_Tokens[0]);
            if (!WalkFormat()) {
                return;
            }
        }
    }

private:
    const char* Text() const { return m_Lines.GetLine(m_Line); }
    void SplitCurrent() { Split(Text(), m_Views, m_Tokens); }
    size_t Column(const char* at) const { return static_cast<size_t>(at - Text()) + 1; }

    // The token `index` of the current line, or an empty one at its end.
    TokenText Token(size_t index) const {
        if (index < m_Tokens.size()) {
            return m_Tokens[index];
        }
        const char* end = Text() + std::strlen(Text());
        return TokenText{end, end};
    }

    void ReportValue(char c, size_t item, size_t token) {
        const TokenText text = Token(token);
        m_Visitor.Value(m_Line, Column(text.begin), c, item, text);
    }

    // Walks the format over one record; false where the loader would stop the block.
    bool WalkFormat() {
        size_t token = 1;
        size_t item = 1;
        for (size_t pos = m_KeyInFormat ? 1 : 0; pos < m_Format.size(); ++pos) {
            const char c = m_Format[pos];
            if (c == 'b' || c == '|') {
                continue;
            }
            if (item >= m_NumItems) {
                break;
            }
            if (token >= m_Tokens.size() && IsMandatory(c)) {
                if (++m_Line >= m_End) {
                    return false;
                }
                SplitCurrent();
                token = 0;
            }
            if (!WalkItem(c, item, token)) {
                return false;
            }
            ++item;
        }
        if (token < m_Tokens.size()) {
            const std::vector<TokenText> left(m_Tokens.begin() + static_cast<long>(token),
                                              m_Tokens.end());
            m_Visitor.LeftOver(m_Line, Column(left[0].begin), left);
        }
        return true;
    }

    // One item from `token` on; advances `token` as the loader does.
    bool WalkItem(char c, size_t item, size_t& token) {
        switch (c) {
        case 'i':
        case 'r':
        case 'f':
            if (token < m_Tokens.size()) {
                ReportValue(c, item, token);
            }
            ++token;
            return true;
        case 'I':
        case 'R':
        case 'F':
        case 'S':
            ReportValue(c, item, token++);
            return true;
        case 'V':
        case 'T': {
            const size_t count = c == 'V' ? 3 : 6;
            if (m_Tokens.size() < token + count) {
                return false;
            }
            for (size_t k = 0; k < count; ++k) {
                ReportValue(c, item, token++);
            }
            return true;
        }
        default:
            if (IsList(c)) {
                m_Visitor.ListStart(m_Line, item, Token(0));
                return WalkList(token);
            }
            ++token;
            return true;
        }
    }

    // A list from token 0 of the current line over the lines that end in a comma.
    bool WalkList(size_t& token) {
        const size_t before = m_Tokens.size();
        while (m_Tokens.size() > 1 && m_Tokens.back().begin == m_Tokens.back().end) {
            if (++m_Line >= m_End) {
                return false;
            }
            SplitCurrent();
            if (m_Tokens.empty()) {
                return false;
            }
        }
        token = std::max(before, m_Tokens.size()) + 1;
        return true;
    }

    const TextLinesParser& m_Lines;
    size_t m_Line;
    size_t m_End;
    const std::string& m_Format;
    RecordVisitor& m_Visitor;
    bool m_KeyInFormat = false;
    size_t m_NumItems = 0;
    std::vector<onf_detail::TokenView> m_Views;
    std::vector<TokenText> m_Tokens;
};

} // namespace

void WalkRecords(const TextLinesParser& lines, const BlockPlace& place, const std::string& format,
                 RecordVisitor& visitor) {
    BodyWalk(lines, place, format, visitor).Run();
}

int ReadKey(TokenText key) {
    const char* p = key.begin;
    bool negative = false;
    if (p < key.end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    uint32_t value = 0;
    for (; p < key.end && *p >= '0' && *p <= '9'; ++p) {
        value = value * 10u + static_cast<uint32_t>(*p - '0');
    }
    value = negative ? 0u - value : value;
    int result;
    std::memcpy(&result, &value, sizeof result);
    return result;
}

std::string ReadFormat(const OnfBlockTextReader::BLOCK_INFO& block) {
    if (block.block_id >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(block.block_id)) {
        return QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block.block_id))
            .GetFormatString();
    }
    return block.format;
}

namespace {

// The number behind the first word "line" or "Line" of `text` (a colon and blanks between
// them allowed); 0 when there is none.
size_t NamedLine(const std::string& text) {
    for (size_t at = text.find("ine"); at != std::string::npos; at = text.find("ine", at + 1)) {
        if (at == 0 || (text[at - 1] != 'l' && text[at - 1] != 'L') ||
            (at >= 2 && std::isalpha(static_cast<unsigned char>(text[at - 2])))) {
            continue;
        }
        size_t p = at + 3;
        p += p < text.size() && text[p] == ':' ? 1 : 0;
        const size_t digits = text.find_first_not_of(' ', p);
        if (digits == p || digits == std::string::npos || !std::isdigit(text[digits])) {
            continue;
        }
        return static_cast<size_t>(std::strtoull(text.c_str() + digits, nullptr, 10));
    }
    return 0;
}

// The number behind `prefix` at the start of `text`, or -1.
long long NumberAfter(const std::string& text, const char* prefix) {
    const size_t length = std::strlen(prefix);
    if (text.compare(0, length, prefix) != 0) {
        return -1;
    }
    return std::strtoll(text.c_str() + length, nullptr, 10);
}

bool StartsWith(const std::string& text, const char* prefix) {
    return text.compare(0, std::strlen(prefix), prefix) == 0;
}

bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// Finds the first lines of records by their keys; with `renumber`, gives a key that an earlier
// record holds the highest id so far plus one, as merging blocks does.
class KeyLines : public RecordVisitor {
public:
    KeyLines(const std::set<int>& wanted, bool renumber) : m_Wanted(wanted), m_Renumber(renumber) {}
    void Record(size_t line, TokenText key) override {
        int id = ReadKey(key);
        if (m_Renumber) {
            if (!m_Used.insert(id).second && *m_Used.rbegin() < INT32_MAX) {
                id = *m_Used.rbegin() + 1;
                m_Used.insert(id);
            }
        }
        if (m_Wanted.count(id) != 0) {
            m_Lines.emplace(id, line + 1);
        }
    }
    std::map<int, size_t>& Lines() { return m_Lines; }

private:
    const std::set<int>& m_Wanted;
    bool m_Renumber;
    std::set<int> m_Used;
    std::map<int, size_t> m_Lines;
};

// Finds the first record whose integer item `item` reads `value`.
class ValueLine : public RecordVisitor {
public:
    ValueLine(size_t item, int value) : m_Item(item), m_Value(value) {}
    void Record(size_t line, TokenText) override { m_Record = line + 1; }
    void Value(size_t, size_t, char c, size_t item, TokenText token) override {
        if (m_Line == 0 && item == m_Item && (c == 'I' || c == 'i') && ReadKey(token) == m_Value) {
            m_Line = m_Record;
        }
    }
    size_t Line() const { return m_Line; }

private:
    size_t m_Item;
    int m_Value;
    size_t m_Record = 0;
    size_t m_Line = 0;
};

// The side block that holds the details of a request for `target`: 430 for global matrices
// (589), 420 for user variables (620), 440 for sensitivities (641 to 643); 0 for other targets,
// whose references carry nothing.
int DetailBlockOf(int target) {
    switch (target) {
    case 589:
        return 430;
    case 620:
        return 420;
    case 641:
    case 642:
    case 643:
        return 440;
    default:
        return 0;
    }
}

// Finds the first request (a record of block 400) whose details live in `side` and whose
// reference (the first value of its list, item 7) reads `id`: the line of that list.
class ReferenceLine : public RecordVisitor {
public:
    ReferenceLine(int side, int id) : m_Side(side), m_Id(id) {}
    void Record(size_t, TokenText) override { m_Target = 0; }
    void Value(size_t, size_t, char, size_t item, TokenText token) override {
        m_Target = item == 1 ? ReadKey(token) : m_Target;
    }
    void ListStart(size_t line, size_t item, TokenText first) override {
        if (m_Line == 0 && item == 7 && DetailBlockOf(m_Target) == m_Side &&
            first.begin != first.end && ReadKey(first) == m_Id) {
            m_Line = line + 1;
        }
    }
    size_t Line() const { return m_Line; }

private:
    int m_Side;
    int m_Id;
    int m_Target = 0;
    size_t m_Line = 0;
};

// Finds the records whose string item `item` reads `text`, in file order.
class NamedLines : public RecordVisitor {
public:
    NamedLines(size_t item, const std::string& text) : m_Item(item), m_Text(text) {}
    void Record(size_t line, TokenText) override { m_Record = line + 1; }
    void Value(size_t, size_t, char c, size_t item, TokenText token) override {
        if (c == 'S' && item == m_Item && token.Text() == m_Text) {
            m_Lines.push_back(m_Record);
        }
    }
    const std::vector<size_t>& Lines() const { return m_Lines; }

private:
    size_t m_Item;
    const std::string& m_Text;
    size_t m_Record = 0;
    std::vector<size_t> m_Lines;
};

} // namespace

FileMessageLocator::FileMessageLocator(std::shared_ptr<OnfBlockTextReader> reader,
                                       const std::string& name)
    : m_Reader(std::move(reader)), m_Name(name) {}

const std::vector<BlockPlace>& FileMessageLocator::GetPlaces() {
    if (!m_Located) {
        m_Places = LocateBlocks(m_Reader->GetLines());
        m_Located = true;
    }
    return m_Places;
}

std::map<int, size_t> FileMessageLocator::RecordLines(int block, const std::set<int>& ids,
                                                      bool merged) {
    const auto& blocks = m_Reader->GetBlocksInfo();
    const std::vector<BlockPlace>& places = GetPlaces();
    const size_t count = std::min(blocks.size(), places.size());
    KeyLines lines(ids, merged);
    for (size_t i = 0; i < count; ++i) {
        if (blocks[i].block_id != block) {
            continue;
        }
        if (!merged) {
            lines.Lines().clear(); // the last block of the number holds the records
        }
        WalkRecords(m_Reader->GetLines(), places[i], ReadFormat(blocks[i]), lines);
    }
    return std::move(lines.Lines());
}

size_t FileMessageLocator::LocateMessage(int, const std::string& message) {
    if (!m_Reader) {
        return 0;
    }
    std::string text = message;
    for (size_t at = text.find(m_Name); !m_Name.empty() && at != std::string::npos;
         at = text.find(m_Name, at)) {
        text.erase(at, m_Name.size()); // a file name may hold a "line 5" of its own
    }
    if (const size_t line = NamedLine(text)) {
        return line;
    }
    if (const size_t line = LineOfDecodeFailure(text)) {
        return line;
    }
    if (m_Current < m_Reader->GetBlocksInfo().size()) {
        return LineInCurrentBlock(text);
    }
    return LineOfFileObjectFailure(text);
}

size_t FileMessageLocator::RecordLineWithValue(int block, size_t item, int value) {
    ValueLine line(item, value);
    return LastBlockLine(block, line);
}

// Walks the last block numbered `block` (the one a load keeps) with `visitor`; the line it found.
template <class Visitor>
size_t FileMessageLocator::LastBlockLine(int block, Visitor& visitor) {
    const auto& blocks = m_Reader->GetBlocksInfo();
    const std::vector<BlockPlace>& places = GetPlaces();
    for (size_t i = std::min(blocks.size(), places.size()); i-- > 0;) {
        if (blocks[i].block_id == block) {
            WalkRecords(m_Reader->GetLines(), places[i], ReadFormat(blocks[i]), visitor);
            return visitor.Line();
        }
    }
    return 0;
}

// Reading a groups file renames the second and every further group of one kind that shares a
// name, node groups (block 200) first, then element groups (210), each in file order: the n-th
// renaming of a name is of its (n+1)-th record among the node groups, or failing that among the
// element groups.
size_t FileMessageLocator::LineOfRenamedGroup(const std::string& name) {
    size_t nth = ++m_RenamedGroups[name];
    const auto& blocks = m_Reader->GetBlocksInfo();
    const std::vector<BlockPlace>& places = GetPlaces();
    for (const int number : {200, 210}) {
        NamedLines lines(2, name);
        for (size_t i = 0; i < blocks.size() && i < places.size(); ++i) {
            if (blocks[i].block_id == number) {
                WalkRecords(m_Reader->GetLines(), places[i], ReadFormat(blocks[i]), lines);
            }
        }
        if (nth < lines.Lines().size()) {
            return lines.Lines()[nth];
        }
        nth -= lines.Lines().empty() ? 0 : lines.Lines().size() - 1;
    }
    return 0;
}

// What the file objects refuse after the load names a record or a block.
size_t FileMessageLocator::LineOfFileObjectFailure(const std::string& text) {
    long long system = NumberAfter(text, "Coordinate system with id = ");
    if (system < 0 && StartsWith(text, "The coordinate system with ID 0 must be")) {
        system = 0;
    }
    if (system >= 0 && system <= INT32_MAX) {
        const int id = static_cast<int>(system);
        const std::map<int, size_t> lines = RecordLines(100, {id});
        return lines.empty() ? 0 : lines.begin()->second;
    }
    const long long target = NumberAfter(text, "An unknown/invalid ONF block ");
    if (target >= INT32_MIN && target <= INT32_MAX && target != -1) {
        return RecordLineWithValue(400, 1, static_cast<int>(target));
    }
    if (const size_t line = LineOfMissingReference(text)) {
        return line;
    }
    const char* const renamed = "Duplicated group name '";
    if (StartsWith(text, renamed) && text.find("' found.") != std::string::npos) {
        const size_t begin = std::strlen(renamed);
        return LineOfRenamedGroup(text.substr(begin, text.find("' found.") - begin));
    }
    const size_t at = text.find("data block with ID ");
    if (StartsWith(text, "A not admissible") && at != std::string::npos) {
        const int number = std::atoi(text.c_str() + at + std::strlen("data block with ID "));
        const auto& blocks = m_Reader->GetBlocksInfo();
        const std::vector<BlockPlace>& places = GetPlaces();
        for (size_t i = 0; i < blocks.size() && i < places.size(); ++i) {
            if (blocks[i].block_id == number) {
                return places[i].idLine + 1;
            }
        }
    }
    return 0;
}

// A result request refers to the record of a side block that holds its details by the first
// value of its list (item 7 of block 400); the line of the list that names a record the side
// block lacks.
size_t FileMessageLocator::LineOfMissingReference(const std::string& text) {
    const char* const reference = "Record ID ";
    const char* const side = "does not exist in ONF-block ";
    const size_t at = text.find(reference);
    const size_t sideAt = text.find(side);
    if (!StartsWith(text, "Error in the cross-references") || at == std::string::npos ||
        sideAt == std::string::npos) {
        return 0;
    }
    const long long id = std::strtoll(text.c_str() + at + std::strlen(reference), nullptr, 10);
    const int block = std::atoi(text.c_str() + sideAt + std::strlen(side));
    if (id < INT32_MIN || id > INT32_MAX) {
        return 0;
    }
    ReferenceLine line(block, static_cast<int>(id));
    return LastBlockLine(400, line);
}

// The reader stops decoding at the block behind those it kept.
size_t FileMessageLocator::LineOfDecodeFailure(const std::string& text) {
    const size_t failed = m_Reader->GetBlocksInfo().size();
    const std::vector<BlockPlace>& places = GetPlaces();
    if (failed >= places.size()) {
        return 0;
    }
    const BlockPlace& place = places[failed];
    const size_t numLines = m_Reader->GetLines().GetNumLines();
    if (StartsWith(text, "A wrong number of records is stored for block")) {
        return place.countLine + 1;
    }
    if (Contains(text, "contains an inconsistent descriptor entry")) {
        return place.idLine + 1;
    }
    if (StartsWith(text, "File ended before all lines could be loaded") ||
        StartsWith(text, "File ended without an end string")) {
        return numLines;
    }
    return 0;
}

size_t FileMessageLocator::LineInCurrentBlock(const std::string& text) {
    const std::vector<BlockPlace>& places = GetPlaces();
    if (m_Current >= places.size()) {
        return 0;
    }
    const BlockPlace& place = places[m_Current];
    if (StartsWith(text, "Invalid numeric value(s) encountered while loading")) {
        m_InvalidValues.insert(m_Current);
        return place.start + 1;
    }
    if (Contains(text, "being decoded does not match the speci")) {
        return place.countLine + 1;
    }
    if (Contains(text, "which is unknown to the interface and will be skipped")) {
        return place.idLine + 1;
    }
    // Anything else stopped the load at the line it was reading.
    return m_Reader->GetCurrentIdx();
}

} // namespace onf_tool
