// The loading path from a reader's blocks to the blocks of a text database: the one route by
// which a block entry of a reader (BLOCK_INFO) becomes a loaded OnfBlock, and the passes of InitDb
// and LoadFrom around it.
//
// The path, step by step:
//   1. OnfBlockTextReader has taken the file apart (DecodeFile): for every block its number,
//      descriptor, format, declared records and the range of its body lines.
//   2. LoadPass::Run walks the reader's blocks in file order and decides by the load action what
//      becomes of each: loaded, left out, or (LOAD_MERGE_BY_NUMBER, MergeByNumber first) merged
//      with the other blocks of its number.
//   3. LoadPass::LoadBlock, the one loader: picks the format the block is read in (IsReadInFormat),
//      checks that its declared records fit the budget of its body text (CheckRecordBudget),
//      makes the empty block with its declared records, and has OnfBlock::LoadBlock decode the
//      body lines into records (OnfBlockText.cpp: split a line, find the record, take its items).
//   4. Store puts the loaded block into the set, in place of a block of the same descriptor.
// A strict pass lets the first failure out; a tolerant one hands it to its listener, leaves the
// block out and goes on. The time goes into step 3's record decoding and, before it, the
// reader's line split and body scan; the steps around them cost a few calls a block.
#include "BrelonOnfTxtDatabase.h"

#include "BrelonTextServices.h"
#include "OnfBlock.h"
#include "OnfBlockTextReader.h"
#include "QSV_Failure.h"
#include "block/OnfBlockDetail.h"

#include <climits>
#include <cstdint>
#include <map>
#include <memory>
#include <new>

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase";

using BlockInfo = OnfBlockTextReader::BLOCK_INFO;

// Expansions that a text may ask for are checked before they are made; what the memory still
// cannot hold (many allocations, each small, past a limit) fails in the same words, naming the
// line the block was read at, rather than as a bare std::bad_alloc out of the engine.
[[noreturn]] void FailOutOfMemory(const OnfBlockTextReader& reader) {
    int number = 0;
    reader.GetBlockNumber(number);
    onf_detail::ThrowFailure(nullptr, kTag,
                             "Error in ONF-file \"%s\", block %d, line %Iu:\nThe block needs "
                             "more memory than is left.",
                             BrelonStringUtil::wide_to_utf8(reader.FileName().c_str()).c_str(),
                             number, reader.GetCurrentIdx());
}

bool IsCatalogued(const QSV_DataDescriptor& descriptor) {
    if (!descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID)) {
        return false;
    }
    const int id = descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
    return id >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(id);
}

// Fails before a block's declared records are made when they would hold more storage than its
// body text allows (see onf_detail::RecordBudget). The body's bytes are counted only when the
// records do not fit a budget of one byte a line, so ordinary blocks pay nothing.
void CheckRecordBudget(OnfBlockTextReader& reader, size_t blockIndex, size_t recordBytes) {
    const BlockInfo& info = reader.GetBlocksInfo()[blockIndex];
    const size_t records = static_cast<size_t>(info.num_records);
    if (records <= onf_detail::RecordBudget(info.num_lines) / recordBytes) {
        return;
    }
    reader.ProvideBlock(blockIndex);
    const size_t bodyBytes = onf_detail::BodyBytes(reader);
    const size_t budget = onf_detail::RecordBudget(bodyBytes);
    if (records <= budget / recordBytes) {
        return;
    }
    const size_t needed = records > SIZE_MAX / recordBytes ? SIZE_MAX : records * recordBytes;
    onf_detail::ThrowFailure(
        nullptr, kTag,
        "Error in ONF-file %s, block %d:\nIts %Iu records of %Iu bytes each need %Iu bytes, but "
        "its %Iu bytes of record lines allow at most %Iu bytes of records.",
        BrelonStringUtil::wide_to_utf8(reader.FileName().c_str()).c_str(),
        static_cast<int>(info.block_id), records, recordBytes, needed, bodyBytes, budget);
}

// The id a record of block `blockIndex` takes in the merged block when its own `id` is taken:
// the one above `highest`, the highest id the merged block holds. Where 32 bits hold no such id
// the merge fails: a wrapped id would be negative and could overwrite a record merged before.
int RenumberedId(OnfBlockTextReader& reader, size_t blockIndex, int id, int highest) {
    if (highest < INT_MAX) {
        return highest + 1;
    }
    onf_detail::ThrowFailure(
        nullptr, kTag,
        "Error in ONF-file %s, block %d:\nIts record %d repeats an id of an earlier block of its "
        "number, and no id above %d is left to give it.",
        BrelonStringUtil::wide_to_utf8(reader.FileName().c_str()).c_str(),
        static_cast<int>(reader.GetBlocksInfo()[blockIndex].block_id), id, highest);
}
} // namespace

// Where a block's format comes from.
enum class FormatRule {
    OF_FILE,      // a block with a format section is read in it (InitDb)
    OF_CATALOGUE, // a catalogued block is read in the catalogue's format whatever the file says
};

