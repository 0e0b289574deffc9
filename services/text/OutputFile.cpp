// Output files that keep their old content when a write fails: a temporary file beside the target
// replaces it when complete (or is copied into it), devices and pipes are written directly, and
// appended files are cut back to their old length.
#include "BrelonTextServices.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

// Files of the engine reach 150 MB; a larger stream buffer than the default halves the number of
// system calls. It is the stream's own buffer: no second one lies in front of it.
constexpr size_t kStreamBufferSize = size_t(1) << 18;

// A temporary name is the target's name behind a dot, a dot and six random characters; the
// target's name is cut so that the whole stays within the length a file name may have.
constexpr size_t kMaxNameInTemporary = 200;

// ---- Temporary files that a signal handler may remove ---------------------------------------

// Slots of fixed size, so that a handler reads them without allocating or locking. A slot is free
// (0), being filled (1), or names a temporary file that is neither committed nor discarded (2).
// A caller that stores several files before it commits any (a series of grids, one a design
// iteration) holds a slot for each; pages of slots never used cost no memory.
constexpr int kNumSlots = 256;
constexpr size_t kSlotPathSize = 4096;

struct TemporarySlot {
    std::atomic<int> state{0};
    char path[kSlotPathSize];
};
TemporarySlot s_Slots[kNumSlots];

// The slot now naming `path`, or -1 when none is free (the file is then removed on failure as
// always, only not by a signal handler).
int RegisterTemporary(const std::string& path) {
    if (path.size() >= kSlotPathSize) {
        return -1;
    }
    for (int i = 0; i < kNumSlots; ++i) {
        int expected = 0;
        if (s_Slots[i].state.compare_exchange_strong(expected, 1)) {
            std::memcpy(s_Slots[i].path, path.c_str(), path.size() + 1);
            s_Slots[i].state.store(2);
            return i;
        }
    }
    return -1;
}

void ReleaseSlot(int slot) {
    if (slot >= 0) {
        s_Slots[slot].state.store(0);
    }
}

// ---- The test seam ---------------------------------------------------------------------------

struct FaultPlan {
    size_t countdown = 0;    // operations until the fault, 0 when none is planned
    int error = 0;           // the errno it leaves
    bool persistent = false; // every operation after it fails too
    bool firing = false;     // a persistent fault has come
    size_t fired = 0;        // operations made to fail
};
FaultPlan s_Faults;

// True, with errno set, when the plan makes this operation fail.
bool FaultDue() {
    if (!s_Faults.firing && (s_Faults.countdown == 0 || --s_Faults.countdown > 0)) {
        return false;
    }
    s_Faults.firing = s_Faults.persistent;
    ++s_Faults.fired;
    errno = s_Faults.error;
    return true;
}

// ---- Paths -----------------------------------------------------------------------------------

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

// Six characters that make a temporary name unlikely to be taken; a taken one is drawn again.
std::string RandomSuffix() {
    static std::atomic<uint64_t> counter{0};
    uint64_t x = (static_cast<uint64_t>(getpid()) << 32) ^ static_cast<uint64_t>(time(nullptr)) ^
                 (counter.fetch_add(1) + 1) * 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    x ^= x >> 31;
    static const char kChars[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::string suffix(6, '_');
    for (char& c : suffix) {
        c = kChars[x % 62];
        x /= 62;
    }
    return suffix;
}

std::string SystemTempFolder() {
    const char* folder = std::getenv("TMPDIR");
    return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

// Errors with which a folder refuses a new file that the process may still write in place.
bool IsRefusal(int error) {
    return error == EACCES || error == EPERM || error == EROFS;
}

bool WriteAll(int fd, const char* bytes, size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, bytes, size);
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// Copies the content of `from` into `to`, which is cut to nothing first; stored before it returns.
bool CopyContent(const std::string& from, int to) {
    const int source = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0) {
        return false;
    }
    bool ok = ::ftruncate(to, 0) == 0;
    char buffer[1 << 16];
    for (ssize_t got = 1; ok && got != 0;) {
        got = ::read(source, buffer, sizeof buffer);
        if (got > 0) {
            ok = WriteAll(to, buffer, static_cast<size_t>(got));
        } else if (got < 0) {
            ok = errno == EINTR;
        }
    }
    const int error = errno;
    ::close(source);
    errno = error;
    return ok && ::fsync(to) == 0;
}

} // namespace

BrelonOutputFile::BrelonOutputFile(FILE* stream) : m_Stream(stream), m_Kind(BORROWED) {}

BrelonOutputFile::~BrelonOutputFile() {
    Discard();
}

