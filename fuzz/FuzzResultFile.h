// The round-trip oracle of the two result-file targets.
#pragma once

#include "FuzzCommon.h"

#include "ONFOptResultFile.h"
#include "QSV_Failure.h"

#include <sstream>
#include <string>

namespace onf_fuzz {

// Writes `file` with `<<`, reads that text back with `>>` into a fresh object and writes it again:
// both texts must agree. The text must also pass the block route's Read, unless some title or
// name line looks like a block marker, which only the stream route tells from one.
//
// A value that is not finite (the block route reads "1e999" as infinity) is written as "inf" or
// "nan", which the stream route's number reading refuses; such a text is left out of the check.
// So is a title or name that ends in a carriage return: its line then ends in CR LF, and reading
// takes that for the line end, so such a text cannot come back as it was.
inline void CheckResultRoundTrip(const ONFOptResultFile& file) {
    std::ostringstream first;
    first << file;
    if (first.str().find("inf") != std::string::npos ||
        first.str().find("nan") != std::string::npos ||
        first.str().find("\r\n") != std::string::npos) {
        return;
    }
    ONFOptResultFile again(TempPath("again.onf"));
    std::istringstream in(first.str());
    if (!ONF_FUZZ_TRY(in >> again)) {
        Violation("a written result file fails to read back", first.str());
    }
    std::ostringstream second;
    second << again;
    if (first.str() != second.str()) {
        Violation("a written result file reads back to other content",
                  first.str() + "\n---- written again as ----\n" + second.str());
    }
    const std::string& text = first.str();
    WriteTempFile("again.onf", reinterpret_cast<const uint8_t*>(text.data()), text.size());
    ONFOptResultFile byBlocks(TempPath("again.onf"));
    ONF_FUZZ_TRY(byBlocks.Read());
}

} // namespace onf_fuzz