// One load of a reader's blocks into the set: the rule that picks each block's format, and the
// listener that takes each block's failure (none: strict, the failure leaves).
class BrelonOnfTxtDatabase::LoadPass {
public:
    LoadPass(BrelonOnfTxtDatabase& database, OnfBlockTextReader& reader, FormatRule rule,
             OnfBlockLoadListener* listener)
        : m_Database(database), m_Reader(reader), m_Blocks(reader.GetBlocksInfo()), m_Rule(rule),
          m_Listener(listener), m_Told(m_Blocks.size(), false) {}

    void Run(BlockSetLoadAction action);

private:
    bool IsReadInFormat(const BlockInfo& info) const;
    std::unique_ptr<OnfBlock> LoadBlock(size_t index);
    std::unique_ptr<OnfBlock> TryLoadBlock(size_t index);
    void Store(size_t index, std::unique_ptr<OnfBlock> block);
    void DoneWith(size_t index);
    void MergeByNumber();
    void MergeGroup(const std::vector<size_t>& group);
    void MergeInto(OnfBlock& merged, size_t index, const OnfBlock& other,
                   QSV_IntSetIntvl<int>& used);

    BrelonOnfTxtDatabase& m_Database;
    OnfBlockTextReader& m_Reader;
    const std::vector<BlockInfo>& m_Blocks;
    FormatRule m_Rule;
    OnfBlockLoadListener* m_Listener;
    // Blocks whose fate the listener has heard (or a failure has been let out for).
    std::vector<bool> m_Told;
};

void BrelonOnfTxtDatabase::LoadPass::Run(BlockSetLoadAction action) {
    if (action == LOAD_REPLACE_SET) {
        m_Database.Clear();
    } else if (action == LOAD_MERGE_BY_NUMBER) {
        MergeByNumber();
    }
    for (size_t i = 0; i < m_Blocks.size(); ++i) {
        if (m_Told[i]) {
            continue; // merged, or failed in the merge
        }
        if (action != LOAD_REPLACE_BLOCKS &&
            m_Database.m_DataBlockSet.HasBlockInstance(m_Blocks[i].descriptor)) {
            if (m_Listener != nullptr) {
                m_Listener->OnSkipped(i, m_Blocks[i]);
            }
            continue;
        }
        if (std::unique_ptr<OnfBlock> block = TryLoadBlock(i)) {
            Store(i, std::move(block));
        }
    }
}

// Whether a block is read in the format its file gives rather than in the catalogue's. A block
// that the catalogue does not know (a custom block, or a number kept for its format) can only be
// read in its file's format.
bool BrelonOnfTxtDatabase::LoadPass::IsReadInFormat(const BlockInfo& info) const {
    if (info.format.empty()) {
        return false;
    }
    return m_Rule == FormatRule::OF_FILE || !IsCatalogued(info.descriptor);
}

// The one loader: the block of entry `index` made in its format and filled from its body lines.
// A block in the catalogue's format whose number the catalogue lacks fails in its constructor.
std::unique_ptr<OnfBlock> BrelonOnfTxtDatabase::LoadPass::LoadBlock(size_t index) {
    const BlockInfo& info = m_Blocks[index];
    const size_t numRecords = static_cast<size_t>(info.num_records);
    OnfBlockContext& context = *m_Database.m_BlockContext;
    std::unique_ptr<OnfBlock> block;
    if (IsReadInFormat(info)) {
        CheckRecordBudget(m_Reader, index, QSV_RecordLayout(info.format).GetRecordSize());
        block.reset(new OnfBlock(info.descriptor, info.format.c_str(), numRecords, context));
    } else {
        if (IsCatalogued(info.descriptor)) {
            const auto id =
                static_cast<QSV_OnfId>(info.descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID));
            CheckRecordBudget(m_Reader, index,
                              QSV_OnfInfoPool::GetOnfInfo(id).m_RecordDataSize + 4);
        }
        block.reset(new OnfBlock(info.descriptor, numRecords, context));
    }
    m_Reader.ProvideBlock(index);
    try {
        block->LoadBlock(m_Reader);
    } catch (const std::bad_alloc&) {
        FailOutOfMemory(m_Reader);
    }
    return block;
}

// LoadBlock, with the failure handed to the listener (then null) when there is one.
std::unique_ptr<OnfBlock> BrelonOnfTxtDatabase::LoadPass::TryLoadBlock(size_t index) {
    const BlockInfo& info = m_Blocks[index];
    m_Told[index] = true;
    if (m_Listener == nullptr) {
        return LoadBlock(index);
    }
    if (info.format.empty() && !IsCatalogued(info.descriptor)) {
        m_Listener->OnUnknown(index, info);
        return nullptr;
    }
    m_Listener->OnLoading(index, info);
    try {
        return LoadBlock(index);
    } catch (const std::exception& failure) {
        m_Listener->OnFailed(index, info, failure);
        return nullptr;
    }
}