bool BrelonOutputFile::Open(const std::string& path, Mode mode) {
    Discard();
    if (path.empty()) {
        errno = ENOENT;
        return false;
    }
    bool opened = false;
    if (mode == REPLACE) {
        opened = OpenReplacing(path);
    } else if (mode == APPEND) {
        opened = OpenAppending(path);
    } else {
        errno = EINVAL;
    }
    if (!opened) {
        const int error = errno;
        Forget();
        errno = error;
        return false;
    }
    setvbuf(m_Stream, nullptr, _IOFBF, kStreamBufferSize);
    return true;
}

// A symbolic link is followed to the file it names. A link that names nothing yet is written
// through, which makes that file: there is no old content to keep.
bool BrelonOutputFile::OpenReplacing(const std::string& path) {
    struct stat info;
    if (::lstat(path.c_str(), &info) != 0) {
        if (errno != ENOENT) {
            return false;
        }
        m_Kind = RENAMED;
        m_Target = path;
        return OpenTemporary(FolderOf(path), NameOf(path));
    }
    std::string target = path;
    if (S_ISLNK(info.st_mode)) {
        char* resolved = ::realpath(path.c_str(), nullptr);
        if (resolved == nullptr) {
            if (errno != ENOENT) {
                return false;
            }
            m_Kind = DIRECT;
            m_Target = path;
            m_Stream = std::fopen(path.c_str(), "w");
            return m_Stream != nullptr;
        }
        target = resolved;
        std::free(resolved);
        if (::stat(target.c_str(), &info) != 0) {
            return false;
        }
    }
    if (S_ISDIR(info.st_mode)) {
        errno = EISDIR;
        return false;
    }
    m_Target = target;
    if (!S_ISREG(info.st_mode)) {
        m_Kind = DIRECT;
        m_Stream = std::fopen(target.c_str(), "w");
        return m_Stream != nullptr;
    }
    // A file the process may not write is refused, as opening it would be, though its folder
    // might let a new file take its place.
    const int probe = ::open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (probe < 0) {
        return false;
    }
    ::close(probe);
    const std::string folder = FolderOf(target);
    const std::string name = NameOf(target);
    if (info.st_nlink <= 1) {
        m_Kind = RENAMED;
        if (OpenTemporary(folder, name)) {
            // The owner first: changing it may clear the permission bits set after it.
            if (info.st_uid != ::geteuid() || info.st_gid != ::getegid()) {
                const int owned = ::fchown(fileno(m_Stream), info.st_uid, info.st_gid);
                (void)owned; // where the process may not give the file away, it stays its own
            }
            ::fchmod(fileno(m_Stream), info.st_mode & 07777);
            return true;
        }
        if (!IsRefusal(errno)) {
            return false;
        }
    }
    m_Kind = COPIED;
    return (info.st_nlink > 1 && OpenTemporary(folder, name)) ||
           OpenTemporary(SystemTempFolder(), name);
}

// Appending writes the target itself; a regular file keeps a second descriptor by which a
// failure cuts it back to its old length after its stream is gone.
bool BrelonOutputFile::OpenAppending(const std::string& path) {
    m_Target = path;
    m_Stream = std::fopen(path.c_str(), "a");
    if (m_Stream == nullptr) {
        return false;
    }
    struct stat info;
    if (::fstat(fileno(m_Stream), &info) != 0 || !S_ISREG(info.st_mode)) {
        m_Kind = DIRECT;
        return true;
    }
    m_Kind = APPENDED;
    m_OldSize = static_cast<long long>(info.st_size);
    m_RollbackFd = ::fcntl(fileno(m_Stream), F_DUPFD_CLOEXEC, 0);
    if (m_RollbackFd < 0) {
        const int error = errno;
        std::fclose(m_Stream);
        m_Stream = nullptr;
        errno = error;
        return false;
    }
    return true;
}

// Makes a new file of this process's own in `folder`, with the permission bits that the process
// gives new files.
bool BrelonOutputFile::OpenTemporary(const std::string& folder, const std::string& name) {
    const std::string stem = folder + "/." + name.substr(0, kMaxNameInTemporary) + ".";
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string path = stem + RandomSuffix();
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST) {
                continue;
            }
            return false;
        }
        m_Stream = ::fdopen(fd, "w");
        if (m_Stream == nullptr) {
            const int error = errno;
            ::close(fd);
            ::unlink(path.c_str());
            errno = error;
            return false;
        }
        m_Temporary = path;
        m_Slot = RegisterTemporary(path);
        return true;
    }
    errno = EEXIST;
    return false;
}

bool BrelonOutputFile::Write(const char* bytes, size_t size) {
    if (m_Stream == nullptr) {
        errno = EBADF;
        return false;
    }
    if (FaultDue()) {
        return false;
    }
    if (size > 0 && std::fwrite(bytes, 1, size, m_Stream) != size) {
        return false;
    }
    return !std::ferror(m_Stream);
}

