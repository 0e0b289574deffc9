// Shared helpers of the fuzz targets: a quiet log sink, a private temporary folder, input files
// written there, and the verdicts of the targets' oracles.
//
// Each target defines LLVMFuzzerTestOneInput. Under clang with -DONF_BUILD_FUZZ=ON it links
// libFuzzer; otherwise it links FuzzReplayMain.cpp, which runs the target over files and folders
// named on the command line, so that every build replays the seed corpus and the regression inputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace onf_fuzz {

// Silences the engine's log lines for the rest of the process (the first call installs a sink
// that drops them), so that a fuzzing run is not slowed down by printing.
void QuietLogs();

// The process's own temporary folder (made on first use under $TMPDIR or /tmp, removed at exit),
// as a narrow path with a trailing slash.
const std::string& TempDir();
// TempDir() + name, as a wide string for the engine's file interfaces.
std::wstring TempPath(const char* name);
// Writes `size` bytes to the file TempDir() + name, replacing it; aborts if that fails.
void WriteTempFile(const char* name, const uint8_t* data, size_t size);
// The whole content of the file TempDir() + name; empty if it cannot be read.
std::string ReadTempFile(const char* name);

// Reports an oracle's violation on standard error and aborts, so that libFuzzer keeps the input.
[[noreturn]] void Violation(const char* what, const std::string& detail = std::string());

} // namespace onf_fuzz

// Runs `body`; a QSV_Exception (the engine's answer to a bad input) ends it quietly and makes the
// expression false, any other exception is a finding and aborts.
#define ONF_FUZZ_TRY(body)                                                                         \
    [&]() -> bool {                                                                                \
        try {                                                                                      \
            body;                                                                                  \
            return true;                                                                           \
        } catch (const QSV_Exception&) {                                                           \
            return false;                                                                          \
        } catch (const std::exception& e) {                                                        \
            onf_fuzz::Violation("exception other than QSV_Exception", e.what());                   \
        }                                                                                          \
    }()
