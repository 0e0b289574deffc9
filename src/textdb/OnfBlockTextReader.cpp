// The ONF text reader: one pass over a file's lines that finds the outer structure of every
// block (markers, descriptor and format sections, number, count, body range).
#include "OnfBlockTextReader.h"

#include "OnfConstants.h"
#include "QSV_Failure.h"

#include <cstdint>
#include <cstring>

namespace {

const char* const TAG = "|%P|BrelonOnfEngine|OnfBlockTextReader";
const size_t SECTION_SPLITTER_CAPACITY = 2048;

inline bool IsSpace(unsigned char c) {
    return c == ' ' || (c >= 9 && c <= 13);
}

// Empty, all whitespace, or a comment: first non-whitespace byte "#".
bool IsEmptyOrComment(const char* line) {
    while (IsSpace(static_cast<unsigned char>(*line))) {
        ++line;
    }
    return *line == '\0' || *line == ONF_COMMENT_MARK[0];
}

// Integers of structure lines: leading whitespace, one optional sign, digits up to the first
// other byte, 32-bit wrap-around and no validation ("12abc" is 12, "abc" is 0). Computed in
// unsigned arithmetic so that the wrap is defined.
int32_t ParseStructureInt(const char* text) {
    while (IsSpace(static_cast<unsigned char>(*text))) {
        ++text;
    }
    const bool negative = *text == '-';
    if (*text == '+' || *text == '-') {
        ++text;
    }
    uint32_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        value = value * 10u + static_cast<uint32_t>(*text - '0');
    }
    if (negative) {
        value = 0u - value;
    }
    return static_cast<int32_t>(value);
}

// The id line, stripped of surrounding whitespace, is "NON_ONF" in any ASCII case.
bool IsNonOnfLine(const char* line) {
    while (IsSpace(static_cast<unsigned char>(*line))) {
        ++line;
    }
    const size_t keyLength = std::strlen(ONF_NON_ONF);
    for (size_t i = 0; i < keyLength; ++i) {
        unsigned char c = static_cast<unsigned char>(line[i]);
        if (c >= 'a' && c <= 'z') {
            c = static_cast<unsigned char>(c - 'a' + 'A');
        }
        if (c != static_cast<unsigned char>(ONF_NON_ONF[i])) {
            return false; // also at the line's NUL
        }
    }
    for (line += keyLength; *line != '\0'; ++line) {
        if (!IsSpace(static_cast<unsigned char>(*line))) {
            return false;
        }
    }
    return true;
}