void BrelonOnfTxtDatabase::LoadPass::Store(size_t index, std::unique_ptr<OnfBlock> block) {
    const OnfBlock& stored = *block;
    m_Database.m_DataBlockSet.StoreDataBlockInstance(m_Blocks[index].descriptor, block.release());
    if (m_Listener != nullptr) {
        m_Listener->OnLoaded(index, m_Blocks[index], stored);
    }
    DoneWith(index);
}

// A block that this pass will not load again gives its text back where the reader lets it.
void BrelonOnfTxtDatabase::LoadPass::DoneWith(size_t index) {
    if (m_Reader.GetReleaseLoadedText() && m_Told[index]) {
        m_Reader.ReleaseBlockText(index);
    }
}

// Groups in order of their first block; a block without a catalogued number has no number to
// merge by and is loaded on its own by Run.
void BrelonOnfTxtDatabase::LoadPass::MergeByNumber() {
    std::vector<std::vector<size_t>> groups;
    std::map<int, size_t> groupOfNumber;
    for (size_t i = 0; i < m_Blocks.size(); ++i) {
        if (!IsCatalogued(m_Blocks[i].descriptor)) {
            continue;
        }
        const int number = m_Blocks[i].descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
        const auto found = groupOfNumber.emplace(number, groups.size());
        if (found.second) {
            groups.emplace_back();
        }
        groups[found.first->second].push_back(i);
    }
    for (const std::vector<size_t>& group : groups) {
        MergeGroup(group);
    }
}

// The first block of the group that loads is the head; the others join it in file order. The
// merged block goes into the set under the head's descriptor. Blocks that join it with another
// descriptor are loaded once more on their own by Run, as blocks of that descriptor.
void BrelonOnfTxtDatabase::LoadPass::MergeGroup(const std::vector<size_t>& group) {
    std::unique_ptr<OnfBlock> merged;
    size_t head = 0;
    QSV_IntSetIntvl<int> used;
    for (const size_t index : group) {
        std::unique_ptr<OnfBlock> block = TryLoadBlock(index);
        if (!block) {
            continue;
        }
        if (!merged) {
            merged = std::move(block);
            head = index;
            for (auto it = merged->Begin(); it.IsValid(); ++it) {
                used.Insert(merged->GetId(*it));
            }
            continue;
        }
        MergeInto(*merged, index, *block, used);
        m_Told[index] = m_Blocks[index].descriptor == m_Blocks[head].descriptor;
        if (m_Listener != nullptr) {
            m_Listener->OnMerged(index, m_Blocks[index], head);
        }
        DoneWith(index);
    }
    if (merged) {
        Store(head, std::move(merged));
    }
}

// Every record of `other`, block `index` of the reader, is added to `merged`. An identity that
// `merged` holds already is renumbered to the highest identity used so far plus one.
void BrelonOnfTxtDatabase::LoadPass::MergeInto(OnfBlock& merged, size_t index,
                                               const OnfBlock& other, QSV_IntSetIntvl<int>& used) {
    for (auto it = other.Begin(); it.IsValid(); ++it) {
        int identity = other.GetId(*it);
        bool created = false;
        size_t target = merged.GetWarrantedRecordIdx(identity, created);
        if (!created) {
            identity = RenumberedId(m_Reader, index, identity, used.GetLast());
            target = merged.GetWarrantedRecordIdx(identity, created);
        }
        used.Insert(identity);
        merged.CopyRecord(other, *it, target, -1);
    }
}

// ---- The database's loads -----------------------------------------------------------------------

OnfBlockLoadListener::~OnfBlockLoadListener() = default;
void OnfBlockLoadListener::OnLoading(size_t, const BlockInfo&) {}
void OnfBlockLoadListener::OnLoaded(size_t, const BlockInfo&, const OnfBlock&) {}
void OnfBlockLoadListener::OnMerged(size_t, const BlockInfo&, size_t) {}
void OnfBlockLoadListener::OnSkipped(size_t, const BlockInfo&) {}
void OnfBlockLoadListener::OnUnknown(size_t, const BlockInfo&) {}

void BrelonOnfTxtDatabase::LoadFrom(OnfBlockTextReader& reader, BlockSetLoadAction action) {
    LoadPass(*this, reader, FormatRule::OF_CATALOGUE, nullptr).Run(action);
}

void BrelonOnfTxtDatabase::LoadFrom(OnfBlockTextReader& reader, BlockSetLoadAction action,
                                    OnfBlockLoadListener& listener) {
    LoadPass(*this, reader, FormatRule::OF_CATALOGUE, &listener).Run(action);
}

size_t BrelonOnfTxtDatabase::ReadFile(const std::wstring& name, BlockSetLoadAction action) {
    OnfBlockTextReader reader(name.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
    reader.SetReleaseLoadedText(true);
    LoadFrom(reader, action);
    return reader.GetBlocksInfo().size();
}

void BrelonOnfTxtDatabase::LoadFile(OnfBlockTextReader& reader) {
    // Every block in file order, each in the format its file gives, a later block of a
    // descriptor in place of an earlier one.
    LoadPass(*this, reader, FormatRule::OF_FILE, nullptr).Run(LOAD_REPLACE_BLOCKS);
}
