// Text services: the abstract line sink, the record line builder, the text form of reals, the
// list text of ONF files, and small helpers for numbers, strings, paths, files, streams and
// environment flags. Line input (providers, the splitter, is_int, the UTF-8 conversions) lives in
// BrelonLineInput.h; BrelonFormatUtil and BrelonStringUtil are namespaces that both headers extend.
#pragma once

#include "BrelonLineInput.h"

#include <cstddef>
#include <cstdio>
#include <fstream>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

// Abstract line sink: receives whole lines without their line end. A derived class that
// overrides WriteLine(const char*) should add `using TextLinesWriter::WriteLine;` to keep the
// std::string form visible.
class TextLinesWriter {
public:
    TextLinesWriter();
    virtual ~TextLinesWriter();
    // Takes one line (NUL-terminated, no line end); may throw QSV_Failure when it cannot write.
    virtual void WriteLine(const char* line) = 0;
    // Lines taken since construction or the last ClearLines().
    virtual size_t GetNumLinesWritten() const = 0;
    // Forgets the lines taken so far (what that means beyond the count is the sink's business).
    virtual void ClearLines() = 0;
    // Forwards to WriteLine(line.c_str()).
    void WriteLine(const std::string& line) { WriteLine(line.c_str()); }
};

// The text form of reals, chosen so that every double reads back through
// BrelonFormatUtil::str_to_double to the same 64 bits:
//   finite values: the shortest text that reads back exactly (std::to_chars without a format),
//                  e.g. "0.1", "1", "-2.5e-07", "1e+300", "5e-324"; negative zero is "-0";
//   infinities:    "inf" and "-inf";
//   NaN:           "nan" and "-nan" for the default quiet NaN (only the sign bit may differ from
//                  0x7ff8000000000000); any other NaN "nan(0x<m>)" or "-nan(0x<m>)", where <m> is
//                  the 52-bit significand field in lower-case hex without leading zeros.
// Stateless and cheap; any number of objects agree.
class FloatingPointFormatter {
public:
    // Bytes a buffer handed to Format() must offer: the longest text plus the NUL.
    static constexpr size_t MAX_TEXT_SIZE = 32;

    FloatingPointFormatter() = default;
    // Writes the text of `value` and a NUL into `buffer` (MAX_TEXT_SIZE bytes at least) and
    // returns the length without the NUL.
    size_t Format(double value, char* buffer) const;
    // Appends the text of `value` to `out`.
    void Append(double value, std::string& out) const;
    // The text of `value`.
    std::string ToString(double value) const;
};

// Builds one line of values with a fixed separator between them, for a sink to take as a whole.
// `capacity` is the initial buffer size: the line grows beyond it and never cuts a value, and the
// buffer keeps its size after Clear(), so a reused writer does not allocate in steady state.
class CsvLineWriter {
public:
    // The engine passes 1024 and ", ".
    CsvLineWriter(size_t capacity, const std::string& separator);
    // Each appends the separator unless no value was appended since the last Clear(), then the
    // value: an integer in plain decimal, a real in the FloatingPointFormatter form, a text as it
    // stands (null is taken as the empty text; an empty text still counts as a value).
    void AppendValue(int value);
    void AppendValue(double value);
    void AppendValue(const char* text);
    // The line so far, NUL-terminated; valid until the next Append or Clear.
    const char* GetLine() const { return m_Buffer.data(); }
    size_t GetLength() const { return m_Length; }
    // Values appended since the last Clear().
    size_t GetNumValues() const { return m_NumValues; }
    // Empties the line; the buffer keeps its size.
    void Clear();
    // True when no value was appended since the last Clear().
    bool IsEmpty() const { return m_NumValues == 0; }
    const std::string& GetSeparator() const { return m_Separator; }

private:
    // Room for `extra` bytes and a NUL behind the line; where they go. Inline: every value of
    // every record line passes here.
    char* Reserve(size_t extra) {
        if (m_Length + extra + 1 > m_Buffer.size()) {
            Grow(m_Length + extra + 1);
        }
        return m_Buffer.data() + m_Length;
    }
    void Grow(size_t needed);
    // The separator in front of every value but the first, at `p`; returns the end.
    char* BeginValue(char* p) {
        if (m_NumValues++ > 0) {
            for (const char c : m_Separator) {
                *p++ = c;
            }
        }
        return p;
    }