bool EqualsIgnoringCase(const char* text, const char* upperKey) {
    for (; *upperKey != '\0'; ++text, ++upperKey) {
        char c = *text;
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
        if (c != *upperKey) {
            return false;
        }
    }
    return *text == '\0';
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Descriptor key trie

OnfBlockTextReader::DescriptorKeyTrie::DescriptorKeyTrie()
    : m_NotFound(QSV_DataDescriptor::NUM_ITEMS), m_AlphabetSize(0) {
    for (int& position : m_ChildPosition) {
        position = -1;
    }
    for (int c = 0; c < 256; ++c) { // positions by ascending byte value: "A" to "Z", then "_"
        if ((c >= 'A' && c <= 'Z') || c == '_') {
            m_ChildPosition[c] = m_AlphabetSize++;
        }
    }
    m_Root.children.resize(static_cast<size_t>(m_AlphabetSize));
    m_Root.value = m_NotFound;
    for (int i = 0; i < QSV_DataDescriptor::NUM_ITEMS; ++i) {
        Insert(QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[i].name, i);
    }
}

void OnfBlockTextReader::DescriptorKeyTrie::UndoPasses(const std::vector<Node*>& path) {
    for (Node* node : path) {
        --node->numPasses;
    }
}

// Walks the key, making children vectors where a node is first passed and counting the words
// that pass each node. The root counts every word as well, so that the empty key, a prefix of
// every key, is ambiguous and reads as an unknown item. Left uncounted, the root would let the
// empty key descend through the first key inserted to "MODEL": a descriptor line without a key
// would set the model of its block, which then could take another block's place in a database
// or lose its own to it, and its value would be written back under a key the file never had.
OnfBlockTextReader::DescriptorKeyTrie::Status
OnfBlockTextReader::DescriptorKeyTrie::Insert(const char* key, int value) {
    std::vector<Node*> path{&m_Root};
    ++m_Root.numPasses;
    Node* node = &m_Root;
    for (const char* p = key; *p != '\0'; ++p) {
        const int position = m_ChildPosition[static_cast<unsigned char>(*p)];
        if (position < 0) {
            UndoPasses(path);
            return TRIE_BAD_BYTE;
        }
        Node& child = node->children[static_cast<size_t>(position)];
        if (child.children.empty()) {
            child.children.resize(static_cast<size_t>(m_AlphabetSize));
            child.value = m_NotFound;
            if (node->numUsed++ == 0) {
                node->firstUsed = position;
            }
        }
        ++child.numPasses;
        path.push_back(&child);
        node = &child;
    }
    if (node->terminal) {
        UndoPasses(path);
        return TRIE_DUPLICATE;
    }
    node->terminal = true;
    node->value = value;
    return TRIE_OK;
}

OnfBlockTextReader::DescriptorKeyTrie::Status
OnfBlockTextReader::DescriptorKeyTrie::Find(const char* key, int& value) const {
    const Node* node = &m_Root;
    for (const char* p = key; *p != '\0'; ++p) {
        const int position = m_ChildPosition[static_cast<unsigned char>(*p)];
        if (position < 0) {
            return TRIE_BAD_BYTE;
        }
        if (node->children.empty()) {
            return TRIE_NOT_FOUND;
        }
        node = &node->children[static_cast<size_t>(position)];
    }
    if (node->children.empty()) {
        return TRIE_NOT_FOUND;
    }
    if (!node->terminal) {
        if (node->numPasses > 1) {
            return TRIE_AMBIGUOUS;
        }
        while (node->numUsed > 0) {
            node = &node->children[static_cast<size_t>(node->firstUsed)];
        }
    }
    if (node->value == m_NotFound) {
        return TRIE_NOT_FOUND;
    }
    value = node->value;
    return TRIE_OK;
}

// ---------------------------------------------------------------------------------------------
// Construction and loading

OnfBlockTextReader::OnfBlockTextReader(const wchar_t* name, UnknownBlockAction action) {
    LoadFile(name, action);
}

OnfBlockTextReader::OnfBlockTextReader(const char* data, size_t size,
                                       const wchar_t* nameForMessages, UnknownBlockAction action) {
    LoadBuffer(data, size, nameForMessages, action);
}

OnfBlockTextReader::OnfBlockTextReader(const OnfBlockTextReader& other) = default;

OnfBlockTextReader::~OnfBlockTextReader() = default;

void OnfBlockTextReader::LoadFile(const wchar_t* name, UnknownBlockAction action) {
    m_FileName = name ? name : L"";
    std::string error;
    if (!m_Lines.LoadTextFromFile(m_FileName.c_str(), error)) {
        onf_detail::ThrowFailure(
            nullptr, TAG, "Loading of file \"%s\" failed.\nSystem error message:\n%s",
            BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str(), error.c_str());
    }
    m_Blocks.clear();
    m_Released.clear();
    DecodeFile(action);
}

void OnfBlockTextReader::LoadBuffer(const char* data, size_t size, const wchar_t* nameForMessages,
                                    UnknownBlockAction action) {
    m_FileName = nameForMessages ? nameForMessages : L"";
    m_Lines.LoadTextFromBuffer(data, size);
    m_Blocks.clear();
    m_Released.clear();
    DecodeFile(action);
}

// ---------------------------------------------------------------------------------------------
// Decoding

bool OnfBlockTextReader::IsOnfMarkerLine(const char* line, const char* marker) {
    // Byte-wise up to the marker's end, so that a body line usually fails on its first byte.
    size_t i = 0;
    for (; marker[i] != '\0'; ++i) {
        if (line[i] != marker[i]) {
            return false;
        }
    }
    for (line += i; *line != '\0'; ++line) {
        if (!IsSpace(static_cast<unsigned char>(*line))) {
            return false;
        }
    }
    return true;
}

void OnfBlockTextReader::SkipEmptyAndCommentLines(const TextLinesParser& lines, size_t& line) {
    const size_t count = lines.GetNumLines();
    while (line < count && IsEmptyOrComment(lines.GetLine(line))) {
        ++line;
    }
}

void OnfBlockTextReader::DecodeFile(UnknownBlockAction action) {
    const size_t count = m_Lines.GetNumLines();
    const std::string file = BrelonStringUtil::wide_to_utf8(m_FileName.c_str());
    size_t line = 0;
    while (line < count) {
        SkipEmptyAndCommentLines(m_Lines, line);
        if (line >= count) {
            return;
        }
        line = DecodeBlock(line, action, file);
    }
}

// What DecodeBlock knows of the block it decodes, handed from step to step.
struct OnfBlockTextReader::BlockDecoding {
    const std::string& file; // the file name for messages
    size_t line;             // the line that the next step reads
    BLOCK_INFO info;
    bool descriptorRead = false;
    bool recognised = false; // a number that the catalogue knows
};

namespace {

// The failures of a descriptor or format section that its loader could not read.
const char* const kBadDescriptor =
    "Error parsing descriptor data from ONF file %s at line %Iu.\nError message: %s.";
const char* const kBadFormat =
    "Error parsing format data from ONF file %s at line %Iu.\nError message: %s.";

// The failures that several steps raise, each text written once.
[[noreturn]] void FailUnexpectedEnd(const std::string& file, size_t line) {
    onf_detail::ThrowFailure(nullptr, TAG, "ONF file %s ends unexpectedly around line %Iu",
                             file.c_str(), line + 1);
}

[[noreturn]] void FailEndedInBlock(int32_t blockId) {
    onf_detail::ThrowFailure(
        nullptr, TAG, "File ended before all lines could be loaded for block with id: %d", blockId);
}

} // namespace

// Decodes the block whose start marker candidate stands at `start` and returns the index behind
// its end marker. `file` is the file name for messages. The steps follow the block's lines.
size_t OnfBlockTextReader::DecodeBlock(size_t start, UnknownBlockAction action,
                                       const std::string& file) {
    BlockDecoding block{file, start, BLOCK_INFO()};
    DecodeStartMarker(block);
    DecodeSections(block);
    DecodeIdLine(block, action);
    DecodeCountLine(block);
    const size_t end = DecodeBody(block);
    // A block with a format of its own is kept even where the catalogue lacks its number.
    if (block.recognised || action == UNKNOWN_BLOCK_KEEP || !block.info.format.empty()) {
        m_Blocks.push_back(std::move(block.info));
    }
    return end + 1;
}

// "   -1", and at least two lines behind it.
void OnfBlockTextReader::DecodeStartMarker(BlockDecoding& block) const {
    const char* startLine = m_Lines.GetLine(block.line);
    if (!IsOnfMarkerLine(startLine, ONF_BLOCK_MARKER)) {
        onf_detail::ThrowFailure(nullptr, TAG,
                                 "Invalid statement encountered in file: %s, line: %Iu\nExpected "
                                 "line image: \"%s\"\nLine image found:    \"%s\"",
                                 block.file.c_str(), block.line + 1, ONF_BLOCK_MARKER, startLine);
    }
    if (block.line + 2 >= m_Lines.GetNumLines()) {
        FailUnexpectedEnd(block.file, block.line);
    }
    ++block.line;
}

// The optional descriptor section, then the optional format section. A section that the end of
// the file cuts off leaves the line behind the last one, and that is the line its failure names,
// as the end-of-file failures behind each section do.
void OnfBlockTextReader::DecodeSections(BlockDecoding& block) {
    std::string error;
    if (IsOnfMarkerLine(m_Lines.GetLine(block.line), ONF_DESCRIPTOR_MARKER)) {
        EndSection(block, LoadDescriptor(m_Lines, block.line, block.info.descriptor, error),
                   kBadDescriptor, error);
        block.descriptorRead = true;
    }
    if (IsOnfMarkerLine(m_Lines.GetLine(block.line), ONF_FORMAT_MARKER)) {
        EndSection(block, LoadFormat(m_Lines, block.line, block.info.format, error), kBadFormat,
                   error);
    }
}

// Behind a section that its loader read (`loaded`) or failed on with `error`: the failure in the
// words of `failure`, or the step to the line behind the section's closing marker, which the
// block's id line must be.
void OnfBlockTextReader::EndSection(BlockDecoding& block, bool loaded, const char* failure,
                                    const std::string& error) const {
    if (!loaded) {
        onf_detail::ThrowFailure(nullptr, TAG, failure, block.file.c_str(), block.line + 1,
                                 error.c_str());
    }
    if (++block.line >= m_Lines.GetNumLines()) {
        FailUnexpectedEnd(block.file, block.line);
    }
}

// The block number, or "NON_ONF" for a custom block, which must bring its format and must not
// name a number in its descriptor. A catalogued number becomes the descriptor's item 1; any
// other number makes it -1.
void OnfBlockTextReader::DecodeIdLine(BlockDecoding& block, UnknownBlockAction action) const {
    const char* idLine = m_Lines.GetLine(block.line);
    BLOCK_INFO& info = block.info;
    if (IsNonOnfLine(idLine)) {
        info.block_id = -1;
        if (info.descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID)) {
            onf_detail::ThrowFailure(nullptr, TAG,
                                     "The ONF-file \"%s\" contains an ONF-entry in a descriptor "
                                     "for non-onf block at line %Iu.",
                                     block.file.c_str(), block.line + 1);
        }
        if (info.format.empty()) {
            onf_detail::ThrowFailure(nullptr, TAG,
                                     "The ONF-file \"%s\" contains non-onf block at line %Iu with "
                                     "missing format information.",
                                     block.file.c_str(), block.line + 1);
        }
        ++block.line;
        return;
    }
    info.block_id = ParseStructureInt(idLine);
    block.recognised = QSV_OnfInfoPool::ExistsOnfBlock(info.block_id);
    if (!block.recognised && action == UNKNOWN_BLOCK_WARN) {
        WarnUnknownBlock(m_FileName, info.block_id);
    }
    if (block.descriptorRead && info.descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID) &&
        info.descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID) != info.block_id) {
        onf_detail::ThrowFailure(nullptr, TAG,
                                 "The ONF-file \"%s\" contains an inconsistent descriptor entry "
                                 "for ONF-block %d.",
                                 block.file.c_str(), info.block_id);
    }
    info.descriptor.SetInteger(QSV_DataDescriptor::RI_ONF_ID,
                               block.recognised ? info.block_id : -1);
    info.descriptor.SetSpare(-1);
    ++block.line;
}

