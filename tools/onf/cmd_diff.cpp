// `onf diff A B [--tolerance T] [--limit N]`: compares two ONF files by their content.
#include "OnfTool.h"
#include "OnfToolFiles.h"

#include "OnfBlock.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

namespace onf_tool {

namespace {

int RunDiff(const std::vector<std::string>& args);

const OnfCommand kDiff = {
    "diff", "compare two ONF files block by block and record by record",
    "usage: onf diff A B [--tolerance T] [--limit N]\n\n"
    "Compares the content of two ONF files, not their text: blocks are matched by number and\n"
    "descriptor, records by id (by name in blocks keyed by name), and each item of matched\n"
    "records is compared; order, comments and number formatting do not count, and an empty\n"
    "block counts as absent. Blocks that cannot be loaded (an unknown number without a\n"
    "format, the blocks of an optimisation result file) are compared body line by body line,\n"
    "value by value.\n\n"
    "Each difference is one line on standard output:\n"
    "  block 110 ONF_NODES: record 7, item 3 (position): 0, 0, 10 vs 0, 0, 10.5\n"
    "  block 120 ONF_MATERIALS: record 2 only in B\n"
    "  block 130 ONF_PROPERTIES: only in A (3 records)\n"
    "with the value of A first, followed by a summary line.\n\n"
    "Options:\n"
    "  --tolerance T  reals a and b are equal when |a - b| <= T * max(1, |a|, |b|), that is\n"
    "                 within T absolutely near zero and relatively elsewhere (default 0: equal\n"
    "                 values only)\n"
    "  --limit N      show at most N differences a block (default 100; 0 shows all)\n\n"
    "Exit code: 0 when the files are equal, 1 when they differ, 2 when one fails to read.\n",
    RunDiff};

const OnfCommandRegistrar kRegistrar(kDiff);

struct DiffOptions {
    double tolerance = 0.0;
    size_t limit = 100;
};

bool RealsEqual(double a, double b, double tolerance) {
    if (a == b || (std::isnan(a) && std::isnan(b))) {
        return true;
    }
    const double scale = std::max({1.0, std::fabs(a), std::fabs(b)});
    return std::fabs(a - b) <= tolerance * scale;
}

bool RealsEqual(const std::vector<double>& a, const std::vector<double>& b, double tolerance) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (!RealsEqual(a[i], b[i], tolerance)) {
            return false;
        }
    }
    return true;
}

std::string RealsText(const std::vector<double>& values) {
    std::string text;
    for (size_t i = 0; i < values.size(); ++i) {
        text += (i > 0 ? ", " : "") + RealText(values[i]);
    }
    return text;
}

// A list as "[1, 2, 3]"; a long one by its length and the values around `from`.
template <class T, class Text>
std::string ListText(const std::vector<T>& values, size_t from, Text text) {
    const size_t shown = 8;
    std::string out = "[";
    const size_t first = values.size() <= shown ? 0 : std::min(from, values.size() - 1);
    const size_t last = std::min(values.size(), first + shown);
    out += first > 0 ? "..., " : "";
    for (size_t i = first; i < last; ++i) {
        out += (i > first ? ", " : "") + text(values[i]);
    }
    out += last < values.size() ? ", ...]" : "]";
    if (values.size() > shown) {
        out += " (" + std::to_string(values.size()) + " values)";
    }
    return out;
}

// Position of the first difference of two lists.
template <class T, class Equal>
size_t FirstDifference(const std::vector<T>& a, const std::vector<T>& b, Equal equal) {
    size_t i = 0;
    while (i < a.size() && i < b.size() && equal(a[i], b[i])) {
        ++i;
    }
    return i;
}

// Compares two loaded files and prints what differs.
class Differ {
public:
    Differ(const DiffOptions& options, const ToolFile& a, const ToolFile& b)
        : m_Options(options), m_A(a), m_B(b) {}

    void Run();
    size_t GetNumDifferences() const { return m_NumDifferences; }
    size_t GetNumBlocks() const { return m_NumBlocks; }

private:
    // Blocks by number and descriptor: blocks of numbers the catalogue lacks share a descriptor.
    using BlockMap = std::map<std::pair<int, QSV_DataDescriptor>, size_t>;
    static BlockMap MapBlocks(const ToolFile& file);
    void StartBlock(const OnfBlockTextReader::BLOCK_INFO& block);
    void EndBlock();
    void Report(const std::string& text);
    void CompareBlocks(size_t indexA, size_t indexB);
    void CompareText(size_t indexA, size_t indexB);
    bool TextLinesEqual(const char* a, const char* b) const;
    template <class Key, class KeyOf>
    void CompareRecords(const OnfBlock& a, const OnfBlock& b, KeyOf keyOf);
    void CompareRecord(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib,
                       const std::string& record);
    bool CompareItem(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib, size_t item,
                     std::string& textA, std::string& textB) const;
    std::string ItemName(size_t item) const;

