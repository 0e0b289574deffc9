// The text database: a file opened by InitDb, or loaded by LoadFrom under one of the four load
// actions (the first byte picks), then written by WriteSet.
// Oracle: what was written reads back, and writing and reading again changes nothing more.
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

// True when the written `text` can be expected to read back as it was written. String values are
// kept as the file gives them, and the oracle leaves out texts with a double quote outside a
// descriptor, which a record line may hold in forms that read back otherwise. Custom formats of
// every kind write what reads back.
bool IsPlainText(const std::string& text) {
    bool inDescriptor = false;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end;
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line == "   -2") {
            inDescriptor = !inDescriptor;
        } else if (!inDescriptor && line.find('"') != std::string::npos) {
            return false;
        }
    }
    return true;
}

// Opens the file `from` in a fresh database and writes that to `to`; false if that fails.
bool ReadAndWrite(const char* from, const char* to) {
    return ONF_FUZZ_TRY({
        BrelonOnfTxtDatabase again(onf_fuzz::TempPath(from));
        again.InitDb(QSV_DatabaseDefs::AccessMode(0), 1024, L"", nullptr);
        WriteDb(again, to);
    });
}

// A plain written text must read back, and from the second writing on it must stay the same. The
// first writing may still lose a block: a block whose number the catalogue lacks is kept as a
// custom block (block number -1, written as NON_ONF), and then its descriptor may write like that
// of a NON_ONF block beside it, which reads back as one block. Any text must read back without a
// crash, a leak or a foreign exception.
void CheckReadBack() {
    const std::string first = onf_fuzz::ReadTempFile("out1.onf");
    const bool plain = IsPlainText(first);
    if (!ReadAndWrite("out1.onf", "out2.onf")) {
        if (plain) {
            onf_fuzz::Violation("a written file does not read back", first);
        }
        return;
    }
    const std::string second = onf_fuzz::ReadTempFile("out2.onf");
    if (!ReadAndWrite("out2.onf", "out3.onf") && plain) {
        onf_fuzz::Violation("a file written twice does not read back", second);
    }
    const std::string third = onf_fuzz::ReadTempFile("out3.onf");
    if (plain && second != third) {
        onf_fuzz::Violation("a written file reads back to other content",
                            second + "\n---- written again as ----\n" + third);
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
