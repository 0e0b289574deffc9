// The line sink through which all ONF text leaves the engine: each line goes to a standard file
// stream with a line feed behind it, lines are counted, and a failed write becomes a QSV_Failure.
// One writer belongs to one thread; writers live on the stack for one write.
#pragma once

#include "BrelonTextServices.h"

#include <cstddef>
#include <cstdio>
#include <string>

// The line sink through which ONF text leaves the engine: each line goes to a file stream with a
// line end; a failed write becomes a QSV_Failure.
class OnfBlockTextWriter : public TextLinesWriter {
public:
    enum WriteMode {
        WRITE_NEW = 0,   // create or replace the file
        WRITE_APPEND = 1 // append to the file
    };

    // Writes to an open stream, which it does not own and never closes. Reports WRITE_APPEND,
    // so no file header is written through it.
    explicit OnfBlockTextWriter(FILE* stream);
    // Opens `name` (WRITE_NEW: "wt", WRITE_APPEND: "at") and owns the stream. Fails with
    // "Unable to open file: %s" if it cannot be opened or `mode` is neither.
    OnfBlockTextWriter(const wchar_t* name, WriteMode mode);
    // Closes the stream if owned; errors of closing are ignored.
    ~OnfBlockTextWriter() override;
    OnfBlockTextWriter(const OnfBlockTextWriter&) = delete;
    OnfBlockTextWriter& operator=(const OnfBlockTextWriter&) = delete;

    // Writes the line and a line feed; on a stream error fails with "An error occurred while
    // writing to file: ..." and the line is not counted.
    void WriteLine(const char* line) override;
    using TextLinesWriter::WriteLine;
    size_t GetNumLinesWritten() const override { return m_NumLines; }
    // The count goes back to 0; the file keeps what was written.
    void ClearLines() override { m_NumLines = 0; }
    WriteMode GetWriteMode() const { return m_Mode; }
    // Hands the stream's buffer to the system and fails as WriteLine does if that fails, so
    // that an error the buffer has hidden so far (a full disk) is not lost at closing time.
    void Flush();

private:
    [[noreturn]] void ThrowWriteError() const;

    std::wstring m_FileName;
    FILE* m_Stream = nullptr;
    bool m_OwnsStream = false;
    size_t m_NumLines = 0;
    WriteMode m_Mode = WRITE_APPEND;
};
