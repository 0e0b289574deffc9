// Strings, paths, files, streams and environment flags.
#include "BrelonTextServices.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

const wchar_t kPathSeparator = L'/';

// Start of the last path component.
size_t LastComponentStart(const std::wstring& path) {
    size_t slash = path.rfind(kPathSeparator);
    return slash == std::wstring::npos ? 0 : slash + 1;
}

// Position of the dot that starts the extension, or npos; a trailing dot counts as well, so that
// path_set_ext can replace it (path_has_ext looks past it).
size_t ExtensionDot(const std::wstring& path) {
    size_t start = LastComponentStart(path);
    size_t dot = path.rfind(L'.');
    return (dot == std::wstring::npos || dot <= start) ? std::wstring::npos : dot;
}

bool EqualsIgnoringCase(const char* text, const char* lowerWord) {
    for (; *text != '\0' && *lowerWord != '\0'; ++text, ++lowerWord) {
        char c = (*text >= 'A' && *text <= 'Z') ? char(*text - 'A' + 'a') : *text;
        if (c != *lowerWord) {
            return false;
        }
    }
    return *text == '\0' && *lowerWord == '\0';
}

} // namespace

bool BrelonStringUtil::is_quoted_str(const std::string& text, char quote) {
    return text.size() >= 2 && text.front() == quote && text.back() == quote;
}

void BrelonStringUtil::extend_quoted_str(std::string& text, const std::string& prefix,
                                         const std::string& suffix, char quote) {
    if (is_quoted_str(text, quote)) {
        text.insert(text.size() - 1, suffix);
        text.insert(1, prefix);
    } else {
        text.insert(0, prefix);
        text += suffix;
    }
}

bool BrelonFileUtil::FileExists(const std::wstring& name) {
    std::string path = BrelonStringUtil::wide_to_utf8(name.c_str());
    struct stat info;
    return !path.empty() && ::stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

// The text mode flag "t" means nothing on this platform and is not a valid fopen flag everywhere,
// so it is dropped; the rest of the mode passes through unchanged.
FILE* BrelonFileUtil::wfopen(const wchar_t* name, const wchar_t* mode) {
    if (name == nullptr || mode == nullptr) {
        return nullptr;
    }
    std::string narrowMode;
    for (const wchar_t* m = mode; *m != L'\0'; ++m) {
        if (*m != L't') {
            narrowMode += static_cast<char>(*m);
        }
    }
    std::string path = BrelonStringUtil::wide_to_utf8(name);
    return std::fopen(path.c_str(), narrowMode.c_str());
}

void BrelonFileNameUtil::make_path(const std::wstring& folder, const std::wstring& name,
                                   std::wstring& path) {
    if (folder.empty() || (!name.empty() && name[0] == kPathSeparator)) {
        path = name;
        return;
    }
    std::wstring joined = folder;
    if (joined.back() != kPathSeparator) {
        joined += kPathSeparator;
    }
    joined += name;
    path.swap(joined);
}

bool BrelonFileNameUtil::path_has_ext(const std::wstring& path) {
    size_t dot = ExtensionDot(path);
    return dot != std::wstring::npos && dot + 1 < path.size();
}

void BrelonFileNameUtil::path_set_ext(const std::wstring& path, const std::wstring& ext,
                                      std::wstring& out) {
    size_t dot = ExtensionDot(path);
    std::wstring result = path.substr(0, dot);
    size_t extStart = (!ext.empty() && ext[0] == L'.') ? 1 : 0;
    if (extStart < ext.size()) {
        result += L'.';
        result.append(ext, extStart, std::wstring::npos);
    }
    out.swap(result);
}

std::unique_ptr<std::ofstream> BrelonStream::create_ofstream(const std::wstring& name, int mode) {
    std::ios::openmode openMode = std::ios::out | std::ios::binary;
    if (mode == OFSTREAM_APPEND) {
        openMode |= std::ios::app;
    } else if (mode == OFSTREAM_TRUNCATE) {
        openMode |= std::ios::trunc;
    } else {
        return nullptr;
    }
    std::string path = BrelonStringUtil::wide_to_utf8(name.c_str());
    auto stream = std::make_unique<std::ofstream>(path, openMode);
    if (!stream->is_open()) {
        return nullptr;
    }
    return stream;
}

bool BrelonSysUtil::is_env_flag_set(const char* name) {
    const char* value = name != nullptr ? std::getenv(name) : nullptr;
    if (value == nullptr || *value == '\0') {
        return false;
    }
    for (const char* off : {"0", "false", "no", "off"}) {
        if (EqualsIgnoringCase(value, off)) {
            return false;
        }
    }
    return true;
}

namespace {

// The first number behind `key` in the text file `path` (as "MemAvailable:    123 kB"), or false.
bool ReadNumberAfter(const char* path, const char* key, unsigned long long& number) {
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, std::strlen(key), key) == 0) {
            return std::sscanf(line.c_str() + std::strlen(key), "%llu", &number) == 1;
        }
    }
    return false;
}

// What a limit leaves beyond `used`; SIZE_MAX without a limit.
size_t LeftUnder(unsigned long long limit, unsigned long long used) {
    if (limit == static_cast<unsigned long long>(RLIM_INFINITY)) {
        return SIZE_MAX;
    }
    return limit > used ? static_cast<size_t>(limit - used) : 0;
}

} // namespace

size_t BrelonSysUtil::memory_left() {
    size_t left = SIZE_MAX;
    unsigned long long number = 0;
    if (ReadNumberAfter("/proc/meminfo", "MemAvailable:", number)) {
        left = std::min<size_t>(left, static_cast<size_t>(number) * 1024);
    }
    // Pages of the whole address space and of data (and stack), the measures of the two limits.
    unsigned long long pages[7] = {0, 0, 0, 0, 0, 0, 0};
    std::ifstream statm("/proc/self/statm");
    for (unsigned long long& value : pages) {
        statm >> value;
    }
    const unsigned long long pageSize = static_cast<unsigned long long>(sysconf(_SC_PAGESIZE));
    rlimit limit;
    if (getrlimit(RLIMIT_AS, &limit) == 0) {
        left = std::min(left, LeftUnder(limit.rlim_cur, pages[0] * pageSize));
    }
    if (getrlimit(RLIMIT_DATA, &limit) == 0) {
        left = std::min(left, LeftUnder(limit.rlim_cur, pages[5] * pageSize));
    }
    unsigned long long most = 0;
    unsigned long long current = 0;
    std::ifstream group("/sys/fs/cgroup/memory.max");
    if (group >> most && ReadNumberAfter("/sys/fs/cgroup/memory.current", "", current)) {
        left = std::min(left, LeftUnder(most, current));
    }
    return left;
}

bool BrelonSysUtil::expansion_fits(size_t bytes) {
    constexpr size_t kUnaskedBytes = size_t(4) << 20;
    thread_local size_t unasked = 0;
    unasked = bytes < kUnaskedBytes - unasked ? unasked + bytes : kUnaskedBytes;
    if (unasked < kUnaskedBytes) {
        return true;
    }
    unasked = 0;
    return bytes <= memory_left();
}

std::istream& getline_dosunix(std::istream& is, std::string& line) {
    std::getline(is, line);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return is;
}
