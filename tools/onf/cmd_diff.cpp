// `onf diff A B`: compares two ONF files by their content, in the manner of the comparison
// tools engineers use for their solvers' results: tolerances by kind and by item, one summary
// line a block, optimisation results iteration by iteration.
#include "DiffCompare.h"
#include "OnfTool.h"
#include "OnfToolFiles.h"
#include "onf_tool_help.h"

#include "ONFOptResultFile.h"
#include "OnfBlock.h"
#include "OnfModelFile.h"
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

const OnfCommand kDiff = {"diff", "compare two ONF files block by block and record by record",
                          kDiffHelp, RunDiff};

const OnfCommandRegistrar kRegistrar(kDiff);

// ---- Text of values ----------------------------------------------------------------------------

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

bool IsRealType(BlockDataType type) {
    return type == BDT_REAL || type == BDT_OPT_REAL || type == BDT_FLOAT || type == BDT_VECTOR ||
           type == BDT_TENSOR || type == BDT_DOUBLE_LIST;
}

// ---- Block files -------------------------------------------------------------------------------

// Where an item of a record is, put into words only when it differs: equal records stay cheap.
struct ItemPlace {
    const std::string& record;
    int block;
    size_t item;
    const char* suffix;

    std::string Text() const { return record + ", " + ItemLabel(block, item) + suffix; }
};

// Compares two files block by block; each block that both or either hold becomes a section.
class BlockDiffer {
public:
    BlockDiffer(const DiffOptions& options, const ToolFile& a, const ToolFile& b,
                std::vector<DiffSection>& sections)
        : m_Options(options), m_A(a), m_B(b), m_Sections(sections) {}

    // Node positions in global terms instead of items 1 and 3 of block 110.
    void SetModels(const OnfModelFile* a, const OnfModelFile* b) {
        m_ModelA = a;
        m_ModelB = b;
    }
    void Run();

private:
    // Blocks by number and descriptor: blocks of numbers the catalogue lacks share a descriptor.
    using BlockMap = std::map<std::pair<int, QSV_DataDescriptor>, size_t>;
    static BlockMap MapBlocks(const ToolFile& file);
    DiffSection& StartSection(const OnfBlockTextReader::BLOCK_INFO& block, const char* unit);
    void OnlyIn(const ToolFile& file, size_t index, char side);
    void CompareBlocks(size_t indexA, size_t indexB);
    void CompareText(size_t indexA, size_t indexB);
    bool TextLinesAgree(const char* a, const char* b) const;
    template <class Key, class KeyOf>
    void CompareRecords(const OnfBlock& a, const OnfBlock& b, KeyOf keyOf);
    void CompareRecord(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib,
                       const std::string& record);
    void CompareItem(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib, size_t item,
                     const std::string& record);
    void CompareReals(const std::vector<double>& a, const std::vector<double>& b,
                      const Tolerance& tolerance, const ItemPlace& place, bool list);
    void CompareGlobalPosition(int node, const std::string& at);

    const DiffOptions& m_Options;
    const ToolFile& m_A;
    const ToolFile& m_B;
    std::vector<DiffSection>& m_Sections;
    const OnfModelFile* m_ModelA = nullptr;
    const OnfModelFile* m_ModelB = nullptr;
    int m_Block = -1;
    // The tolerance of each item of the block being compared, by item number.
    std::vector<Tolerance> m_ItemTolerances;
};

