// Outputs that never hurt what they replace, and the reading of standard input.
#include "OnfToolOutput.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace onf_tool {

namespace {

// The temporaries being written, for the signal handler. It only reads them, and they change
// only while the caught signals are held back (SignalBlock), so the handler never sees them
// half changed.
std::vector<std::string> g_Temporaries;

void RememberTemporary(const std::string& path) {
    g_Temporaries.push_back(path);
}

void ForgetTemporary(const std::string& path) {
    for (size_t i = g_Temporaries.size(); i-- > 0;) {
        if (g_Temporaries[i] == path) {
            g_Temporaries.erase(g_Temporaries.begin() + static_cast<long>(i));
            return;
        }
    }
}

const int kCaughtSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

// Holds back the caught signals while alive, so that the temporary and the handler's record of
// it change together: a signal between the two would leave the file behind, or remove a name
// that is not the command's.
class SignalBlock {
public:
    SignalBlock() {
        sigset_t set;
        sigemptyset(&set);
        for (int signal : kCaughtSignals) {
            sigaddset(&set, signal);
        }
        ::sigprocmask(SIG_BLOCK, &set, &m_Old);
    }
    ~SignalBlock() { ::sigprocmask(SIG_SETMASK, &m_Old, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

private:
    sigset_t m_Old;
};

extern "C" void RemoveTemporaryOnSignal(int signal) {
    for (const std::string& path : g_Temporaries) {
        ::unlink(path.c_str());
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

std::string FolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string NameOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The descriptor that `path` names when it is one of this process's own (its folder is the
// process's descriptor folder under /proc, as /dev/fd and /dev/stdout lead there); -1 if none.
int OwnDescriptorOf(const std::string& path) {
    const std::string name = NameOf(path);
    if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos ||
        name.size() > 9) {
        return -1;
    }
    char folder[PATH_MAX];
    if (::realpath(FolderOf(path).c_str(), folder) == nullptr) {
        return -1;
    }
    const std::string pid = std::to_string(::getpid());
    const std::string own = "/proc/" + pid + "/fd";
    const std::string thread = "/proc/" + pid + "/task/" + pid + "/fd";
    return folder == own || folder == thread ? std::atoi(name.c_str()) : -1;
}

// Follows the symbolic links of `path` to what they finally name (which need not exist), and
// stops early at one of the process's own descriptors. False with errno for a loop or a
// failure other than a missing final name.
bool FollowLinks(std::string& path, int& descriptor) {
    for (int hop = 0; hop < 40; ++hop) {
        descriptor = OwnDescriptorOf(path);
        if (descriptor >= 0) {
            return true;
        }
        struct stat status;
        if (::lstat(path.c_str(), &status) != 0) {
            return errno == ENOENT;
        }
        if (!S_ISLNK(status.st_mode)) {
            return true;
        }
        std::vector<char> target(PATH_MAX + 1);
        const ssize_t length = ::readlink(path.c_str(), target.data(), PATH_MAX);
        if (length < 0) {
            return false;
        }
        const std::string link(target.data(), static_cast<size_t>(length));
        path = link[0] == '/' ? link : FolderOf(path) + "/" + link;
    }
    errno = ELOOP;
    return false;
}

} // namespace

OutputFile::OutputFile(const std::string& path) : m_Path(path) {
    if (path == "-") {
        OpenDescriptor(STDOUT_FILENO);
        return;
    }
    std::string target = path;
    int descriptor = -1;
    if (!FollowLinks(target, descriptor)) {
        Fail("cannot write", errno);
    }
    if (descriptor >= 0) {
        OpenDescriptor(descriptor);
        return;
    }
    struct stat status;
    if (::stat(target.c_str(), &status) != 0) {
        OpenTemporary(target, false);
    } else if (S_ISDIR(status.st_mode)) {
        Fail("cannot write", EISDIR);
    } else if (S_ISREG(status.st_mode)) {
        if (::access(target.c_str(), W_OK) != 0) {
            Fail("cannot write", errno);
        }
        OpenTemporary(target, true);
    } else {
        OpenDirect(target);
    }
}

OutputFile::~OutputFile() {
    if (m_Stream != nullptr && m_Descriptor != STDOUT_FILENO) {
        std::fclose(m_Stream);
    }
    if (!m_Temporary.empty()) {
        const SignalBlock block;
        ::unlink(m_Temporary.c_str());
        ForgetTemporary(m_Temporary);
    }
}

void OutputFile::OpenTemporary(const std::string& target, bool exists) {
    std::string name = FolderOf(target) + "/." + NameOf(target) + ".onf-tmp-XXXXXX";
    std::vector<char> buffer(name.begin(), name.end());
    buffer.push_back('\0');
    int fd = -1;
    {
        const SignalBlock block;
        fd = ::mkstemp(buffer.data());
        if (fd >= 0) {
            m_Temporary = buffer.data();
            RememberTemporary(m_Temporary);
        }
    }
    if (fd < 0) {
        Fail("cannot write", errno);
    }
    m_Target = target;
    // mkstemp makes the file private; the output gets the mode a new file would get, or the
    // mode and owner of the file it replaces.
    struct stat status;
    if (exists && ::stat(target.c_str(), &status) == 0) {
        ::fchmod(fd, status.st_mode & 07777);
        if (::fchown(fd, status.st_uid, status.st_gid) != 0) {
            // Only the owner's own group or a privileged user may hand a file over; the new
            // file then belongs to whoever writes it, as with any editor.
        }
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(fd, 0666 & ~mask);
    }
    m_Stream = ::fdopen(fd, "w");
    if (m_Stream == nullptr) {
        const int error = errno;
        ::close(fd);
        Fail("cannot write", error);
    }
}

void OutputFile::OpenDirect(const std::string& target) {
    const int fd = ::open(target.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) {
        Fail("cannot write", errno);
    }
    m_Stream = ::fdopen(fd, "w");
    if (m_Stream == nullptr) {
        const int error = errno;
        ::close(fd);
        Fail("cannot write", error);
    }
}

void OutputFile::OpenDescriptor(int descriptor) {
    std::fflush(stdout);
    m_Descriptor = descriptor;
    if (descriptor == STDOUT_FILENO) {
        m_Stream = stdout;
        return;
    }
    const int fd = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
    m_Stream = fd >= 0 ? ::fdopen(fd, "w") : nullptr;
    if (m_Stream == nullptr) {
        const int error = errno;
        if (fd >= 0) {
            ::close(fd);
        }
        Fail("cannot write", error);
    }
}

void OutputFile::Finish() {
    FILE* stream = m_Stream;
    if (stream == nullptr) {
        return; // finished before
    }
    const bool flushed = std::fflush(stream) == 0 && std::ferror(stream) == 0;
    int error = flushed ? 0 : errno;
    if (flushed && !m_Temporary.empty() && ::fsync(::fileno(stream)) != 0) {
        error = errno;
    }
    if (stream != stdout) {
        m_Stream = nullptr;
        if (std::fclose(stream) != 0 && error == 0) {
            error = errno;
        }
    }
    if (error != 0) {
        Fail("cannot write", error);
    }
}

void OutputFile::Replace() {
    if (m_Temporary.empty()) {
        return;
    }
    const SignalBlock block;
    if (std::rename(m_Temporary.c_str(), m_Target.c_str()) != 0) {
        Fail("cannot replace", errno);
    }
    ForgetTemporary(m_Temporary);
    m_Temporary.clear();
}

void OutputFile::FailWrite() const {
    Fail("cannot write", errno);
}

void OutputFile::Fail(const std::string& what, int error) const {
    // A stream error without errno (a short write whose cause the C library kept) still fails.
    throw OutputError(what + " " + m_Path + ": " +
                      (error != 0 ? std::strerror(error) : "write error"));
}

void InstallOutputSignalHandlers() {
    std::signal(SIGXFSZ, SIG_IGN);
    for (int signal : kCaughtSignals) {
        struct sigaction action;
        std::memset(&action, 0, sizeof action);
        action.sa_handler = RemoveTemporaryOnSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(signal, &action, nullptr);
    }
}

FileStreamBuffer::int_type FileStreamBuffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) {
        return traits_type::not_eof(c);
    }
    return std::fputc(traits_type::to_char_type(c), m_File) == EOF ? traits_type::eof() : c;
}

std::streamsize FileStreamBuffer::xsputn(const char* text, std::streamsize count) {
    return static_cast<std::streamsize>(std::fwrite(text, 1, static_cast<size_t>(count), m_File));
}

int FileStreamBuffer::sync() {
    return std::fflush(m_File) == 0 ? 0 : -1;
}

const std::string& ReadStandardInput() {
    static bool read = false;
    static std::string text;
    if (!read) {
        read = true;
        std::vector<char> chunk(1 << 16);
        size_t got = 0;
        while ((got = std::fread(chunk.data(), 1, chunk.size(), stdin)) > 0) {
            text.append(chunk.data(), got);
        }
    }
    return text;
}

} // namespace onf_tool
