// The benchmark model, its best-case writer and its best-case parser.
#include "bench_model.h"

#include "QSV_OnfCatalogue.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace onf_bench {

namespace {

constexpr int kNodeBlock = 110;
constexpr int kElementBlock = 140;
constexpr int kNodeGroupBlock = 200;
constexpr int kElementGroupBlock = 210;
constexpr size_t kValuesPerLine = 10;
constexpr int kHexahedron = 3;

// ---------------------------------------------------------------------------------------------
// The grid.

// Decks number their parts in ranges, so ids have gaps: ten ids are skipped every thousand
// nodes and a hundred every five thousand elements.
int NodeId(size_t index) {
    return static_cast<int>(index + 1 + (index / 1000) * 10);
}
int ElementId(size_t index) {
    return static_cast<int>(index + 1 + (index / 5000) * 100);
}

// A coordinate with at most ten decimals, so that its shortest text has about twelve digits.
double Coordinate(double value) {
    return std::round(value * 1e10) / 1e10;
}

struct Grid {
    size_t nx, ny, nz;
    size_t Node(size_t i, size_t j, size_t k) const { return (k * ny + j) * nx + i; }
};

Grid MakeGrid(size_t numNodes) {
    Grid g{};
    g.nx = std::max<size_t>(2, static_cast<size_t>(std::cbrt(static_cast<double>(numNodes)) + 0.5));
    g.ny = g.nx;
    g.nz = std::max<size_t>(2, (numNodes + g.nx * g.ny / 2) / (g.nx * g.ny));
    return g;
}

void BuildNodes(const Grid& g, NodeArrays& n) {
    const size_t count = g.nx * g.ny * g.nz;
    for (auto* v : {&n.id, &n.cs, &n.displacementCs}) {
        v->reserve(count);
    }
    for (auto* v : {&n.x, &n.y, &n.z}) {
        v->reserve(count);
    }
    for (size_t k = 0; k < g.nz; ++k) {
        for (size_t j = 0; j < g.ny; ++j) {
            for (size_t i = 0; i < g.nx; ++i) {
                const double wobble = 0.0012345678 * std::sin(0.37 * i + 0.11 * j + 0.05 * k);
                n.id.push_back(NodeId(g.Node(i, j, k)));
                n.cs.push_back(0);
                n.displacementCs.push_back(0);
                n.x.push_back(Coordinate(12.3456789012 + 0.0987654321 * i + wobble));
                n.y.push_back(Coordinate(-3.1415926535 + 0.1234567891 * j - wobble));
                n.z.push_back(Coordinate(0.5772156649 + 0.2718281828 * k + 0.5 * wobble));
            }
        }
    }
}

void BuildElements(const Grid& g, const NodeArrays& n, ElementArrays& e) {
    const size_t count = (g.nx - 1) * (g.ny - 1) * (g.nz - 1);
    e.nodes.reserve(8 * count);
    e.nodeStart.reserve(count + 1);
    for (size_t k = 0; k + 1 < g.nz; ++k) {
        for (size_t j = 0; j + 1 < g.ny; ++j) {
            for (size_t i = 0; i + 1 < g.nx; ++i) {
                const size_t corners[8] = {g.Node(i, j, k),
                                           g.Node(i + 1, j, k),
                                           g.Node(i + 1, j + 1, k),
                                           g.Node(i, j + 1, k),
                                           g.Node(i, j, k + 1),
                                           g.Node(i + 1, j, k + 1),
                                           g.Node(i + 1, j + 1, k + 1),
                                           g.Node(i, j + 1, k + 1)};
                e.id.push_back(ElementId(e.id.size()));
                e.type.push_back(kHexahedron);
                e.numNodes.push_back(8);
                e.property.push_back(1 + static_cast<int>(8 * k / (g.nz - 1)));
                e.material.push_back(0);
                e.flag1.push_back(0);
                e.flag2.push_back(0);
                e.flag3.push_back(0);
                for (size_t c : corners) {
                    e.nodes.push_back(n.id[c]);
                }
                e.nodeStart.push_back(e.nodes.size());
            }
        }
    }
}

void AddGroup(GroupArrays& groups, const std::string& name, const std::vector<int>& members) {
    groups.id.push_back(static_cast<int>(groups.id.size()));
    groups.name.push_back(name);
    groups.members.insert(groups.members.end(), members.begin(), members.end());
    groups.memberStart.push_back(groups.members.size());
}

void BuildGroups(const Grid& g, ModelArrays& m) {
    std::vector<int> base, top, sampled;
    for (size_t j = 0; j < g.ny; ++j) {
        for (size_t i = 0; i < g.nx; ++i) {
            base.push_back(m.nodes.id[g.Node(i, j, 0)]);
            top.push_back(m.nodes.id[g.Node(i, j, g.nz - 1)]);
        }
    }
    for (size_t n = 0; n < m.nodes.id.size(); n += 97) {
        sampled.push_back(m.nodes.id[n]);
    }
    AddGroup(m.nodeGroups, "BASE_NODES", base);
    AddGroup(m.nodeGroups, "TOP_NODES", top);
    AddGroup(m.nodeGroups, "SAMPLED_NODES", sampled);

    std::vector<std::vector<int>> slabs(8);
    std::vector<int> skin;
    size_t e = 0;
    for (size_t k = 0; k + 1 < g.nz; ++k) {
        for (size_t j = 0; j + 1 < g.ny; ++j) {
            for (size_t i = 0; i + 1 < g.nx; ++i, ++e) {
                const int id = m.elements.id[e];
                slabs[static_cast<size_t>(m.elements.property[e] - 1)].push_back(id);
                if (i == 0 || j == 0 || k == 0 || i + 2 == g.nx || j + 2 == g.ny || k + 2 == g.nz) {
                    skin.push_back(id);
                }
            }
        }
    }
    for (size_t s = 0; s < slabs.size(); ++s) {
        AddGroup(m.elementGroups, "SLAB_" + std::to_string(s + 1), slabs[s]);
    }
    AddGroup(m.elementGroups, "SKIN_ELEMENTS", skin);
}

// ---------------------------------------------------------------------------------------------
// Record access by item number, for the format walkers. Items the model does not keep read as
// zero and are dropped when parsed.

template <typename Arrays>
struct NodeRecords {
    Arrays& a;
    size_t Size() const { return a.id.size(); }
    int Id(size_t r) const { return a.id[r]; }
    int Int(size_t r, int item) const {
        return item == 1 ? a.cs[r] : item == 2 ? a.displacementCs[r] : 0;
    }
    void Vector(size_t r, int item, double v[3]) const {
        const bool ours = item == 3;
        v[0] = ours ? a.x[r] : 0.0;
        v[1] = ours ? a.y[r] : 0.0;
        v[2] = ours ? a.z[r] : 0.0;
    }
    const int* List(size_t, int, size_t& n) const {
        n = 0;
        return nullptr;
    }
    std::string String(size_t, int) const { return std::string(); }

