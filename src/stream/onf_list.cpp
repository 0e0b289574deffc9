// Stream-format lists and groups.
#include "onf_list.h"

#include "BrelonLineInput.h"
#include "BrelonNumerics.h"
#include "BrelonTextServices.h"
#include "QSV_Failure.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char* TAG_LIST = "|%P|BrelonOnfEngine|ONFList";
constexpr const char* TAG_GROUP = "|%P|BrelonOnfEngine|ONFGroup";

// A run this list never writes: one that ends below its start would read as no value, and one
// with a step below 1 as its first value repeated up to the count. Either drops what the text
// meant without a word, so it fails; the block route's list reader refuses both alike. (A number
// the stream could not read leaves its fail bit for the caller, as everywhere on this route.)
void CheckRun(int first, int last, int step) {
    if (step < 1) {
        onf_detail::ThrowFailure(nullptr, TAG_LIST,
                                 "The ONF list run %d-%d:%d has a step below 1%s", first, last,
                                 step, onf_line_nr_msg().c_str());
    }
    if (last < first) {
        onf_detail::ThrowFailure(nullptr, TAG_LIST,
                                 "The ONF list run %d-%d ends below its first value%s", first, last,
                                 onf_line_nr_msg().c_str());
    }
}

// A group's declared values are checked against the memory the process may still take (many
// small groups once they add up), so that a file declaring more than the machine holds fails in
// words rather than with a bare std::bad_alloc while its runs expand.
void CheckMemoryFor(int id, size_t count) {
    const size_t needed = count * sizeof(int);
    if (BrelonSysUtil::expansion_fits(needed)) {
        return;
    }
    onf_detail::ThrowFailure(nullptr, TAG_GROUP,
                             "The ONF group %d declares %Iu values, about %Iu MiB, more than the "
                             "memory left%s",
                             id, count, needed >> 20, onf_line_nr_msg().c_str());
}

// Reads `expected` values of the folded text into `out` (replacing its content). Values are
// appended as they are read, so memory follows the input, not the expected count; a run that
// would go past `expected` is cut there. Runs use 64-bit values so that a step near the end of
// the 32-bit range stops instead of wrapping around.
void ReadListValues(std::istream& is, std::vector<int>& out, size_t expected) {
    out.clear();
    while (true) {
        int first = 0;
        is >> first;
        if (is.peek() == '-') {
            is.get();
            int last = 0;
            is >> last;
            bool numbersRead = !is.fail(); // peek at the end of the input sets the fail bit
            int step = 1;
            if (numbersRead && is.peek() == ':') {
                is.get();
                is >> step;
                numbersRead = !is.fail();
            }
            if (numbersRead) {
                CheckRun(first, last, step);
            }
            for (long long value = first; value <= last && out.size() < expected; value += step) {
                out.push_back(static_cast<int>(value));
            }
        } else {
            out.push_back(first);
        }
        if (out.size() >= expected) {
            return;
        }
        char separator = 0;
        is >> separator;
        if (separator != ',') {
            onf_detail::ThrowFailure("161048150210", TAG_LIST,
                                     "The ONF list separator character was not found%s",
                                     onf_line_nr_msg().c_str());
        }
    }
}

// An empty list is announced by a single 0.
void ReadEmptyList(std::istream& is) {
    QSV_LOG(LOG_TRACE, TAG_LIST, "Reading empty ONFlist");
    int marker = 0;
    is >> marker;
    if (marker != 0) {
        QSV_LOG(LOG_WARNING, TAG_LIST, "Empty ONF-list %s is not correctly defined with a '0'",
                onf_line_nr_msg().c_str());
    }
}

} // namespace

// ---------------------------------------------------------------------------------------------

ONFList::ONFList() = default;
ONFList::ONFList(int value) : m_Data(1, value) {}
ONFList::ONFList(const std::vector<int>& data) : m_Data(data) {}
ONFList::ONFList(std::vector<int>&& data) : m_Data(std::move(data)) {}
ONFList::ONFList(const std::set<int>& data) : m_Data(data.begin(), data.end()) {}
ONFList::ONFList(const ONFList& other) = default;
ONFList::ONFList(ONFList&& other) noexcept = default;
ONFList& ONFList::operator=(const ONFList& other) = default;
ONFList& ONFList::operator=(ONFList&& other) noexcept = default;
ONFList::~ONFList() = default;

int ONFList::GetItem(int index) const {
    if (index < 0 || static_cast<size_t>(index) >= m_Data.size()) {
        return -1;
    }
    return m_Data[static_cast<size_t>(index)];
}

void ONFList::SetItem(int index, int value) {
    if (index < 0) {
        return;
    }
    const size_t position = static_cast<size_t>(index);
    if (position >= m_Data.size()) {
        // Grows by half again, to leave room for stores that follow. 1.5 times the index is
        // below index + 1 only for 0 and 1; the list then grows to index + 1, so that the store
        // always lands inside the list.
        const size_t grown = position + position / 2;
        m_Data.resize(grown > position ? grown : position + 1);
    }
    m_Data[position] = value;
}

