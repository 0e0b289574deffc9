// One ONF file read once: its text, its blocks loaded through the engine's tolerant load, and the
// file object of its kind.
#include "OnfToolFiles.h"
#include "OnfToolOutput.h"

#include "ONFOptResultFile.h"
#include "OnfBlock.h"
#include "OnfGroupsFile.h"
#include "OnfInitFile.h"
#include "OnfModelFile.h"
#include "OnfModifFile.h"
#include "OnfResultRequestFile.h"
#include "OnfTemporaryFile.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <sys/stat.h>

namespace onf_tool {

namespace {
using BlockInfo = OnfBlockTextReader::BLOCK_INFO;
} // namespace

ToolFile::ToolFile(const std::string& path, FileLogScope& scope, const Progress& progress)
    : m_Path(path), m_WidePath(BrelonStringUtil::utf8_to_wide(DisplayName(path).c_str())),
      m_Scope(scope), m_Progress(progress) {
    if (progress.IsOn() && progress.GetFileSize() > 0) {
        progress.Say("reading " + ReadableSize(progress.GetFileSize()));
    }
    // The reader is made empty and then loads, so that it outlives a failure of its decoding:
    // the locator finds the block that failed in the lines and blocks it holds.
    auto reader = std::make_shared<OnfBlockTextReader>(nullptr, 0, m_WidePath.c_str(),
                                                       OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    m_Locator = std::make_shared<FileMessageLocator>(reader, DisplayName(path));
    scope.SetLocator(m_Locator);
    if (path == STANDARD_STREAM_OPERAND) {
        const std::string& text = ReadStandardInput();
        m_TextSize = text.size();
        reader->LoadBuffer(text.data(), text.size(), m_WidePath.c_str(),
                           OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    } else {
        struct stat status;
        m_TextSize = ::stat(path.c_str(), &status) == 0 ? static_cast<size_t>(status.st_size) : 0;
        reader->LoadFile(m_WidePath.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    }
    m_Reader = reader;
    m_Blocks = m_Reader->GetBlocksInfo();
    m_Kind = OnfFileKindOf(*m_Reader);
    m_Loaded.assign(m_Blocks.size(), nullptr);
    m_States.assign(m_Blocks.size(), BLOCK_UNREAD);
    progress.Say(Plural(m_Blocks.size(), "block") + " found; " + OnfFileKindName(m_Kind));
}

ToolFile::~ToolFile() = default;

BrelonOnfTxtDatabase& ToolFile::GetDatabase() {
    if (!m_Database) {
        m_Database.reset(new BrelonOnfTxtDatabase(std::wstring()));
    }
    return *m_Database;
}

// Keeps the state of every block as the engine's tolerant load tells it, tells the locator which
// block the engine's messages are about, and says to the scope what a user should hear.
class ToolFile::LoadListener : public OnfBlockLoadListener {
public:
    LoadListener(ToolFile& file, bool warnDropped) : m_File(file), m_WarnDropped(warnDropped) {}

    void OnLoading(size_t index, const BlockInfo& info) override {
        m_File.m_Locator->SetCurrentBlock(index);
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
                        "\"; it is read in the catalogue's format \"" + own + "\"",
                    StartLine(index));
            }
        }
        m_File.m_Progress.Say("loading block " + BlockLabel(info) + ", " +
                              Plural(static_cast<size_t>(info.num_records), "record"));
    }

    void OnLoaded(size_t index, const BlockInfo& info, const OnfBlock& block) override {
        m_File.m_Locator->SetCurrentBlock(SIZE_MAX);
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
                                      " of the file, which replaces the earlier one",
                                  StartLine(index));
        }
        m_File.m_Loaded[index] = &block;
        m_File.m_States[index] = BLOCK_LOADED;
    }

    void OnMerged(size_t index, const BlockInfo&, size_t) override {
        m_File.m_Locator->SetCurrentBlock(SIZE_MAX);
        m_File.m_States[index] = BLOCK_MERGED;
    }

    void OnSkipped(size_t index, const BlockInfo&) override {
        m_File.m_States[index] = BLOCK_REPLACED;
    }

    void OnUnknown(size_t index, const BlockInfo& info) override {
        m_File.m_States[index] = BLOCK_UNKNOWN;
        if (m_WarnDropped) {
            m_File.m_Locator->SetCurrentBlock(index);
            OnfBlockTextReader::WarnUnknownBlock(m_File.m_WidePath, info.block_id);
            m_File.m_Locator->SetCurrentBlock(SIZE_MAX);
        }
    }

    void OnFailed(size_t index, const BlockInfo&, const std::exception& failure) override {
        m_File.m_States[index] = BLOCK_FAILED;
        m_File.m_Scope.ReportFailure(failure);
        m_File.m_Locator->SetCurrentBlock(SIZE_MAX);
        m_Failed = true;
    }

    bool HasFailed() const { return m_Failed; }

private:
    size_t StartLine(size_t index) {
        const std::vector<BlockPlace>& places = m_File.GetPlaces();
        return index < places.size() ? places[index].start + 1 : 0;
    }

    ToolFile& m_File;
    bool m_WarnDropped;
    bool m_Failed = false;
};

