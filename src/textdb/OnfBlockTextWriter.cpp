// The ONF line sink over an output file that keeps its old content until the new one is complete.
#include "OnfBlockTextWriter.h"

#include "BrelonLineInput.h"
#include "QSV_Failure.h"

#include <cerrno>
#include <cstring>
#include <exception>

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|OnfBlockTextWriter";

std::string Utf8(const std::wstring& name) {
    return BrelonStringUtil::wide_to_utf8(name.c_str());
}
} // namespace

OnfBlockTextWriter::OnfBlockTextWriter(FILE* stream)
    : m_Output(stream), m_Mode(WRITE_APPEND), m_UncaughtAtStart(std::uncaught_exceptions()) {}

OnfBlockTextWriter::OnfBlockTextWriter(const wchar_t* name, WriteMode mode)
    : m_FileName(name ? name : L""), m_Mode(mode), m_UncaughtAtStart(std::uncaught_exceptions()) {
    const bool known = mode == WRITE_NEW || mode == WRITE_APPEND;
    if (!known || !m_Output.Open(Utf8(m_FileName), mode == WRITE_NEW ? BrelonOutputFile::REPLACE
                                                                     : BrelonOutputFile::APPEND)) {
        onf_detail::ThrowFailure(nullptr, kTag, "Unable to open file: %s",
                                 Utf8(m_FileName).c_str());
    }
}

OnfBlockTextWriter::~OnfBlockTextWriter() {
    if (std::uncaught_exceptions() > m_UncaughtAtStart) {
        m_Output.Discard();
    } else {
        m_Output.Commit();
    }
}

void OnfBlockTextWriter::WriteLine(const char* line) {
    if (!m_Output.IsOpen()) {
        onf_detail::ThrowFailure(nullptr, kTag, "Unable to write into ONF file: %s",
                                 Utf8(m_FileName).c_str());
    }
    if (!m_Output.PutLine(line)) {
        ThrowWriteError();
    }
    ++m_NumLines;
}

void OnfBlockTextWriter::Flush() {
    if (!m_Output.Flush()) {
        ThrowWriteError();
    }
}

void OnfBlockTextWriter::Close() {
    if (!m_Output.Commit()) {
        ThrowWriteError();
    }
}

void OnfBlockTextWriter::ThrowWriteError() const {
    const int error = errno;
    onf_detail::ThrowFailure(
        nullptr, kTag,
        "An error occurred while writing to file: %s\nLine: %Iu\nSystem error message: %s\nDisk "
        "full?",
        Utf8(m_FileName).c_str(), m_NumLines, strerror(error));
}
