// The groups file: node groups (block 200) and element groups (block 210), with the repair of
// clashing group names.
#include "OnfGroupsFile.h"

#include "BrelonLineInput.h"
#include "BrelonTextServices.h"
#include "OnfBlockTextReader.h"
#include "QSV_Failure.h"
#include "block/OnfBlockDetail.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <unordered_map>

using namespace QSV_DataRecordItem;
using onf_detail::ForEachRecord;

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|OnfGroupsFile";
const QSV_OnfId kNodeGroupBlock = static_cast<QSV_OnfId>(200);
const QSV_OnfId kElementGroupBlock = static_cast<QSV_OnfId>(210);
const char* const kAcceptInconsistentGroups = "BRELON_ACCEPT_INCONSISTENT_GROUPS";

// Hashes a pooled text by its address: the pool keeps one copy of each text, so equal names are
// equal pointers and the text itself need not be read. FNV-1a over the pointer's bytes.
struct PooledTextHash {
    size_t operator()(const char* text) const {
        unsigned char bytes[sizeof(text)];
        std::memcpy(bytes, &text, sizeof(text));
        uint64_t hash = 14695981039346656037ull;
        for (unsigned char byte : bytes) {
            hash = (hash ^ byte) * 1099511628211ull;
        }
        return static_cast<size_t>(hash);
    }
};

// The n-th replacement suffix of a repeated name (n >= 1). Below 1000 it is "_" and three digits
// ("_001" to "_999"), all that a 5-byte buffer holds. From 1000 on such a buffer would cut every
// suffix to "_100", which is taken already, and the search for a free name would never end; so
// the number is written in full there ("_1000", "_1001", ...), which keeps every name distinct.
std::string ReplacementSuffix(int n) {
    if (n < 1000) {
        const char suffix[5] = {'_', static_cast<char>('0' + n / 100),
                                static_cast<char>('0' + n / 10 % 10),
                                static_cast<char>('0' + n % 10), '\0'};
        return suffix;
    }
    return "_" + std::to_string(n);
}

} // namespace

OnfGroupsFile::OnfGroupsFile(const std::wstring& name) : m_FileName(name) {
    InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), nullptr);
    SetHeader(const_onf_group_file);
    AddEmptyBlock(kNodeGroupBlock);
    AddEmptyBlock(kElementGroupBlock);
}

OnfGroupsFile::OnfGroupsFile(const std::wstring& name, const QSV_IdMapsPool& pool)
    : m_FileName(name) {
    InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), &pool);
    SetHeader(const_onf_group_file);
    AddEmptyBlock(kNodeGroupBlock);
    AddEmptyBlock(kElementGroupBlock);
}

// The set has no file name of its own, so the release writes nothing.
OnfGroupsFile::~OnfGroupsFile() {
    ReleaseDb(false);
}

// ---- Appending ----------------------------------------------------------------------------------

void OnfGroupsFile::AppendNodeGroup(int id, const std::string& name,
                                    const std::vector<int>& members) {
    AppendGroupRecord(kNodeGroupBlock, id, name, members);
}

void OnfGroupsFile::AppendElementGroup(int id, const std::string& name,
                                       const std::vector<int>& members) {
    AppendGroupRecord(kElementGroupBlock, id, name, members);
}

// The name map remembers what the append operations put in. An entry whose record no longer
// holds that name (Read or LoadFromDb replaced the block) is stale and counts as absent.
bool OnfGroupsFile::AppendGroupRecord(QSV_OnfId block, int id, const std::string& name,
                                      const std::vector<int>& members) {
    const bool isNode = block == kNodeGroupBlock;
    NameMap& names = isNode ? m_NodeGroupNames : m_ElementGroupNames;
    OnfBlock& groups = GetBlock(block);
    const NameMap::iterator known = names.find(name);
    if (known != names.end()) {
        const size_t index = known->second;
        if (groups.HasRecord(index) && name == groups.GetString(index, GROUP_ITEM_NAME)) {
            if (CompareSets(groups.GetIntList(index, GROUP_ITEM_MEMBERS), members) ||
                BrelonSysUtil::is_env_flag_set(kAcceptInconsistentGroups)) {
                return false;
            }
            onf_detail::ThrowFailure(
                nullptr, kTag,
                isNode ? "Duplicated node group '%s', having different node sequence"
                       : "Duplicated element group '%s', having different element sequence",
                name.c_str());
        }
        names.erase(known);
    }
    bool created = false;
    const size_t index = groups.GetWarrantedRecordIdx(id, created);
    if (!created) {
        QSV_LOG(LOG_WARNING, kTag,
                isNode ? " Node Group '%s' was not inserted into the database "
                       : " Element Group '%s' was not inserted into the database ",
                name.c_str());
        return false;
    }
    groups.SetRecordItem(index, GROUP_ITEM_NAME, name);
    groups.SetRecordItem(index, GROUP_ITEM_MEMBERS, members, ONF_INT_LIST_ORDERED);
    groups.TransferSetSize(index, GROUP_ITEM_MEMBERS, GROUP_ITEM_SIZE);
    names[name] = index;
    return true;
}

