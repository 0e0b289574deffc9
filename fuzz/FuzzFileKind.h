// The frame of the file-kind targets: the input becomes a file in the private folder, the file
// object reads it, its main queries run over what was read, and it is written again.
#pragma once

#include "FuzzCommon.h"

#include "QSV_Failure.h"

namespace onf_fuzz {

// Writes the input to `name` and runs `readAndQuery`, which reads it with a file object on that
// path; a QSV_Exception ends the run quietly.
template <typename Body>
void RunFileKind(const char* name, const uint8_t* data, size_t size, Body readAndQuery) {
    QuietLogs();
    WriteTempFile(name, data, size);
    ONF_FUZZ_TRY(readAndQuery(TempPath(name)));
}

} // namespace onf_fuzz
