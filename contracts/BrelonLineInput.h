// Line input: the whole-file line loader, the abstract line source that block loading pulls
// from, the reusable line tokeniser, the integer text test and the file name conversions.
#pragma once

#include "BrelonContainers.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// An abstract source of text lines, read one after the other. Lines are NUL-terminated byte
// strings without their line end; a pointer stays valid as long as the source holds its text.
class TextLinesProvider {
public:
    TextLinesProvider() = default;
    TextLinesProvider(const TextLinesProvider&) = default;
    virtual ~TextLinesProvider();

    // The current line, without advancing.
    virtual const char* GetLine() const = 0;
    // The current line, then advances by one; null once the source is used up.
    virtual const char* ExtractLine() = 0;
    // Back to the first line of the source.
    virtual void Rewind() = 0;
    // Index of the current line in the underlying file, counted from 0.
    virtual size_t GetCurrentIdx() const = 0;
    // Name of the underlying file, for messages.
    virtual const std::wstring& FileName() const = 0;
    // The number of the block whose lines this source hands out, for messages; false for a
    // source without blocks.
    virtual bool GetBlockNumber(int& number) const;

protected:
    TextLinesProvider& operator=(const TextLinesProvider&) = default;
};

// A whole text file in memory, cut into lines in place: one buffer for the text and one array
// of pointers into it. A line feed, a carriage return followed by a line feed, and a lone
// carriage return each end a line, and no line keeps its line end, so a file reads alike
// whatever platform wrote it. A final line without a line end is a line; a line end as the last
// bytes adds no empty line. A NUL byte inside a line ends that line's text early. A UTF-8 byte
// order mark at the very start is dropped.
class TextLinesParser {
public:
    TextLinesParser();
    // The copy holds its own text and lines.
    TextLinesParser(const TextLinesParser& other);
    TextLinesParser& operator=(const TextLinesParser& other);
    virtual ~TextLinesParser();

    // Reads the whole file (UTF-8 path from the wide name) and cuts it into lines. On failure
    // returns false, sets `error` to the system's error text and holds no lines.
    bool LoadTextFromFile(const wchar_t* name, std::string& error);
    // Takes a copy of `size` bytes at `data` (null allowed when size is 0) and cuts it into
    // lines like a file.
    void LoadTextFromBuffer(const char* data, size_t size);
    // Drops all lines and the text.
    void Clear();

    // Gives the memory of lines [first, first + count) back to the system, as far as it fills
    // whole pages: the lines of those pages read as empty afterwards. For a caller that is done
    // with part of a large text; the line table stays as it was.
    void DiscardLines(size_t first, size_t count);

    // The line at 0-based `index`; index must be below GetNumLines().
    const char* GetLine(size_t index) const { return m_Lines[index]; }
    size_t GetNumLines() const { return m_Lines.Size(); }
    // The array of GetNumLines() line pointers, valid until the next load, Clear or destruction.
    const char* const* GetLines() const { return m_Lines.Data(); }

private:
    void CutIntoLines(size_t size);

    // The file's bytes plus one NUL, and the line table: both as large as the file, so they are
    // large buffers, mapped from the system.
    onf_detail::LargeArray<char> m_Text;
    onf_detail::LargeArray<const char*> m_Lines;
};

// A reusable tokeniser. SplitLine copies the line into its own buffer and cuts it there, so a
// split allocates nothing once the buffers have grown to the longest line seen.
//
// Token rules: the line is cut at every `separator` that stands outside a pair of `quote`
// characters (an unclosed quote runs to the end of the line); each token loses its leading
// and trailing whitespace (blank and bytes 9 to 13); a quoted token keeps its quotes. An empty
// or all-whitespace line gives 0 tokens; otherwise there is one token more than separators,
// so "a, b," gives "a", "b", "" and "," gives two empty tokens.
class TextLineSplitter {
public:
    enum Mode {
        // Quote characters have no meaning: every separator cuts.
        SPLIT_PLAIN = 0,
        // Separators inside a quote pair do not cut; the quotes stay on the token. Any value
        // other than SPLIT_PLAIN behaves like this one.
        SPLIT_KEEP_QUOTED = 1,
    };

    // `capacity` is the initial number of token slots; the splitter grows beyond it and never
    // drops a token.
    explicit TextLineSplitter(size_t capacity);
    // The copy holds its own buffer; its tokens point into it.
    TextLineSplitter(const TextLineSplitter& other);
    TextLineSplitter& operator=(const TextLineSplitter& other);
    virtual ~TextLineSplitter();

    // Splits `line` (NUL-terminated; null counts as empty). Replaces the previous tokens.
    void SplitLine(const char* line, Mode mode, char separator, char quote);

    // The tokens of the last split, NUL-terminated, valid until the next SplitLine.
    const char* const* GetTokens() const { return m_Tokens.data(); }
    size_t GetNumTokens() const { return m_NumTokens; }
    // Token `index`; index must be below GetNumTokens().
    const char* GetToken(size_t index) const { return m_Tokens[index]; }

private:
    void Rebase(const TextLineSplitter& other);

    std::vector<char> m_Buffer;
    std::vector<const char*> m_Tokens; // the first m_NumTokens entries are valid
    size_t m_NumTokens = 0;
};

namespace onf_detail {
// One token of a line, left where it stands in the line: the bytes [begin, end).
struct TokenView {
    const char* begin;
    const char* end;
};

// Cuts a record line into tokens by the rules of TextLineSplitter::SplitLine with separator ","
// and quote '"' (SPLIT_KEEP_QUOTED), without copying the line: the tokens of record and list
// lines are mostly numbers, read straight from the line's bytes. Each token ends in front of a
// blank, a comma or the line's NUL. Returns the number of tokens, which fill the front of
// `tokens` (grown as needed, never shrunk).
size_t split_record_line(const char* line, std::vector<TokenView>& tokens);
} // namespace onf_detail

namespace BrelonFormatUtil {
// True when `text` is a decimal integer and nothing else: one optional sign, at least one
// digit, no whitespace, and a value in the 32-bit signed range (leading zeros allowed).
// False for null.
bool is_int(const char* text);
} // namespace BrelonFormatUtil

namespace BrelonStringUtil {
// UTF-8 of a wide text (code points, as wchar_t holds them here). An invalid code point
// (a surrogate, or above U+10FFFF) becomes U+FFFD. Null gives "".
std::string wide_to_utf8(const wchar_t* text);
// Wide text of UTF-8. Each invalid sequence (a stray or truncated byte, an overlong form, a
// surrogate, a value above U+10FFFF) becomes one U+FFFD. Null gives L"".
std::wstring utf8_to_wide(const char* text);
} // namespace BrelonStringUtil