    void Begin(int id, size_t expected) {
        if (a.id.empty()) {
            for (auto* v : {&a.id, &a.cs, &a.displacementCs}) {
                v->reserve(expected);
            }
            for (auto* v : {&a.x, &a.y, &a.z}) {
                v->reserve(expected);
            }
        }
        a.id.push_back(id);
        a.cs.push_back(0);
        a.displacementCs.push_back(0);
        a.x.push_back(0.0);
        a.y.push_back(0.0);
        a.z.push_back(0.0);
    }
    void SetInt(int item, int value) {
        if (item == 1) {
            a.cs.back() = value;
        } else if (item == 2) {
            a.displacementCs.back() = value;
        }
    }
    void SetVector(int item, const double v[3]) {
        if (item == 3) {
            a.x.back() = v[0];
            a.y.back() = v[1];
            a.z.back() = v[2];
        }
    }
    std::vector<int>* ListTarget(int) { return nullptr; }
    void EndList(int) {}
    void SetString(int, const char*, size_t) {}
};

template <typename Arrays>
struct ElementRecords {
    Arrays& a;
    // The column of integer item 1 to 7, null for any other item.
    auto Column(int item) const -> decltype(&a.type) {
        switch (item) {
        case 1:
            return &a.type;
        case 2:
            return &a.numNodes;
        case 3:
            return &a.property;
        case 4:
            return &a.material;
        case 5:
            return &a.flag1;
        case 6:
            return &a.flag2;
        case 7:
            return &a.flag3;
        default:
            return nullptr;
        }
    }
    size_t Size() const { return a.id.size(); }
    int Id(size_t r) const { return a.id[r]; }
    int Int(size_t r, int item) const {
        const auto* c = Column(item);
        return c != nullptr ? (*c)[r] : 0;
    }
    void Vector(size_t, int, double v[3]) const { v[0] = v[1] = v[2] = 0.0; }
    const int* List(size_t r, int item, size_t& n) const {
        n = item == 8 ? a.nodeStart[r + 1] - a.nodeStart[r] : 0;
        return a.nodes.data() + a.nodeStart[r];
    }
    std::string String(size_t, int) const { return std::string(); }