    std::vector<char> m_Buffer;
    size_t m_Length = 0;
    size_t m_NumValues = 0;
    std::string m_Separator;
    FloatingPointFormatter m_Formatter;
};

// Handed to the list writers: knows the database's record line builder and keeps the list
// writers' own line buffer, so that writing a list neither touches the record line under
// construction nor allocates once the buffer has grown.
class TextLineFormatter {
public:
    // `lineWriter` is not owned and may be null; it must outlive this object.
    explicit TextLineFormatter(CsvLineWriter* lineWriter);
    virtual ~TextLineFormatter();
    CsvLineWriter* GetLineWriter() const { return m_LineWriter; }
    // The scratch line of the list writers; its contents are theirs between two calls.
    std::string& GetListLine() { return m_ListLine; }
    const FloatingPointFormatter& GetFloatingPointFormatter() const { return m_Formatter; }

private:
    CsvLineWriter* m_LineWriter;
    std::string m_ListLine;
    FloatingPointFormatter m_Formatter;
};

namespace BrelonFormatUtil {
// How a number text reads as a real. The block loader counts bad values by this state.
enum NumericValueState {
    // A real that is not integer-shaped (decimal point or exponent), or integer-shaped text
    // beyond the 32-bit range; also an underflow such as "1e-400", which reads as 0 or a
    // subnormal value.
    NVS_VALID = 0,
    // Integer-shaped text in the 32-bit range ("7", "-12", "+3": the caller accepts it when
    // is_int() holds), and everything that is no number: empty text, "abc", "1.5x", "1e",
    // "--1", text with blanks in it.
    NVS_INVALID = 1,
    // "inf", "-Infinity" (any case), and a finite-looking text whose value overflows, such as
    // "1e999" (it reads as an infinity).
    NVS_INFINITE = 2,
    // "nan", "-NaN", "nan(0x1)" (any case): what the formatter writes for a NaN.
    NVS_NAN = 3,
};

// Classifies the first `length` bytes of `text` (no NUL needed; the whole text must be the number,
// no leading or trailing blanks).
NumericValueState is_valid_double(const char* text, size_t length);

// Reads a real like strtod in the "C" locale, rounding exactly: leading whitespace (blank, 9 to 13)
// is skipped; then an optional sign and either decimal digits with an optional point and exponent
// ("1.5", "-2e-3", "+7", "1.E5", ".5"), "inf", "infinity" or "nan" in any case, or the
// formatter's "nan(0x<hex>)". Overflow gives an infinity, underflow 0 or a subnormal value.
// Stops at the first byte that cannot continue the number; `*end` (if `end` is not null) then
// points there, or at `text` when no number was found, in which case the result is 0.
double str_to_double(const char* text, const char** end);

// Plain decimal text of `value`, with a leading "-" when negative.
std::string int_to_str(int value);
} // namespace BrelonFormatUtil

using NumericValueState = BrelonFormatUtil::NumericValueState;

namespace BrelonStringUtil {
// Shortest text that reads back to the same double, as FloatingPointFormatter writes it
// ("0.5", "1", "1e+20", "-0", "inf", "nan").
std::string String(double value);
// True when `text` has at least two bytes and both the first and the last are `quote`. A lone
// quote character is not a quoted text.
bool is_quoted_str(const std::string& text, char quote);
// text = prefix + text + suffix; when is_quoted_str(text, quote) the prefix goes behind the
// opening quote and the suffix in front of the closing one, so the quotes stay at the ends.
void extend_quoted_str(std::string& text, const std::string& prefix, const std::string& suffix,
                       char quote);
} // namespace BrelonStringUtil

// Files by wide name. Wide names are converted to UTF-8 paths (an invalid sequence becomes U+FFFD).
class BrelonFileUtil {
public:
    // True when `name` names an existing file system entry that is not a directory.
    static bool FileExists(const std::wstring& name);
    // fopen with a wide name and mode. "wt" and "at" open as "w" and "a" (any "t" is dropped);
    // null on failure (errno as fopen leaves it) or when either argument is null.
    static FILE* wfopen(const wchar_t* name, const wchar_t* mode);
};