bool BrelonOutputFile::PutLine(const char* line) {
    if (m_Stream == nullptr) {
        errno = EBADF;
        return false;
    }
    if (FaultDue()) {
        return false;
    }
    std::fputs(line != nullptr ? line : "", m_Stream);
    std::fputc('\n', m_Stream);
    return !std::ferror(m_Stream);
}

bool BrelonOutputFile::Flush() {
    if (m_Stream == nullptr) {
        return true;
    }
    if (FaultDue()) {
        return false;
    }
    return std::fflush(m_Stream) == 0 && !std::ferror(m_Stream);
}

// Flushed, stored and closed; a step that fails discards the new content. A device or pipe is not
// stored by the system as a file is, so it is only flushed.
bool BrelonOutputFile::Store() {
    if (m_Stream == nullptr) {
        return true;
    }
    if (m_Kind == BORROWED) {
        const bool flushed = Flush();
        m_Stream = nullptr;
        return flushed;
    }
    const bool stored =
        Flush() && (m_Kind == DIRECT || (!FaultDue() && ::fsync(fileno(m_Stream)) == 0));
    if (stored) {
        FILE* stream = m_Stream;
        m_Stream = nullptr;
        m_Stored = true;
        if (std::fclose(stream) == 0) {
            return true;
        }
    }
    const int error = errno;
    Discard();
    errno = error;
    return false;
}

// Once stored, the new content takes the target's place; a failure discards it.
bool BrelonOutputFile::Commit() {
    if (!Store()) {
        return false;
    }
    if (!m_Stored) {
        return true; // nothing of its own was open
    }
    if ((m_Kind == RENAMED || m_Kind == COPIED) && !CommitTemporary()) {
        const int error = errno;
        Discard();
        errno = error;
        return false;
    }
    if (!m_Temporary.empty() && m_Kind != RENAMED) {
        ::unlink(m_Temporary.c_str());
    }
    m_Stored = false;
    Forget();
    return true;
}

bool BrelonOutputFile::CommitTemporary() {
    if (FaultDue()) {
        return false;
    }
    if (m_Kind == RENAMED) {
        return ::rename(m_Temporary.c_str(), m_Target.c_str()) == 0;
    }
    return CopyIntoTarget();
}

bool BrelonOutputFile::CopyIntoTarget() {
    const int target = ::open(m_Target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    if (target < 0) {
        return false;
    }
    const bool copied = CopyContent(m_Temporary, target);
    const int error = errno;
    const bool closed = ::close(target) == 0;
    if (!copied) {
        errno = error;
    }
    return copied && closed;
}

void BrelonOutputFile::Discard() {
    if (m_Stream == nullptr && !m_Stored) {
        Forget();
        return;
    }
    const int error = errno;
    FILE* stream = m_Stream;
    m_Stream = nullptr;
    m_Stored = false;
    if (stream != nullptr && m_Kind != BORROWED) {
        std::fclose(stream);
    }
    if (!m_Temporary.empty()) {
        ::unlink(m_Temporary.c_str());
    }
    if (m_Kind == APPENDED) {
        const int cut = ::ftruncate(m_RollbackFd, m_OldSize);
        (void)cut; // nothing more can be done for it
    }
    Forget();
    errno = error;
}

void BrelonOutputFile::Forget() {
    ReleaseSlot(m_Slot);
    m_Slot = -1;
    if (m_RollbackFd >= 0) {
        ::close(m_RollbackFd);
        m_RollbackFd = -1;
    }
    m_Target.clear();
    m_Temporary.clear();
    m_OldSize = 0;
    m_Kind = BORROWED;
}

void BrelonOutputFile::RemoveTemporaries() {
    for (TemporarySlot& slot : s_Slots) {
        if (slot.state.load() == 2) {
            ::unlink(slot.path);
        }
    }
}

size_t BrelonOutputFile::InjectFaults(size_t n, int error, bool persistent) {
    const size_t fired = s_Faults.fired;
    s_Faults = FaultPlan{n, error, persistent, false, 0};
    return fired;
}

BrelonOutputFileBuf::BrelonOutputFileBuf(BrelonOutputFile& file) : m_File(file) {
    setp(m_Buffer, m_Buffer + sizeof m_Buffer);
}

// What is left in the buffer goes to the file, as with any stream buffer; its error has no one
// left to hear it, and the file's owner decides whether the file is kept.
BrelonOutputFileBuf::~BrelonOutputFileBuf() {
    Drain();
}

bool BrelonOutputFileBuf::Drain() {
    const size_t size = static_cast<size_t>(pptr() - pbase());
    setp(m_Buffer, m_Buffer + sizeof m_Buffer);
    return size == 0 || m_File.Write(m_Buffer, size);
}

BrelonOutputFileBuf::int_type BrelonOutputFileBuf::overflow(int_type c) {
    if (!Drain()) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

int BrelonOutputFileBuf::sync() {
    return Drain() ? 0 : -1;
}
