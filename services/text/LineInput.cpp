// Line input: whole-file loading cut into lines in place, the line tokeniser, the integer text
// test and the UTF-8 conversions of file names.
#include "BrelonLineInput.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

static_assert(sizeof(wchar_t) == 4, "wide texts are expected to hold code points");

TextLinesProvider::~TextLinesProvider() = default;

bool TextLinesProvider::GetBlockNumber(int&) const {
    return false;
}

namespace {

inline bool IsSpace(unsigned char c) {
    return c == ' ' || (c >= 9 && c <= 13);
}

// Bytes the splitter reads behind a line's NUL when it scans eight bytes at a time.
constexpr size_t kScanPadding = 8;
constexpr uint64_t kOnes = 0x0101010101010101ULL;
constexpr uint64_t kHighBits = 0x8080808080808080ULL;

// The high bit of every zero byte of `x`. A borrow can flag a byte behind a zero byte, never
// one in front of it, so the lowest flag marks the first zero byte exactly.
inline uint64_t ZeroBytes(uint64_t x) {
    return (x - kOnes) & ~x & kHighBits;
}

// The first byte at or after `p` that is `a`, `b` or the NUL; `a` and `b` come as eight copies
// of the byte. Reads in words of eight bytes, so up to seven bytes behind the NUL must be readable.
inline char* FindStop(char* p, uint64_t a, uint64_t b) {
    for (;;) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        const uint64_t hits = ZeroBytes(word) | ZeroBytes(word ^ a) | ZeroBytes(word ^ b);
        if (hits != 0) {
            return p + (__builtin_ctzll(hits) >> 3); // bytes are in memory order (little endian)
        }
        p += sizeof word;
    }
}

// The first byte in [p, end) that is `a` or `b` (eight copies each), or `end`. Eight bytes at a
// time while eight remain in front of `end`, so that it reads nothing outside the range.
inline const char* FindStopBefore(const char* p, const char* end, uint64_t a, uint64_t b) {
    for (; end - p >= 8; p += 8) {
        uint64_t word;
        std::memcpy(&word, p, sizeof word);
        const uint64_t hits = ZeroBytes(word ^ a) | ZeroBytes(word ^ b);
        if (hits != 0) {
            return p + (__builtin_ctzll(hits) >> 3); // bytes are in memory order (little endian)
        }
    }
    const char ca = static_cast<char>(a);
    const char cb = static_cast<char>(b);
    while (p < end && *p != ca && *p != cb) {
        ++p;
    }
    return p;
}

// Closes a descriptor on every way out of the file loader.
class FileCloser {
public:
    explicit FileCloser(int fd) : m_Fd(fd) {}
    ~FileCloser() { ::close(m_Fd); }
    FileCloser(const FileCloser&) = delete;
    FileCloser& operator=(const FileCloser&) = delete;

private:
    int m_Fd;
};

