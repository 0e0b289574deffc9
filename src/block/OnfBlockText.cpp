// OnfBlock as text: the record grammar read by LoadBlock and written by WriteBlock.
//
// A record occupies one or more lines of comma-separated tokens. Token 0 of its first line is
// the key; tokens are then taken in format order. The only continuation rule: when the tokens
// of a line are used up in front of a mandatory (upper-case) item, the next line goes on.
// Optional (lower-case) items are taken only while tokens remain, vectors and tensors never
// span lines, lists start on a line of their own, and tokens behind the format's end are
// ignored. The writer writes the same grammar: at most ten values a line, `b` ends a line, and
// values behind an optional item start a fresh line, so the reader finds them again.
#include "OnfBlock.h"
#include "OnfBlockDetail.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "OnfConstants.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Failure.h"
#include "QSV_IdMap.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

using onf_detail::LoadValue;
using onf_detail::StoreValue;

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|OnfBlock";
// The report of a block whose records are not as many as its count line declares.
// clang-format off
const char* const kRecordCountReport = "A format error was encountered while reading the ONF-file:\n\"%s\"\n--> the ONF-block %d being decoded does not match the specification!";
// clang-format on

// Keys of a block without id map are record indices, so a key makes the block allocate that many
// record slots. A file cannot name a key far beyond its size without this bound making a block of
// gigabytes out of a few bytes: the bound admits every key below this floor and below sixteen
// times the declared record count, which leaves room for sparse numbering. The slots below the
// bound must also fit the record budget of the block's body text (onf_detail::RecordBudget):
// with long records, the floor alone would be gigabytes.
constexpr size_t kDirectIndexFloor = size_t(1) << 16;
constexpr size_t kDirectIndexFactor = 16;
// Sparse numbering within the bound above stays admitted whatever the body holds while its slots
// cost no more than this; every catalogued block's records are small enough for the whole range.
constexpr size_t kDirectIndexBytesFloor = size_t(1) << 24;

bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

using onf_detail::TokenView;

// The engine's integer reading of keys and integer items: optional sign, then digits up to the
// first other byte, in 32-bit wrap-around arithmetic (unsigned, so that no overflow is undefined).
// No whitespace is skipped and no digit gives 0. `valid` tells in the same pass whether the text
// is a valid integer as BrelonFormatUtil::is_int judges it (sign, at least one digit, nothing
// else, 32-bit range), which IsValueInvalid would otherwise find in a second pass.
int ParseCheckedInt(const char* text, const char* end, bool& valid) {
    const char* p = text;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    const char* const digits = p;
    uint32_t value = 0;
    uint64_t magnitude = 0; // saturates far above the 32-bit range
    for (; p < end; ++p) {
        const unsigned digit = static_cast<unsigned char>(*p) - '0';
        if (digit >= 10) {
            break;
        }
        value = value * 10u + digit;
        magnitude = magnitude < (uint64_t(1) << 40) ? magnitude * 10 + digit : magnitude;
    }
    const uint64_t limit = negative ? 2147483648ULL : 2147483647ULL;
    valid = p != digits && p == end && magnitude <= limit;
    if (negative) {
        value = 0u - value;
    }
    int result;
    std::memcpy(&result, &value, sizeof result);
    return result;
}

// The same reading where its judgement is not wanted.
int ParseInt(const char* text, const char* end) {
    bool valid = false;
    return ParseCheckedInt(text, end, valid);
}

// A real item whose whole text is a plain decimal number in range (the common case) is read
// by std::from_chars and is valid; for any other text, false, and the caller takes the general
// conversion and validity test. The same value comes out either way.
bool ParsePlainReal(const char* text, const char* end, double& value) {
    const bool plus = text < end && *text == '+'; // from_chars takes no plus sign, but a minus
    const char* p = plus ? text + 1 : text;
    const char* digits = !plus && p < end && *p == '-' ? p + 1 : p;
    if (digits == end || !((*digits >= '0' && *digits <= '9') || *digits == '.')) {
        return false;
    }
    const std::from_chars_result result = std::from_chars(p, end, value);
    return result.ec == std::errc() && result.ptr == end;
}