    void Begin(int id, size_t expected) {
        if (a.id.empty()) {
            a.id.reserve(expected);
            for (int item = 1; item <= 7; ++item) {
                Column(item)->reserve(expected);
            }
            a.nodeStart.reserve(expected + 1);
            a.nodes.reserve(8 * expected);
        }
        a.id.push_back(id);
        for (int item = 1; item <= 7; ++item) {
            Column(item)->push_back(0);
        }
        a.nodeStart.push_back(a.nodes.size());
    }
    void SetInt(int item, int value) {
        if (auto* c = Column(item)) {
            c->back() = value;
        }
    }
    void SetVector(int, const double[3]) {}
    std::vector<int>* ListTarget(int item) { return item == 8 ? &a.nodes : nullptr; }
    void EndList(int) { a.nodeStart.back() = a.nodes.size(); }
    void SetString(int, const char*, size_t) {}
};

template <typename Arrays>
struct GroupRecords {
    Arrays& a;
    size_t Size() const { return a.id.size(); }
    int Id(size_t r) const { return a.id[r]; }
    int Int(size_t r, int item) const {
        return item == 1 ? static_cast<int>(a.memberStart[r + 1] - a.memberStart[r]) : 0;
    }
    void Vector(size_t, int, double v[3]) const { v[0] = v[1] = v[2] = 0.0; }
    const int* List(size_t r, int item, size_t& n) const {
        n = item == 3 ? a.memberStart[r + 1] - a.memberStart[r] : 0;
        return a.members.data() + a.memberStart[r];
    }
    std::string String(size_t r, int item) const { return item == 2 ? a.name[r] : std::string(); }

