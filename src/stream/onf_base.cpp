// Stream primitives of the optimisation result file.
#include "onf_base.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "QSV_Failure.h"

int ONF_LINE_NR = 0;

namespace {

constexpr const char* TAG_BASE_UTIL = "|%P|BrelonOnfEngine|ONFBaseUtil";

} // namespace

bool onf_check_if_newline(std::istream& is) {
    bool sawCarriageReturn = false;
    if (is.peek() == '\r') {
        is.get();
        sawCarriageReturn = true;
    }
    if (is.peek() == '\n') {
        is.get();
        ++ONF_LINE_NR;
        return true;
    }
    // A lone CR ends a line as well.
    if (sawCarriageReturn) {
        ++ONF_LINE_NR;
        return true;
    }
    return false;
}

std::istream& get_newline(std::istream& is) {
    if (onf_check_if_newline(is)) {
        return is;
    }
    // Not finding a line end is no failure of its own: whatever is wrong shows in the next read.
    if (is.eof()) {
        QSV_LOG(LOG_DETAIL, TAG_BASE_UTIL, "Reached end of file, read lines %d.", ONF_LINE_NR);
    } else if (is.fail()) {
        QSV_LOG(LOG_DETAIL, TAG_BASE_UTIL, "Got failed bit in line %d.", ONF_LINE_NR);
    } else {
        QSV_LOG(LOG_TRACE, TAG_BASE_UTIL, "ONF get_newline called but no end-line marker found%s",
                onf_line_nr_msg().c_str());
    }
    return is;
}

std::istream& get_separator(std::istream& is) {
    is >> std::ws;
    char c = 0;
    is.get(c);
    if (c != ',' || is.fail()) {
        onf_detail::ThrowFailure("161000150210", TAG_BASE_UTIL,
                                 "The ONF separator character ',' was not found %s.",
                                 onf_line_nr_msg().c_str());
    }
    return is;
}

std::istream& onf_getline_dosunix(std::istream& is, std::string& text) {
    ++ONF_LINE_NR;
    return getline_dosunix(is, text);
}

std::string onf_line_nr_msg() {
    if (ONF_LINE_NR < 1) {
        return ".";
    }
    return QSV_MESSAGE(" in line %d.", ONF_LINE_NR);
}

// ---------------------------------------------------------------------------------------------

ONFBaseItem::ONFBaseItem(int id) : m_ID(id) {}

ONFBaseItem::~ONFBaseItem() = default;

// ---------------------------------------------------------------------------------------------

ONFFile::ONFFile(const std::string& fileName)
    : m_FileName(BrelonStringUtil::utf8_to_wide(fileName.c_str())) {
    ONF_LINE_NR = 0;
}

ONFFile::ONFFile(const std::wstring& fileName) : m_FileName(fileName) {
    ONF_LINE_NR = 0;
}

// A copy or a moved-to object continues the reading of its source, so the counter runs on.
ONFFile::ONFFile(const ONFFile& other) = default;
ONFFile::ONFFile(ONFFile&& other) noexcept = default;
ONFFile& ONFFile::operator=(const ONFFile& other) = default;
ONFFile& ONFFile::operator=(ONFFile&& other) noexcept = default;
ONFFile::~ONFFile() = default;

// ---------------------------------------------------------------------------------------------

const char* onf_detail::ExtractBlockLine(TextLinesProvider& lines, const char* tag) {
    const char* line = lines.ExtractLine();
    if (line == nullptr) {
        // The reader only checks the count line against the number of body lines, but an entry
        // or a group takes several lines: a block can still run out in the middle of a record.
        ThrowFailure(nullptr, tag,
                     "The ONF file \"%s\" ends a data block at line %Iu before all of its "
                     "records were read.",
                     BrelonStringUtil::wide_to_utf8(lines.FileName().c_str()).c_str(),
                     lines.GetCurrentIdx() + 1);
    }
    return line;
}

int onf_detail::ParseOnfInt(const char* text) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text);
    while (*p == ' ' || (*p >= 9 && *p <= 13)) {
        ++p;
    }
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+') {
        ++p;
    }
    // Unsigned arithmetic wraps at 32 bits without undefined behaviour.
    unsigned int value = 0;
    while (*p >= '0' && *p <= '9') {
        value = value * 10u + static_cast<unsigned int>(*p - '0');
        ++p;
    }
    if (negative) {
        value = 0u - value;
    }
    return static_cast<int>(value);
}
