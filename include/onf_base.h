// Stream primitives of the optimisation result file: the shared line counter, the separator and
// line-end manipulators, and the two base classes of stream items and stream files.
#pragma once

#include <istream>
#include <string>

class TextLinesProvider;

// Lines consumed so far by the stream readers, for messages only. Every ONFFile constructor but
// the copy (and move) constructor sets it to 0; reading never resets it. Not thread-safe.
extern int ONF_LINE_NR;

// Manipulator (`is >> get_newline`): consumes one line end if it stands next. Otherwise logs at
// detail or trace level and returns; never throws, never touches the stream state.
std::istream& get_newline(std::istream& is);

// Manipulator (`is >> get_separator`): skips whitespace, line ends included, then reads one byte,
// which must be ','. Throws QSV_Failure "161000150210" otherwise or on a failed stream.
std::istream& get_separator(std::istream& is);

// Consumes one line end (CR LF, LF or a lone CR) if it stands next, counting it in ONF_LINE_NR.
// Returns false and consumes nothing, not even blanks, otherwise.
bool onf_check_if_newline(std::istream& is);

// Counts one line in ONF_LINE_NR (also when the read fails), then reads one line, dropping its
// LF or CR LF. Returns the stream.
std::istream& onf_getline_dosunix(std::istream& is, std::string& text);

// The tail of stream-route messages: "." before any line was counted, else " in line N.".
std::string onf_line_nr_msg();

// Base of the identified stream items (the groups).
class ONFBaseItem {
public:
    explicit ONFBaseItem(int id);
    ONFBaseItem(const ONFBaseItem& other) = default;
    ONFBaseItem& operator=(const ONFBaseItem& other) = default;
    virtual ~ONFBaseItem();

    int GetID() const { return m_ID; }

protected:
    int m_ID;
};

// Base of the stream files: a file name and the header text written at the head of the file.
class ONFFile {
public:
    // `fileName` is UTF-8. Both constructors leave the header empty and set ONF_LINE_NR to 0.
    explicit ONFFile(const std::string& fileName);
    explicit ONFFile(const std::wstring& fileName);
    // Copying and moving keep ONF_LINE_NR running.
    ONFFile(const ONFFile& other);
    ONFFile(ONFFile&& other) noexcept;
    ONFFile& operator=(const ONFFile& other);
    ONFFile& operator=(ONFFile&& other) noexcept;
    virtual ~ONFFile();

    std::string& GetHeader() { return m_Header; }
    const std::string& GetHeader() const { return m_Header; }
    const std::wstring& GetFileName() const { return m_FileName; }

protected:
    std::wstring m_FileName;
    std::string m_Header;
};

namespace onf_detail {
// The type of the `header` constant of the stream block classes: the text as a std::string
// that also converts to a C string, so that callers may compare, print and pass it as either.
class StreamHeaderText : public std::string {
public:
    explicit StreamHeaderText(const char* text) : std::string(text) {}
    operator const char*() const { return c_str(); }
};
} // namespace onf_detail

// Helpers of the block-route loads of the stream classes (defined in onf_base.cpp).
namespace onf_detail {
// The next line of the current block. Throws a QSV_Failure with `tag` when the block has no
// line left, that is when its count line promised more than its body holds.
const char* ExtractBlockLine(TextLinesProvider& lines, const char* tag);
// Integer of a block line: leading whitespace, one optional sign, digits up to the first other
// byte; no digits give 0; wraps at 32 bits.
int ParseOnfInt(const char* text);
} // namespace onf_detail
