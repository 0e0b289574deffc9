// `onf cat FILE BLOCK...`: prints blocks of an ONF file as ONF text, or one block as a table.
#include "OnfTool.h"
#include "OnfToolFiles.h"
#include "onf_tool_help.h"

#include "OnfBlock.h"
#include "OnfBlockTextWriter.h"
#include "QSV_Failure.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace onf_tool {

namespace {

int RunCat(const std::vector<std::string>& args);

const OnfCommand kCat = {"cat", "print blocks of an ONF file as ONF text, or one block as CSV",
                         kCatHelp, RunCat};

const OnfCommandRegistrar kRegistrar(kCat);

// ---- CSV --------------------------------------------------------------------------------------

// A cell as RFC 4180 has it: quoted when it holds a comma, a quote or a line break.
std::string CsvCell(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string cell = "\"";
    for (char c : text) {
        cell += c == '"' ? "\"\"" : std::string(1, c);
    }
    return cell + "\"";
}

std::string FloatText(float value) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

std::string ItemName(const OnfBlock& block, size_t item) {
    const std::string name = CatalogueItemName(block.GetBlockId(), item);
    return name.empty() ? "item " + std::to_string(item) : name;
}

void AppendHeader(const OnfBlock& block, bool descriptors, std::vector<std::string>& cells) {
    if (descriptors) {
        cells.push_back("descriptor");
    }
    cells.push_back(block.GetRecordMapEntry(0).m_Type == BDT_STRING ? "name" : "id");
    static const char* const axes[] = {" x", " y", " z"};
    for (size_t item = 1; item < block.GetNumRecordItems(); ++item) {
        const std::string name = ItemName(block, item);
        switch (block.GetRecordMapEntry(item).m_Type) {
        case BDT_VECTOR:
            for (const char* axis : axes) {
                cells.push_back(name + axis);
            }
            break;
        case BDT_TENSOR:
            for (int k = 1; k <= 6; ++k) {
                cells.push_back(name + " " + std::to_string(k));
            }
            break;
        default:
            cells.push_back(name);
        }
    }
}

template <class T, class Text>
std::string Joined(const std::vector<T>& values, Text text) {
    std::string joined;
    for (const T& value : values) {
        joined += (joined.empty() ? "" : " ") + text(value);
    }
    return joined;
}

void AppendItem(const OnfBlock& block, size_t index, size_t item, std::vector<std::string>& cells) {
    const auto at = static_cast<OnfBlock::Item>(item);
    const BlockDataType type = block.GetRecordMapEntry(item).m_Type;
    switch (type) {
    case BDT_INTEGER:
    case BDT_OPT_INTEGER:
        cells.push_back(std::to_string(block.GetInt(index, at)));
        return;
    case BDT_STRING:
        cells.push_back(block.GetString(index, at));
        return;
    case BDT_ORDERED_LIST:
    case BDT_INT_LIST:
        cells.push_back(
            Joined(block.GetIntList(index, at), [](int v) { return std::to_string(v); }));
        return;
    case BDT_DOUBLE_LIST:
        cells.push_back(Joined(block.GetRealList(index, at), RealText));
        return;
    case BDT_FLOAT:
        cells.push_back(FloatText(static_cast<float>(ItemReals(block, index, item)[0])));
        return;
    default:
        for (double value : ItemReals(block, index, item)) {
            cells.push_back(RealText(value));
        }
    }
}

void PrintRow(const std::vector<std::string>& cells) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i) {
        line += (i > 0 ? "," : "") + CsvCell(cells[i]);
    }
    std::printf("%s\n", line.c_str());
}

// The rows of one loaded block in ascending id order.
void PrintRecords(const OnfBlock& block, const std::string& descriptor, bool descriptors) {
    std::vector<std::pair<std::string, size_t>> byName;
    std::vector<std::pair<int, size_t>> byId;
    const bool named = block.GetRecordMapEntry(0).m_Type == BDT_STRING;
    for (QSV_DataBlock::IndexIterator it(block, 0, block.GetMaxIndex()); it.IsValid(); ++it) {
        if (named) {
            byName.emplace_back(block.GetString(*it, static_cast<OnfBlock::Item>(0)), *it);
        } else {
            byId.emplace_back(block.GetId(*it), *it);
        }
    }
    std::sort(byName.begin(), byName.end());
    std::sort(byId.begin(), byId.end());
    std::vector<size_t> order;
    for (const auto& entry : byName) {
        order.push_back(entry.second);
    }
    for (const auto& entry : byId) {
        order.push_back(entry.second);
    }
    std::vector<std::string> cells;
    for (size_t index : order) {
        cells.clear();
        if (descriptors) {
            cells.push_back(descriptor);
        }
        if (named) {
            cells.push_back(block.GetString(index, static_cast<OnfBlock::Item>(0)));
        } else {
            cells.push_back(std::to_string(block.GetId(index)));
        }
        for (size_t item = 1; item < block.GetNumRecordItems(); ++item) {
            AppendItem(block, index, item, cells);
        }
        PrintRow(cells);
    }
}

