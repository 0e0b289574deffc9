// The outer grammar: any bytes, decoded from a memory buffer under both unknown-block actions.
// Oracle: every kept block's body lies inside the file, holds at least its declared records,
// hands out exactly its body lines, and a deep copy decodes alike.
#include "FuzzCommon.h"

#include "OnfBlockTextReader.h"
#include "QSV_Failure.h"

#include <cstring>

namespace {

void CheckBlocks(OnfBlockTextReader& reader) {
    const size_t numLines = reader.GetLines().GetNumLines();
    const auto& blocks = reader.GetBlocksInfo();
    for (size_t b = 0; b < blocks.size(); ++b) {
        const auto& info = blocks[b];
        if (static_cast<uint64_t>(info.num_records) > info.num_lines) {
            onf_fuzz::Violation("a block declares more records than it has lines");
        }
        if (info.num_lines > 0 && info.first_line + info.num_lines > numLines) {
            onf_fuzz::Violation("a block's body runs past the file's last line");
        }
        reader.ProvideBlock(b);
        size_t handed = 0;
        while (reader.ExtractLine() != nullptr) {
            ++handed;
        }
        if (handed != info.num_lines || reader.GetNumBlockLines() != info.num_lines) {
            onf_fuzz::Violation("a block hands out a number of lines other than num_lines");
        }
    }
}

void CheckCopy(const OnfBlockTextReader& reader) {
    OnfBlockTextReader copy(reader);
    const auto& a = reader.GetBlocksInfo();
    const auto& b = copy.GetBlocksInfo();
    if (a.size() != b.size()) {
        onf_fuzz::Violation("a copied reader holds another number of blocks");
    }
    for (size_t i = 0; i < a.size(); ++i) {
        copy.ProvideBlock(i);
        for (const char* line = copy.ExtractLine(); line != nullptr; line = copy.ExtractLine()) {
            if (std::strlen(line) > 0 &&
                line == reader.GetLines().GetLine(copy.GetCurrentIdx() - 1)) {
                onf_fuzz::Violation("a copied reader shares its lines with the original");
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::QuietLogs();
    const char* text = reinterpret_cast<const char*>(data);
    for (auto action :
         {OnfBlockTextReader::UNKNOWN_BLOCK_WARN, OnfBlockTextReader::UNKNOWN_BLOCK_KEEP}) {
        ONF_FUZZ_TRY({
            OnfBlockTextReader reader(text, size, L"fuzz.onf", action);
            CheckBlocks(reader);
            CheckCopy(reader);
        });
    }
    return 0;
}
