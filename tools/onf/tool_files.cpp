// File kinds, block labels and the loading of one ONF file, shared by the commands.
#include "OnfToolFiles.h"

#include "BrelonLineInput.h"
#include "ONFOptResultFile.h"
#include "OnfBlock.h"
#include "OnfConstants.h"
#include "OnfGroupsFile.h"
#include "OnfInitFile.h"
#include "OnfModelFile.h"
#include "OnfModifFile.h"
#include "OnfResultRequestFile.h"
#include "OnfTemporaryFile.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <set>

namespace onf_tool {

using DD = QSV_DataDescriptor;
using BlockInfo = OnfBlockTextReader::BLOCK_INFO;

const char* const KIND_RULE_TEXT =
    "File kinds: the kind of a file decides which file object 'onf check' and 'onf info' read\n"
    "it through, and the header that 'onf normalize' writes. Block numbers decide it:\n"
    "  700-740          optimisation result file (besides its groups, 200 and 210)\n"
    "  100-181, 1200    model input file\n"
    "  97               init file\n"
    "  800-890          modification file\n"
    "  900-950          temporary file\n"
    "  400-440, 10030   result request file\n"
    "Blocks of exactly one of these kinds decide the kind; blocks of two or more kinds make a\n"
    "generic ONF file. Other blocks (200, 210, 10032, results, custom blocks) decide nothing:\n"
    "for them a comment line ahead of the first block that holds a kind's header text decides\n"
    "(\"# ONF groups file\", \"# ONF model input file\", \"# ONF init file\", \"# ONF\n"
    "modification file\", \"# ONF optimisation result file\"); failing that, blocks 200 or 210\n"
    "make a groups file, and anything else a generic ONF file.\n";

const char* KindName(FileKind kind) {
    switch (kind) {
    case KIND_MODEL:
        return "model input file";
    case KIND_GROUPS:
        return "groups file";
    case KIND_INIT:
        return "init file";
    case KIND_MODIFICATION:
        return "modification file";
    case KIND_TEMPORARY:
        return "temporary file";
    case KIND_REQUESTS:
        return "result request file";
    case KIND_OPT_RESULT:
        return "optimisation result file";
    default:
        return "ONF file";
    }
}

const char* KindHeader(FileKind kind) {
    switch (kind) {
    case KIND_MODEL:
        return const_onf_input_file;
    case KIND_GROUPS:
        return const_onf_group_file;
    case KIND_INIT:
        return const_onf_ini_file;
    case KIND_MODIFICATION:
        return const_onf_mod_file;
    case KIND_OPT_RESULT:
        return const_onf_opt_res_file;
    default:
        return nullptr;
    }
}

namespace {

// The kind that a block number decides, KIND_GENERIC for one that decides nothing.
FileKind KindOfBlock(int id) {
    if (id >= 700 && id <= 740) {
        return KIND_OPT_RESULT;
    }
    if ((id >= 100 && id <= 181) || id == 1200) {
        return KIND_MODEL;
    }
    if (id == 97) {
        return KIND_INIT;
    }
    if (id >= 800 && id <= 890) {
        return KIND_MODIFICATION;
    }
    if (id >= 900 && id <= 950) {
        return KIND_TEMPORARY;
    }
    if ((id >= 400 && id <= 440) || id == 10030) {
        return KIND_REQUESTS;
    }
    return KIND_GENERIC;
}

// The title that the result file's own blocks carry.
const char* OptResultBlockName(int id) {
    switch (id) {
    case ONFOptResTitle::block_id:
        return ONFOptResTitle::header;
    case ONFOptResNodalScalar::block_id:
        return ONFOptResNodalScalar::header;
    case ONFOptResNodalVector::block_id:
        return ONFOptResNodalVector::header;
    case ONFOptResNodalDisp::block_id:
        return ONFOptResNodalDisp::header;
    case ONFOptResElemScalar::block_id:
        return ONFOptResElemScalar::header;
    default:
        return "(not in the catalogue)";
    }
}

bool IsBlank(char c) {
    return c == ' ' || (c >= 9 && c <= 13);
}

// The kind named by a header comment ahead of the first block, KIND_GENERIC if none is.
FileKind KindFromHeader(const TextLinesParser& lines) {
    static const FileKind kinds[] = {KIND_MODEL, KIND_GROUPS, KIND_INIT, KIND_MODIFICATION,
                                     KIND_OPT_RESULT};
    for (size_t i = 0; i < lines.GetNumLines(); ++i) {
        const char* text = lines.GetLine(i);
        while (IsBlank(*text)) {
            ++text;
        }
        if (*text == '\0') {
            continue;
        }
        if (*text != '#') {
            break; // the first block starts here
        }
        do {
            ++text;
        } while (IsBlank(*text) || *text == '#');
        size_t length = std::strlen(text);
        while (length > 0 && IsBlank(text[length - 1])) {
            --length;
        }
        for (FileKind kind : kinds) {
            if (std::string(text, length) == KindHeader(kind)) {
                return kind;
            }
        }
    }
    return KIND_GENERIC;
}

} // namespace

FileKind DetectKind(const std::vector<BlockInfo>& blocks, const TextLinesParser& lines) {
    std::set<FileKind> votes;
    bool hasGroups = false;
    for (const BlockInfo& block : blocks) {
        const FileKind kind = KindOfBlock(block.block_id);
        if (kind == KIND_OPT_RESULT) {
            return kind;
        }
        if (kind != KIND_GENERIC) {
            votes.insert(kind);
        }
        hasGroups = hasGroups || block.block_id == 200 || block.block_id == 210;
    }
    if (votes.size() == 1) {
        return *votes.begin();
    }
    if (!votes.empty()) {
        return KIND_GENERIC;
    }
    const FileKind fromHeader = KindFromHeader(lines);
    if (fromHeader != KIND_GENERIC) {
        return fromHeader;
    }
    return hasGroups ? KIND_GROUPS : KIND_GENERIC;
}

namespace {

// The descriptor items other than the block number, as "KEY=value" each.
void DescriptorItems(const QSV_DataDescriptor& descriptor, std::vector<std::string>& items) {
    for (int i = 0; i < DD::NUM_ITEMS; ++i) {
        const auto index = static_cast<DD::ResultIndex>(i);
        if (index == DD::RI_ONF_ID || !descriptor.IsSet(index)) {
            continue;
        }
        const DD::NameAndType& row = DD::RD_NAME_TYPE_ITEMS[i];
        items.push_back(std::string(row.name) + "=" +
                        (row.type == DD::ITEM_TYPE_INTEGER
                             ? std::to_string(descriptor.GetInteger(index))
                             : descriptor.GetString(index)));
    }
}

} // namespace

std::string DescriptorText(const QSV_DataDescriptor& descriptor) {
    std::vector<std::string> items;
    DescriptorItems(descriptor, items);
    std::string text;
    for (const std::string& item : items) {
        text += " " + item;
    }
    return text;
}

std::string BlockLabel(const BlockInfo& block) {
    std::string label;
    if (block.block_id == -1 && !block.descriptor.IsSet(DD::RI_ONF_ID)) {
        label = ONF_NON_ONF;
    } else if (QSV_OnfInfoPool::ExistsOnfBlock(block.block_id)) {
        label = std::to_string(block.block_id) + " " +
                QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block.block_id)).GetBlockName();
    } else if (KindOfBlock(block.block_id) == KIND_OPT_RESULT) {
        label = std::to_string(block.block_id) + " " + OptResultBlockName(block.block_id);
    } else {
        label = std::to_string(block.block_id) + " (not in the catalogue)";
    }
    return label + DescriptorText(block.descriptor);
}