    void Begin(int id, size_t) {
        a.id.push_back(id);
        a.name.emplace_back();
        a.memberStart.push_back(a.members.size());
    }
    void SetInt(int, int) {} // the size follows from the list
    void SetVector(int, const double[3]) {}
    std::vector<int>* ListTarget(int item) { return item == 3 ? &a.members : nullptr; }
    void EndList(int) { a.memberStart.back() = a.members.size(); }
    void SetString(int item, const char* text, size_t length) {
        if (item == 2) {
            a.name.back().assign(text, length);
        }
    }
};

// ---------------------------------------------------------------------------------------------
// Writing.

bool IsLayoutMark(char c) {
    return c == 'b' || c == '|';
}

// An integer list in the engine's list text: runs of three or more values with a constant
// positive step fold into "first-last" or "first-last:step", ten tokens a line, a line that
// goes on ending in the separator, an empty list as an empty line.
void WriteIntList(const int* v, size_t n, BufferedFileWriter& out) {
    size_t tokens = 0;
    for (size_t i = 0; i < n; ++i) {
        size_t j = i;
        int64_t step = 0;
        if (i + 2 < n) {
            step = int64_t(v[i + 1]) - v[i];
            while (j + 1 < n && step >= 1 && int64_t(v[j + 1]) - v[j] == step) {
                ++j;
            }
        }
        out.AppendInt(v[i]);
        if (j > i + 1) {
            out.Append("-", 1);
            out.AppendInt(v[j]);
            if (step != 1) {
                out.Append(":", 1);
                out.AppendInt(static_cast<int>(step));
            }
            i = j;
        }
        if (i + 1 < n) {
            out.Append(", ", 2);
            if (++tokens % kValuesPerLine == 0) {
                out.EndLine();
            }
        }
    }
    out.EndLine();
}

// One record by the line rules of the engine's block writer: at most ten values a line, a
// `b` ends the line, lists stand on lines of their own, a mandatory value behind an optional
// one starts a new line.
template <typename Records>
void WriteRecord(const Records& rec, size_t r, const std::string& format, BufferedFileWriter& out) {
    const bool keyInFormat = format.find('|') != std::string::npos;
    size_t counter = 0;
    int item = 0;
    auto separate = [&] {
        if (counter > 0) {
            out.Append(", ", 2);
        }
    };
    auto flush = [&] {
        out.EndLine();
        counter = 0;
    };
    if (!keyInFormat) {
        out.AppendInt(rec.Id(r));
        counter = item = 1;
    }
    for (size_t p = 0; p < format.size(); ++p) {
        const char c = format[p];
        if (counter > 0 && counter % kValuesPerLine == 0) {
            flush();
        }
        switch (c) {
        case 'I':
        case 'i':
            separate();
            out.AppendInt(item == 0 ? rec.Id(r) : rec.Int(r, item));
            ++counter;
            break;
        case 'S':
            separate();
            out.Append(rec.String(r, item));
            ++counter;
            break;
        case 'V': {
            double v[3];
            rec.Vector(r, item, v);
            for (double x : v) {
                separate();
                out.AppendReal(x);
                ++counter;
            }
            break;
        }
        case 'L':
        case 'O': {
            if (counter > 0) {
                flush(); // catalogue formats put a `b` here; keep the list on its own line
            }
            size_t n = 0;
            const int* list = rec.List(r, item, n);
            WriteIntList(list, n, out);
            break;
        }
        case 'b':
            if (counter > 0 && p > 0 && format[p - 1] != 'L' && format[p - 1] != 'O') {
                flush();
            }
            break;
        default: // R, F, T, D and the optional reals do not occur in the benchmark blocks
            if (!IsLayoutMark(c)) {
                separate();
                out.AppendInt(0);
                ++counter;
            }
            break;
        }
        if (!IsLayoutMark(c)) {
            ++item;
        }
        if ((c == 'i' || c == 'f' || c == 'r') && p + 1 < format.size() &&
            std::isupper(static_cast<unsigned char>(format[p + 1])) && counter > 0) {
            flush();
        }
    }
}

template <typename Records>
void WriteBlock(int blockId, const Records& rec, BufferedFileWriter& out) {
    const QSV_OnfMetaData& info = QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(blockId));
    out.Append("#\n# DATA BLOCK ");
    out.AppendInt(blockId);
    out.Append(": " + info.GetBlockName() + "\n#\n   -1\n   ");
    out.AppendInt(blockId);
    out.EndLine();
    out.AppendInt(static_cast<int>(rec.Size()));
    out.EndLine();
    for (size_t r = 0; r < rec.Size(); ++r) {
        WriteRecord(rec, r, info.GetFormatString(), out);
    }
    out.Append("   -1\n");
}

void WriteFileHeader(const char* kind, BufferedFileWriter& out) {
    out.Append("#\n# " + std::string(const_onf_version) + "\n# " + kind + "\n");
}