// The bound on the keys of a directly indexed block of `declared` records of `recordBytes` bytes
// whose body `lines` hands out (see kDirectIndexFloor).
size_t DirectKeyLimit(size_t declared, size_t recordBytes, TextLinesProvider& lines) {
    const size_t limit = std::max(kDirectIndexFloor, kDirectIndexFactor * declared);
    if (limit <= kDirectIndexBytesFloor / recordBytes) {
        return limit; // the whole range costs little whatever the body holds
    }
    const size_t budgetSlots = onf_detail::RecordBudget(onf_detail::BodyBytes(lines)) / recordBytes;
    // The declared records are made already; the budget never takes them back.
    return std::min(limit, std::max(budgetSlots, declared));
}

// True when the ids of the records from `first` to `end` ascend, as unsigned numbers, in index
// order; unused slots are passed over.
bool IdsAscendInIndexOrder(const OnfBlock& block, size_t first, size_t end) {
    int64_t previous = -1;
    for (size_t index = first; index < end; ++index) {
        const int id = block.GetId(index);
        if (id != OnfBlock::ID_UNSET) {
            if (static_cast<int64_t>(static_cast<uint32_t>(id)) <= previous) {
                return false;
            }
            previous = static_cast<uint32_t>(id);
        }
    }
    return true;
}

} // namespace

size_t onf_detail::BodyBytes(TextLinesProvider& lines) {
    size_t bytes = 0;
    lines.Rewind();
    for (const char* line = lines.ExtractLine(); line != nullptr; line = lines.ExtractLine()) {
        bytes += std::strlen(line) + 1;
    }
    lines.Rewind();
    return bytes;
}

// What one LoadBlock call carries from line to line. Lines are cut into token views in place
// (onf_detail::split_record_line), list lines too: the list readers go on from the views.
struct OnfBlock::LoadContext {
    TextLinesProvider& lines;
    const QSV_OnfMetaData* row = nullptr;
    std::vector<size_t> counters = std::vector<size_t>(4, 0);
    bool anyInvalid = false;
    size_t numLines = 0;
    size_t keyLimit = 0;                                        // keys of a directly indexed block
    std::vector<TokenView> tokens = std::vector<TokenView>(16); // the tokens of the line ...
    size_t numTokens = 0;                                       // ... in front
    std::string text;         // the last token asked for as a NUL-terminated text
    std::vector<int> intList; // the integer list being read, before it is packed

    explicit LoadContext(TextLinesProvider& l) : lines(l) {}
    size_t NumTokens() const { return numTokens; }
    // An absent token reads as the empty text (an empty line has no token 0).
    const char* Begin(size_t i) const { return i < numTokens ? tokens[i].begin : ""; }
    const char* End(size_t i) const { return i < numTokens ? tokens[i].end : Begin(i); }
    // Token `i` as a NUL-terminated text, valid until the next call.
    const char* Text(size_t i) {
        text.assign(Begin(i), End(i));
        return text.c_str();
    }
    void Split(const char* line) { numTokens = onf_detail::split_record_line(line, tokens); }
    std::string FileUtf8() const {
        return BrelonStringUtil::wide_to_utf8(lines.FileName().c_str());
    }
};

bool OnfBlock::IsValueInvalid(const char* text, BlockDataType type, std::vector<size_t>& counters) {
    switch (type) {
    case BDT_INTEGER:
    case BDT_OPT_INTEGER:
        if (!BrelonFormatUtil::is_int(text)) {
            ++counters[BrelonFormatUtil::NVS_INVALID];
            return true;
        }
        return false;
    case BDT_REAL:
    case BDT_FLOAT:
    case BDT_VECTOR:
    case BDT_TENSOR:
    case BDT_OPT_REAL: {
        const NumericValueState state = BrelonFormatUtil::is_valid_double(text, std::strlen(text));
        if (state == BrelonFormatUtil::NVS_VALID ||
            (state == BrelonFormatUtil::NVS_INVALID && BrelonFormatUtil::is_int(text))) {
            return false;
        }
        ++counters[static_cast<size_t>(state) < counters.size() ? state : 1];
        return true;
    }
    default:
        return false;
    }
}

