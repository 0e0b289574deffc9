// The optimisation result file by the stream route: `>>` from any bytes.
// Oracle: what was read writes with `<<` to a text that `>>` reads back and `<<` writes again to
// the same bytes; the block route's Read takes that text as well.
#include "FuzzCommon.h"

#include "FuzzResultFile.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::QuietLogs();
    ONFOptResultFile file(onf_fuzz::TempPath("result.onf"));
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    ONF_FUZZ_TRY(in >> file);
    onf_fuzz::CheckResultRoundTrip(file);
    return 0;
}