std::string RealText(double value) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

ToolFile::ToolFile(const std::string& path, FileLogScope& scope, const Progress& progress)
    : m_Path(path), m_WidePath(BrelonStringUtil::utf8_to_wide(path.c_str())), m_Scope(scope),
      m_Progress(progress) {
    if (progress.IsOn()) {
        progress.Say("reading " + std::to_string(progress.GetFileSize()) + " bytes");
    }
    m_Reader.reset(
        new OnfBlockTextReader(m_WidePath.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP));
    m_Blocks = m_Reader->GetBlocksInfo();
    m_Kind = DetectKind(m_Blocks, m_Reader->GetLines());
    m_Loaded.assign(m_Blocks.size(), nullptr);
    m_States.assign(m_Blocks.size(), BLOCK_UNREAD);
    progress.Say(std::to_string(m_Blocks.size()) + " blocks found; " + KindName(m_Kind));
}

ToolFile::~ToolFile() = default;

BrelonOnfTxtDatabase& ToolFile::GetDatabase() {
    if (!m_Database) {
        m_Database.reset(new BrelonOnfTxtDatabase(std::wstring()));
    }
    return *m_Database;
}

// Keeps the state of every block as the engine's tolerant load tells it, and says to the scope
// what a user should hear of it.
class ToolFile::LoadListener : public OnfBlockLoadListener {
public:
    LoadListener(ToolFile& file, bool warnDropped) : m_File(file), m_WarnDropped(warnDropped) {}

