// The list text of ONF files: folding integer lists into runs, writing lists as lines, and
// reading them back from split lines with bounded expansion of runs.
#include "BrelonTextServices.h"
#include "QSV_Failure.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace {

const char* const kListTag = "|%P|BrelonUtilities|QSV_ListFormatUtil";
constexpr char kListSeparator[] = ", ";
static_assert(sizeof kListSeparator == 3, "the folder writes the separator's two bytes");
constexpr size_t kTokensPerLine = 10;

// Failure texts of the list readers: file (UTF-8) and the 1-based number of the line at fault
// come first in each.
const char* const kMsgMalformedInt =
    "Error in ONF-file \"%s\", line %Iu:\nThe list token \"%s\" is "
    "neither an integer nor a run of integers.";
const char* const kMsgMalformedReal =
    "Error in ONF-file \"%s\", line %Iu:\nThe list token \"%s\" is not a real value.";
const char* const kMsgOutOfRange = "Error in ONF-file \"%s\", line %Iu:\nThe list token \"%s\" "
                                   "holds a value outside the 32-bit integer range.";
const char* const kMsgBadStep =
    "Error in ONF-file \"%s\", line %Iu:\nThe list run \"%s\" has a step below 1.";
const char* const kMsgDescending =
    "Error in ONF-file \"%s\", line %Iu:\nThe list run \"%s\" ends below its first value.";
const char* const kMsgPastEnd =
    "Error in ONF-file \"%s\", line %Iu:\nThe list goes on past the last line of its block.";
const char* const kMsgEmptyContinuation =
    "Error in ONF-file \"%s\", line %Iu:\nThe list goes on in an empty line.";
const char* const kMsgTooLong =
    "Error in ONF-file \"%s\", line %Iu:\nThe list holds more than %Iu values.";
const char* const kMsgNoMemory =
    "Error in ONF-file \"%s\", %sline %Iu:\nThe list run \"%s\" makes the list %Iu values long, "
    "about %Iu MiB with what a list of ids makes beside it, but %Iu MiB of memory are left.";

// A run expands a few bytes of text into many values. Runs are checked against the memory the
// process may still take (large ones at once, small ones once they add up), counting for each
// value, besides its own 4 bytes, its index and id map entry where the list holds ids, so that a
// file expanding past what the machine holds fails in words before the allocation instead of
// with a bare std::bad_alloc.
constexpr size_t kBytesPerListValue = 16;

[[noreturn]] void FailAt(TextLinesProvider& lines, const char* format, const std::string& token) {
    std::string file = BrelonStringUtil::wide_to_utf8(lines.FileName().c_str());
    onf_detail::ThrowFailure(nullptr, kListTag, format, file.c_str(), lines.GetCurrentIdx(),
                             token.c_str());
}

[[noreturn]] void FailAt(TextLinesProvider& lines, const char* format, const char* begin,
                         const char* end) {
    FailAt(lines, format, std::string(begin, end));
}

// `runValues` of the run in `token` are about to make the list `numValues` long.
void CheckMemoryFor(TextLinesProvider& lines, const char* token, size_t numValues,
                    size_t runValues) {
    if (BrelonSysUtil::expansion_fits(runValues * kBytesPerListValue)) {
        return;
    }
    const size_t needed = numValues * kBytesPerListValue;
    const size_t left = BrelonSysUtil::memory_left();
    int number = 0;
    const std::string block =
        lines.GetBlockNumber(number) ? "block " + std::to_string(number) + ", " : std::string();
    const std::string file = BrelonStringUtil::wide_to_utf8(lines.FileName().c_str());
    onf_detail::ThrowFailure(nullptr, kListTag, kMsgNoMemory, file.c_str(), block.c_str(),
                             lines.GetCurrentIdx(), token, numValues, needed >> 20, left >> 20);
}

[[noreturn]] void FailTooLong(TextLinesProvider& lines) {
    std::string file = BrelonStringUtil::wide_to_utf8(lines.FileName().c_str());
    onf_detail::ThrowFailure(nullptr, kListTag, kMsgTooLong, file.c_str(), lines.GetCurrentIdx(),
                             QSV_ListFormatUtil::MAX_LIST_VALUES);
}