// A block's body is read in these steps: PrepareLoad finds what the whole load needs (the
// catalogue row, the bound on keys of a directly indexed block); for each line that starts a
// record, LoadRecord cuts it into tokens in place, LoadRecordIndex finds the record of its key and
// LoadRecordItems takes the items in the layout's order (LoadItem, then LoadScalar, LoadString,
// LoadReals or LoadList), going on to further lines where a mandatory value needs one; FinishLoad
// reports bad values and a record count other than the declared one. The loop over the lines,
// with the item walk and the number parsing inside it, is where a load spends its time.
void OnfBlock::LoadBlock(TextLinesProvider& lines) {
    lines.Rewind();
    LoadContext context(lines);
    PrepareLoad(context);
    for (const char* line = lines.ExtractLine(); line != nullptr; line = lines.ExtractLine()) {
        if (!LoadRecord(context, line)) {
            return; // reported; the block stays as far as it got
        }
    }
    FinishLoad(context);
}

void OnfBlock::PrepareLoad(LoadContext& context) {
    if (QSV_OnfInfoPool::ExistsOnfBlock(m_BlockId)) {
        context.row = &QSV_OnfInfoPool::GetOnfInfo(m_BlockId);
    }
    if (m_DirectIndexed || m_IdMap == nullptr) {
        context.keyLimit =
            DirectKeyLimit(m_NumExpectedRecords, m_Records.RecordSize(), context.lines);
    }
    // A block that at least doubles the list entries makes room for its declared records' lists
    // at once, so that the entries are not copied while they grow (which would also hold both
    // copies at once). Smaller blocks leave the growth to the vector.
    const size_t declared = m_NumExpectedRecords;
    size_t listItems = 0;
    for (size_t item = 1; item < m_NumItems; ++item) {
        listItems += m_RecMap[item].m_List != QSV_LayoutItem::LIST_KIND_NONE ? 1 : 0;
    }
    std::vector<BrelonOnfIntListEntry>& entries = m_Helpers.m_IntLists;
    if (listItems > 0 && declared >= entries.size() && declared <= SIZE_MAX / listItems) {
        entries.reserve(entries.size() + listItems * declared);
    }
}

void OnfBlock::FinishLoad(LoadContext& context) {
    if (context.anyInvalid) {
        QSV_LOG(LOG_ERROR, kTag, "Invalid numeric value(s) encountered while loading ONF-Block %d.",
                static_cast<int>(m_BlockId));
        QSV_LOG(LOG_DETAIL, kTag, "NaN     values encountered: %Iu.", context.counters[3]);
        QSV_LOG(LOG_DETAIL, kTag, "Inf     values encountered: %Iu.", context.counters[2]);
        QSV_LOG(LOG_DETAIL, kTag, "Invalid values encountered: %Iu.", context.counters[1]);
    }
    if (GetNumRecords() == m_NumExpectedRecords) {
        // The list buffer is as large as the longest list read; the translation that follows
        // grows the id maps by up to as much again, so the buffer goes first.
        std::vector<int>().swap(context.intList);
        UpdateIdIntLists();
    } else {
        QSV_LOG(LOG_ERROR, kTag, kRecordCountReport, context.FileUtf8().c_str(),
                static_cast<int>(m_BlockId));
    }
}

bool OnfBlock::LoadRecord(LoadContext& context, const char* line) {
    ++context.numLines;
    if (m_DirectIndexed && context.numLines > m_NumExpectedRecords) {
        onf_detail::ThrowFailure(
            "270312164733", kTag,
            "Error in ONF-file %s, block %d:\nLine %Iu is outside of the expected range for the "
            "block.\nThe block is expected to contain %Iu records, but it\nactually contains more "
            "records/items!",
            context.FileUtf8().c_str(), static_cast<int>(m_BlockId), context.lines.GetCurrentIdx(),
            m_NumExpectedRecords);
    }
    context.Split(line);
    int key = ParseInt(context.Begin(0), context.End(0));
    const size_t index = LoadRecordIndex(context, key);
    FetchRecord(index);
    int* idField = GetRecordIdPtr(index);
    if (*idField == key) {
        QSV_LOG(LOG_ERROR, kTag,
                "An error was encountered while reading the ONF-file:\n\"%s\"\n--> ONF-block %d "
                "contains more than one record with id = %d.",
                context.FileUtf8().c_str(), static_cast<int>(m_BlockId), key);
        return false;
    }
    *idField = key;
    return LoadRecordItems(context, index);
}

