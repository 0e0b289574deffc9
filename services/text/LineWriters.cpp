// The abstract line sink, the record line builder and the list writers' formatter.
#include "BrelonTextServices.h"

#include <cstring>

TextLinesWriter::TextLinesWriter() = default;

TextLinesWriter::~TextLinesWriter() = default;

// The buffer always holds the line and its NUL, so it starts with one byte at least.
CsvLineWriter::CsvLineWriter(size_t capacity, const std::string& separator)
    : m_Buffer(capacity > 0 ? capacity : 1, '\0'), m_Separator(separator) {}

// Grows by half again at least, so that a line that keeps growing is copied a few times only.
void CsvLineWriter::Grow(size_t needed) {
    const size_t grown = m_Buffer.size() + m_Buffer.size() / 2;
    m_Buffer.resize(grown > needed ? grown : needed);
}

void CsvLineWriter::AppendValue(int value) {
    char* p = BeginValue(Reserve(m_Separator.size() + 12));
    p += onf_detail::format_int(value, p);
    *p = '\0';
    m_Length = static_cast<size_t>(p - m_Buffer.data());
}

void CsvLineWriter::AppendValue(double value) {
    char* p = BeginValue(Reserve(m_Separator.size() + FloatingPointFormatter::MAX_TEXT_SIZE));
    p += m_Formatter.Format(value, p);
    m_Length = static_cast<size_t>(p - m_Buffer.data());
}

void CsvLineWriter::AppendValue(const char* text) {
    const size_t length = text != nullptr ? std::strlen(text) : 0;
    char* p = BeginValue(Reserve(m_Separator.size() + length));
    if (length > 0) {
        std::memcpy(p, text, length);
    }
    p[length] = '\0';
    m_Length = static_cast<size_t>(p + length - m_Buffer.data());
}

void CsvLineWriter::Clear() {
    m_Length = 0;
    m_NumValues = 0;
    m_Buffer[0] = '\0';
}

TextLineFormatter::TextLineFormatter(CsvLineWriter* lineWriter) : m_LineWriter(lineWriter) {}

TextLineFormatter::~TextLineFormatter() = default;