void OnfGroupsFile::AppendGroup(int id, const QSV_Group& group, const QSV_IdMapsPool& pool) {
    AppendSuiteGroup(id, group, pool);
}

// Member indices of the suite's group become ids through the id map of the member kind.
bool OnfGroupsFile::AppendSuiteGroup(int id, const QSV_Group& group, const QSV_IdMapsPool& pool) {
    QSV_OnfId block;
    QSV_IdType idType;
    if (group.GetItemType() == ITEM_TYPE_NODE) {
        block = kNodeGroupBlock;
        idType = ID_NODE;
    } else if (group.GetItemType() == ITEM_TYPE_ELEMENT) {
        block = kElementGroupBlock;
        idType = ID_ELEMENT;
    } else {
        return false;
    }
    const QSV_IdMap& ids = pool.GetIdMap(idType);
    std::vector<int> members(group.size());
    for (size_t i = 0; i < members.size(); ++i) {
        members[i] = ids.GetId(static_cast<size_t>(group[i]));
    }
    return AppendGroupRecord(block, id, group.GetName(), members);
}

void OnfGroupsFile::AppendGroups(const QSV_GroupMap& groups, const QSV_IdMapsPool& pool) {
    AppendGroups(groups, pool, kElementGroupBlock, ITEM_TYPE_ELEMENT);
    AppendGroups(groups, pool, kNodeGroupBlock, ITEM_TYPE_NODE);
}

// Each group takes the block's record count as its id. The count is carried along instead of
// being counted anew for every group, which would make the walk quadratic.
void OnfGroupsFile::AppendGroups(const QSV_GroupMap& groups, const QSV_IdMapsPool& pool,
                                 QSV_OnfId block, QSV_ItemType type) {
    size_t count = GetBlock(block).GetNumRecords();
    for (const auto& entry : groups.GetGroups(type)) {
        if (AppendSuiteGroup(static_cast<int>(count), *entry.second, pool)) {
            ++count;
        }
    }
}

// ---- Names shared by a node group and an element group ------------------------------------------

// The walk over the node groups looks at the block's end anew after each copy, so the copies it
// appends are visited too; their names end in "_NODE" and match no element group that did not
// exist before, so they add no further copies.
void OnfGroupsFile::CheckIdenticalNames(OnfModelFile* model) {
    if (model == nullptr) {
        return;
    }
    const OnfBlock& elements = GetBlock(kElementGroupBlock);
    // The first element group of a name in index order is the one copied.
    std::unordered_map<const char*, size_t, PooledTextHash> elementByName;
    ForEachRecord(elements, [&](size_t index) {
        elementByName.emplace(elements.GetString(index, GROUP_ITEM_NAME), index);
    });
    const OnfBlock& nodes = GetBlock(kNodeGroupBlock);
    for (long long index = static_cast<long long>(nodes.GetFirstIndex());
         index <= nodes.GetMaxIndex(); ++index) {
        const size_t at = static_cast<size_t>(index);
        if (!nodes.HasRecord(at)) {
            continue;
        }
        const char* name = nodes.GetString(at, GROUP_ITEM_NAME);
        const auto element = elementByName.find(name);
        if (element == elementByName.end()) {
            continue;
        }
        std::string nodeName = name;
        std::string elementName = name;
        BrelonStringUtil::extend_quoted_str(nodeName, std::string(), "_NODE", '"');
        BrelonStringUtil::extend_quoted_str(elementName, std::string(), "_ELEM", '"');
        QSV_LOG(LOG_INFO, kTag, "Creating a copy of elements group \"%s\" as \"%s\"", name,
                elementName.c_str());
        QSV_LOG(LOG_INFO, kTag, "Creating a copy of nodes group \"%s\" as \"%s\"", name,
                nodeName.c_str());
        const std::vector<int> nodeMembers = nodes.GetIntList(at, GROUP_ITEM_MEMBERS);
        AppendNodeGroup(NextGroupId(kNodeGroupBlock), nodeName, nodeMembers);
        const std::vector<int> elementMembers =
            elements.GetIntList(element->second, GROUP_ITEM_MEMBERS);
        AppendElementGroup(NextGroupId(kElementGroupBlock), elementName, elementMembers);
    }
}