    void OnLoading(size_t, const BlockInfo& info) override {
        const bool catalogued =
            info.block_id >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(info.block_id);
        if (catalogued && !info.format.empty()) {
            const std::string& own =
                QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(info.block_id))
                    .GetFormatString();
            if (own != info.format) {
                // The file objects read a catalogued block in the catalogue's format, whatever
                // the file says; so does this tool.
                m_File.m_Scope.Report(
                    QSV_LogMacros::LOG_WARNING,
                    "block " + BlockLabel(info) + " gives the format \"" + info.format +
                        "\"; it is read in the catalogue's format \"" + own + "\"");
            }
        }
        m_File.m_Progress.Say("loading block " + BlockLabel(info) + ", " +
                              std::to_string(info.num_records) + " records");
    }

    void OnLoaded(size_t index, const BlockInfo& info, const OnfBlock& block) override {
        bool replaces = false;
        for (size_t earlier = 0; earlier < index; ++earlier) {
            if (m_File.m_Loaded[earlier] != nullptr &&
                !(m_File.m_Blocks[earlier].descriptor < info.descriptor) &&
                !(info.descriptor < m_File.m_Blocks[earlier].descriptor)) {
                m_File.m_Loaded[earlier] = nullptr;
                m_File.m_States[earlier] = BLOCK_REPLACED;
                replaces = true;
            }
        }
        if (replaces) {
            m_File.m_Scope.Report(QSV_LogMacros::LOG_WARNING,
                                  "block " + BlockLabel(info) + " appears again as block " +
                                      std::to_string(index + 1) +
                                      " of the file, which replaces the earlier one");
        }
        m_File.m_Loaded[index] = &block;
        m_File.m_States[index] = BLOCK_LOADED;
    }

    void OnMerged(size_t index, const BlockInfo&, size_t) override {
        m_File.m_States[index] = BLOCK_MERGED;
    }

    void OnUnknown(size_t index, const BlockInfo& info) override {
        m_File.m_States[index] = BLOCK_UNKNOWN;
        if (m_WarnDropped) {
            OnfBlockTextReader::WarnUnknownBlock(m_File.m_WidePath, info.block_id);
        }
    }

    void OnFailed(size_t index, const BlockInfo&, const std::exception& failure) override {
        m_File.m_States[index] = BLOCK_FAILED;
        m_File.m_Scope.ReportFailure(failure);
    }

private:
    ToolFile& m_File;
    bool m_WarnDropped;
};

void ToolFile::LoadBlocks(bool warnDropped) {
    BrelonOnfTxtDatabase& database = GetDatabase();
    std::set<int> numbers;
    bool repeated = false;
    for (const BlockInfo& block : m_Blocks) {
        repeated = !numbers.insert(block.block_id).second || repeated;
    }
    LoadListener listener(*this, warnDropped);
    if (m_Kind == KIND_GROUPS && repeated) {
        // A groups file merges repeated blocks of one number, renumbering clashing ids.
        m_Progress.Say("merging repeated group blocks");
        database.LoadFrom(*m_Reader, BrelonOnfTxtDatabase::LOAD_MERGE_BY_NUMBER, listener);
    } else {
        database.LoadFrom(*m_Reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS, listener);
    }
}

