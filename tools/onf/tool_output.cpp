// Outputs that never hurt what they replace, and the reading of standard input.
#include "OnfToolOutput.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace onf_tool {

namespace {

const int kCaughtSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

// Holds back the caught signals while alive, so that a new file and the record by which a
// handler removes it come and go together: a signal between the two would leave the file
// behind.
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

extern "C" void RemoveTemporariesOnSignal(int signal) {
    BrelonOutputFile::RemoveTemporaries();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// The folder a path names an entry of ("." for a bare name).
std::string FolderOf(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

// The descriptor that `path` names when it is one of this process's own (its folder is the
// process's descriptor folder under /proc, as /dev/fd and /dev/stdout lead there); -1 if none.
int OwnDescriptorOf(const std::string& path) {
    const std::string name = std::filesystem::path(path).filename().string();
    if (name.empty() || name.size() > 9 || name.find_first_not_of("0123456789") != name.npos) {
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

// The process's own descriptor that `path` leads to through its symbolic links, or -1. A file
// the descriptor stands for is not to be replaced: the stream on it would go on writing the old
// file, and an appending redirection would lose what stood in it.
int FollowToOwnDescriptor(std::string path) {
    for (int hop = 0; hop < 40; ++hop) {
        const int descriptor = OwnDescriptorOf(path);
        struct stat status;
        if (descriptor >= 0 || ::lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
            return descriptor;
        }
        std::vector<char> target(PATH_MAX + 1);
        const ssize_t length = ::readlink(path.c_str(), target.data(), PATH_MAX);
        if (length <= 0) {
            return -1;
        }
        const std::string link(target.data(), static_cast<size_t>(length));
        path = link[0] == '/' ? link : (std::filesystem::path(FolderOf(path)) / link).string();
    }
    return -1;
}

} // namespace

OutputFile::OutputFile(const std::string& path) : m_Path(path) {
    const int descriptor = path == "-" ? STDOUT_FILENO : FollowToOwnDescriptor(path);
    if (descriptor < 0) {
        m_File = std::make_unique<BrelonOutputFile>();
        const SignalBlock block;
        if (!m_File->Open(path, BrelonOutputFile::REPLACE)) {
            Fail(errno);
        }
        return;
    }
    std::fflush(stdout);
    if (descriptor == STDOUT_FILENO) {
        m_Descriptor = stdout;
    } else {
        const int fd = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
        m_Descriptor = fd >= 0 ? ::fdopen(fd, "w") : nullptr;
        if (m_Descriptor == nullptr) {
            const int error = errno;
            if (fd >= 0) {
                ::close(fd);
            }
            Fail(error);
        }
    }
    m_File = std::make_unique<BrelonOutputFile>(m_Descriptor);
}

OutputFile::~OutputFile() {
    {
        const SignalBlock block;
        m_File.reset();
    }
    if (m_Descriptor != nullptr && m_Descriptor != stdout) {
        std::fclose(m_Descriptor);
    }
}

void OutputFile::Finish() {
    if (!m_File->Store()) {
        Fail(errno);
    }
}

void OutputFile::Replace() {
    const SignalBlock block;
    if (!m_File->Commit()) {
        Fail(errno);
    }
}

void OutputFile::FailWrite() const {
    Fail(errno);
}

void OutputFile::Fail(int error) const {
    // A stream error without errno (a short write whose cause the C library kept) still fails.
    throw OutputError("cannot write " + m_Path + ": " +
                      (error != 0 ? std::strerror(error) : "write error"));
}

void InstallOutputSignalHandlers() {
    std::signal(SIGXFSZ, SIG_IGN);
    for (int signal : kCaughtSignals) {
        struct sigaction action;
        std::memset(&action, 0, sizeof action);
        action.sa_handler = RemoveTemporariesOnSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(signal, &action, nullptr);
    }
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