// Reads everything from `fd` into `text`, with one spare byte behind it for the NUL. A regular
// file of `expected` bytes is read straight into a buffer of that size; what comes beyond it
// (a file that grew, a pipe that does not know its size) is read in chunks and appended.
bool ReadAll(int fd, size_t expected, onf_detail::LargeArray<char>& text, size_t& size) {
    size = 0;
    text.Resize(expected + 1);
    char chunk[16384];
    for (;;) {
        const bool direct = size < expected;
        char* dest = direct ? text.Data() + size : chunk;
        size_t room = direct ? expected - size : sizeof(chunk);
        ssize_t got = ::read(fd, dest, room);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        if (got == 0) {
            return true;
        }
        if (!direct) {
            text.Resize(size + static_cast<size_t>(got) + 1);
            std::memcpy(text.Data() + size, chunk, static_cast<size_t>(got));
            expected = size + static_cast<size_t>(got);
        }
        size += static_cast<size_t>(got);
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------
// TextLinesParser

TextLinesParser::TextLinesParser() = default;

TextLinesParser::TextLinesParser(const TextLinesParser& other) {
    m_Text.Append(other.m_Text.Data(), other.m_Text.Size());
    m_Lines.Reserve(other.m_Lines.Size());
    for (size_t i = 0; i < other.m_Lines.Size(); ++i) {
        m_Lines.PushBack(m_Text.Data() + (other.m_Lines[i] - other.m_Text.Data()));
    }
}

TextLinesParser& TextLinesParser::operator=(const TextLinesParser& other) {
    if (this != &other) {
        TextLinesParser copy(other);
        m_Text = std::move(copy.m_Text);
        m_Lines = std::move(copy.m_Lines);
    }
    return *this;
}

TextLinesParser::~TextLinesParser() = default;

void TextLinesParser::Clear() {
    m_Text.Free();
    m_Lines.Free();
}

void TextLinesParser::DiscardLines(size_t first, size_t count) {
    if (first >= m_Lines.Size() || count == 0) {
        return;
    }
    const size_t end = first + std::min(count, m_Lines.Size() - first);
    const size_t from = static_cast<size_t>(m_Lines[first] - m_Text.Data());
    // The last line ends where the next begins, or at the text's closing NUL, which stays.
    const size_t to = end < m_Lines.Size() ? static_cast<size_t>(m_Lines[end] - m_Text.Data())
                                           : m_Text.Size() - 1;
    m_Text.GetBuffer().Discard(from, to);
}

bool TextLinesParser::LoadTextFromFile(const wchar_t* name, std::string& error) {
    Clear();
    std::string path = BrelonStringUtil::wide_to_utf8(name);
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = std::strerror(errno);
        return false;
    }
    FileCloser closer(fd);
    struct stat info;
    if (::fstat(fd, &info) != 0) {
        error = std::strerror(errno);
        return false;
    }
    size_t expected = S_ISREG(info.st_mode) ? static_cast<size_t>(info.st_size) : 0;
    size_t size = 0;
    if (!ReadAll(fd, expected, m_Text, size)) {
        error = std::strerror(errno);
        Clear();
        return false;
    }
    CutIntoLines(size);
    return true;
}

void TextLinesParser::LoadTextFromBuffer(const char* data, size_t size) {
    Clear();
    m_Text.Resize(size + 1);
    if (size > 0) {
        std::memcpy(m_Text.Data(), data, size);
    }
    CutIntoLines(size);
}

// Cuts the first `size` bytes of m_Text into lines; m_Text has at least size + 1 bytes. Each
// line end is overwritten with a NUL; the byte behind the text becomes the last line's NUL.
void TextLinesParser::CutIntoLines(size_t size) {
    m_Text.Resize(size + 1);
    char* p = m_Text.Data();
    char* const end = p + size;
    *end = '\0';
    m_Lines.Resize(0);
    // Room for lines of 32 bytes on average, so that a model file's pointer array is not moved
    // while it grows; pages of the reserve that no line needs are never touched.
    m_Lines.Reserve(size / 32 + 1);
    // Editors on some platforms put a UTF-8 byte order mark in front of a text; it is no
    // part of the first line.
    if (size >= 3 && std::memcmp(p, "\xEF\xBB\xBF", 3) == 0) {
        p += 3;
    }
    // The next line feed is searched once and kept while lone carriage returns cut the text
    // in front of it, so a file of carriage returns only is cut in one pass.
    char* lf = nullptr;
    while (p < end) {
        m_Lines.PushBack(p);
        if (lf == nullptr || lf < p) {
            lf = static_cast<char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)));
            lf = lf ? lf : end;
        }
        char* stop = lf;
        char* cr = static_cast<char*>(std::memchr(p, '\r', static_cast<size_t>(stop - p)));
        if (cr && cr + 1 < stop) { // a lone carriage return ends this line only
            *cr = '\0';
            p = cr + 1;
            continue;
        }
        if (cr) { // carriage return right before the line feed or the end
            *cr = '\0';
        }
        *stop = '\0';
        p = stop + 1;
    }
}

// ---------------------------------------------------------------------------------------------
// TextLineSplitter

TextLineSplitter::TextLineSplitter(size_t capacity) : m_Tokens(capacity > 0 ? capacity : 1) {}

TextLineSplitter::TextLineSplitter(const TextLineSplitter& other)
    : m_Buffer(other.m_Buffer), m_Tokens(other.m_Tokens.size()), m_NumTokens(other.m_NumTokens) {
    Rebase(other);
}

TextLineSplitter& TextLineSplitter::operator=(const TextLineSplitter& other) {
    if (this != &other) {
        m_Buffer = other.m_Buffer;
        m_Tokens.resize(other.m_Tokens.size());
        m_NumTokens = other.m_NumTokens;
        Rebase(other);
    }
    return *this;
}

TextLineSplitter::~TextLineSplitter() = default;

void TextLineSplitter::Rebase(const TextLineSplitter& other) {
    for (size_t i = 0; i < m_NumTokens; ++i) {
        m_Tokens[i] = m_Buffer.data() + (other.m_Tokens[i] - other.m_Buffer.data());
    }
}

void TextLineSplitter::SplitLine(const char* line, Mode mode, char separator, char quote) {
    m_NumTokens = 0;
    size_t length = line ? std::strlen(line) : 0;
    if (m_Buffer.size() < length + 1 + kScanPadding) {
        m_Buffer.resize(length + 1 + kScanPadding);
    }
    char* p = m_Buffer.data();
    if (length > 0) {
        std::memcpy(p, line, length);
    }
    p[length] = '\0';
    char* const end = p + length;
    while (p < end && IsSpace(static_cast<unsigned char>(*p))) {
        ++p;
    }
    if (p == end) {
        return; // empty or all whitespace: no tokens
    }
    // The copy ends in a NUL and holds no other, so the scans below stop at the NUL instead of
    // testing the end. Without quoting the quote character is the NUL too: it never opens a pair.
    const char opener = mode != SPLIT_PLAIN ? quote : '\0';
    const uint64_t separators = kOnes * static_cast<unsigned char>(separator);
    const uint64_t openers = kOnes * static_cast<unsigned char>(opener);
    for (;;) {
        while (IsSpace(static_cast<unsigned char>(*p))) {
            ++p;
        }
        char* start = p;
        for (;;) {
            p = FindStop(p, separators, openers);
            const char c = *p;
            if (c == separator || c == '\0') {
                break; // a separator outside quotes, or the end of the line
            }
            // An opening quote: separators up to its closing one do not cut; an unclosed quote
            // runs to the end of the line.
            ++p;
            while (*p != quote && *p != '\0') {
                ++p;
            }
            if (*p == '\0') {
                break;
            }
            ++p;
        }
        char* stop = p;
        while (stop > start && IsSpace(static_cast<unsigned char>(stop[-1]))) {
            --stop;
        }
        const bool last = p >= end;
        *stop = '\0'; // may overwrite the separator or trailing whitespace
        if (m_NumTokens == m_Tokens.size()) {
            m_Tokens.resize(m_Tokens.size() * 2);
        }
        m_Tokens[m_NumTokens++] = start;
        if (last) {
            return;
        }
        ++p; // past the separator
    }
}