// The declared number of records. A file may stop right after an id line that follows a
// section: then there is no count line and no body.
void OnfBlockTextReader::DecodeCountLine(BlockDecoding& block) const {
    if (block.line >= m_Lines.GetNumLines()) {
        FailEndedInBlock(block.info.block_id);
    }
    block.info.num_records = ParseStructureInt(m_Lines.GetLine(block.line));
    block.info.first_line = block.info.num_records != 0 ? block.line + 1 : 0;
    ++block.line;
}

// The body: every line up to the end marker, whose index is returned; only the marker test
// touches a body line. There must be at least as many lines as declared records.
size_t OnfBlockTextReader::DecodeBody(BlockDecoding& block) const {
    const size_t count = m_Lines.GetNumLines();
    const char* const* lines = m_Lines.GetLines();
    size_t end = block.line;
    while (end < count && !IsOnfMarkerLine(lines[end], ONF_BLOCK_MARKER)) {
        ++end;
    }
    BLOCK_INFO& info = block.info;
    info.num_lines = end - block.line;
    if (end >= count) {
        FailEndedInBlock(info.block_id);
    }
    // Compared as unsigned 64-bit values, so a negative count is always too large; more lines
    // than records are fine, since a record may span several lines.
    if (static_cast<uint64_t>(info.num_lines) < static_cast<uint64_t>(info.num_records)) {
        onf_detail::ThrowFailure(nullptr, TAG,
                                 "A wrong number of records is stored for block with id = "
                                 "%d\n%Iu lines found in the block body, which is less than\nthe "
                                 "declared number of records (%Iu)",
                                 info.block_id, info.num_lines,
                                 static_cast<size_t>(static_cast<uint64_t>(info.num_records)));
    }
    return end;
}