bool ToolFile::LoadInto(BrelonOnfTxtDatabase& database, bool warnDropped) {
    m_Loaded.assign(m_Blocks.size(), nullptr);
    m_States.assign(m_Blocks.size(), BLOCK_UNREAD);
    LoadListener listener(*this, warnDropped);
    // A groups file merges repeated blocks of one number, renumbering clashing ids.
    const auto action = m_Kind == ONF_FILE_GROUPS ? BrelonOnfTxtDatabase::LOAD_MERGE_BY_NUMBER
                                                  : BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS;
    try {
        database.LoadFrom(*m_Reader, action, listener);
    } catch (const std::exception& failure) {
        // A merge that runs out of ids fails for the whole pass.
        m_Scope.ReportFailure(failure);
        m_Locator->SetCurrentBlock(SIZE_MAX);
        return false;
    }
    return !listener.HasFailed();
}

size_t ToolFile::GetNumBlocksTaken() const {
    size_t taken = 0;
    for (BlockState state : m_States) {
        taken += state != BLOCK_UNKNOWN && state != BLOCK_UNREAD ? 1 : 0;
    }
    return taken;
}

void ToolFile::ReleaseText() {
    m_Loaded.assign(m_Blocks.size(), nullptr);
    m_States.assign(m_Blocks.size(), BLOCK_UNREAD);
    m_Database.reset();
    m_Reader.reset();
    m_Locator->Forget();
}

// ---- The file object of the file's kind ------------------------------------------------------

bool ReadModel(ToolFile& file, OnfModelFile& model) {
    if (!file.LoadInto(model, true)) {
        return false;
    }
    model.GetModelCs().MarkAllCsResolved();
    return true;
}

bool ReadGroups(ToolFile& file, OnfGroupsFile& groups) {
    if (!file.LoadInto(groups, true)) {
        return false;
    }
    groups.FinishRead(file.GetNumBlocksTaken());
    return true;
}

void ReadOptResult(ToolFile& file, ONFOptResultFile& result) {
    result.Read(file.GetReader());
}

namespace {

bool ReadModif(ToolFile& file, OnfModifFile& modif) {
    if (!file.LoadInto(modif, true)) {
        return false;
    }
    modif.ReadSpecialModInstruction();
    modif.BuildModificationLists();
    return true;
}

bool ReadRequests(ToolFile& file, OnfResultRequestFile& requests) {
    if (!file.LoadInto(requests, true)) {
        return false;
    }
    requests.FinishRead();
    return true;
}

// The blocks alone make an init or a temporary file.
bool ReadBlocks(ToolFile& file, BrelonOnfTxtDatabase& database) {
    return file.LoadInto(database, true);
}

// Reads `file` into `object` by `read`; `complete` tells whether every block was loaded.
template <class Object, class Read>
std::unique_ptr<BrelonOnfTxtDatabase> ReadAs(ToolFile& file, std::unique_ptr<Object> object,
                                             Read read, bool& complete) {
    complete = read(file, *object);
    return object;
}

} // namespace

TypedFile::TypedFile(ToolFile& file) {
    const std::wstring& name = file.GetWidePath();
    switch (file.GetKind()) {
    case ONF_FILE_MODEL:
        m_Database =
            ReadAs(file, std::make_unique<OnfModelFile>(name, nullptr), ReadModel, m_Complete);
        break;
    case ONF_FILE_GROUPS:
        m_Database = ReadAs(file, std::make_unique<OnfGroupsFile>(name), ReadGroups, m_Complete);
        break;
    case ONF_FILE_MODIFICATION:
        m_Database = ReadAs(file, std::make_unique<OnfModifFile>(name), ReadModif, m_Complete);
        break;
    case ONF_FILE_REQUESTS:
        m_Database =
            ReadAs(file, std::make_unique<OnfResultRequestFile>(name), ReadRequests, m_Complete);
        break;
    case ONF_FILE_INIT:
        m_Database = ReadAs(file, std::make_unique<OnfInitFile>(name), ReadBlocks, m_Complete);
        break;
    case ONF_FILE_TEMPORARY:
        m_Database = ReadAs(file, std::make_unique<OnfTemporaryFile>(), ReadBlocks, m_Complete);
        break;
    case ONF_FILE_OPT_RESULT:
        m_Result = std::make_unique<ONFOptResultFile>(name);
        ReadOptResult(file, *m_Result);
        m_Complete = true;
        break;
    default:
        break;
    }
}

TypedFile::~TypedFile() = default;

OnfModelFile* TypedFile::GetModel() const {
    return dynamic_cast<OnfModelFile*>(m_Database.get());
}

// ---- Commands that show files ----------------------------------------------------------------

namespace {

// Shows one file; false after reporting its failure.
bool ShowFile(const std::string& path, bool flag,
              const std::function<void(ToolFile&, bool)>& show) {
    FileLogScope scope(DisplayName(path), stderr);
    const Progress progress(path);
    try {
        ToolFile file(path, scope, progress);
        show(file, flag);
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
        if (flag) {
            std::printf("{\"file\": %s, \"error\": %s}\n", JsonString(path).c_str(),
                        JsonString(failure.what()).c_str());
        }
    }
    return scope.GetNumErrors() == 0;
}

} // namespace

int RunFileCommand(const OnfCommand& command, const std::vector<std::string>& args,
                   const char* flag, const std::function<void(ToolFile&, bool)>& show) {
    std::vector<std::string> files;
    FlagOption option{flag};
    int exitCode = EXIT_OK;
    if (!SplitArguments(command, args, files, exitCode, TakeFlagOption, &option)) {
        return exitCode;
    }
    return ForEachFile(command, files, [&](const std::string& file) {
        return ShowFile(file, option.set, show) ? EXIT_OK : EXIT_FAILED;
    });
}

} // namespace onf_tool
