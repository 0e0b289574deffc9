// Where the commands' outputs go, so that writing one never hurts what was there: a file is
// replaced only by a complete new one, a symbolic link is written through, a device or an open
// stream is written directly, and nothing the command did not create is ever removed. Also the
// one reading of standard input that every command shares.
#pragma once

#include <cstdio>
#include <stdexcept>
#include <streambuf>
#include <string>

namespace onf_tool {

// A failure of an output; its text names the path the user gave.
class OutputError : public std::runtime_error {
public:
    explicit OutputError(const std::string& text) : std::runtime_error(text) {}
};

// One output of a command. The constructor decides how `path` is written, following symbolic
// links to what they name:
// - "-" is standard output; a path naming one of the process's own descriptors (/dev/stdout,
//   /dev/fd/N, /proc/self/fd/N) is that descriptor, written where it stands (an appending
//   redirection keeps appending);
// - a device, pipe or socket is opened and written directly, never replaced or removed;
// - a regular file, or a name that does not exist yet, is written as a new file beside the
//   final target (a hidden ".<name>.onf-tmp-XXXXXX") that Commit renames over it once it is
//   complete and on disk; the new file takes the mode (and, where permitted, the owner) of the
//   file it replaces. A target the user may not write (read-only, immutable, on a read-only file
//   system) is refused here, before anything is written.
// A folder is refused. Every failure is an OutputError naming `path` and the system's reason.
// Destroying the object before Commit removes the temporary, and only it; so does a caught
// signal (see InstallOutputSignalHandlers).
class OutputFile {
public:
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // The stream to write to, valid until Commit or destruction.
    FILE* Stream() const { return m_Stream; }
    // True for standard output and the process's own descriptors.
    bool IsStandardStream() const { return m_Descriptor >= 0; }
    // Hands everything written to the system, checks that it went out, and puts the new file in
    // place: Finish, then Replace. Throws OutputError; the old file then stays as it was.
    void Commit() {
        Finish();
        Replace();
    }
    // Hands everything written to the system and checks that it went out; the stream is closed
    // (standard output is flushed). A command that writes several files finishes each one when
    // it is written and replaces them all once every one is finished.
    void Finish();
    // Renames the finished new file over the target; nothing for a file written directly.
    void Replace();
    // Throws the OutputError of a write to Stream() that failed just now (errno still holds
    // its reason): for a writer whose own failure does not name the path.
    [[noreturn]] void FailWrite() const;

private:
    void OpenTemporary(const std::string& target, bool exists);
    void OpenDirect(const std::string& target);
    void OpenDescriptor(int descriptor);
    [[noreturn]] void Fail(const std::string& what, int error) const;

    std::string m_Path;      // as the user gave it
    std::string m_Target;    // the file renamed over, empty when written directly
    std::string m_Temporary; // the new file while it is written
    int m_Descriptor = -1;   // the process's own descriptor written to, or -1
    FILE* m_Stream = nullptr;
};

// Removes the temporary of an output being written when SIGINT, SIGTERM, SIGHUP, SIGQUIT or
// SIGPIPE arrives, then lets the signal take its course; makes SIGXFSZ (a file-size limit) fail
// the write with EFBIG instead of killing the process. Call once at start-up.
void InstallOutputSignalHandlers();

// A std::streambuf that writes to a FILE*, for the objects that write through std::ostream.
class FileStreamBuffer : public std::streambuf {
public:
    explicit FileStreamBuffer(FILE* file) : m_File(file) {}

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

private:
    FILE* m_File;
};

// The whole of standard input, read at the first call; later calls return the same text, so
// that "-" may stand for more than one input of a command.
const std::string& ReadStandardInput();

} // namespace onf_tool
