// Result items of the optimisation result file, and the non-template parts of its blocks.
#include "onf_datablock.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "OnfConstants.h"

#include <charconv>
#include <locale>

namespace {

constexpr const char* TAG_NODAL_SCALAR = "|%P|BrelonOnfEngine|ONFOptResNodalScalar";
constexpr const char* TAG_NODAL_VECTOR = "|%P|BrelonOnfEngine|ONFOptResNodalVector";
constexpr const char* TAG_NODAL_DISP = "|%P|BrelonOnfEngine|ONFOptResNodalDisp";
constexpr const char* TAG_ELEM_SCALAR = "|%P|BrelonOnfEngine|ONFOptResElemScalar";
constexpr const char* WRONG_FORMAT = "Wrong ONF format!";

// Splits the next line of the block into its comma-separated tokens; fewer than `needed`
// tokens fail with `id`. Tokens beyond `needed` are ignored.
void SplitItemLine(TextLinesProvider& lines, TextLineSplitter& splitter, size_t needed,
                   const char* id, const char* tag) {
    splitter.SplitLine(onf_detail::ExtractBlockLine(lines, tag),
                       TextLineSplitter::SPLIT_KEEP_QUOTED, ',', '"');
    if (splitter.GetNumTokens() < needed) {
        onf_detail::ThrowFailure(id, tag, WRONG_FORMAT);
    }
}

double RealToken(const TextLineSplitter& splitter, size_t index) {
    return BrelonFormatUtil::str_to_double(splitter.GetToken(index), nullptr);
}

// "id, x, y, z" from the block, for the two vector items.
template <class Item>
void LoadVectorItem(Item& item, TextLinesProvider& lines, TextLineSplitter& splitter,
                    const char* id, const char* tag) {
    SplitItemLine(lines, splitter, 4, id, tag);
    item = Item(onf_detail::ParseOnfInt(splitter.GetToken(0)), RealToken(splitter, 1),
                RealToken(splitter, 2), RealToken(splitter, 3));
}

// "id, x, y, z" from a stream. A bad number leaves the item as it was.
template <class Item>
std::istream& ReadVectorItem(std::istream& is, Item& item) {
    int id = 0;
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    is >> id >> get_separator >> x >> get_separator >> y >> get_separator >> z >> get_newline;
    if (!is.fail()) {
        item = Item(id, x, y, z);
    }
    return is;
}

// True when `os` writes numbers as the result file sets it up: decimal integers and reals in
// scientific notation with a precision of 1 to 30, no sign or width padding, and the classic
// locale. std::to_chars then writes the very text the stream would, several times faster.
bool IsPlainScientific(const std::ostream& os) {
    const std::ios_base::fmtflags flags = os.flags();
    const std::ios_base::fmtflags base = flags & std::ios_base::basefield;
    const std::ios_base::fmtflags mask =
        std::ios_base::floatfield | std::ios_base::showpos | std::ios_base::uppercase;
    return (flags & mask) == std::ios_base::scientific &&
           (base == std::ios_base::dec || base == std::ios_base::fmtflags()) && os.width() == 0 &&
           os.precision() >= 1 && os.precision() <= 30 && os.getloc() == std::locale::classic();
}

// Writes "id, v0, v1, ...\n" with the stream's formatting of numbers.
void WriteItemLine(std::ostream& os, int id, const double* values, size_t count) {
    if (!IsPlainScientific(os)) {
        os << id;
        for (size_t i = 0; i < count; ++i) {
            os << ", " << values[i];
        }
        os << "\n";
        return;
    }
    const int precision = static_cast<int>(os.precision());
    char line[256]; // id, and up to three reals of at most 40 bytes with their separators
    char* end = line + onf_detail::format_int(id, line);
    for (size_t i = 0; i < count; ++i) {
        *end++ = ',';
        *end++ = ' ';
        end = std::to_chars(end, line + sizeof line, values[i], std::chars_format::scientific,
                            precision)
                  .ptr;
    }
    *end++ = '\n';
    os.write(line, end - line);
}

template <class Item>
std::ostream& WriteVectorItem(std::ostream& os, const Item& item) {
    WriteItemLine(os, item.GetID(), item.GetValue().Data(), 3);
    return os;
}

} // namespace

const onf_detail::StreamHeaderText ONFOptResTitle::header("ONF OPT Result Title");
const onf_detail::StreamHeaderText
    ONFOptResNodalScalar::header("ONF OPT Result Nodal Scalar Value");
const onf_detail::StreamHeaderText
    ONFOptResNodalVector::header("ONF OPT Result Nodal Vector Value");
const onf_detail::StreamHeaderText
    ONFOptResNodalDisp::header("ONF OPT Result Nodal Displacement Value");
const onf_detail::StreamHeaderText
    ONFOptResElemScalar::header("ONF OPT Result Element Scalar Value");

// ---------------------------------------------------------------------------------------------
// Block route.

