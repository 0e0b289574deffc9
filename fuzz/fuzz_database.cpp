// The text database: a file opened by InitDb, or loaded by LoadFrom under one of the four load
// actions (the first byte picks), then written by WriteSet.
// Oracle: what was written reads back and writes again to the same bytes.
#include "FuzzCommon.h"

#include "BrelonOnfTxtDatabase.h"
#include "OnfBlockTextReader.h"
#include "OnfBlockTextWriter.h"
#include "QSV_Failure.h"

namespace {

void WriteDb(const BrelonOnfTxtDatabase& db, const char* name) {
    OnfBlockTextWriter writer(onf_fuzz::TempPath(name).c_str(), OnfBlockTextWriter::WRITE_NEW);
    db.WriteSet(writer);
    writer.Flush();
}

// Opens the written file in a fresh database, writes that again and compares the bytes.
void CheckReadBack() {
    bool reread = ONF_FUZZ_TRY({
        BrelonOnfTxtDatabase again(onf_fuzz::TempPath("out1.onf"));
        again.InitDb(QSV_DatabaseDefs::AccessMode(0), 1024, L"", nullptr);
        WriteDb(again, "out2.onf");
    });
    if (!reread) {
        onf_fuzz::Violation("a written file does not read back",
                            onf_fuzz::ReadTempFile("out1.onf"));
    }
    const std::string first = onf_fuzz::ReadTempFile("out1.onf");
    const std::string second = onf_fuzz::ReadTempFile("out2.onf");
    if (first != second) {
        onf_fuzz::Violation("a written file reads back to other content",
                            first + "\n---- written again as ----\n" + second);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    onf_fuzz::QuietLogs();
    const int mode = data[0] % 5;
    onf_fuzz::WriteTempFile("in.onf", data + 1, size - 1);
    // A failure while loading leaves the blocks loaded so far: those must write and read back too.
    BrelonOnfTxtDatabase db(onf_fuzz::TempPath(mode == 4 ? "in.onf" : "none.onf"));
    ONF_FUZZ_TRY({
        db.InitDb(QSV_DatabaseDefs::AccessMode(mode == 4 ? 0 : 1), 1024, L"", nullptr);
        if (mode < 4) {
            OnfBlockTextReader reader(reinterpret_cast<const char*>(data + 1), size - 1,
                                      L"fuzz.onf", OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
            db.LoadFrom(reader, static_cast<BrelonOnfTxtDatabase::BlockSetLoadAction>(mode));
        }
    });
    if (!ONF_FUZZ_TRY(WriteDb(db, "out1.onf"))) {
        onf_fuzz::Violation("a loaded database cannot be written");
    }
    CheckReadBack();
    return 0;
}