void OnfBlockTextReader::WarnUnknownBlock(const std::wstring& file, int32_t blockId) {
    QSV_LOG(LOG_WARNING, TAG,
            "The ONF-file \"%s\" contains a data-block of type %d, which is unknown to the "
            "interface and will be skipped.",
            BrelonStringUtil::wide_to_utf8(file.c_str()).c_str(), blockId);
}

OnfBlockTextReader::SectionLine
OnfBlockTextReader::NextSectionLine(const TextLinesParser& lines, size_t& line, const char* marker,
                                    const char* endOfFile, TextLineSplitter& splitter,
                                    std::string& error) {
    ++line;
    SkipEmptyAndCommentLines(lines, line);
    if (line >= lines.GetNumLines()) {
        error = endOfFile;
        return SECTION_FAILED;
    }
    const char* text = lines.GetLine(line);
    if (IsOnfMarkerLine(text, marker)) {
        return SECTION_END;
    }
    splitter.SplitLine(text, TextLineSplitter::SPLIT_KEEP_QUOTED, '=', '"');
    if (splitter.GetNumTokens() != 2) {
        error = "Syntax error while decoding a <Key> = <Value> pair";
        return SECTION_FAILED;
    }
    return SECTION_PAIR;
}

bool OnfBlockTextReader::LoadDescriptor(const TextLinesParser& lines, size_t& line,
                                        QSV_DataDescriptor& descriptor, std::string& error) {
    error.clear();
    TextLineSplitter splitter(SECTION_SPLITTER_CAPACITY);
    for (;;) {
        const SectionLine next = NextSectionLine(
            lines, line, ONF_DESCRIPTOR_MARKER,
            "Unexpected end of file within a descriptor definition", splitter, error);
        if (next != SECTION_PAIR) {
            return next == SECTION_END;
        }
        const char* key = splitter.GetToken(0);
        const char* value = splitter.GetToken(1);
        int item = 0;
        if (m_KeyTrie.Find(key, item) != DescriptorKeyTrie::TRIE_OK) {
            error = std::string("Unknown descriptor item \"") + key + "\"";
            return false;
        }
        const auto index = static_cast<QSV_DataDescriptor::ResultIndex>(item);
        const int type = QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[item].type;
        if (type == QSV_DataDescriptor::ITEM_TYPE_INTEGER) {
            if (!BrelonFormatUtil::is_int(value)) {
                error = "Integer value expected on the right-hand side of the expression";
                return false;
            }
            descriptor.SetInteger(index, ParseStructureInt(value));
        } else if (type == QSV_DataDescriptor::ITEM_TYPE_STRING) {
            descriptor.SetString(index, value);
        }
    }
}