// ---------------------------------------------------------------------------------------------
// Parsing.

// The lines of a text, cut in place: each line end becomes a NUL, a CR before it too.
class LineCursor {
public:
    LineCursor(char* text, size_t size) : m_Next(text), m_End(text + size) {}
    // The next line and its end; false at the end of the text.
    bool Next(char*& line, char*& lineEnd) {
        if (m_Next >= m_End) {
            return false;
        }
        line = m_Next;
        char* nl = static_cast<char*>(std::memchr(m_Next, '\n', size_t(m_End - m_Next)));
        lineEnd = nl != nullptr ? nl : m_End;
        m_Next = nl != nullptr ? nl + 1 : m_End;
        if (lineEnd > line && lineEnd[-1] == '\r') {
            --lineEnd;
        }
        *lineEnd = '\0'; // the text owns a byte behind its end, or the end is a line end
        ++m_LineNumber;
        return true;
    }
    size_t LineNumber() const { return m_LineNumber; }

private:
    char* m_Next;
    char* m_End;
    size_t m_LineNumber = 0;
};

inline bool IsBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsMarker(const char* line, const char* lineEnd, const char* marker) {
    while (lineEnd > line && IsBlank(lineEnd[-1])) {
        --lineEnd;
    }
    return lineEnd - line == 5 && std::memcmp(line, marker, 5) == 0;
}

bool IsSkippable(const char* line) {
    while (IsBlank(*line)) {
        ++line;
    }
    return *line == '\0' || *line == '#';
}

// Integers with no validation: sign, digits, wrapping at 32 bits.
inline int ParseInt(const char*& p) {
    while (*p == ' ' || *p == '\t') {
        ++p;
    }
    const bool negative = *p == '-';
    p += (*p == '-' || *p == '+') ? 1 : 0;
    uint32_t value = 0;
    while (static_cast<unsigned>(*p - '0') < 10u) {
        value = value * 10u + static_cast<uint32_t>(*p - '0');
        ++p;
    }
    return static_cast<int>(negative ? 0u - value : value);
}

// The tokens of one line, read straight from the text.
struct Tokens {
    const char* p = nullptr;
    const char* end = nullptr;
    bool more = false; // a token (possibly empty) is left on the line

    void Reset(const char* line, const char* lineEnd) {
        p = line;
        end = lineEnd;
        while (p < end && IsBlank(*p)) {
            ++p;
        }
        more = p < end;
    }
    // Behind a value: skip to the next token, if the line has one.
    void Advance() {
        while (p < end && *p != ',') {
            ++p;
        }
        more = p < end;
        p += more ? 1 : 0;
        while (p < end && IsBlank(*p)) {
            ++p;
        }
    }
    int Int() {
        const int v = ParseInt(p);
        Advance();
        return v;
    }
    double Real() {
        double v = 0.0;
        std::from_chars(p, end, v);
        Advance();
        return v;
    }
};

class Parser {
public:
    Parser(char* text, size_t size) : m_Lines(text, size) {}

    bool Parse(ModelArrays& model, std::string& error) {
        char *line = nullptr, *lineEnd = nullptr;
        while (m_Lines.Next(line, lineEnd)) {
            if (IsSkippable(line)) {
                continue;
            }
            if (!IsMarker(line, lineEnd, "   -1") || !ParseBlock(model)) {
                error = "bad ONF text at line " + std::to_string(m_Lines.LineNumber());
                return false;
            }
        }
        return true;
    }

private:
    bool NextLine() {
        if (!m_Lines.Next(m_Line, m_LineEnd)) {
            return false;
        }
        m_Tokens.Reset(m_Line, m_LineEnd);
        return true;
    }

    // Skips a descriptor or format section that opens at the current line.
    bool SkipSection(const char* marker) {
        while (NextLine()) {
            if (IsMarker(m_Line, m_LineEnd, marker)) {
                return NextLine();
            }
        }
        return false;
    }