    const DiffOptions& m_Options;
    const ToolFile& m_A;
    const ToolFile& m_B;
    std::string m_Label;
    int m_BlockNumber = -1;
    size_t m_InBlock = 0;
    size_t m_NumDifferences = 0;
    size_t m_NumBlocks = 0;
};

// Of blocks with equal descriptors the loaded one counts, else the last, as it replaced the
// others when the file was read.
Differ::BlockMap Differ::MapBlocks(const ToolFile& file) {
    BlockMap map;
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        const auto& block = file.GetBlocks()[i];
        const auto key = std::make_pair(block.block_id, block.descriptor);
        auto found = map.find(key);
        if (found == map.end()) {
            map.emplace(key, i);
        } else if (file.GetLoadedBlock(found->second) == nullptr) {
            found->second = i;
        }
    }
    return map;
}

void Differ::Run() {
    const BlockMap a = MapBlocks(m_A);
    const BlockMap b = MapBlocks(m_B);
    auto ia = a.begin();
    auto ib = b.begin();
    while (ia != a.end() || ib != b.end()) {
        const bool takeA = ib == b.end() || (ia != a.end() && ia->first < ib->first);
        const bool takeB = ia == a.end() || (ib != b.end() && ib->first < ia->first);
        if (takeA || takeB) {
            const ToolFile& file = takeA ? m_A : m_B;
            const size_t index = takeA ? (ia++)->second : (ib++)->second;
            const OnfBlock* block = file.GetLoadedBlock(index);
            const size_t records = block != nullptr
                                       ? block->GetNumRecords()
                                       : static_cast<size_t>(file.GetBlocks()[index].num_records);
            if (records == 0) {
                continue; // an empty block holds what an absent one holds
            }
            StartBlock(file.GetBlocks()[index]);
            Report(std::string("only in ") + (takeA ? "A" : "B") + " (" + std::to_string(records) +
                   (records == 1 ? " record)" : " records)"));
            EndBlock();
            continue;
        }
        StartBlock(m_A.GetBlocks()[ia->second]);
        CompareBlocks((ia++)->second, (ib++)->second);
        EndBlock();
    }
}

void Differ::StartBlock(const OnfBlockTextReader::BLOCK_INFO& block) {
    m_Label = "block " + BlockLabel(block);
    m_BlockNumber = block.block_id;
    m_InBlock = 0;
}

void Differ::EndBlock() {
    if (m_InBlock > 0) {
        ++m_NumBlocks;
    }
    if (m_Options.limit > 0 && m_InBlock > m_Options.limit) {
        std::printf("%s: %zu more differences not shown\n", m_Label.c_str(),
                    m_InBlock - m_Options.limit);
    }
}

void Differ::Report(const std::string& text) {
    ++m_NumDifferences;
    ++m_InBlock;
    if (m_Options.limit == 0 || m_InBlock <= m_Options.limit) {
        std::printf("%s: %s\n", m_Label.c_str(), text.c_str());
    }
}

void Differ::CompareBlocks(size_t indexA, size_t indexB) {
    const OnfBlock* a = m_A.GetLoadedBlock(indexA);
    const OnfBlock* b = m_B.GetLoadedBlock(indexB);
    if (a == nullptr || b == nullptr) {
        CompareText(indexA, indexB);
        return;
    }
    if (a->GetBlockFormatString() != b->GetBlockFormatString()) {
        Report("format " + a->GetBlockFormatString() + " vs " + b->GetBlockFormatString() +
               "; records not compared");
        return;
    }
    if (a->GetNumRecordItems() > 0 && a->GetRecordMapEntry(0).m_Type == BDT_STRING) {
        CompareRecords<std::string>(*a, *b, [](const OnfBlock& block, size_t index) {
            return std::string(block.GetString(index, static_cast<OnfBlock::Item>(0)));
        });
    } else {
        CompareRecords<int>(*a, *b,
                            [](const OnfBlock& block, size_t index) { return block.GetId(index); });
    }
}