size_t OnfBlock::LoadRecordIndex(LoadContext& context, int& key) {
    if (m_DirectIndexed || m_IdMap == nullptr) {
        // A negative key becomes a huge index and is refused by the bound as well.
        const size_t index = static_cast<size_t>(static_cast<long long>(key));
        const size_t limit = context.keyLimit;
        if (index >= limit) {
            onf_detail::ThrowFailure(
                nullptr, kTag,
                "Error in ONF-file %s, block %d:\nThe record id %d in line %Iu cannot serve as a "
                "record index.\nThe ids of this block must lie between 0 and %Iu.",
                context.FileUtf8().c_str(), static_cast<int>(m_BlockId), key,
                context.lines.GetCurrentIdx(), limit - 1);
        }
        return index;
    }
    if (IsKeyedByName()) {
        // A name key keeps the name's index in its id field, as records set through the
        // abstract interface do: the number the name reads as (0 for most names) would make
        // all records of the block look alike to the writer, which orders them by id.
        const size_t index = m_IdMap->FetchIdx(std::string(context.Begin(0), context.End(0)));
        key = static_cast<int>(index);
        return index;
    }
    // The keys of a block are mostly new: the map's own look-up is the only one they need.
    return m_IdMap->FetchIdx(key);
}

// The items of the record behind its key, in the order of the layout. A line continues the
// record only where its tokens are used up in front of a mandatory value. The layout's items are
// those the writer writes: a format whose key is not its first character ("|IR") is read as it
// is written, with the key's character left out, rather than from the format's second character
// on, which would read a value of one type into an item of another.
bool OnfBlock::LoadRecordItems(LoadContext& context, size_t index) {
    unsigned char* const record = static_cast<unsigned char*>(SlotData(index));
    size_t token = 1;
    for (size_t item = 1; item < m_NumItems; ++item) {
        const QSV_LayoutItem& layout = m_RecMap[item];
        if (token >= context.NumTokens() && layout.m_Mandatory) {
            const char* line = context.lines.ExtractLine();
            if (line == nullptr) {
                QSV_LOG(LOG_ERROR, kTag,
                        "A format syntax error was encountered while reading the "
                        "ONF-file:\n\"%s\"\n--> the lines defining ONF-block %d are depleted "
                        "prematurely at line %Iu.",
                        context.FileUtf8().c_str(), static_cast<int>(m_BlockId),
                        context.lines.GetCurrentIdx() + 1);
                return false;
            }
            context.Split(line);
            token = 0;
        }
        token = LoadItem(context, record + layout.m_Offset, layout, token);
    }
    return true;
}

size_t OnfBlock::LoadItem(LoadContext& context, unsigned char* where, const QSV_LayoutItem& layout,
                          size_t token) {
    const BlockDataType type = layout.m_Type;
    const char c = layout.m_Char;
    switch (c) {
    case 'i':
    case 'r':
    case 'f':
        if (token >= context.NumTokens()) {
            return token + 1;
        }
        return LoadScalar(context, where, type, c, token);
    case 'I':
    case 'R':
    case 'F':
        return LoadScalar(context, where, type, c, token);
    case 'S':
        LoadString(context, where, layout.m_RowItem, context.Text(token));
        return token + 1;
    case 'V':
    case 'T':
        return LoadReals(context, where, layout.m_NumReals, token);
    case 'L':
    case 'O':
    case 'D':
        return LoadList(context, where, c);
    default:
        return token + 1;
    }
}

size_t OnfBlock::LoadScalar(LoadContext& context, unsigned char* where, BlockDataType type, char c,
                            size_t token) {
    const char* const begin = context.Begin(token);
    const char* const end = context.End(token);
    if ((c == 'I' || c == 'i') && (type == BDT_INTEGER || type == BDT_OPT_INTEGER)) {
        bool valid = false;
        StoreValue(where, ParseCheckedInt(begin, end, valid));
        if (!valid) {
            ++context.counters[BrelonFormatUtil::NVS_INVALID];
            context.anyInvalid = true;
        }
        return token + 1;
    }
    double value = 0.0;
    const bool plain = c != 'I' && c != 'i' && ParsePlainReal(begin, end, value) &&
                       (type == BDT_REAL || type == BDT_FLOAT || type == BDT_OPT_REAL);
    const char* const text = plain ? nullptr : context.Text(token);
    if (c == 'I' || c == 'i') {
        StoreValue(where, ParseInt(begin, end));
    } else if (c == 'R' || c == 'r') {
        StoreValue(where, plain ? value : BrelonFormatUtil::str_to_double(text, nullptr));
    } else {
        StoreValue(where, static_cast<float>(
                              plain ? value : BrelonFormatUtil::str_to_double(text, nullptr)));
    }
    if (!plain) {
        context.anyInvalid |= IsValueInvalid(text, type, context.counters);
    }
    return token + 1;
}