// Reads an optional sign and decimal digits at p, before `end`, into `value` (saturating far
// beyond 32 bits, so that no text overflows); false when there is no digit.
bool ReadInteger(const char*& p, const char* end, int64_t& value) {
    const bool negative = p < end && *p == '-';
    if (p < end && (*p == '+' || *p == '-')) {
        ++p;
    }
    if (p == end || *p < '0' || *p > '9') {
        return false;
    }
    int64_t magnitude = 0;
    for (; p < end && *p >= '0' && *p <= '9'; ++p) {
        magnitude = magnitude < (int64_t(1) << 40) ? magnitude * 10 + (*p - '0') : magnitude;
    }
    value = negative ? -magnitude : magnitude;
    return true;
}

bool FitsInt32(int64_t value) {
    return value >= INT32_MIN && value <= INT32_MAX;
}

// One token of an integer list: a value, "first-last" or "first-last:step".
struct IntListToken {
    int64_t first = 0;
    int64_t last = 0;
    int64_t step = 1;
};

// The token [token, end): its text is whole, with no NUL in it.
void ParseIntToken(TextLinesProvider& lines, const char* token, const char* end,
                   IntListToken& out) {
    const char* p = token;
    if (!ReadInteger(p, end, out.first)) {
        FailAt(lines, kMsgMalformedInt, token, end);
    }
    out.last = out.first;
    out.step = 1;
    if (p < end && *p == '-') {
        ++p;
        if (!ReadInteger(p, end, out.last)) {
            FailAt(lines, kMsgMalformedInt, token, end);
        }
        if (p < end && *p == ':') {
            ++p;
            if (!ReadInteger(p, end, out.step)) {
                FailAt(lines, kMsgMalformedInt, token, end);
            }
        }
    }
    if (p != end) {
        FailAt(lines, kMsgMalformedInt, token, end);
    }
    // The writer folds only ascending runs with a step of 1 or more, all within 32 bits. A run
    // that ends below its start or steps beyond 32 bits is no text it wrote: reading it as no
    // value or as its first value alone would drop values without a word, so it fails.
    if (!FitsInt32(out.first) || !FitsInt32(out.last) || !FitsInt32(out.step)) {
        FailAt(lines, kMsgOutOfRange, token, end);
    }
    if (out.step < 1) {
        FailAt(lines, kMsgBadStep, token, end);
    }
    if (out.last < out.first) {
        FailAt(lines, kMsgDescending, token, end);
    }
}

// Appends the values of one token, refusing to let the list grow past MAX_LIST_VALUES. All
// arithmetic is in 64 bits over 32-bit first, last and step, so no value wraps.
void AppendIntToken(TextLinesProvider& lines, const char* token, const char* end,
                    std::vector<int>& values) {
    // A plain value, the common token, goes straight in.
    const char* p = token;
    int64_t value = 0;
    if (ReadInteger(p, end, value) && p == end && FitsInt32(value)) {
        if (values.size() >= QSV_ListFormatUtil::MAX_LIST_VALUES) {
            FailTooLong(lines);
        }
        values.push_back(int(value));
        return;
    }
    IntListToken run;
    ParseIntToken(lines, token, end, run);
    const uint64_t count = uint64_t(run.last - run.first) / uint64_t(run.step) + 1;
    if (count > QSV_ListFormatUtil::MAX_LIST_VALUES - values.size()) {
        FailTooLong(lines);
    }
    if (count == 1) {
        values.push_back(int(run.first));
        return;
    }
    CheckMemoryFor(lines, token, values.size() + size_t(count), size_t(count));
    // Geometric growth: reserving just the run would copy the whole list once per run.
    const size_t start = values.size();
    if (values.capacity() - start < count) {
        values.reserve(std::max(start + size_t(count), 2 * values.capacity()));
    }
    values.resize(start + size_t(count));
    int* out = values.data() + start;
    value = run.first;
    for (uint64_t k = 0; k < count; ++k, value += run.step) {
        out[k] = int(value);
    }
}

void AppendRealToken(TextLinesProvider& lines, const char* token, const char* tokenEnd,
                     std::vector<double>& values) {
    // The conversion reads a NUL-terminated text.
    const std::string text(token, tokenEnd);
    const char* end = nullptr;
    double value = BrelonFormatUtil::str_to_double(text.c_str(), &end);
    if (end == text.c_str() || *end != '\0') {
        FailAt(lines, kMsgMalformedReal, text);
    }
    if (values.size() >= QSV_ListFormatUtil::MAX_LIST_VALUES) {
        FailTooLong(lines);
    }
    values.push_back(value);
}