template <class Key, class KeyOf>
void Differ::CompareRecords(const OnfBlock& a, const OnfBlock& b, KeyOf keyOf) {
    auto collect = [&keyOf](const OnfBlock& block) {
        std::vector<std::pair<Key, size_t>> keys;
        keys.reserve(block.GetNumRecords());
        for (QSV_DataBlock::IndexIterator it(block, 0, block.GetMaxIndex()); it.IsValid(); ++it) {
            keys.emplace_back(keyOf(block, *it), *it);
        }
        std::sort(keys.begin(), keys.end());
        return keys;
    };
    auto keyText = [](const Key& key) {
        if constexpr (std::is_same<Key, int>::value) {
            return std::to_string(key);
        } else {
            return key;
        }
    };
    const auto keysA = collect(a);
    const auto keysB = collect(b);
    size_t i = 0;
    size_t j = 0;
    while (i < keysA.size() || j < keysB.size()) {
        if (j == keysB.size() || (i < keysA.size() && keysA[i].first < keysB[j].first)) {
            Report("record " + keyText(keysA[i++].first) + " only in A");
        } else if (i == keysA.size() || keysB[j].first < keysA[i].first) {
            Report("record " + keyText(keysB[j++].first) + " only in B");
        } else {
            CompareRecord(a, keysA[i].second, b, keysB[j].second, keyText(keysA[i].first));
            ++i;
            ++j;
        }
    }
}

std::string Differ::ItemName(size_t item) const {
    std::string name = "item " + std::to_string(item);
    if (m_BlockNumber >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(m_BlockNumber)) {
        const auto& names =
            QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(m_BlockNumber)).m_ItemNames;
        if (item >= 1 && item <= names.size() && !names[item - 1].empty()) {
            name += " (" + names[item - 1] + ")";
        }
    }
    return name;
}

void Differ::CompareRecord(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib,
                           const std::string& record) {
    std::string textA;
    std::string textB;
    for (size_t item = 1; item < a.GetNumRecordItems(); ++item) {
        if (!CompareItem(a, ia, b, ib, item, textA, textB)) {
            Report("record " + record + ", " + ItemName(item) + ": " + textA + " vs " + textB);
        }
    }
}

// The reals of a real, float, vector or tensor item.
std::vector<double> RealsOf(const OnfBlock& block, size_t index, size_t item, BlockDataType type) {
    DataRecordEntry entry;
    block.GetRecordItem(index, item, entry);
    if (type == BDT_FLOAT) {
        float value = 0;
        std::memcpy(&value, entry.m_Value, sizeof value);
        return {static_cast<double>(value)};
    }
    const size_t count = type == BDT_VECTOR ? 3 : type == BDT_TENSOR ? 6 : 1;
    std::vector<double> values(count);
    std::memcpy(values.data(), entry.m_Value, count * sizeof(double));
    return values;
}

// False when the item differs, with both values as text.
bool Differ::CompareItem(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib, size_t item,
                         std::string& textA, std::string& textB) const {
    const auto type = a.GetRecordMapEntry(item).m_Type;
    const auto at = static_cast<OnfBlock::Item>(item);
    const double tolerance = m_Options.tolerance;
    switch (type) {
    case BDT_INTEGER:
    case BDT_OPT_INTEGER:
        textA = std::to_string(a.GetInt(ia, at));
        textB = std::to_string(b.GetInt(ib, at));
        return a.GetInt(ia, at) == b.GetInt(ib, at);
    case BDT_STRING:
        textA = std::string("\"") + a.GetString(ia, at) + "\"";
        textB = std::string("\"") + b.GetString(ib, at) + "\"";
        return textA == textB;
    case BDT_ORDERED_LIST:
    case BDT_INT_LIST: {
        const std::vector<int>& la = a.GetIntList(ia, at);
        const std::vector<int>& lb = b.GetIntList(ib, at);
        const size_t from = FirstDifference(la, lb, std::equal_to<int>());
        auto text = [](int value) { return std::to_string(value); };
        textA = ListText(la, from, text);
        textB = ListText(lb, from, text);
        return la == lb;
    }
    case BDT_DOUBLE_LIST: {
        const std::vector<double>& la = a.GetRealList(ia, at);
        const std::vector<double>& lb = b.GetRealList(ib, at);
        const size_t from = FirstDifference(
            la, lb, [tolerance](double x, double y) { return RealsEqual(x, y, tolerance); });
        textA = ListText(la, from, RealText);
        textB = ListText(lb, from, RealText);
        return RealsEqual(la, lb, tolerance);
    }
    case BDT_REAL:
    case BDT_OPT_REAL:
    case BDT_FLOAT:
    case BDT_VECTOR:
    case BDT_TENSOR: {
        const std::vector<double> va = RealsOf(a, ia, item, type);
        const std::vector<double> vb = RealsOf(b, ib, item, type);
        textA = RealsText(va);
        textB = RealsText(vb);
        return RealsEqual(va, vb, tolerance);
    }
    default:
        return true;
    }
}

// Cuts a body line into values at commas and whitespace.
void Tokens(const char* line, std::vector<std::string>& tokens) {
    tokens.clear();
    std::string token;
    for (const char* p = line;; ++p) {
        const bool end = *p == '\0';
        if (end || *p == ',' || *p == ' ' || (*p >= 9 && *p <= 13)) {
            if (!token.empty()) {
                tokens.push_back(token);
                token.clear();
            }
            if (end) {
                return;
            }
        } else {
            token += *p;
        }
    }
}