void OnfBlock::LoadString(LoadContext& context, unsigned char* where, size_t rowItem,
                          const char* text) {
    // The id type comes from the catalogue row by format position without layout marks. In a
    // format without key that is one below the item number: such a string takes the id type of
    // the item in front of it. Files depend on this, so it stays.
    QSV_IdType idType = ID_NONE;
    if (context.row != nullptr && rowItem < context.row->m_NumItems) {
        idType = context.row->m_ItemIdTypes[rowItem];
    }
    if (idType == ID_NONE) {
        StoreValue(where, static_cast<int32_t>(m_Helpers.m_StringsPool.AddString(text)));
    } else {
        const size_t mapIndex = IdMapOf(idType).FetchIdx(std::string(text));
        StoreValue(where, static_cast<int32_t>(mapIndex));
    }
}

size_t OnfBlock::LoadReals(LoadContext& context, unsigned char* where, size_t count, size_t token) {
    if (context.NumTokens() < token + count) {
        if (count == 6) {
            onf_detail::ThrowFailure(
                "101217102547", kTag,
                "Error in ONF-file \"%s\", line %Iu (in ONF data block %d):\nA tensor with 6 "
                "components is expected, but some values are missing!",
                context.FileUtf8().c_str(), context.lines.GetCurrentIdx(),
                static_cast<int>(m_BlockId));
        }
        onf_detail::ThrowFailure(
            "221112190655", kTag,
            "Error in ONF-file \"%s\", line %Iu (in ONF data block %d):\nA vector with 3 "
            "components is expected, but some values are missing!",
            context.FileUtf8().c_str(), context.lines.GetCurrentIdx(), static_cast<int>(m_BlockId));
    }
    const BlockDataType type = count == 6 ? BDT_TENSOR : BDT_VECTOR;
    for (size_t k = 0; k < count; ++k) {
        double value = 0.0;
        if (ParsePlainReal(context.Begin(token + k), context.End(token + k), value)) {
            StoreValue(where + k * sizeof(double), value);
            continue;
        }
        const char* const text = context.Text(token + k);
        StoreValue(where + k * sizeof(double), BrelonFormatUtil::str_to_double(text, nullptr));
        context.anyInvalid |= IsValueInvalid(text, type, context.counters);
    }
    return token + count;
}

size_t OnfBlock::LoadList(LoadContext& context, unsigned char* where, char c) {
    // The rest of the line counts as used up: whatever follows a list starts on a new line. The
    // larger of the two counts makes sure of that also when the list ran over several lines.
    const size_t tokensBefore = context.NumTokens();
    if (c == 'D') {
        auto values = std::make_unique<std::vector<double>>();
        StoreValue(where, static_cast<int32_t>(m_Helpers.m_RealLists.size()));
        onf_detail::read_real_list_views(context.lines, context.tokens, context.numTokens, *values);
        m_Helpers.m_RealLists.push_back(values.get());
        values.release();
    } else {
        std::vector<int>& values = context.intList;
        onf_detail::read_int_list_views(context.lines, context.tokens, context.numTokens, values);
        if (c == 'O') {
            QSV_ListFormatUtil::sort_remove_duplicates(values);
        }
        StoreValue(where, static_cast<int32_t>(AddPackedIntList(values)));
    }
    return std::max(tokensBefore, context.NumTokens()) + 1;
}

