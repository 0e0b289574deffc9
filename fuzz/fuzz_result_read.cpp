// The optimisation result file by the block route: Read of a file holding any bytes.
// Oracle: as for the stream route, what was read writes and reads back to the same text.
#include "FuzzCommon.h"

#include "FuzzResultFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::QuietLogs();
    onf_fuzz::WriteTempFile("result.onf", data, size);
    ONFOptResultFile file(onf_fuzz::TempPath("result.onf"));
    ONF_FUZZ_TRY(file.Read());
    onf_fuzz::CheckResultRoundTrip(file);
    return 0;
}