void ToolFile::GetBodyLines(size_t index, std::vector<const char*>& lines) const {
    lines.clear();
    const BlockInfo& info = m_Blocks[index];
    if (info.num_records == 0) {
        return; // the reader does not record where such a body starts
    }
    const TextLinesParser& text = m_Reader->GetLines();
    for (size_t i = 0; i < info.num_lines; ++i) {
        lines.push_back(text.GetLine(info.first_line + i));
    }
}

void ToolFile::GetRawBlockLines(size_t index, std::vector<std::string>& lines) const {
    const BlockInfo& info = m_Blocks[index];
    lines.clear();
    lines.push_back(ONF_BLOCK_MARKER);
    std::vector<std::string> items;
    DescriptorItems(info.descriptor, items);
    if (!items.empty()) {
        lines.push_back(ONF_DESCRIPTOR_MARKER);
        lines.insert(lines.end(), items.begin(), items.end());
        lines.push_back(ONF_DESCRIPTOR_MARKER);
    }
    if (!info.format.empty()) {
        lines.push_back(ONF_FORMAT_MARKER);
        lines.push_back("FORMAT=" + info.format);
        lines.push_back(ONF_FORMAT_MARKER);
    }
    const bool nonOnf = info.block_id == -1 && !info.descriptor.IsSet(DD::RI_ONF_ID);
    lines.push_back(nonOnf ? std::string(ONF_NON_ONF) : "   " + std::to_string(info.block_id));
    lines.push_back(std::to_string(info.num_records));
    std::vector<const char*> body;
    GetBodyLines(index, body);
    lines.insert(lines.end(), body.begin(), body.end());
    lines.push_back(ONF_BLOCK_MARKER);
}

void ToolFile::ReleaseText() {
    m_Loaded.assign(m_Blocks.size(), nullptr);
    m_States.assign(m_Blocks.size(), BLOCK_UNREAD);
    m_Database.reset();
    m_Reader.reset();
}

std::string UnloadedText(const BlockInfo& block, ToolFile::BlockState state) {
    std::string text = std::to_string(block.num_records) +
                       (block.num_records == 1 ? " record declared" : " records declared");
    switch (state) {
    case ToolFile::BLOCK_UNKNOWN:
        return text + ", not loaded (not in the catalogue, and no format)";
    case ToolFile::BLOCK_FAILED:
        return text + ", failed to load";
    case ToolFile::BLOCK_REPLACED:
        return text + ", replaced by a later block with the same descriptor";
    case ToolFile::BLOCK_MERGED:
        return text + ", merged into the first block of its number";
    default:
        return text + ", not loaded";
    }
}

void ReadTyped(FileKind kind, const std::wstring& path) {
    switch (kind) {
    case KIND_MODEL: {
        OnfModelFile model(path, nullptr);
        model.Read();
        break;
    }
    case KIND_GROUPS: {
        OnfGroupsFile groups(path);
        groups.Read();
        break;
    }
    case KIND_INIT: {
        OnfInitFile init(path);
        init.Read();
        break;
    }
    case KIND_MODIFICATION: {
        OnfModifFile modif(path);
        modif.Read();
        modif.ReadSpecialModInstruction();
        modif.BuildModificationLists();
        break;
    }
    case KIND_TEMPORARY: {
        OnfTemporaryFile temporary;
        temporary.Read(path);
        break;
    }
    case KIND_REQUESTS: {
        OnfResultRequestFile requests(path);
        requests.Read();
        break;
    }
    case KIND_OPT_RESULT: {
        ONFOptResultFile result(path);
        result.Read();
        break;
    }
    default:
        break;
    }
}

} // namespace onf_tool
