// Where the commands' outputs go, so that writing one never hurts what was there: a file is
// replaced only by a complete new one, a symbolic link is written through, a device or an open
// stream is written directly, and nothing the command did not create is ever removed. Also the
// one reading of standard input that every command shares.
#pragma once

#include "BrelonTextServices.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace onf_tool {

// A failure of an output; its text names the path the user gave.
class OutputError : public std::runtime_error {
public:
    explicit OutputError(const std::string& text) : std::runtime_error(text) {}
};

// One output of a command: "-" is standard output; a path naming one of the process's own
// descriptors (/dev/stdout, /dev/fd/N, /proc/self/fd/N) is that descriptor, written where it
// stands, so that an appending redirection keeps appending; any other path is a
// BrelonOutputFile, whose new content replaces the old file only when complete (links written
// through, devices and pipes written directly, a target the user may not write refused before
// anything is written). Every failure is an OutputError naming the path and the system's reason.
// Destroying the object before Commit discards the new content; so does a caught signal (see
// InstallOutputSignalHandlers).
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // The stream to write to, valid until Finish, Commit or destruction.
    FILE* Stream() const { return m_File->GetStream(); }
    // The file, for the objects that write through a std::ostream (BrelonOutputFileBuf).
    BrelonOutputFile& File() { return *m_File; }
    // True for standard output and the process's own descriptors.
    bool IsStandardStream() const { return m_Descriptor != nullptr; }
    // Hands everything written to the system, checks that it went out, and puts the new file in
    // place: Finish, then Replace. The old file stays as it was when this fails.
    void Commit() {
        Finish();
        Replace();
    }
    // Everything written handed to the system and stored, the stream closed. A command that
    // writes several files finishes each one when it is written and replaces them all once every
    // one is finished.
    void Finish();
    // The finished new file put in place of the old one.
    void Replace();
    // Throws the OutputError of a write to Stream() that failed just now (errno still holds its
    // reason): for a writer whose own failure does not name the path.
    [[noreturn]] void FailWrite() const;

private:
    [[noreturn]] void Fail(int error) const;

    std::string m_Path;           // as the user gave it
    FILE* m_Descriptor = nullptr; // a stream on one of the process's own descriptors
    std::unique_ptr<BrelonOutputFile> m_File;
};

// Removes the temporaries of the outputs being written when SIGINT, SIGTERM, SIGHUP, SIGQUIT or
// SIGPIPE arrives, then lets the signal take its course; makes SIGXFSZ (a file-size limit) fail
// the write with EFBIG instead of killing the process. Call once at start-up.
void InstallOutputSignalHandlers();

// The whole of standard input, read at the first call; later calls return the same text, so
// that "-" may stand for more than one input of a command.
const std::string& ReadStandardInput();

} // namespace onf_tool