// A list that a load read goes into the packed pool; its entry, which gives it its reference,
// keeps its vectors empty until the list is asked for as a vector or changed.
size_t OnfBlock::AddPackedIntList(const std::vector<int>& values) {
    std::vector<BrelonOnfIntListEntry>& entries = m_Helpers.m_IntLists;
    const size_t reference = entries.size();
    entries.emplace_back();
    try {
        m_Helpers.m_PackedIntLists.AddList(reference, values.data(), values.size());
    } catch (...) {
        entries.pop_back();
        throw;
    }
    return reference;
}

// ---- Writing ----------------------------------------------------------------------------------

void OnfBlock::WriteBlock(TextLinesWriter& writer) const {
    const bool custom = m_BlockId < 0;
    const std::string number = custom ? std::string(ONF_NON_ONF) : std::to_string(m_BlockId);
    const std::string name = custom ? std::string(ONF_CUSTOM_BLOCK_NAME)
                                    : QSV_OnfInfoPool::GetOnfInfo(m_BlockId).GetBlockName();
    writer.WriteLine(ONF_COMMENT_MARK);
    writer.WriteLine(std::string(ONF_COMMENT_MARK) + " DATA BLOCK " + number + ": " + name);
    writer.WriteLine(ONF_COMMENT_MARK);
    if (!m_UserHeader.empty()) {
        writer.WriteLine(std::string(ONF_COMMENT_MARK) + " " + m_UserHeader);
        writer.WriteLine(ONF_COMMENT_MARK);
    }
    writer.WriteLine(ONF_BLOCK_MARKER);
    if (GetDescriptor().GetMask() != 2u) {
        WriteDescriptor(GetDescriptor(), writer);
    }
    if (custom) {
        WriteFormat(writer);
    }
    writer.WriteLine("   " + number);
    writer.WriteLine(std::to_string(GetNumRecords()));
    WriteRecordsInIdOrder(writer);
    writer.WriteLine(ONF_BLOCK_MARKER);
}

// Records go out in ascending order of their ids as unsigned numbers. A block read from a file
// that a writer made holds them so in index order already, which one pass tells; only a block
// in another order is sorted through a trie of its ids.
void OnfBlock::WriteRecordsInIdOrder(TextLinesWriter& writer) const {
    if (IdsAscendInIndexOrder(*this, m_FirstIndex, EndIndex())) {
        for (size_t index = m_FirstIndex; index < EndIndex(); ++index) {
            if (GetId(index) != ID_UNSET) {
                WriteRecord(index, writer);
            }
        }
    } else {
        BrelonRadixTrieMap<int, size_t> order;
        order.Reserve(m_Records.NumRecords());
        for (size_t index = m_FirstIndex; index < EndIndex(); ++index) {
            const int id = GetId(index);
            if (id != ID_UNSET) {
                order.Insert(id, index);
            }
        }
        for (const auto& pair : order) {
            WriteRecord(pair.second, writer);
        }
    }
    // A format that does not end in `b` leaves its last values in the shared line builder, where
    // they open the next record's line. At the end of the block they go out, so that nothing
    // is lost and nothing runs into another block.
    CsvLineWriter& line = m_Helpers.m_CsvWriter;
    if (!line.IsEmpty()) {
        writer.WriteLine(line.GetLine());
        line.Clear();
    }
}

// Descriptor and format lines go out whole: a value or format cut to a buffer would read back as
// another block, or as records of another layout.
void OnfBlock::WriteDescriptor(const QSV_DataDescriptor& descriptor,
                               TextLinesWriter& writer) const {
    writer.WriteLine(ONF_DESCRIPTOR_MARKER);
    for (int item = 0; item < QSV_DataDescriptor::NUM_ITEMS; ++item) {
        const auto index = static_cast<QSV_DataDescriptor::ResultIndex>(item);
        if (index == QSV_DataDescriptor::RI_ONF_ID || !descriptor.IsSet(index)) {
            continue;
        }
        const QSV_DataDescriptor::NameAndType& row = QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[item];
        std::string line = std::string(row.name) + "=";
        if (row.type == QSV_DataDescriptor::ITEM_TYPE_INTEGER) {
            line += std::to_string(descriptor.GetInteger(index));
        } else if (row.type == QSV_DataDescriptor::ITEM_TYPE_STRING) {
            line += descriptor.GetString(index);
        }
        writer.WriteLine(line);
    }
    writer.WriteLine(ONF_DESCRIPTOR_MARKER);
}