void ONFOptResTitle::LoadFrom(TextLinesProvider& lines, TextLineSplitter& /*splitter*/) {
    m_Title = onf_detail::ExtractBlockLine(lines, onf_detail::TAG_OPT_DATA_BLOCK_ENTRY);
}

void ONFOptResNodalScalar::LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter) {
    SplitItemLine(lines, splitter, 2, "100916043212", TAG_NODAL_SCALAR);
    m_ID = onf_detail::ParseOnfInt(splitter.GetToken(0));
    m_Value = RealToken(splitter, 1);
}

void ONFOptResNodalVector::LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter) {
    LoadVectorItem(*this, lines, splitter, "100916043414", TAG_NODAL_VECTOR);
}

void ONFOptResNodalDisp::LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter) {
    LoadVectorItem(*this, lines, splitter, "100916043516", TAG_NODAL_DISP);
}

void ONFOptResElemScalar::LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter) {
    SplitItemLine(lines, splitter, 2, "100916043622", TAG_ELEM_SCALAR);
    m_ID = onf_detail::ParseOnfInt(splitter.GetToken(0));
    m_Value = RealToken(splitter, 1);
}

// ---------------------------------------------------------------------------------------------
// Stream route.

std::istream& operator>>(std::istream& is, ONFOptResTitle& item) {
    // Read over the old text: a stream that has failed before reads nothing and leaves it.
    std::string title = item.GetSubtitle();
    onf_getline_dosunix(is, title);
    item = ONFOptResTitle(std::move(title));
    return is;
}

std::istream& operator>>(std::istream& is, ONFOptResNodalScalar& item) {
    int id = 0;
    double value = 0.0;
    is >> id >> get_separator >> value >> get_newline;
    if (!is.fail()) {
        item = ONFOptResNodalScalar(id, value);
    }
    return is;
}

std::istream& operator>>(std::istream& is, ONFOptResNodalVector& item) {
    return ReadVectorItem(is, item);
}

std::istream& operator>>(std::istream& is, ONFOptResNodalDisp& item) {
    return ReadVectorItem(is, item);
}

std::istream& operator>>(std::istream& is, ONFOptResElemScalar& item) {
    const std::istream::pos_type start = is.tellg();
    int id = 0;
    double value = 0.0;
    is >> id >> get_separator >> value >> get_newline;
    if (is.fail()) {
        // Read the line again to show it in the message; the stream stands behind it then.
        is.clear();
        is.seekg(start);
        std::string line;
        onf_getline_dosunix(is, line);
        onf_detail::ThrowFailure(nullptr, TAG_ELEM_SCALAR,
                                 "Cannot parse ONF block 740 around line %d. Line Image: \" %s \"",
                                 ONF_LINE_NR, line.c_str());
    }
    item = ONFOptResElemScalar(id, value);
    return is;
}

std::ostream& operator<<(std::ostream& os, const ONFOptResTitle& item) {
    return os << item.GetSubtitle() << std::endl;
}

std::ostream& operator<<(std::ostream& os, const ONFOptResNodalScalar& item) {
    const double value = item.GetValue();
    WriteItemLine(os, item.GetID(), &value, 1);
    return os;
}

std::ostream& operator<<(std::ostream& os, const ONFOptResNodalVector& item) {
    return WriteVectorItem(os, item);
}

std::ostream& operator<<(std::ostream& os, const ONFOptResNodalDisp& item) {
    return WriteVectorItem(os, item);
}

std::ostream& operator<<(std::ostream& os, const ONFOptResElemScalar& item) {
    const double value = item.GetValue();
    WriteItemLine(os, item.GetID(), &value, 1);
    return os;
}

// ---------------------------------------------------------------------------------------------
// Block helpers.

void onf_detail::ThrowSystemFailure(const char* id, const char* tag, const std::exception& e) {
    ThrowFailure(id, tag, "System exception %s", e.what());
}

void onf_detail::ThrowBlockItemFailure(const QSV_Exception& cause, const char* id, const char* tag,
                                       size_t number) {
    char message[ONF_MESSAGE_BUFFER_SIZE];
    onf_format(message, sizeof message,
               "Error has occurred while reading an ONF file, data block item %d",
               static_cast<int>(number));
    throw QSV_Failure(cause, std::string(id), std::string(message), std::string(tag));
}

void onf_detail::WriteBlockHead(std::ostream& os, int blockId, const char* header, size_t count) {
    os << ONF_COMMENT_MARK << std::endl;
    os << ONF_COMMENT_MARK << " DATA BLOCK " << blockId << ": " << header << std::endl;
    os << ONF_COMMENT_MARK << std::endl;
    os << ONF_BLOCK_MARKER << "\n" << blockId << "\n" << count << "\n";
}

void onf_detail::WriteBlockEnd(std::ostream& os) {
    os << ONF_BLOCK_MARKER << "\n";
}