// Of blocks with equal descriptors the loaded one counts, else the last, as it replaced the
// others when the file was read.
BlockDiffer::BlockMap BlockDiffer::MapBlocks(const ToolFile& file) {
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

void BlockDiffer::Run() {
    const BlockMap a = MapBlocks(m_A);
    const BlockMap b = MapBlocks(m_B);
    auto ia = a.begin();
    auto ib = b.begin();
    while (ia != a.end() || ib != b.end()) {
        const bool takeA = ib == b.end() || (ia != a.end() && ia->first < ib->first);
        const bool takeB = ia == a.end() || (ib != b.end() && ib->first < ia->first);
        const int block = (takeB ? ib : ia)->first.first;
        if (!m_Options.IsSelected(block)) {
            ia = takeB ? ia : std::next(ia);
            ib = takeA ? ib : std::next(ib);
        } else if (takeA) {
            OnlyIn(m_A, (ia++)->second, 'A');
        } else if (takeB) {
            OnlyIn(m_B, (ib++)->second, 'B');
        } else {
            CompareBlocks((ia++)->second, (ib++)->second);
        }
    }
}

DiffSection& BlockDiffer::StartSection(const OnfBlockTextReader::BLOCK_INFO& block,
                                       const char* unit) {
    m_Block = block.block_id;
    DiffSection section("block " + BlockLabel(block), unit, m_Options.listing);
    section.block = block.block_id;
    section.name = OnfBlockName(block.block_id);
    section.descriptor = DescriptorText(block.descriptor);
    m_Sections.push_back(std::move(section));
    return m_Sections.back();
}

void BlockDiffer::OnlyIn(const ToolFile& file, size_t index, char side) {
    const OnfBlock* block = file.GetLoadedBlock(index);
    const size_t records = block != nullptr
                               ? block->GetNumRecords()
                               : static_cast<size_t>(file.GetBlocks()[index].num_records);
    if (records > 0) { // an empty block holds what an absent one holds
        StartSection(file.GetBlocks()[index], "record").OnlyIn(side, records);
    }
}

void BlockDiffer::CompareBlocks(size_t indexA, size_t indexB) {
    const OnfBlock* a = m_A.GetLoadedBlock(indexA);
    const OnfBlock* b = m_B.GetLoadedBlock(indexB);
    if (a == nullptr || b == nullptr) {
        CompareText(indexA, indexB);
        return;
    }
    DiffSection& section = StartSection(m_A.GetBlocks()[indexA], "record");
    m_ItemTolerances.clear();
    for (size_t item = 0; item < a->GetNumRecordItems(); ++item) {
        m_ItemTolerances.push_back(m_Options.tolerances.For(m_Block, std::to_string(item)));
    }
    if (a->GetBlockFormatString() != b->GetBlockFormatString()) {
        section.Incomparable("format " + a->GetBlockFormatString() + " vs " +
                             b->GetBlockFormatString() + "; records not compared");
    } else if (a->GetNumRecordItems() > 0 && a->GetRecordMapEntry(0).m_Type == BDT_STRING) {
        CompareRecords<std::string>(*a, *b, [](const OnfBlock& block, size_t index) {
            return std::string(block.GetString(index, static_cast<OnfBlock::Item>(0)));
        });
    } else {
        CompareRecords<int>(*a, *b,
                            [](const OnfBlock& block, size_t index) { return block.GetId(index); });
    }
}

template <class Key, class KeyOf>
void BlockDiffer::CompareRecords(const OnfBlock& a, const OnfBlock& b, KeyOf keyOf) {
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
            return "record " + std::to_string(key);
        } else {
            return "record " + key;
        }
    };
    PairUnitsByKey(m_Sections.back(), collect(a), collect(b), keyText,
                   [&](const std::pair<Key, size_t>& ka, const std::pair<Key, size_t>& kb) {
                       CompareRecord(a, ka.second, b, kb.second, keyText(ka.first));
                   });
}

void BlockDiffer::CompareRecord(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib,
                                const std::string& record) {
    const bool global = m_ModelA != nullptr && m_Block == 110;
    for (size_t item = 1; item < a.GetNumRecordItems(); ++item) {
        if (global && item == 3) {
            CompareGlobalPosition(a.GetId(ia), record);
        } else if (!(global && item == 1)) { // the system a position is given in
            CompareItem(a, ia, b, ib, item, record);
        }
    }
}

void BlockDiffer::CompareGlobalPosition(int node, const std::string& record) {
    const BrelonMatrix<3, 1, double> a = m_ModelA->GetNodeGlobalCoordinates(node);
    const BrelonMatrix<3, 1, double> b = m_ModelB->GetNodeGlobalCoordinates(node);
    CompareReals({a[0], a[1], a[2]}, {b[0], b[1], b[2]}, m_ItemTolerances[3],
                 {record, 110, 3, " in global coordinates"}, false);
}