bool OnfBlockTextReader::LoadFormat(const TextLinesParser& lines, size_t& line, std::string& format,
                                    std::string& error) {
    error.clear();
    format.clear();
    TextLineSplitter splitter(SECTION_SPLITTER_CAPACITY);
    for (;;) {
        const SectionLine next =
            NextSectionLine(lines, line, ONF_FORMAT_MARKER,
                            "Unexpected end of file within a format definition", splitter, error);
        if (next == SECTION_FAILED) {
            return false;
        }
        if (next == SECTION_END) {
            break;
        }
        const char* key = splitter.GetToken(0);
        const bool unknownKey = !EqualsIgnoringCase(key, "FORMAT");
        if (unknownKey) {
            error = std::string("Unknown keyword found in the block-format section: ") + key;
        }
        if (!format.empty()) {
            error = "A second format string was found in the block-format section";
            format = splitter.GetToken(1);
            return false;
        }
        format = splitter.GetToken(1);
        if (unknownKey) {
            return false;
        }
    }
    if (format.empty()) {
        error = "No format string was found in the block-format section";
        return false;
    }
    return true;
}

// ---------------------------------------------------------------------------------------------
// Block selection and line access

bool OnfBlockTextReader::AlreadyLoaded(const QSV_DataDescriptor& descriptor) const {
    for (const BLOCK_INFO& block : m_Blocks) {
        if (!(block.descriptor < descriptor) && !(descriptor < block.descriptor)) {
            return true;
        }
    }
    return false;
}