void OnfBlock::WriteFormat(TextLinesWriter& writer) const {
    writer.WriteLine(ONF_FORMAT_MARKER);
    writer.WriteLine("FORMAT=" + GetBlockFormatString());
    writer.WriteLine(ONF_FORMAT_MARKER);
}

namespace {
// The record line under construction and its value count.
struct RecordLine {
    CsvLineWriter& csv;
    TextLinesWriter& writer;
    size_t count = 0;

    void Flush() {
        writer.WriteLine(csv.GetLine());
        csv.Clear();
        count = 0;
    }
};

// String items. A reader splits a record line at commas outside double quotes and trims each
// token; quotes stay in the token. A string goes into its line as it stands whenever that gives
// it back unchanged, so the bytes of such files never change. Any other string would cost data,
// and often more than its own: a comma shifts every later value of the record, blanks at its
// ends are lost, a quote left open takes the values behind it along, a line break splits the
// line, and a line of its own that reads "   -1" ends the block. Such a string goes out between
// double quotes, with each quote inside it doubled, so that it reads back as one token: the
// quoted text, which a later write gives out unchanged. A line break cannot stand inside a line
// at all and is written as a blank.

bool IsLineBreak(char c) {
    return c == '\n' || c == '\r';
}

// Whether `text` reads back as itself when written bare. A quote left open runs to the end of
// the line, which is harmless only when nothing follows the string there (`endsLine`).
bool ReadsBackBare(const char* text, bool endsLine) {
    if (*text == '\0') {
        return true;
    }
    bool quoted = false;
    const char* c = text;
    for (; *c != '\0'; ++c) {
        if (*c == '"') {
            quoted = !quoted;
        } else if ((*c == ',' && !quoted) || IsLineBreak(*c)) {
            return false;
        }
    }
    return !IsBlank(*text) && !IsBlank(c[-1]) && (!quoted || endsLine);
}

// Appends string item `text` to `csv` in the form described above.
void AppendStringItem(CsvLineWriter& csv, const char* text, bool endsLine) {
    if (ReadsBackBare(text, endsLine)) {
        csv.AppendValue(text);
        return;
    }
    std::string safe;
    for (const char* c = text; *c != '\0'; ++c) {
        safe += IsLineBreak(*c) ? ' ' : *c;
    }
    if (!ReadsBackBare(safe.c_str(), endsLine)) {
        std::string quoted(1, '"');
        for (const char c : safe) {
            quoted += c;
            if (c == '"') {
                quoted += '"';
            }
        }
        safe = quoted + '"';
    }
    csv.AppendValue(safe.c_str());
}

// The key, as the reader took it: the name of a name key, else the number in the id field. A key
// character of another kind ("R|...") names the key's room in the record, not a value of its own,
// and a block without names for its keys (a custom block, one indexed by its keys) reads even an
// `S` key as a number. A format of marks alone ("|") has its key in the id field too, and the
// reader takes it from the record's first token as always, so the key is written then as well.
void WriteKey(const OnfBlock& block, size_t index, RecordLine& line, bool byName, bool endsLine) {
    if (byName && block.GetLayout()[0].m_Char == 'S') {
        AppendStringItem(line.csv, block.GetString(index, static_cast<OnfBlock::Item>(0)),
                         endsLine);
    } else {
        line.csv.AppendValue(block.GetId(index));
    }
    ++line.count;
}

// An integer, a real held in 4 bytes or a real, as the item of that type holds it.
void AppendScalar(CsvLineWriter& csv, BlockDataType type, const unsigned char* where) {
    if (type == BDT_INTEGER) {
        csv.AppendValue(LoadValue<int32_t>(where));
    } else if (type == BDT_FLOAT) {
        csv.AppendValue(static_cast<double>(LoadValue<float>(where)));
    } else {
        csv.AppendValue(LoadValue<double>(where));
    }
}

bool IsOptionalValue(char c) {
    return c == 'i' || c == 'f' || c == 'r';
}

// Whether the record's line ends behind `item`, with `count` values on it by then. A reader takes
// a value that the format marks optional (lower case) only from the line it is on, so the line
// never ends in front of one, whatever `b` or the ten values a line say: an optional value on a
// fresh line would be read as the next mandatory value or the next record. In front of a list,
// which starts on a line of its own, and at the record's end, which the next record's key must
// not share, the line always ends.
bool LineEndsBehind(const QSV_LayoutItem* items, size_t numItems, size_t item, size_t count) {
    if (item + 1 >= numItems) {
        return true;
    }
    const QSV_LayoutItem& layout = items[item];
    const QSV_LayoutItem& next = items[item + 1];
    if (!next.m_Mandatory) {
        return false;
    }
    return next.m_List != QSV_LayoutItem::LIST_KIND_NONE || layout.m_BreakBehind ||
           count % 10 == 0 || (IsOptionalValue(layout.m_Char) && layout.m_MandatoryBehind);
}
} // namespace