// The id of the last record in index order, plus 1 (1 for an empty block). Node and element
// groups share one id space, so a block's ids need not ascend in index order and that id may be
// taken already; the copy would then be dropped. In that case the highest id of the block plus 1
// is used instead. Where that would pass the largest 32-bit id, the copy fails.
int OnfGroupsFile::NextGroupId(QSV_OnfId block) const {
    const OnfBlock& groups = GetBlock(block);
    const int last = groups.GetMaxId();
    if (last < INT_MAX && groups.GetRecordIdx(last + 1) < 0) {
        return last + 1;
    }
    int highest = last;
    ForEachRecord(groups, [&](size_t index) { highest = std::max(highest, groups.GetId(index)); });
    return onf_detail::NextFreeId(highest, kTag,
                                  block == kNodeGroupBlock ? "node group" : "element group");
}

int OnfGroupsFile::GetGroupMaxId(QSV_OnfId block) const {
    return GetBlock(block).GetMaxId();
}

// ---- Database, files ----------------------------------------------------------------------------

void OnfGroupsFile::LoadFromDb(const QSV_Database& db, int variant) {
    BrelonIdMapsUtil::merge_id_maps_pool(db.GetIdMapsPool(), GetIdMapsPool());
    for (const QSV_DataDescriptor& descriptor : FindBlocks(QSV_DataDescriptorPattern())) {
        QSV_DataDescriptorPattern pattern(descriptor);
        if (variant >= 0) {
            pattern.SetFirstInteger(0);
            pattern.SetSecondInteger(variant);
        }
        BrelonDatabaseUtils::copy_datablocks(db, *this, pattern, 1);
    }
}

// A file of exactly one node and one element block was written by one writer and holds no
// clashing names; repeated blocks come from files put together, whose names are checked.
void OnfGroupsFile::Read() {
    FinishRead(ReadFile(m_FileName, LOAD_MERGE_BY_NUMBER));
}

void OnfGroupsFile::FinishRead(size_t numBlocks) {
    if (numBlocks == 2) {
        return;
    }
    QSV_LOG(LOG_DETAIL, kTag, "Checking for duplicated group names");
    RenameDuplicatedNames(kNodeGroupBlock, "node");
    RenameDuplicatedNames(kElementGroupBlock, "element");
}

// A repeated name becomes the first "<name>_NNN" that no group seen so far has. A candidate is
// always made from the old name. `nextTry` remembers per name the count to try first: every
// lower count is known to be taken, and the seen names only grow, so the pass stays linear.
void OnfGroupsFile::RenameDuplicatedNames(QSV_OnfId block, const char* word) {
    QSV_LOG(LOG_DETAIL, kTag, "%s group names", word);
    if (!HasBlock(block)) {
        return;
    }
    OnfBlock& groups = GetBlock(block);
    BrelonStringsPool seen(65536);
    std::vector<int> nextTry; // by pool position of a name
    std::string name;
    ForEachRecord(groups, [&](size_t index) {
        groups.GetString(index, GROUP_ITEM_NAME, name);
        const Brelon_SP_STRING_ID handle = seen.FindString(name);
        if (handle == 0) {
            seen.AddString(name);
            return;
        }
        const size_t position = static_cast<size_t>(handle) - 1;
        if (nextTry.size() <= position) {
            nextTry.resize(seen.Size(), 1);
        }
        int n = nextTry[position];
        std::string candidate = name + ReplacementSuffix(n);
        while (seen.FindString(candidate) != 0) {
            candidate = name + ReplacementSuffix(++n);
        }
        nextTry[position] = n + 1;
        QSV_LOG(LOG_WARNING, kTag,
                "Duplicated group name '%s' found. The group name will be replaced by '%s'",
                name.c_str(), candidate.c_str());
        groups.SetRecordItem(index, GROUP_ITEM_NAME, candidate);
        seen.AddString(candidate);
    });
}

void OnfGroupsFile::Write() const {
    QSV_LOG(LOG_INFO, kTag, "Writing ONF group file %s",
            BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str());
    WriteFile(m_FileName);
}

// Order counts: the same members in another order are another group.
bool OnfGroupsFile::CompareSets(const std::vector<int>& first, const std::vector<int>& second) {
    return first.size() == second.size() &&
           (first.empty() ||
            std::memcmp(first.data(), second.data(), first.size() * sizeof(int)) == 0);
}
