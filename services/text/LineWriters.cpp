// The abstract line sink, the record line builder and the list writers' formatter.
#include "BrelonTextServices.h"

#include <cstring>

TextLinesWriter::TextLinesWriter() = default;

TextLinesWriter::~TextLinesWriter() = default;

// The buffer always holds the line and its NUL, so it starts with one byte at least.
CsvLineWriter::CsvLineWriter(size_t capacity, const std::string& separator)
    : m_Buffer(capacity > 0 ? capacity : 1, '\0'), m_Separator(separator) {}

// Makes room for `extra` more bytes and the NUL behind them, growing by half again at least, and
// returns where they go.
char* CsvLineWriter::Reserve(size_t extra) {
    size_t needed = m_Length + extra + 1;
    if (needed > m_Buffer.size()) {
        size_t grown = m_Buffer.size() + m_Buffer.size() / 2;
        m_Buffer.resize(grown > needed ? grown : needed);
    }
    return m_Buffer.data() + m_Length;
}

void CsvLineWriter::BeginValue() {
    if (m_NumValues > 0 && !m_Separator.empty()) {
        char* p = Reserve(m_Separator.size());
        std::memcpy(p, m_Separator.data(), m_Separator.size());
        m_Length += m_Separator.size();
    }
    ++m_NumValues;
}

void CsvLineWriter::AppendValue(int value) {
    BeginValue();
    m_Length += onf_detail::format_int(value, Reserve(12));
    m_Buffer[m_Length] = '\0';
}

void CsvLineWriter::AppendValue(double value) {
    BeginValue();
    m_Length += m_Formatter.Format(value, Reserve(FloatingPointFormatter::MAX_TEXT_SIZE));
}

void CsvLineWriter::AppendValue(const char* text) {
    BeginValue();
    size_t length = text != nullptr ? std::strlen(text) : 0;
    char* p = Reserve(length);
    if (length > 0) {
        std::memcpy(p, text, length);
    }
    m_Length += length;
    m_Buffer[m_Length] = '\0';
}

void CsvLineWriter::Clear() {
    m_Length = 0;
    m_NumValues = 0;
    m_Buffer[0] = '\0';
}

TextLineFormatter::TextLineFormatter(CsvLineWriter* lineWriter) : m_LineWriter(lineWriter) {}

TextLineFormatter::~TextLineFormatter() = default;