// One record as its layout says: the key, then the items in format order, at most ten values a
// line (counted in front of each mandatory value), a line ended where the format has `b`, and the
// values behind an optional value on a fresh line when a mandatory one follows, since a reader
// moves to the next line only when the tokens run out in front of a mandatory value. Every record
// ends its last line, also where the format does not end in `b`: a record's values left to open
// the next record's line would hide that record from a reader, which ignores what stands behind
// a record's last item. Optional values behind a list, up to the next mandatory value, are not
// written: a reader takes the rest of a list's line as used up, so no text can give them, and
// what a file held there is never more than an empty slot.
void OnfBlock::WriteRecord(size_t index, TextLinesWriter& writer) const {
    RecordLine line{m_Helpers.m_CsvWriter, writer};
    bool behindList = false;
    for (size_t item = 0; item < m_NumItems; ++item) {
        const QSV_LayoutItem& layout = m_RecMap[item];
        behindList = behindList && !layout.m_Mandatory;
        if (item > 0 && behindList) {
            continue;
        }
        if (item == 0) {
            WriteKey(*this, index, line, !m_DirectIndexed && IsKeyedByName(),
                     LineEndsBehind(m_RecMap, m_NumItems, 0, 1));
        } else if (layout.m_Char == 'S') {
            // A string's form depends on whether it ends its line.
            const bool endsLine = LineEndsBehind(m_RecMap, m_NumItems, item, line.count + 1);
            AppendStringItem(line.csv, GetString(index, static_cast<Item>(item)), endsLine);
            ++line.count;
        } else {
            WriteItem(index, item, layout.m_Char, line.csv, writer, line.count);
            behindList = layout.m_List != QSV_LayoutItem::LIST_KIND_NONE;
        }
        if (line.count > 0 && LineEndsBehind(m_RecMap, m_NumItems, item, line.count)) {
            line.Flush();
        }
    }
}

// Every item but a string, which WriteRecord writes, since its form depends on what follows it
// in the line.
void OnfBlock::WriteItem(size_t index, size_t item, char c, CsvLineWriter& csv,
                         TextLinesWriter& writer, size_t& count) const {
    const unsigned char* where = ItemPtr(index, item);
    switch (c) {
    case 'I':
    case 'i':
    case 'F':
    case 'f':
    case 'R':
    case 'r':
        AppendScalar(csv, m_RecMap[item].m_Type, where);
        ++count;
        break;
    case 'V':
    case 'T': {
        const size_t n = c == 'V' ? 3 : 6;
        for (size_t k = 0; k < n; ++k) {
            csv.AppendValue(LoadValue<double>(where + k * sizeof(double)));
        }
        count += n;
        break;
    }
    case 'L':
    case 'O': {
        const OnfIntListView list = GetIntListView(index, static_cast<Item>(item));
        onf_detail::write_int_list(list.begin(), list.size(),
                                   c == 'O' ? QSV_ListFormatUtil::INT_LIST_SORTED
                                            : QSV_ListFormatUtil::INT_LIST_ORDERED,
                                   writer, m_Helpers.m_LineFormatter);
        count = 0;
        break;
    }
    case 'D':
        QSV_ListFormatUtil::write_onf_real_list(GetRealList(index, static_cast<Item>(item)), writer,
                                                m_Helpers.m_LineFormatter);
        count = 0;
        break;
    default:
        // A character of no known type holds nothing, but a reader takes a token for it: a
        // placeholder keeps the values behind it in their places.
        csv.AppendValue(0);
        ++count;
        break;
    }
}

void OnfBlock::SaveData() const {}
