// The list texts: the block route's integer and real list readers over lines, and the stream
// route's ONFList. The first byte picks the reader, the rest is the text.
// Oracle: a list that reads writes back to a text that reads back to the same values.
#include "FuzzCommon.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "QSV_Failure.h"
#include "onf_list.h"

#include <cstring>
#include <sstream>
#include <vector>

namespace {

// Lines of a memory text, handed out as a block body is.
class MemoryLines : public TextLinesProvider {
public:
    explicit MemoryLines(const std::string& text) {
        m_Parser.LoadTextFromBuffer(text.data(), text.size());
    }
    const char* GetLine() const override {
        return m_Next < m_Parser.GetNumLines() ? m_Parser.GetLine(m_Next) : nullptr;
    }
    const char* ExtractLine() override {
        const char* line = GetLine();
        m_Next += line != nullptr ? 1 : 0;
        return line;
    }
    void Rewind() override { m_Next = 0; }
    size_t GetCurrentIdx() const override { return m_Next; }
    const std::wstring& FileName() const override { return m_Name; }

private:
    TextLinesParser m_Parser;
    size_t m_Next = 0;
    std::wstring m_Name = L"fuzz.onf";
};

template <typename T, typename Read>
bool ReadList(const std::string& text, std::vector<T>& values, Read read) {
    MemoryLines lines(text);
    TextLineSplitter splitter(16);
    splitter.SplitLine(lines.ExtractLine(), TextLineSplitter::SPLIT_KEEP_QUOTED, ',', '"');
    return ONF_FUZZ_TRY(read(lines, values, splitter));
}

std::string JoinLines(const onf_detail::VectorLinesWriter& writer) {
    std::string text;
    for (const std::string& line : writer.GetLines()) {
        text += line + "\n";
    }
    return text;
}

// Reads `text` as a list by `read`; a list that reads is written by `write` and must read back
// to the same values, bit for bit, else the violation `what`.
template <typename T, typename Read, typename Write>
void ListRoundTrip(const std::string& text, Read read, Write write, const char* what) {
    std::vector<T> values;
    if (!ReadList(text, values, read)) {
        return;
    }
    CsvLineWriter csv(1024, ", ");
    TextLineFormatter formatter(&csv);
    onf_detail::VectorLinesWriter writer;
    write(values, writer, formatter);
    std::vector<T> again;
    if (!ReadList(JoinLines(writer), again, read) || again.size() != values.size() ||
        (!values.empty() &&
         std::memcmp(again.data(), values.data(), values.size() * sizeof(T)) != 0)) {
        onf_fuzz::Violation(what, JoinLines(writer));
    }
}

void IntListRoundTrip(const std::string& text) {
    ListRoundTrip<int>(
        text, QSV_ListFormatUtil::read_onf_int_list,
        [](const std::vector<int>& values, onf_detail::VectorLinesWriter& writer,
           TextLineFormatter& formatter) {
            QSV_ListFormatUtil::write_onf_int_list(values, QSV_ListFormatUtil::INT_LIST_ORDERED,
                                                   writer, formatter);
        },
        "an integer list does not read back as written");
}

void RealListRoundTrip(const std::string& text) {
    ListRoundTrip<double>(text, QSV_ListFormatUtil::read_onf_real_list,
                          QSV_ListFormatUtil::write_onf_real_list,
                          "a real list does not read back bit for bit");
}

// The stream list, sized by the first line's number as a group's count line sizes it.
void StreamListRoundTrip(const std::string& text) {
    std::istringstream in(text);
    int size = 0;
    in >> size;
    if (!in || size < 0 || size > 100000) {
        return;
    }
    ONFList list;
    list.Resize(size);
    if (!ONF_FUZZ_TRY(in >> list) || in.fail() || list.GetSize() == 0) {
        return;
    }
    std::ostringstream out;
    out << list;
    ONFList again;
    again.Resize(list.GetSize());
    std::istringstream back(out.str());
    if (!ONF_FUZZ_TRY(back >> again) || again.GetData() != list.GetData()) {
        onf_fuzz::Violation("a stream list does not read back as written", out.str());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    onf_fuzz::QuietLogs();
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
    case 0:
        IntListRoundTrip(text);
        break;
    case 1:
        RealListRoundTrip(text);
        break;
    default:
        StreamListRoundTrip(text);
        break;
    }
    return 0;
}
