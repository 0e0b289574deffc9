// The ONF line sink over a standard file stream.
#include "OnfBlockTextWriter.h"

#include "BrelonLineInput.h"
#include "QSV_Failure.h"

#include <cerrno>
#include <cstring>

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|OnfBlockTextWriter";

// Files of this writer reach 150 MB; a larger stream buffer than the default halves the number
// of system calls. It is still the stream's own buffer: the writer keeps none of its own.
constexpr size_t kStreamBufferSize = size_t(1) << 18;

const wchar_t* OpenMode(OnfBlockTextWriter::WriteMode mode) {
    switch (mode) {
    case OnfBlockTextWriter::WRITE_NEW:
        return L"wt";
    case OnfBlockTextWriter::WRITE_APPEND:
        return L"at";
    }
    return nullptr;
}
} // namespace

OnfBlockTextWriter::OnfBlockTextWriter(FILE* stream) : m_Stream(stream), m_Mode(WRITE_APPEND) {}

OnfBlockTextWriter::OnfBlockTextWriter(const wchar_t* name, WriteMode mode)
    : m_FileName(name ? name : L""), m_OwnsStream(true), m_Mode(mode) {
    const wchar_t* openMode = OpenMode(mode);
    if (openMode != nullptr) {
        m_Stream = BrelonFileUtil::wfopen(m_FileName.c_str(), openMode);
    }
    if (m_Stream == nullptr) {
        onf_detail::ThrowFailure(nullptr, kTag, "Unable to open file: %s",
                                 BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str());
    }
    setvbuf(m_Stream, nullptr, _IOFBF, kStreamBufferSize);
}

OnfBlockTextWriter::~OnfBlockTextWriter() {
    if (m_OwnsStream && m_Stream != nullptr) {
        fclose(m_Stream);
    }
}

void OnfBlockTextWriter::WriteLine(const char* line) {
    if (m_Stream == nullptr) {
        onf_detail::ThrowFailure(nullptr, kTag, "Unable to write into ONF file: %s",
                                 BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str());
    }
    fputs(line != nullptr ? line : "", m_Stream);
    fputc('\n', m_Stream);
    if (ferror(m_Stream)) {
        ThrowWriteError();
    }
    ++m_NumLines;
}

void OnfBlockTextWriter::Flush() {
    if (m_Stream == nullptr) {
        return;
    }
    if (fflush(m_Stream) != 0 || ferror(m_Stream)) {
        ThrowWriteError();
    }
}

void OnfBlockTextWriter::ThrowWriteError() const {
    const int error = errno;
    onf_detail::ThrowFailure(
        nullptr, kTag,
        "An error occurred while writing to file: %s\nLine: %Iu\nSystem error message: %s\nDisk "
        "full?",
        BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str(), m_NumLines, strerror(error));
}