// A file being written so that its old content survives a failed write. Opened to replace a file,
// it writes a temporary file beside the target and puts it in the target's place only when the
// new content is complete (Commit); until then, and whenever writing or completing fails, the old
// file stays as it was. Targets that must not be replaced are written in place:
//   - a symbolic link is followed, and the file it names is replaced (the link stays a link);
//   - a device, a pipe or another file that is not a regular one is written directly, never
//     replaced or removed (its content cannot be kept anyway);
//   - a regular file with more than one name (hard links), or one in a folder where no temporary
//     file can be made, is staged in a temporary file and copied into place on Commit, so that
//     its other names see the new content; a failure before Commit leaves it untouched.
// A replaced file keeps its permission bits (and, where the process may set them, its owner and
// group). Opened to append, the file is written in place and a failure cuts it back to its old
// length. Errors come back as false with errno set; the caller words them.
class BrelonOutputFile {
public:
    enum Mode {
        REPLACE = 0, // the new content replaces the file (or makes it)
        APPEND = 1,  // the new content goes behind the file's content (or makes it)
    };

    BrelonOutputFile() = default;
    // Writes to an open stream, which it does not own: Commit only flushes it.
    explicit BrelonOutputFile(FILE* stream);
    // Discards what was written unless Commit has completed the file.
    ~BrelonOutputFile();
    BrelonOutputFile(const BrelonOutputFile&) = delete;
    BrelonOutputFile& operator=(const BrelonOutputFile&) = delete;

    // Opens `path` (UTF-8) for writing. False, with errno set and nothing changed, when the file
    // cannot be written: a missing folder, a folder in its place, a file the process may not
    // write (read-only, immutable), and the like.
    bool Open(const std::string& path, Mode mode);
    bool IsOpen() const { return m_Stream != nullptr; }
    // Writes bytes; false with errno set when the stream has failed. Buffered: an error of the
    // file system may show only at Flush or Commit.
    bool Write(const char* bytes, size_t size);
    // Writes `line` (up to its NUL) and a line feed, as Write does.
    bool PutLine(const char* line);
    // Hands what is buffered to the system; false with errno set when that fails.
    bool Flush();
    // The stream, for a writer that writes to a FILE* itself; null when none is open. What it
    // writes past a failure shows in ferror, and Flush, Store and Commit fail then.
    FILE* GetStream() const { return m_Stream; }
    // Completes the file but for putting it in place: flushes it, has the system store it and
    // closes it. The following Commit only puts it in place, so that a caller writing several
    // files stores every one before any replaces its old file. False with errno set when a step
    // fails; the new content is then discarded, as by Commit.
    bool Store();
    // Completes the file: flushes it, has the system store it (fsync), closes it and puts it in
    // place of the old file. False with errno set when any step fails; the new content is then
    // discarded and the old file is as it was (a file staged for copying can be cut short only
    // when the copy itself fails). Closed afterwards in either case.
    bool Commit();
    // Gives up what was written: a temporary file is removed, an appended file cut back to its
    // old length; a file written directly keeps what reached it. Closed afterwards.
    void Discard();

    // Removes the temporary files of every output file of the process that is neither committed
    // nor discarded. Async-signal-safe: meant for a program's handler of a signal that ends it.
    static void RemoveTemporaries();
    // Test seam: from now on the `n`-th write, flush or step of completing a file (1: the next
    // one) fails with `error`, and with `persistent` every one after it as well, until this is
    // called again; n = 0 ends the plan. Returns how many operations the plan it ends has made
    // fail. Process-wide, for tests of the callers' failure paths.
    static size_t InjectFaults(size_t n, int error, bool persistent);

private:
    enum Kind {
        BORROWED, // a stream of the caller's
        DIRECT,   // the target itself, not regular: written in place
        RENAMED,  // a temporary file that replaces the target
        COPIED,   // a temporary file copied into the target
        APPENDED, // the target itself, cut back on failure
    };
    bool OpenReplacing(const std::string& path);
    bool OpenAppending(const std::string& path);
    bool OpenTemporary(const std::string& folder, const std::string& name);
    bool CommitTemporary();
    bool CopyIntoTarget();
    void Forget();

    FILE* m_Stream = nullptr;
    Kind m_Kind = BORROWED;
    std::string m_Target;    // the file that Commit completes
    std::string m_Temporary; // the temporary file of RENAMED and COPIED
    int m_Slot = -1;         // its entry for RemoveTemporaries, -1 when it has none
    bool m_Stored = false;   // stored and closed, not yet in place
    long long m_OldSize = 0; // APPENDED: the length to cut back to
    int m_RollbackFd = -1;   // APPENDED: a descriptor that outlives the stream
};