// ---------------------------------------------------------------------------------------------
// Record lines cut in place

size_t onf_detail::split_record_line(const char* p, std::vector<TokenView>& tokens) {
    const char* const end = p + std::strlen(p);
    while (p < end && IsSpace(static_cast<unsigned char>(*p))) {
        ++p;
    }
    if (p == end) {
        return 0; // empty or all blanks: no tokens
    }
    if (tokens.empty()) {
        tokens.resize(16);
    }
    // Bytes of the line may alias anything, so the vector's members would be reloaded after
    // every byte read; a local pointer keeps them in registers.
    TokenView* slot = tokens.data();
    size_t count = 0;
    const uint64_t commas = kOnes * ',';
    const uint64_t quotes = kOnes * '"';
    for (;;) {
        while (IsSpace(static_cast<unsigned char>(*p))) {
            ++p;
        }
        const char* const start = p;
        for (;;) {
            p = FindStopBefore(p, end, commas, quotes);
            if (p == end || *p == ',') {
                break; // a comma outside quotes, or the end of the line
            }
            // Commas up to the closing quote do not cut; an unclosed quote runs to the end.
            p = static_cast<const char*>(std::memchr(p + 1, '"', static_cast<size_t>(end - p - 1)));
            if (p == nullptr) {
                p = end;
                break;
            }
            ++p;
        }
        const char* stop = p;
        while (stop > start && IsSpace(static_cast<unsigned char>(stop[-1]))) {
            --stop;
        }
        if (count == tokens.size()) {
            tokens.resize(2 * count);
            slot = tokens.data();
        }
        slot[count].begin = start;
        slot[count].end = stop;
        ++count;
        if (p == end) {
            return count;
        }
        ++p; // past the comma
    }
}

// ---------------------------------------------------------------------------------------------
// BrelonFormatUtil

namespace BrelonFormatUtil {

bool is_int(const char* text) {
    if (text == nullptr) {
        return false;
    }
    bool negative = *text == '-';
    if (*text == '+' || *text == '-') {
        ++text;
    }
    if (*text < '0' || *text > '9') {
        return false;
    }
    const uint64_t limit = negative ? 2147483648ULL : 2147483647ULL;
    uint64_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        value = value * 10 + static_cast<uint64_t>(*text - '0');
        if (value > limit) {
            return false;
        }
    }
    return *text == '\0';
}

} // namespace BrelonFormatUtil

// ---------------------------------------------------------------------------------------------
// BrelonStringUtil

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

inline bool IsContinuation(unsigned char c) {
    return (c & 0xC0) == 0x80;
}

// Decodes one code point at `p`, advancing it past the bytes used. An invalid sequence gives
// U+FFFD and consumes its lead byte plus the continuation bytes that were valid so far, so a
// good character behind a bad one is never swallowed.
char32_t DecodeUtf8(const unsigned char*& p) {
    unsigned char lead = *p++;
    if (lead < 0x80) {
        return lead;
    }
    int extra;
    char32_t c;
    char32_t minimum;
    if (lead >= 0xC2 && lead <= 0xDF) {
        extra = 1, c = lead & 0x1F, minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        extra = 2, c = lead & 0x0F, minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        extra = 3, c = lead & 0x07, minimum = 0x10000;
    } else {
        return REPLACEMENT;
    }
    for (int i = 0; i < extra; ++i) {
        if (!IsContinuation(*p)) { // also stops at the terminating NUL
            return REPLACEMENT;
        }
        c = (c << 6) | (*p++ & 0x3F);
    }
    if (c < minimum || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
        return REPLACEMENT;
    }
    return c;
}

} // namespace

namespace BrelonStringUtil {

std::string wide_to_utf8(const wchar_t* text) {
    std::string out;
    if (text == nullptr) {
        return out;
    }
    for (; *text != L'\0'; ++text) {
        auto c = static_cast<char32_t>(*text);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            c = REPLACEMENT;
        }
        AppendUtf8(out, c);
    }
    return out;
}

std::wstring utf8_to_wide(const char* text) {
    std::wstring out;
    if (text == nullptr) {
        return out;
    }
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    while (*p != '\0') {
        out += static_cast<wchar_t>(DecodeUtf8(p));
    }
    return out;
}

} // namespace BrelonStringUtil
