#include "FuzzCommon.h"

#include "QSV_Failure.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

std::string MakeTempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/onf_fuzz_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        onf_fuzz::Violation("cannot make the temporary folder", pattern);
    }
    return pattern + "/";
}

void RemoveTempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(onf_fuzz::TempDir(), ignored);
}

} // namespace

void onf_fuzz::QuietLogs() {
    static const bool installed = [] {
        QSV_LogMacros::SetLogSink([](QSV_LogMacros::LogMsgType, const char*, int,
                                     const std::string&, const std::string&) {});
        return true;
    }();
    (void)installed;
}

const std::string& onf_fuzz::TempDir() {
    // Never destroyed: the exit handler that removes the folder runs after static destructors.
    static const std::string* dir = [] {
        auto* made = new std::string(MakeTempDir());
        std::atexit(RemoveTempDir);
        return made;
    }();
    return *dir;
}

std::wstring onf_fuzz::TempPath(const char* name) {
    const std::string path = TempDir() + name;
    return std::wstring(path.begin(), path.end()); // the folder and the names are ASCII
}

void onf_fuzz::WriteTempFile(const char* name, const uint8_t* data, size_t size) {
    const std::string path = TempDir() + name;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr || (size > 0 && std::fwrite(data, 1, size, file) != size) ||
        std::fclose(file) != 0) {
        Violation("cannot write the temporary file", path);
    }
}

std::string onf_fuzz::ReadTempFile(const char* name) {
    std::ifstream in(TempDir() + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void onf_fuzz::Violation(const char* what, const std::string& detail) {
    std::fprintf(stderr, "ONF fuzz oracle violated: %s\n%s\n", what, detail.c_str());
    std::abort();
}