// The stream buffer of a std::ostream that writes into a BrelonOutputFile, for text made with
// stream operators. A write the file refuses makes the stream fail; the file stays open, and its
// owner commits or discards it.
class BrelonOutputFileBuf : public std::streambuf {
public:
    explicit BrelonOutputFileBuf(BrelonOutputFile& file);
    ~BrelonOutputFileBuf() override;

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    bool Drain();

    BrelonOutputFile& m_File;
    char m_Buffer[1 << 13];
};

// Paths as wide strings, with "/" as the folder separator.
namespace BrelonFileNameUtil {
// path = folder + "/" + name; no separator is added when `folder` is empty or ends in "/", and
// `name` alone is taken when it is absolute (starts with "/"). `path` may alias an argument.
void make_path(const std::wstring& folder, const std::wstring& name, std::wstring& path);
// True when the last path component has a "." that is neither its first nor its last character
// ("a.onf" yes; "a", ".profile", "a.", "dir.d/a" no).
bool path_has_ext(const std::wstring& path);
// out = path with its extension (as path_has_ext sees it, and a trailing ".") replaced by `ext`;
// `ext` comes without its dot (a leading dot is tolerated) and an empty `ext` removes the
// extension. `out` may alias `path`.
void path_set_ext(const std::wstring& path, const std::wstring& ext, std::wstring& out);
} // namespace BrelonFileNameUtil

namespace BrelonStream {
// Modes of create_ofstream.
enum OfstreamMode {
    // Write at the end of the file, creating it if needed.
    OFSTREAM_APPEND = 1,
    // Create the file or empty it, then write (what the engine passes).
    OFSTREAM_TRUNCATE = 2,
};
// An output file stream on `name` (binary: bytes go out as they are), owned by the caller; null
// when the file cannot be opened or `mode` is neither 1 nor 2.
std::unique_ptr<std::ofstream> create_ofstream(const std::wstring& name, int mode);
} // namespace BrelonStream

namespace BrelonSysUtil {
// True when the environment variable `name` is set and its value is neither empty nor one of
// "0", "false", "no", "off" in any case. False for a null name.
bool is_env_flag_set(const char* name);
// Bytes of memory this process may still take, as far as the system tells: the memory the system
// has available, within the process's limits on address space and data (RLIMIT_AS, RLIMIT_DATA)
// and its container's limit (cgroup memory.max). SIZE_MAX where none of these can be read. A
// snapshot for checks ahead of large allocations, not a promise.
size_t memory_left();
// Whether `bytes` more, into which a few bytes of text are about to expand, fit the memory left.
// Asking the system costs a few file reads, so expansions are summed on each thread and asked
// about once they come to a few megabytes: many small ones are caught as surely as one large one,
// before the allocation that would fail.
bool expansion_fits(size_t bytes);
} // namespace BrelonSysUtil

// Reads one line like std::getline and drops its line end, LF or CR LF (a CR in front of the end
// of the stream is dropped too). Returns `is`; fails as std::getline does.
std::istream& getline_dosunix(std::istream& is, std::string& line);