    bool ParseBlock(ModelArrays& model) {
        if (!NextLine()) {
            return false;
        }
        for (const char* marker : {"   -2", "   -3"}) {
            if (IsMarker(m_Line, m_LineEnd, marker) && !SkipSection(marker)) {
                return false;
            }
        }
        const char* p = m_Line;
        const int blockId = ParseInt(p);
        if (!NextLine()) {
            return false;
        }
        p = m_Line;
        const size_t declared = static_cast<size_t>(std::max(0, ParseInt(p)));
        switch (blockId) {
        case kNodeBlock: {
            NodeRecords<NodeArrays> rec{model.nodes};
            return ParseBody(blockId, declared, rec);
        }
        case kElementBlock: {
            ElementRecords<ElementArrays> rec{model.elements};
            return ParseBody(blockId, declared, rec);
        }
        case kNodeGroupBlock: {
            GroupRecords<GroupArrays> rec{model.nodeGroups};
            return ParseBody(blockId, declared, rec);
        }
        case kElementGroupBlock: {
            GroupRecords<GroupArrays> rec{model.elementGroups};
            return ParseBody(blockId, declared, rec);
        }
        default:
            return SkipBody();
        }
    }

    bool SkipBody() {
        while (NextLine()) {
            if (IsMarker(m_Line, m_LineEnd, "   -1")) {
                return true;
            }
        }
        return false;
    }

    template <typename Records>
    bool ParseBody(int blockId, size_t declared, Records& rec) {
        const std::string& format =
            QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(blockId)).GetFormatString();
        const bool keyInFormat = format.find('|') != std::string::npos;
        while (NextLine()) {
            if (IsMarker(m_Line, m_LineEnd, "   -1")) {
                return true;
            }
            rec.Begin(m_Tokens.Int(), declared);
            if (!ParseRecord(format, keyInFormat, rec)) {
                return false;
            }
        }
        return false;
    }

    // Walks the format over the tokens; a mandatory value with no token left on the line
    // continues on the next line.
    template <typename Records>
    bool ParseRecord(const std::string& format, bool keyInFormat, Records& rec) {
        int item = keyInFormat ? 0 : 1;
        for (size_t p = keyInFormat ? 1 : 0; p < format.size(); ++p) {
            const char c = format[p];
            if (IsLayoutMark(c)) {
                continue;
            }
            if (!m_Tokens.more && std::isupper(static_cast<unsigned char>(c)) && !NextLine()) {
                return false;
            }
            switch (c) {
            case 'V': {
                double v[3];
                for (double& x : v) {
                    x = m_Tokens.more ? m_Tokens.Real() : 0.0;
                }
                rec.SetVector(item, v);
                break;
            }
            case 'L':
            case 'O':
                if (!ParseIntList(rec.ListTarget(item))) {
                    return false;
                }
                rec.EndList(item);
                break;
            case 'S': {
                const char* begin = m_Tokens.p;
                const char* end = begin;
                while (end < m_Tokens.end && *end != ',') {
                    ++end;
                }
                m_Tokens.p = end;
                while (end > begin && IsBlank(end[-1])) {
                    --end;
                }
                rec.SetString(item, begin, size_t(end - begin));
                m_Tokens.Advance();
                break;
            }
            default:
                if (m_Tokens.more) {
                    rec.SetInt(item, m_Tokens.Int());
                }
                break;
            }
            ++item;
        }
        return true;
    }

    // A list from the first token of the current line: values and runs, a line ending in
    // the separator going on in the next one. Afterwards the line is used up.
    bool ParseIntList(std::vector<int>* out) {
        while (m_Tokens.more) {
            const char* before = m_Tokens.p;
            if (*before == '\0') { // an empty last token: the list goes on
                if (!NextLine()) {
                    return false;
                }
                continue;
            }
            const char* q = before;
            const int first = ParseInt(q);
            int last = first, step = 1;
            if (*q == '-') {
                last = ParseInt(++q);
                step = *q == ':' ? ParseInt(++q) : 1;
            }
            m_Tokens.p = q;
            m_Tokens.Advance();
            if (out != nullptr) {
                AppendRun(first, last, step, *out);
            }
        }
        return true;
    }

    static void AppendRun(int first, int last, int step, std::vector<int>& out) {
        if (step < 1 || last < first) {
            out.push_back(first);
            return;
        }
        for (int64_t v = first; v <= last; v += step) {
            out.push_back(static_cast<int>(v));
        }
    }

    LineCursor m_Lines;
    char* m_Line = nullptr;
    char* m_LineEnd = nullptr;
    Tokens m_Tokens;
};

} // namespace

