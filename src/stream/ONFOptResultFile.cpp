// The optimisation result file.
#include "ONFOptResultFile.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "OnfBlockTextReader.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <ios>

namespace {

constexpr const char* TAG_RESULT_FILE = "|%P|BrelonOnfEngine|ONFOPTResultFile";
constexpr const char* NOT_ADMISSIBLE = "A not admissible data block with ID %d was found.";

std::string ResultFileHeader() {
    std::string header;
    header.append("# ").append(const_onf_version).append("\n");
    header.append("# ").append(const_onf_opt_res_file).append("\n");
    header.append("#\n");
    return header;
}

} // namespace

ONFOptResultFile::ONFOptResultFile(const std::string& fileName) : ONFFile(fileName) {
    m_Header = ResultFileHeader();
}

ONFOptResultFile::ONFOptResultFile(const std::wstring& fileName) : ONFFile(fileName) {
    m_Header = ResultFileHeader();
}

ONFOptResultFile::ONFOptResultFile(const ONFOptResultFile& other) = default;
ONFOptResultFile::ONFOptResultFile(ONFOptResultFile&& other) noexcept = default;
ONFOptResultFile& ONFOptResultFile::operator=(const ONFOptResultFile& other) = default;
ONFOptResultFile& ONFOptResultFile::operator=(ONFOptResultFile&& other) noexcept = default;
ONFOptResultFile::~ONFOptResultFile() = default;

void ONFOptResultFile::Read() {
    // Blocks 700 to 740 are this file's own and unknown to the catalogue, so they are kept.
    OnfBlockTextReader reader(m_FileName.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    Read(reader);
}

void ONFOptResultFile::Read(OnfBlockTextReader& reader) {
    TextLineSplitter splitter(2048);
    const std::vector<OnfBlockTextReader::BLOCK_INFO>& blocks = reader.GetBlocksInfo();
    for (size_t index = 0; index < blocks.size(); ++index) {
        reader.ProvideBlock(index);
        const OnfBlockTextReader::BLOCK_INFO& info = blocks[index];
        // The reader guarantees 0 <= num_records <= the block's lines.
        const int count = static_cast<int>(info.num_records);
        switch (info.block_id) {
        case ONFOptResTitle::block_id:
            m_Title.LoadFrom(reader, count, splitter);
            break;
        case ONFOptResNodalScalar::block_id:
            m_NodalScalar.LoadFrom(reader, count, splitter);
            break;
        case ONFOptResNodalVector::block_id:
            m_NodalVector.LoadFrom(reader, count, splitter);
            break;
        case ONFOptResNodalDisp::block_id:
            m_NodalDisp.LoadFrom(reader, count, splitter);
            break;
        case ONFOptResElemScalar::block_id:
            m_ElemScalar.LoadFrom(reader, count, splitter);
            break;
        case ONFNodeGroup::block_id:
            m_NodeGroups.LoadFrom(reader, count, splitter);
            break;
        case ONFElementGroup::block_id:
            m_ElementGroups.LoadFrom(reader, count, splitter);
            break;
        default:
            onf_detail::ThrowFailure("161050150211", TAG_RESULT_FILE, NOT_ADMISSIBLE,
                                     info.block_id);
        }
    }
}

// A file that cannot be made, and a failed write, go unreported here. The new text takes the old
// file's place only when written whole, so that a failure at least leaves the old file as it was.
void ONFOptResultFile::Write() const {
    BrelonOutputFile file;
    if (!file.Open(BrelonStringUtil::wide_to_utf8(m_FileName.c_str()), BrelonOutputFile::REPLACE)) {
        return;
    }
    BrelonOutputFileBuf buffer(file);
    std::ostream os(&buffer);
    os << *this;
    if (os.flush()) {
        file.Commit();
    }
}

namespace {

// Reads the block `blockId` (behind its number line) into `file`'s block of that number.
void ReadBlock(std::istream& is, int blockId, ONFOptResultFile& file) {
    switch (blockId) {
    case ONFNodeGroup::block_id:
        is >> file.GetOptDBNodeGroup();
        break;
    case ONFElementGroup::block_id:
        is >> file.GetOptDBElementGroup();
        break;
    case ONFOptResTitle::block_id:
        is >> file.GetOptDBTitle();
        break;
    case ONFOptResNodalScalar::block_id:
        is >> file.GetOptDBNodalScalar();
        break;
    case ONFOptResNodalVector::block_id:
        is >> file.GetOptDBNodalVector();
        break;
    case ONFOptResNodalDisp::block_id:
        is >> file.GetOptDBNodalDisp();
        break;
    case ONFOptResElemScalar::block_id:
        is >> file.GetOptDBElemScalar();
        break;
    default:
        onf_detail::ThrowFailure("161050150210", TAG_RESULT_FILE, NOT_ADMISSIBLE, blockId);
    }
}

} // namespace

namespace {

// A stream operator turns an exception inside it (a failed allocation, say) into the stream's bad
// bit, and below a bad stream would read as the normal end of the file: the rest of the file would
// be lost without a word. While the file is read the bad bit throws instead, so that the exception
// itself leaves; the caller's mask comes back afterwards.
class BadBitThrows {
public:
    explicit BadBitThrows(std::istream& is) : m_Stream(is), m_Saved(is.exceptions()) {
        is.exceptions(m_Saved | std::ios::badbit);
    }
    ~BadBitThrows() {
        try {
            m_Stream.exceptions(m_Saved); // throws where the caller's mask holds a state bit set
        } catch (...) {
        }
    }
    BadBitThrows(const BadBitThrows&) = delete;
    BadBitThrows& operator=(const BadBitThrows&) = delete;

private:
    std::istream& m_Stream;
    std::ios::iostate m_Saved;
};

} // namespace

std::istream& operator>>(std::istream& is, ONFOptResultFile& file) {
    if (is.eof()) {
        return is;
    }
    const BadBitThrows badBitThrows(is);
    std::string comment;
    while (true) {
        // Comments are recognised only with "#" as the very first byte, ahead of a block.
        while (is.peek() == '#') {
            onf_getline_dosunix(is, comment);
        }
        int startId = 0;
        is >> startId >> get_newline;
        if (is.eof() || is.fail()) {
            return is; // the normal end of the input
        }
        if (startId != -1) {
            onf_detail::ThrowFailure("161049150210", TAG_RESULT_FILE,
                                     "The start ID string of an ONF data block had a wrong "
                                     "format.");
        }
        int blockId = 0;
        is >> blockId >> get_newline;
        ReadBlock(is, blockId, file);
        int endId = 0;
        is >> endId >> get_newline;
        // An end marker on the last line without a line end is not looked at.
        if (is.eof()) {
            return is;
        }
        if (endId != -1 || is.fail()) {
            onf_detail::ThrowFailure("161051150210", TAG_RESULT_FILE,
                                     "The end ID string of an ONF data block had a wrong format.");
        }
    }
}

std::ostream& operator<<(std::ostream& os, const ONFOptResultFile& file) {
    // Seven significant digits, the result file's precision; the settings stay on the stream.
    os.precision(6);
    os.setf(std::ios_base::scientific, std::ios_base::floatfield);
    os.setf(std::ios_base::showpoint);
    os << file.GetHeader();
    os << file.GetOptDBTitle() << file.GetOptDBNodalScalar() << file.GetOptDBNodalVector()
       << file.GetOptDBNodalDisp() << file.GetOptDBElemScalar() << file.GetOptDBNodeGroup()
       << file.GetOptDBElementGroup();
    return os;
}