void OnfBlockTextReader::ProvideBlock(size_t index) {
    if (IsBlockTextReleased(index)) {
        onf_detail::ThrowFailure(nullptr, TAG,
                                 "The text of block %Iu of ONF-file \"%s\" was given back after "
                                 "the block was loaded; it cannot be read again.",
                                 index + 1,
                                 BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str());
    }
    m_BlockIdx = index;
    m_LineIdx = 0;
    m_BlockProvided = true;
}

void OnfBlockTextReader::ReleaseBlockText(size_t index) {
    if (index >= m_Blocks.size()) {
        return;
    }
    if (m_Released.size() < m_Blocks.size()) {
        m_Released.resize(m_Blocks.size(), false);
    }
    m_Released[index] = true;
    // A block that declares no records has its first line at 0 whatever it holds; its lines,
    // if any, are not told apart from the file's first ones and stay.
    const BLOCK_INFO& block = m_Blocks[index];
    if (block.num_lines > 0 && block.first_line > 0) {
        m_Lines.DiscardLines(block.first_line, block.num_lines);
    }
}

const OnfBlockTextReader::BLOCK_INFO* OnfBlockTextReader::CurrentBlock() const {
    return m_BlockIdx < m_Blocks.size() ? &m_Blocks[m_BlockIdx] : nullptr;
}

bool OnfBlockTextReader::GetBlockNumber(int& number) const {
    const BLOCK_INFO* block = CurrentBlock();
    if (block == nullptr) {
        return false;
    }
    number = static_cast<int>(block->block_id);
    return true;
}

size_t OnfBlockTextReader::GetNumBlockLines() const {
    const BLOCK_INFO* block = CurrentBlock();
    return block ? block->num_lines : 0;
}

const char* OnfBlockTextReader::GetLine() const {
    const size_t index = GetCurrentIdx();
    return index < m_Lines.GetNumLines() ? m_Lines.GetLine(index) : nullptr;
}

const char* OnfBlockTextReader::ExtractLine() {
    const BLOCK_INFO* block = CurrentBlock();
    if (block == nullptr || m_LineIdx >= block->num_lines) {
        return nullptr;
    }
    const size_t index = block->first_line + m_LineIdx;
    if (index >= m_Lines.GetNumLines()) {
        return nullptr;
    }
    ++m_LineIdx;
    return m_Lines.GetLine(index);
}

void OnfBlockTextReader::Rewind() {
    m_LineIdx = 0;
}

size_t OnfBlockTextReader::GetCurrentIdx() const {
    const BLOCK_INFO* block = CurrentBlock();
    return (block ? block->first_line : 0) + m_LineIdx;
}