// The tokens of a list's current line as the shared splitter holds them, NUL-terminated.
class SplitterTokens {
public:
    explicit SplitterTokens(TextLineSplitter& splitter) : m_Splitter(splitter) {}
    size_t Count() const { return m_Splitter.GetNumTokens(); }
    const char* Begin(size_t i) const { return m_Splitter.GetToken(i); }
    const char* End(size_t i) const { return Begin(i) + std::strlen(Begin(i)); }
    void Split(const char* line) {
        m_Splitter.SplitLine(line, TextLineSplitter::SPLIT_KEEP_QUOTED, ',', '"');
    }

private:
    TextLineSplitter& m_Splitter;
};

// The tokens of a list's current line as views into the line (onf_detail::split_record_line).
class ViewTokens {
public:
    ViewTokens(std::vector<onf_detail::TokenView>& tokens, size_t& count)
        : m_Tokens(tokens), m_Count(count) {}
    size_t Count() const { return m_Count; }
    const char* Begin(size_t i) const { return m_Tokens[i].begin; }
    const char* End(size_t i) const { return m_Tokens[i].end; }
    void Split(const char* line) { m_Count = onf_detail::split_record_line(line, m_Tokens); }

private:
    std::vector<onf_detail::TokenView>& m_Tokens;
    size_t& m_Count;
};

// Walks the list's lines: hands each token to `append` and pulls the next line while the current
// one ends in the separator (its last token is empty). The first line is already split.
// Room for one value a token is made line by line, growing the list geometrically, so that a
// short list takes one allocation and a long one no more than a doubling vector would.
template <typename Tokens, typename T, typename AppendToken>
void ReadListLines(TextLinesProvider& lines, Tokens& tokens, std::vector<T>& values,
                   AppendToken append) {
    if (tokens.Count() == 0) {
        return; // the empty list
    }
    for (;;) {
        const size_t numTokens = tokens.Count();
        const bool goesOn =
            numTokens > 1 && tokens.Begin(numTokens - 1) == tokens.End(numTokens - 1);
        const size_t numValues = goesOn ? numTokens - 1 : numTokens;
        if (values.capacity() - values.size() < numValues) {
            values.reserve(std::max(values.size() + numValues, 2 * values.capacity()));
        }
        for (size_t i = 0; i < numValues; ++i) {
            append(tokens.Begin(i), tokens.End(i));
        }
        if (!goesOn) {
            return;
        }
        const char* line = lines.ExtractLine();
        if (line == nullptr) {
            FailAt(lines, kMsgPastEnd, "");
        }
        tokens.Split(line);
        if (tokens.Count() == 0) {
            FailAt(lines, kMsgEmptyContinuation, "");
        }
    }
}

template <typename Tokens>
void ReadIntList(TextLinesProvider& lines, Tokens& tokens, std::vector<int>& values) {
    values.clear();
    ReadListLines(lines, tokens, values, [&](const char* begin, const char* end) {
        AppendIntToken(lines, begin, end, values);
    });
}

template <typename Tokens>
void ReadRealList(TextLinesProvider& lines, Tokens& tokens, std::vector<double>& values) {
    values.clear();
    ReadListLines(lines, tokens, values, [&](const char* begin, const char* end) {
        AppendRealToken(lines, begin, end, values);
    });
}

bool IsStrictlyAscending(const int* values, size_t count) {
    return std::adjacent_find(values, values + count, [](int a, int b) { return a >= b; }) ==
           values + count;
}

} // namespace

onf_detail::IntListFolder::IntListFolder(const int* values, size_t count)
    : m_Values(values), m_Count(values != nullptr ? count : 0) {}

// Writes the token that starts at m_Next to `out` (TOKEN_BYTES at most), leaves m_Next on its
// last value and returns the end.
char* onf_detail::IntListFolder::AppendToken(char* out) {
    size_t i = m_Next;
    size_t j = i + 1;
    int64_t step = 0;
    if (i + 2 < m_Count) {
        step = int64_t(m_Values[i + 1]) - m_Values[i];
        while (j + 1 < m_Count && step >= 1 && int64_t(m_Values[j + 1]) - m_Values[j] == step) {
            ++j;
        }
    }
    out += format_int(m_Values[i], out);
    if (j > i + 1) {
        *out++ = '-';
        out += format_int(m_Values[j], out);
        if (step != 1) {
            *out++ = ':';
            out += format_int(int(step), out);
        }
        m_Next = j;
    }
    return out;
}