// Prints the blocks of `number` as one table; false, after reporting, when there is none that
// can be loaded or their formats differ.
bool PrintCsv(ToolFile& file, int number, FileLogScope& scope) {
    std::vector<size_t> matches;
    bool descriptors = false;
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        if (file.GetBlocks()[i].block_id == number && file.GetLoadedBlock(i) != nullptr) {
            matches.push_back(i);
            descriptors = descriptors || !DescriptorText(file.GetBlocks()[i].descriptor).empty();
        }
    }
    std::vector<std::string> formats;
    for (size_t i : matches) {
        const std::string format = file.GetLoadedBlock(i)->GetBlockFormatString();
        if (std::find(formats.begin(), formats.end(), format) == formats.end()) {
            formats.push_back(format);
        }
    }
    if (formats.size() > 1) {
        // Custom blocks carry formats of their own; a table takes one header.
        std::string list;
        for (const std::string& format : formats) {
            list += (list.empty() ? "" : ", ") + format;
        }
        std::string name = BlockName(file.GetBlocks()[matches[0]]);
        name = name.empty() ? std::to_string(number) : name;
        scope.Report(QSV_LogMacros::LOG_ERROR, "the " + name + " blocks have " +
                                                   std::to_string(formats.size()) + " formats (" +
                                                   list + ") and make no one table");
        return false;
    }
    if (matches.empty()) {
        return false;
    }
    std::vector<std::string> header;
    AppendHeader(*file.GetLoadedBlock(matches[0]), descriptors, header);
    PrintRow(header);
    for (size_t i : matches) {
        PrintRecords(*file.GetLoadedBlock(i),
                     DescriptorText(file.GetBlocks()[i].descriptor).substr(descriptors ? 1 : 0),
                     descriptors);
    }
    return true;
}

// ---- ONF text ---------------------------------------------------------------------------------

// Prints the blocks of `number` as ONF text; false when the file has none.
bool PrintText(ToolFile& file, int number, OnfBlockTextWriter& writer) {
    bool found = false;
    std::vector<std::string> raw;
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        if (file.GetBlocks()[i].block_id != number) {
            continue;
        }
        found = true;
        if (file.GetLoadedBlock(i) != nullptr) {
            file.GetLoadedBlock(i)->WriteBlock(writer);
            continue;
        }
        file.GetRawBlockLines(i, raw);
        for (const std::string& line : raw) {
            writer.WriteLine(line.c_str());
        }
    }
    return found;
}

// Prints the blocks; returns the exit code.
int Cat(const std::string& path, const std::vector<int>& numbers, bool csv) {
    FileLogScope scope(DisplayName(path), stderr);
    const Progress progress(path);
    int result = EXIT_OK;
    try {
        ToolFile file(path, scope, progress);
        if (file.GetKind() != ONF_FILE_OPT_RESULT) {
            file.LoadBlocks(false); // a block that cannot be loaded is printed as it stands
        }
        OnfBlockTextWriter writer(stdout);
        for (int number : numbers) {
            if (!(csv ? PrintCsv(file, number, scope) : PrintText(file, number, writer)) &&
                scope.GetNumErrors() == 0) {
                scope.Report(
                    QSV_LogMacros::LOG_WARNING,
                    std::string(csv ? "no block that can be read as a table" : "no block") +
                        " with the number " + std::to_string(number));
                result = EXIT_NOTICE;
            }
        }
        writer.Flush();
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
    }
    return scope.GetNumErrors() > 0 ? EXIT_FAILED : result;
}

int RunCat(const std::vector<std::string>& args) {
    std::vector<std::string> operands;
    FlagOption csvOption{"--csv"};
    int exitCode = EXIT_OK;
    if (!SplitArguments(kCat, args, operands, exitCode, TakeFlagOption, &csvOption)) {
        return exitCode;
    }
    const bool csv = csvOption.set;
    if (operands.size() < 2) {
        return UsageError(kCat, operands.empty() ? "no file given" : "no block given");
    }
    if (csv && operands.size() > 2) {
        return UsageError(kCat, "--csv prints one block");
    }
    std::vector<int> numbers;
    for (size_t i = 1; i < operands.size(); ++i) {
        int number = 0;
        if (!ParseBlockOperand(operands[i], number)) {
            return UsageError(kCat, "'" + operands[i] + "' is no block number or name");
        }
        numbers.push_back(number);
    }
    return Cat(operands[0], numbers, csv);
}

} // namespace

} // namespace onf_tool