void BuildGridModel(size_t numNodes, ModelArrays& model) {
    model = ModelArrays();
    const Grid grid = MakeGrid(numNodes);
    BuildNodes(grid, model.nodes);
    BuildElements(grid, model.nodes, model.elements);
    BuildGroups(grid, model);
}

BufferedFileWriter::BufferedFileWriter(FILE* file) : m_File(file), m_Buffer(1u << 20) {}

BufferedFileWriter::~BufferedFileWriter() {
    Flush();
}

void BufferedFileWriter::Append(const char* text, size_t length) {
    if (m_Used + length > m_Buffer.size()) {
        Flush();
        if (length > m_Buffer.size()) {
            m_Failed |= std::fwrite(text, 1, length, m_File) != length;
            return;
        }
    }
    std::memcpy(m_Buffer.data() + m_Used, text, length);
    m_Used += length;
}

void BufferedFileWriter::AppendInt(int value) {
    char text[16];
    const std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
    Append(text, size_t(r.ptr - text));
}

void BufferedFileWriter::AppendReal(double value) {
    char text[32];
    const std::to_chars_result r = std::to_chars(text, text + sizeof text, value);
    Append(text, size_t(r.ptr - text));
}

void BufferedFileWriter::Flush() {
    if (m_Used > 0) {
        m_Failed |= std::fwrite(m_Buffer.data(), 1, m_Used, m_File) != m_Used;
        m_Used = 0;
    }
}

bool WriteModelFile(const ModelArrays& model, FILE* file) {
    BufferedFileWriter out(file);
    WriteFileHeader(const_onf_input_file, out);
    WriteBlock(kNodeBlock, NodeRecords<const NodeArrays>{model.nodes}, out);
    WriteBlock(kElementBlock, ElementRecords<const ElementArrays>{model.elements}, out);
    out.Flush();
    return !out.Failed() && std::fflush(file) == 0;
}

bool WriteGroupsFile(const ModelArrays& model, FILE* file) {
    BufferedFileWriter out(file);
    WriteFileHeader(const_onf_group_file, out);
    WriteBlock(kNodeGroupBlock, GroupRecords<const GroupArrays>{model.nodeGroups}, out);
    WriteBlock(kElementGroupBlock, GroupRecords<const GroupArrays>{model.elementGroups}, out);
    out.Flush();
    return !out.Failed() && std::fflush(file) == 0;
}

bool ParseOnfText(char* text, size_t size, ModelArrays& model, std::string& error) {
    model = ModelArrays();
    Parser parser(text, size);
    return parser.Parse(model, error);
}

bool ReadWholeFile(const std::string& path, std::vector<char>& bytes, size_t& size) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) {
        return false;
    }
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0;
    size = ok ? static_cast<size_t>(info.st_size) : 0;
    bytes.resize(size + 1);
    size_t done = 0;
    while (ok && done < size) {
        const ssize_t n = ::read(fd, bytes.data() + done, size - done);
        ok = n > 0;
        done += ok ? static_cast<size_t>(n) : 0;
    }
    ::close(fd);
    bytes[size] = '\0';
    return ok;
}

} // namespace onf_bench
