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
//
// A writer on a file name never destroys the file's old content: it writes a BrelonOutputFile,
// whose new content takes the file's place only when complete. Close() completes it and reports
// a failure; the destructor completes it too unless a failure is passing through (a save that
// fails half-way leaves the old file as it was), and then discards the new content. A symbolic
// link is written through, a device or pipe directly; WRITE_APPEND cuts the file back to its old
// length when the write fails.
class OnfBlockTextWriter : public TextLinesWriter {
public:
    enum WriteMode {
        WRITE_NEW = 0,   // create or replace the file
        WRITE_APPEND = 1 // append to the file
    };

    // Writes to an open stream, which it does not own and never closes. Reports WRITE_APPEND,
    // so no file header is written through it.
    explicit OnfBlockTextWriter(FILE* stream);
    // Opens `name` (WRITE_NEW: the new file replaces the old one when complete; WRITE_APPEND:
    // lines go behind its content). Fails with "Unable to open file: %s" if it cannot be written
    // or `mode` is neither; the file is then as it was.
    OnfBlockTextWriter(const wchar_t* name, WriteMode mode);
    // Completes the file as Close() does, errors ignored, unless an exception thrown after the
    // writer was made is passing through; then the new content is discarded.
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
    // Completes the file: flushed, stored by the system and put in place of the old one (a
    // stream of the caller's is only flushed). Fails as WriteLine does, and the old file is then
    // as it was. Lines written afterwards fail with "Unable to write into ONF file: %s".
    void Close();

private:
    [[noreturn]] void ThrowWriteError() const;

    std::wstring m_FileName;
    BrelonOutputFile m_Output;
    size_t m_NumLines = 0;
    WriteMode m_Mode = WRITE_APPEND;
    int m_UncaughtAtStart = 0; // exceptions in flight when the writer was made
};