void BlockDiffer::CompareReals(const std::vector<double>& a, const std::vector<double>& b,
                               const Tolerance& tolerance, const ItemPlace& place, bool list) {
    size_t worst = a.size();
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        if (!tolerance.Agree(a[i], b[i]) &&
            (worst == a.size() || !(std::fabs(a[i] - b[i]) <= std::fabs(a[worst] - b[worst])))) {
            worst = i;
        }
    }
    if (a.size() == b.size() && worst == a.size()) {
        return;
    }
    const size_t from = worst == a.size() ? std::min(a.size(), b.size()) : worst;
    const std::string textA = list ? ListText(a, from, RealText) : RealsText(a);
    const std::string textB = list ? ListText(b, from, RealText) : RealsText(b);
    if (a.size() != b.size()) {
        m_Sections.back().ItemDiffers(place.Text(), textA, textB);
    } else {
        m_Sections.back().RealsDiffer(place.Text(), a[worst], b[worst], textA, textB);
    }
}

void BlockDiffer::CompareItem(const OnfBlock& a, size_t ia, const OnfBlock& b, size_t ib,
                              size_t item, const std::string& record) {
    const auto type = a.GetRecordMapEntry(item).m_Type;
    const auto number = static_cast<OnfBlock::Item>(item);
    const Tolerance& tolerance = m_ItemTolerances[item];
    const ItemPlace place = {record, m_Block, item, ""};
    DiffSection& section = m_Sections.back();
    if (tolerance.ignore) {
        return;
    }
    if (type == BDT_INTEGER || type == BDT_OPT_INTEGER) {
        if (a.GetInt(ia, number) != b.GetInt(ib, number)) {
            section.ItemDiffers(place.Text(), std::to_string(a.GetInt(ia, number)),
                                std::to_string(b.GetInt(ib, number)));
        }
    } else if (type == BDT_STRING) {
        if (std::strcmp(a.GetString(ia, number), b.GetString(ib, number)) != 0) {
            section.ItemDiffers(place.Text(), std::string("\"") + a.GetString(ia, number) + "\"",
                                std::string("\"") + b.GetString(ib, number) + "\"");
        }
    } else if (type == BDT_ORDERED_LIST || type == BDT_INT_LIST) {
        const std::vector<int>& la = a.GetIntList(ia, number);
        const std::vector<int>& lb = b.GetIntList(ib, number);
        if (la != lb) {
            const size_t from =
                std::mismatch(la.begin(), la.end(), lb.begin(), lb.end()).first - la.begin();
            auto text = [](int value) { return std::to_string(value); };
            section.ItemDiffers(place.Text(), ListText(la, from, text), ListText(lb, from, text));
        }
    } else if (type == BDT_DOUBLE_LIST) {
        CompareReals(a.GetRealList(ia, number), b.GetRealList(ib, number), tolerance, place, true);
    } else if (IsRealType(type)) {
        CompareReals(RealsOf(a, ia, item, type), RealsOf(b, ib, item, type), tolerance, place,
                     false);
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

bool BlockDiffer::TextLinesAgree(const char* a, const char* b) const {
    std::vector<std::string> ta;
    std::vector<std::string> tb;
    Tokens(a, ta);
    Tokens(b, tb);
    if (ta.size() != tb.size()) {
        return false;
    }
    const Tolerance& tolerance = m_Options.tolerances.For(m_Block, std::string());
    for (size_t i = 0; i < ta.size(); ++i) {
        double x = 0;
        double y = 0;
        const bool numbers = IsNumber(ta[i], x) && IsNumber(tb[i], y);
        if (numbers ? !tolerance.Agree(x, y) : ta[i] != tb[i]) {
            return false;
        }
    }
    return true;
}

void BlockDiffer::CompareText(size_t indexA, size_t indexB) {
    DiffSection& section = StartSection(m_A.GetBlocks()[indexA], "body line");
    std::vector<const char*> a;
    std::vector<const char*> b;
    m_A.GetBodyLines(indexA, a);
    m_B.GetBodyLines(indexB, b);
    PairUnitsByPosition(section, "body line", a.size(), b.size(),
                        [&](size_t i, const std::string& at) {
                            if (!TextLinesAgree(a[i], b[i])) {
                                section.ItemDiffers(at, std::string("\"") + a[i] + "\"",
                                                    std::string("\"") + b[i] + "\"");
                            }
                        });
}

// The range of every real item of every block of `file`, for --summary.
void BlockRanges(const ToolFile& file, const DiffOptions& options, std::vector<ItemRange>& ranges) {
    for (size_t index = 0; index < file.GetBlocks().size(); ++index) {
        const OnfBlock* block = file.GetLoadedBlock(index);
        const int number = file.GetBlocks()[index].block_id;
        if (block == nullptr || !options.IsSelected(number)) {
            continue;
        }
        for (size_t item = 1; item < block->GetNumRecordItems(); ++item) {
            const BlockDataType type = block->GetRecordMapEntry(item).m_Type;
            if (!IsRealType(type)) {
                continue;
            }
            ItemRange range;
            range.block = number;
            range.item = std::to_string(item);
            range.description =
                "block " + BlockLabel(file.GetBlocks()[index]) + ", " + ItemLabel(number, item);
            for (QSV_DataBlock::IndexIterator it(*block, 0, block->GetMaxIndex()); it.IsValid();
                 ++it) {
                const auto at = static_cast<OnfBlock::Item>(item);
                for (const double value : type == BDT_DOUBLE_LIST
                                              ? block->GetRealList(*it, at)
                                              : RealsOf(*block, *it, item, type)) {
                    range.Add(value);
                }
            }
            if (range.count > 0) {
                ranges.push_back(range);
            }
        }
    }
}

// ---- Options -----------------------------------------------------------------------------------

struct DiffCommand {
    DiffOptions options;
    std::vector<std::string> files;
};

std::string BlockList(const std::string& text, std::set<int>& blocks) {
    for (const std::string& name : SplitAtCommas(text)) {
        int block = 0;
        if (!ParseBlockOperand(name, block)) {
            return "'" + name + "' is no block number or name";
        }
        blocks.insert(block);
    }
    return std::string();
}

std::string RealOption(const std::string& name, const std::string& value, double& real) {
    char* end = nullptr;
    errno = 0;
    real = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0' || errno != 0 || !(real >= 0) || !std::isfinite(real)) {
        return "'" + value + "' is no value of " + name + " (a real of 0 or more)";
    }
    return std::string();
}

// Options with a value, and the flags.
const char* const kValueOptions[] = {"--tolerance", "--absolute",   "--relative", "--floor",
                                     "--tol",       "--tol-file",   "--summary",  "--only",
                                     "--skip",      "--iterations", "--limit"};

std::string TakeValueOption(DiffOptions& options, const std::string& name,
                            const std::string& value) {
    double real = 0.0;
    if (name == "--tolerance" || name == "--absolute" || name == "--relative" ||
        name == "--floor") {
        const std::string error = RealOption(name, value, real);
        if (error.empty()) {
            if (name != "--relative" && name != "--floor") {
                options.tolerances.SetAbsolute(real);
            }
            if (name == "--tolerance" || name == "--relative") {
                options.tolerances.SetRelative(real);
            }
            if (name == "--floor") {
                options.tolerances.SetFloor(real);
            }
        }
        return error;
    }
    if (name == "--tol" || name == "--tol-file") {
        return name == "--tol" ? options.tolerances.AddRule(value)
                               : options.tolerances.ReadFile(value);
    }
    if (name == "--only" || name == "--skip") {
        return BlockList(value, name == "--only" ? options.only : options.skip);
    }
    if (name == "--iterations") {
        std::string error;
        options.iterationsGiven = IterationSelection::Parse(value, options.iterations, error);
        return error;
    }
    if (name == "--summary") {
        options.summary = value;
        return value.empty() ? "option '--summary' needs a file" : std::string();
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long limit = std::strtoull(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || errno != 0 || value[0] == '-') {
        return "'" + value + "' is no limit (a whole number of 0 or more)";
    }
    options.listing.list = true;
    options.listing.limit = static_cast<size_t>(limit);
    return std::string();
}

std::string TakeOption(const std::vector<std::string>& args, size_t& position, void* context) {
    DiffOptions& options = static_cast<DiffCommand*>(context)->options;
    std::string name = args[position];
    const size_t equals = name.find('=');
    const bool inlineValue = equals != std::string::npos;
    const std::string value = inlineValue ? name.substr(equals + 1) : std::string();
    name = name.substr(0, equals);
    if (std::find(std::begin(kValueOptions), std::end(kValueOptions), name) !=
        std::end(kValueOptions)) {
        if (!inlineValue && position + 1 >= args.size()) {
            return "option '" + name + "' needs a value";
        }
        return TakeValueOption(options, name, inlineValue ? value : args[++position]);
    }
    if (inlineValue) {
        return "option '" + name + "' takes no value";
    }
    if (name == "--all") {
        options.listing.list = true;
        options.listing.limit = 0;
    } else if (name == "--global" || name == "--json") {
        (name == "--global" ? options.global : options.listing.json) = true;
    } else {
        return "unknown option '" + args[position] + "'";
    }
    return std::string();
}

// ---- Running -----------------------------------------------------------------------------------

// One operand read: its blocks, and the typed objects that the options need.
struct DiffInput {
    std::unique_ptr<FileLogScope> scope;
    std::unique_ptr<Progress> progress;
    std::unique_ptr<ToolFile> file;
    std::unique_ptr<ONFOptResultFile> results;
    std::unique_ptr<OnfModelFile> model;
};

// The model of a file whose node positions are compared in global terms, read from the file's
// text once: its blocks are the model's. Every node's position is worked out here, so that a
// node in a missing system fails in its file.
void ReadGlobalModel(ToolFile& file, std::unique_ptr<OnfModelFile>& model) {
    model.reset(new OnfModelFile(file.GetWidePath(), nullptr));
    if (!ReadModel(file, *model)) {
        return; // reported
    }
    const OnfBlock& nodes = model->GetBlock(static_cast<QSV_OnfId>(110));
    for (QSV_DataBlock::IndexIterator it(nodes, 0, nodes.GetMaxIndex()); it.IsValid(); ++it) {
        model->GetNodeGlobalCoordinatesAtIdx(*it);
    }
}

bool ReadInput(const std::string& path, const DiffOptions& options, DiffInput& input) {
    input.scope.reset(new FileLogScope(path, stderr));
    input.progress.reset(new Progress(path));
    try {
        input.file.reset(new ToolFile(path, *input.scope, *input.progress));
        const OnfFileKind kind = input.file->GetKind();
        if (kind == ONF_FILE_OPT_RESULT) {
            input.results.reset(new ONFOptResultFile(input.file->GetWidePath()));
            ReadOptResult(*input.file, *input.results);
        } else if (options.global && kind == ONF_FILE_MODEL) {
            ReadGlobalModel(*input.file, input.model);
        } else {
            input.file->LoadBlocks(false); // blocks that cannot be loaded are compared as text
        }
    } catch (const std::exception& failure) {
        input.scope->ReportFailure(failure);
    }
    return input.scope->GetNumErrors() == 0;
}

// A requirement of the options that a file does not meet, as text; empty when it meets them.
std::string Unfit(const DiffOptions& options, const DiffInput& input) {
    const OnfFileKind kind = input.file->GetKind();
    const std::string is = "; this is " + KindWithArticle(kind);
    if (options.global && kind != ONF_FILE_MODEL) {
        return "--global compares model input files" + is;
    }
    if (options.iterationsGiven && kind != ONF_FILE_OPT_RESULT) {
        return "--iterations compares optimisation result files" + is;
    }
    return std::string();
}

bool WriteSummary(const DiffOptions& options, const DiffInput& input, const std::string& path) {
    std::vector<ItemRange> ranges;
    if (input.results) {
        ResultRanges(*input.results, ranges);
    } else {
        BlockRanges(*input.file, options, ranges);
    }
    FILE* out = options.summary == "-" ? stdout : std::fopen(options.summary.c_str(), "w");
    bool written = out != nullptr && WriteToleranceFile(out, path, options.tolerances, ranges);
    if (out != nullptr && out != stdout) {
        written = std::fclose(out) == 0 && written;
    }
    if (!written) {
        std::fprintf(stderr, "onf diff: cannot write %s: %s\n", options.summary.c_str(),
                     std::strerror(errno));
    }
    return written;
}

void PrintSections(const std::vector<DiffSection>& sections, const DiffCommand& command) {
    size_t blocks = 0;
    size_t entries = 0;
    const bool json = command.options.listing.json;
    if (json) {
        std::printf("{\"a\": %s, \"b\": %s, \"sections\": [", JsonString(command.files[0]).c_str(),
                    JsonString(command.files[1]).c_str());
    }
    for (const DiffSection& section : sections) {
        if (!section.Differs()) {
            continue;
        }
        if (json) {
            std::fputs(blocks + entries > 0 ? ",\n" : "\n", stdout);
            section.PrintJson(stdout);
        } else {
            section.Print(stdout);
        }
        ++(section.block >= 700 && section.block <= 740 ? entries : blocks);
    }
    if (json) {
        std::printf("%s],\n \"equal\": %s, \"blocks_differing\": %zu, \"entries_differing\": "
                    "%zu}\n",
                    blocks + entries > 0 ? "\n" : "", blocks + entries > 0 ? "false" : "true",
                    blocks, entries);
    } else if (blocks + entries > 0) {
        std::string where;
        if (entries > 0) {
            where = std::to_string(entries) + (entries == 1 ? " entry" : " entries");
        }
        if (blocks > 0) {
            where += (where.empty() ? "" : " and ") + std::to_string(blocks) +
                     (blocks == 1 ? " block" : " blocks");
        }
        std::printf("%s and %s differ in %s\n", command.files[0].c_str(), command.files[1].c_str(),
                    where.c_str());
    }
}

int Compare(const DiffCommand& command, const DiffInput& a, const DiffInput& b) {
    std::vector<DiffSection> sections;
    if (a.results && b.results) {
        CompareResultFiles(*a.results, *b.results, command.options, sections);
    } else {
        BlockDiffer differ(command.options, *a.file, *b.file, sections);
        differ.SetModels(a.model.get(), b.model.get());
        differ.Run();
    }
    PrintSections(sections, command);
    const bool differ = std::any_of(sections.begin(), sections.end(),
                                    [](const DiffSection& s) { return s.Differs(); });
    return differ ? EXIT_NOTICE : EXIT_OK;
}

int RunDiff(const std::vector<std::string>& args) {
    DiffCommand command;
    int exitCode = EXIT_OK;
    if (!SplitArguments(kDiff, args, command.files, exitCode, TakeOption, &command)) {
        return exitCode;
    }
    for (const std::string& warning : command.options.tolerances.Warnings()) {
        std::fprintf(stderr, "onf diff: warning: %s\n", warning.c_str());
    }
    const size_t wanted = command.options.summary.empty() ? 2 : command.files.size();
    if (command.files.size() != wanted || wanted < 1 || wanted > 2) {
        return UsageError(kDiff, command.options.summary.empty()
                                     ? "two files expected, A and B"
                                     : "one or two files expected with --summary");
    }
    // An array, so that the file scopes end in the reverse order of their beginning.
    DiffInput inputs[2];
    bool ok = true;
    for (size_t i = 0; i < command.files.size(); ++i) {
        ok = ReadInput(command.files[i], command.options, inputs[i]) && ok;
        const std::string unfit = ok ? Unfit(command.options, inputs[i]) : std::string();
        if (!unfit.empty()) {
            inputs[i].scope->Report(QSV_LogMacros::LOG_ERROR, unfit);
            ok = false;
        }
    }
    if (!ok || (!command.options.summary.empty() &&
                !WriteSummary(command.options, inputs[0], command.files[0]))) {
        return EXIT_FAILED;
    }
    return command.files.size() == 2 ? Compare(command, inputs[0], inputs[1]) : EXIT_OK;
}

} // namespace

} // namespace onf_tool