void ONFList::Resize(int size) {
    m_Data.resize(size > 0 ? static_cast<size_t>(size) : 0);
}

void ONFList::Sort() {
    BrelonAlgorithmUtil::radix_sort_ascending(m_Data.data(), m_Data.size());
}

std::istream& operator>>(std::istream& is, ONFList& list) {
    if (list.m_Data.empty()) {
        ReadEmptyList(is);
        list.m_Data.clear();
        return is;
    }
    // The values go to the front of the sized list: when a separator is missing, those read
    // before it are stored and the rest of the list stays as it was.
    std::vector<int> values;
    values.reserve(list.m_Data.size());
    try {
        ReadListValues(is, values, list.m_Data.size());
    } catch (...) {
        std::copy(values.begin(), values.end(), list.m_Data.begin());
        throw;
    }
    list.m_Data.swap(values);
    return is;
}

std::ostream& operator<<(std::ostream& os, const ONFList& list) {
    const std::vector<int>& data = list.GetData();
    if (data.empty()) {
        // Not the "0" that the reader expects: a group writes no list at all when it is empty.
        QSV_LOG(LOG_TRACE, TAG_LIST, "Writing empty ONFlist");
        os << " "
           << "\n";
        return os;
    }
    // The folding is shared with the block writer's lists, so that both write one text.
    onf_detail::IntListFolder folder(data.data(), data.size());
    std::string line;
    bool firstLine = true;
    while (folder.AppendNextLine(line)) {
        if (!firstLine) {
            os << '\n';
        }
        os << line;
        line.clear();
        firstLine = false;
    }
    return os;
}

// ---------------------------------------------------------------------------------------------

const onf_detail::StreamHeaderText ONFNodeGroup::header("ONF NODE GROUP DEFINITION");
const onf_detail::StreamHeaderText ONFElementGroup::header("ONF ELEMENT GROUP DEFINITION");

// ---------------------------------------------------------------------------------------------

ONFGroup::ONFGroup() : ONFBaseItem(0) {}

ONFGroup::ONFGroup(int id, const std::string& name, const std::vector<int>& data)
    : ONFBaseItem(id), m_Name(name), m_List(data) {}

ONFGroup::ONFGroup(const ONFGroup& other) = default;
ONFGroup::ONFGroup(ONFGroup&& other) noexcept = default;
ONFGroup& ONFGroup::operator=(const ONFGroup& other) = default;
ONFGroup& ONFGroup::operator=(ONFGroup&& other) noexcept = default;
ONFGroup::~ONFGroup() = default;

void ONFGroup::LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter) {
    splitter.SplitLine(onf_detail::ExtractBlockLine(lines, TAG_GROUP),
                       TextLineSplitter::SPLIT_KEEP_QUOTED, ',', '"');
    if (splitter.GetNumTokens() < 2) {
        onf_detail::ThrowFailure("054022160910", TAG_GROUP,
                                 "Wrong record format encountered in the ONF group-block!");
    }
    // The count token is not needed: the list text says how many values it holds.
    m_ID = onf_detail::ParseOnfInt(splitter.GetToken(0));
    m_Name = onf_detail::ExtractBlockLine(lines, TAG_GROUP);
    m_List.Clear();
    splitter.SplitLine(onf_detail::ExtractBlockLine(lines, TAG_GROUP),
                       TextLineSplitter::SPLIT_KEEP_QUOTED, ',', '"');
    std::vector<int> values;
    QSV_ListFormatUtil::read_onf_int_list(lines, values, splitter);
    m_List = ONFList(std::move(values));
}

std::istream& operator>>(std::istream& is, ONFGroup& group) {
    int id = 0;
    int count = 0;
    is >> id >> get_separator >> count >> get_newline;
    std::string name;
    onf_getline_dosunix(is, name);
    std::vector<int> values;
    if (count >= 1) {
        // The block route refuses lists beyond this size too, so both routes read one set of
        // files, and a count line cannot make a run expand to gigabytes.
        if (static_cast<size_t>(count) > QSV_ListFormatUtil::MAX_LIST_VALUES) {
            onf_detail::ThrowFailure(nullptr, TAG_GROUP,
                                     "The ONF group %d declares %d values, more than the %Iu "
                                     "values a list may hold%s",
                                     id, count, QSV_ListFormatUtil::MAX_LIST_VALUES,
                                     onf_line_nr_msg().c_str());
        }
        CheckMemoryFor(id, static_cast<size_t>(count));
        ReadListValues(is, values, static_cast<size_t>(count));
        is >> get_newline;
    }
    group.m_ID = id;
    group.m_Name = std::move(name);
    group.m_List = ONFList(std::move(values));
    return is;
}

std::ostream& operator<<(std::ostream& os, const ONFGroup& group) {
    os << group.GetID() << ", " << group.GetSize() << "\n" << group.GetName() << "\n";
    if (group.GetSize() >= 1) {
        os << group.GetList() << "\n";
    }
    return os;
}