// A line's tokens go into a buffer of the longest line and then into `line` at once.
bool onf_detail::IntListFolder::AppendNextLine(std::string& line) {
    if (m_Next >= m_Count) {
        return false;
    }
    char buffer[kTokensPerLine * (TOKEN_BYTES + 2)];
    char* out = buffer;
    while (m_Next < m_Count) {
        out = AppendToken(out);
        ++m_NumTokens;
        bool isLast = m_Next + 1 == m_Count;
        ++m_Next;
        if (!isLast) {
            *out++ = kListSeparator[0];
            *out++ = kListSeparator[1];
            if (m_NumTokens % kTokensPerLine == 0) {
                break;
            }
        }
    }
    line.append(buffer, static_cast<size_t>(out - buffer));
    return true;
}

void onf_detail::fold_int_list(const int* values, size_t count, std::string& out) {
    IntListFolder folder(values, count);
    bool first = true;
    while (!folder.IsDone()) {
        if (!first) {
            out += '\n';
        }
        folder.AppendNextLine(out);
        first = false;
    }
}

void QSV_ListFormatUtil::read_onf_int_list(TextLinesProvider& lines, std::vector<int>& values,
                                           TextLineSplitter& splitter) {
    SplitterTokens tokens(splitter);
    ReadIntList(lines, tokens, values);
}

void QSV_ListFormatUtil::read_onf_real_list(TextLinesProvider& lines, std::vector<double>& values,
                                            TextLineSplitter& splitter) {
    SplitterTokens tokens(splitter);
    ReadRealList(lines, tokens, values);
}

void onf_detail::read_int_list_views(TextLinesProvider& lines, std::vector<TokenView>& tokens,
                                     size_t& numTokens, std::vector<int>& values) {
    ViewTokens views(tokens, numTokens);
    ReadIntList(lines, views, values);
}

void onf_detail::read_real_list_views(TextLinesProvider& lines, std::vector<TokenView>& tokens,
                                      size_t& numTokens, std::vector<double>& values) {
    ViewTokens views(tokens, numTokens);
    ReadRealList(lines, views, values);
}

// An empty list is written as one empty line: the splitter gives it no token, which reads back as
// the empty list, while "0" would read back as a list holding 0.
void QSV_ListFormatUtil::write_onf_int_list(const std::vector<int>& values, IntListType type,
                                            TextLinesWriter& writer, TextLineFormatter& formatter) {
    onf_detail::write_int_list(values.data(), values.size(), type, writer, formatter);
}

void onf_detail::write_int_list(const int* values, size_t count,
                                QSV_ListFormatUtil::IntListType type, TextLinesWriter& writer,
                                TextLineFormatter& formatter) {
    std::vector<int> sorted;
    if (type == QSV_ListFormatUtil::INT_LIST_SORTED && !IsStrictlyAscending(values, count)) {
        sorted.assign(values, values + count);
        QSV_ListFormatUtil::sort_remove_duplicates(sorted);
        values = sorted.data();
        count = sorted.size();
    }
    std::string& line = formatter.GetListLine();
    line.clear();
    if (count == 0) {
        writer.WriteLine(line.c_str());
        return;
    }
    IntListFolder folder(values, count);
    while (folder.AppendNextLine(line)) {
        writer.WriteLine(line.c_str());
        line.clear();
    }
}

void QSV_ListFormatUtil::write_onf_int_list(const std::vector<int>& values, int type,
                                            TextLinesWriter& writer, TextLineFormatter& formatter) {
    write_onf_int_list(values, type == INT_LIST_SORTED ? INT_LIST_SORTED : INT_LIST_ORDERED, writer,
                       formatter);
}

void QSV_ListFormatUtil::write_onf_real_list(const std::vector<double>& values,
                                             TextLinesWriter& writer,
                                             TextLineFormatter& formatter) {
    const FloatingPointFormatter& numbers = formatter.GetFloatingPointFormatter();
    std::string& line = formatter.GetListLine();
    line.clear();
    for (size_t i = 0; i < values.size(); ++i) {
        numbers.Append(values[i], line);
        if (i + 1 == values.size()) {
            break;
        }
        line += kListSeparator;
        if ((i + 1) % kTokensPerLine == 0) {
            writer.WriteLine(line.c_str());
            line.clear();
        }
    }
    writer.WriteLine(line.c_str());
    line.clear();
}

void QSV_ListFormatUtil::sort_remove_duplicates(std::vector<int>& values) {
    if (IsStrictlyAscending(values.data(), values.size())) {
        return;
    }
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}