// The list text of ONF files. Tokens are separated by ", "; a token is a value, a run
// "first-last" (step 1) or a run "first-last:step" (step 1 or more), the last value at or above
// the first. A line that ends in the separator goes on in the next line.
// An empty list is one empty line. Reals are plain values, ten a line.
namespace QSV_ListFormatUtil {
// How write_onf_int_list treats the list.
enum IntListType {
    // Written sorted ascending without repeats (a copy is sorted when the list is not already).
    INT_LIST_SORTED = 1,
    // Written in the given order.
    INT_LIST_ORDERED = 2,
};

// The most values one list may hold when read. Runs expand to their values, so a short text such
// as "1-2000000000" could otherwise ask for gigabytes; the reader fails beyond this.
constexpr size_t MAX_LIST_VALUES = size_t(1) << 26;

// Reads a list into `values` (replacing what it held). On entry `splitter` holds the list's first
// line, split; further lines come from `lines` and are split by `splitter` with mode 1, separator
// "," and quote '"'. On return `lines` stands behind the list's last line. Throws QSV_Failure
// (tag "|%P|BrelonUtilities|QSV_ListFormatUtil") for a malformed token, a value or step outside
// 32 bits, a step below 1, a run that ends below its first value, a list that goes on past the last
// line, or more than MAX_LIST_VALUES values.
void read_onf_int_list(TextLinesProvider& lines, std::vector<int>& values,
                       TextLineSplitter& splitter);
// The same for reals; tokens are plain values in any form str_to_double reads in full.
void read_onf_real_list(TextLinesProvider& lines, std::vector<double>& values,
                        TextLineSplitter& splitter);
// Writes `values` as whole lines to `writer`, ascending runs folded (onf_detail::IntListFolder),
// ten tokens a line. The formatter's record line is left as it is.
void write_onf_int_list(const std::vector<int>& values, IntListType type, TextLinesWriter& writer,
                        TextLineFormatter& formatter);
// The same with the type as a number (1 sorted, 2 in the given order; other values as 2).
void write_onf_int_list(const std::vector<int>& values, int type, TextLinesWriter& writer,
                        TextLineFormatter& formatter);
// Writes `values` in the FloatingPointFormatter form, ten a line.
void write_onf_real_list(const std::vector<double>& values, TextLinesWriter& writer,
                         TextLineFormatter& formatter);
// Sorts ascending and removes repeats.
void sort_remove_duplicates(std::vector<int>& values);
} // namespace QSV_ListFormatUtil

namespace onf_detail {
// Folds an integer list into its text, one line at a time. Every writer of integer lists (the
// block writer above and the stream-format list) uses this, so that both write the same text:
// from index i, a run of at least three values with one step d >= 1 folds to "first-last" (d 1)
// or "first-last:d"; no run starts at one of the last two values; tokens are separated by ", ";
// after every tenth token's ", " the line ends (so a continued line ends in ", ").
class IntListFolder {
public:
    // `values` must outlive the folder and stay unchanged while it is used.
    IntListFolder(const int* values, size_t count);
    // Appends the next line's text, without a line end, to `line`; false (and nothing appended)
    // when all values have been folded. An empty list yields no line at all.
    bool AppendNextLine(std::string& line);
    bool IsDone() const { return m_Next >= m_Count; }

private:
    // The longest token: "first-last:step", three 32-bit integers with signs.
    static constexpr size_t TOKEN_BYTES = 3 * 11 + 2;
    char* AppendToken(char* out);

    const int* m_Values;
    size_t m_Count;
    size_t m_Next = 0;
    size_t m_NumTokens = 0;
};

// read_onf_int_list and read_onf_real_list on lines cut in place: on entry the first `numTokens`
// views of `tokens` are the list's first line as split_record_line cuts it; further lines are
// cut into `tokens` the same way, and on return the first `numTokens` views are those of the
// list's last line. The same text, values and failures as the splitter's readers.
void read_int_list_views(TextLinesProvider& lines, std::vector<TokenView>& tokens,
                         size_t& numTokens, std::vector<int>& values);
void read_real_list_views(TextLinesProvider& lines, std::vector<TokenView>& tokens,
                          size_t& numTokens, std::vector<double>& values);
// write_onf_int_list for `count` values at `values`, held anywhere.
void write_int_list(const int* values, size_t count, QSV_ListFormatUtil::IntListType type,
                    TextLinesWriter& writer, TextLineFormatter& formatter);

// Appends the whole folded text of `values` to `out`: the lines of IntListFolder joined by "\n",
// with no line end behind the last token. Nothing for an empty list.
void fold_int_list(const int* values, size_t count, std::string& out);

// Writes `value` in plain decimal to `buffer` (12 bytes at least, no NUL written) and returns the
// length. Two digits at a time; the engine's fast path for integers in text.
size_t format_int(int value, char* buffer);

// A line sink that keeps the lines in memory: for tests and for callers that want the text.
class VectorLinesWriter : public TextLinesWriter {
public:
    using TextLinesWriter::WriteLine;
    void WriteLine(const char* line) override { m_Lines.emplace_back(line ? line : ""); }
    size_t GetNumLinesWritten() const override { return m_Lines.size(); }
    void ClearLines() override { m_Lines.clear(); }
    const std::vector<std::string>& GetLines() const { return m_Lines; }

private:
    std::vector<std::string> m_Lines;
};
} // namespace onf_detail