bool IsNumber(const std::string& token, double& value) {
    char* end = nullptr;
    value = std::strtod(token.c_str(), &end);
    return end != token.c_str() && *end == '\0';
}

bool Differ::TextLinesEqual(const char* a, const char* b) const {
    std::vector<std::string> ta;
    std::vector<std::string> tb;
    Tokens(a, ta);
    Tokens(b, tb);
    if (ta.size() != tb.size()) {
        return false;
    }
    for (size_t i = 0; i < ta.size(); ++i) {
        double x = 0;
        double y = 0;
        const bool numbers = IsNumber(ta[i], x) && IsNumber(tb[i], y);
        if (numbers ? !RealsEqual(x, y, m_Options.tolerance) : ta[i] != tb[i]) {
            return false;
        }
    }
    return true;
}

void Differ::CompareText(size_t indexA, size_t indexB) {
    std::vector<const char*> a;
    std::vector<const char*> b;
    m_A.GetBodyLines(indexA, a);
    m_B.GetBodyLines(indexB, b);
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        if (!TextLinesEqual(a[i], b[i])) {
            Report("body line " + std::to_string(i + 1) + ": \"" + a[i] + "\" vs \"" + b[i] + "\"");
        }
    }
    if (a.size() != b.size()) {
        Report(std::to_string(a.size()) + " body lines vs " + std::to_string(b.size()));
    }
}

std::string TakeOption(const std::vector<std::string>& args, size_t& position, void* context) {
    auto& options = *static_cast<DiffOptions*>(context);
    std::string name = args[position];
    std::string value;
    const size_t equals = name.find('=');
    if (equals != std::string::npos) {
        value = name.substr(equals + 1);
        name.erase(equals);
    } else if (name == "--tolerance" || name == "--limit") {
        if (position + 1 >= args.size()) {
            return "option '" + name + "' needs a value";
        }
        value = args[++position];
    }
    char* end = nullptr;
    errno = 0;
    if (name == "--tolerance") {
        options.tolerance = std::strtod(value.c_str(), &end);
        if (value.empty() || *end != '\0' || !(options.tolerance >= 0) ||
            !std::isfinite(options.tolerance)) {
            return "'" + value + "' is no tolerance (a real of 0 or more)";
        }
        return std::string();
    }
    if (name == "--limit") {
        const unsigned long long limit = std::strtoull(value.c_str(), &end, 10);
        if (value.empty() || *end != '\0' || errno != 0 || value[0] == '-') {
            return "'" + value + "' is no limit (a whole number of 0 or more)";
        }
        options.limit = static_cast<size_t>(limit);
        return std::string();
    }
    return "unknown option '" + args[position] + "'";
}

int RunDiff(const std::vector<std::string>& args) {
    DiffOptions options;
    std::vector<std::string> files;
    bool helpShown = false;
    const std::string error = SplitArguments(kDiff, args, files, helpShown, TakeOption, &options);
    if (!error.empty()) {
        return UsageError(kDiff, error);
    }
    if (helpShown) {
        return EXIT_OK;
    }
    if (files.size() != 2) {
        return UsageError(kDiff, "two files expected, A and B");
    }
    FileLogScope scopeA(files[0], stderr);
    const Progress progressA(files[0]);
    std::unique_ptr<ToolFile> a;
    try {
        a.reset(new ToolFile(files[0], scopeA, progressA));
        if (a->GetKind() != KIND_OPT_RESULT) {
            a->LoadBlocks(false); // compared by their text instead
        }
    } catch (const std::exception& failure) {
        scopeA.ReportFailure(failure);
    }
    FileLogScope scopeB(files[1], stderr);
    const Progress progressB(files[1]);
    std::unique_ptr<ToolFile> b;
    try {
        b.reset(new ToolFile(files[1], scopeB, progressB));
        if (b->GetKind() != KIND_OPT_RESULT) {
            b->LoadBlocks(false);
        }
    } catch (const std::exception& failure) {
        scopeB.ReportFailure(failure);
    }
    if (scopeA.GetNumErrors() > 0 || scopeB.GetNumErrors() > 0) {
        return EXIT_FAILED;
    }
    Differ differ(options, *a, *b);
    differ.Run();
    if (differ.GetNumDifferences() == 0) {
        return EXIT_OK;
    }
    std::printf("%s and %s differ: %zu difference%s in %zu block%s\n", files[0].c_str(),
                files[1].c_str(), differ.GetNumDifferences(),
                differ.GetNumDifferences() == 1 ? "" : "s", differ.GetNumBlocks(),
                differ.GetNumBlocks() == 1 ? "" : "s");
    return EXIT_NOTICE;
}

} // namespace

} // namespace onf_tool
