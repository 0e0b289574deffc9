// The groups file: named groups of nodes (block 200) and of elements (block 210). It is built up
// from solver data or from another database, written, and read back. Reading merges repeated
// blocks of one number and renames groups of one kind that share a name; CheckIdenticalNames
// gives a node group and an element group that share a name copies with names of their own.
//
// One object belongs to one thread. Failures are QSV_Failure with the tag
// "|%P|BrelonOnfEngine|OnfGroupsFile" or pass through from the reader, writer and blocks.
#pragma once

#include "OnfBlockSet.h"
#include "QSV_Groups.h"
#include "QSV_IdMap.h"
#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

class OnfModelFile;

// The groups file: named node groups (block 200) and element groups (block 210). Merges repeated
// blocks on reading and repairs clashing names.
class OnfGroupsFile : public OnfBlockSet {
public:
    // An empty groups file (empty blocks 200 and 210) that Read and Write use at `name`, taken
    // as given. Nothing is read here.
    explicit OnfGroupsFile(const std::wstring& name);
    // The same, with `pool` merged into this file's id maps.
    OnfGroupsFile(const std::wstring& name, const QSV_IdMapsPool& pool);
    // Releases the database without writing: only Write writes.
    ~OnfGroupsFile() override;

    // Adds the node group `id` with `name` and the member node ids in the given order. A name
    // added before with the same sequence changes nothing; with another sequence it fails with
    // "Duplicated node group '%s', having different node sequence", unless the environment flag
    // BRELON_ACCEPT_INCONSISTENT_GROUPS is set, which keeps the first group silently. An id that
    // the block holds already drops the group with a warning.
    void AppendNodeGroup(int id, const std::string& name, const std::vector<int>& members);
    // As AppendNodeGroup, for element groups (block 210); its failure reads "Duplicated element
    // group '%s', having different element sequence".
    void AppendElementGroup(int id, const std::string& name, const std::vector<int>& members);
    // Adds a group of the suite (item type 2 node, 0 element; others are ignored) under `id`;
    // its member indices become ids through the node or element id map of `pool`.
    void AppendGroup(int id, const QSV_Group& group, const QSV_IdMapsPool& pool);
    // Adds all element groups, then all node groups of `groups` in the map's order; ids count
    // up from the number of records each block holds.
    void AppendGroups(const QSV_GroupMap& groups, const QSV_IdMapsPool& pool);
    // With a model, gives each node group whose name an element group has too a copy named
    // "<name>_NODE", and that element group a copy named "<name>_ELEM" (inside the quotes of a
    // quoted name); the old groups stay. Null does nothing. A copy takes the id above the
    // block's ids and fails where none is left below the largest 32-bit id.
    void CheckIdenticalNames(OnfModelFile* model);
    // The id of the last record of block 200 or 210 in index order, 0 for an empty block.
    int GetGroupMaxId(QSV_OnfId block) const;
    // Merges the id maps of `db` into this file's, then copies its blocks 200 and 210 (empty
    // ones too). A `variant` of 0 or above takes the blocks of iteration 0 of that variant.
    void LoadFromDb(const QSV_Database& db, int variant);
    // Reads the file, merging repeated blocks of one number (clashing ids renumbered). When the
    // file has more than two blocks, groups of one kind that share a name are renamed
    // "<name>_001", "<name>_002", ... with a warning each. The name maps are not filled.
    void Read();
    // What Read does once the file's blocks are loaded (LoadFrom with LOAD_MERGE_BY_NUMBER), for
    // a caller that loads them itself: when the load took more than two blocks (`numBlocks`),
    // the renaming of groups of one kind that share a name.
    void FinishRead(size_t numBlocks);
    // Writes the file anew.
    void Write() const;

private:
    using NameMap = std::map<std::string, size_t>;

    void AppendGroups(const QSV_GroupMap& groups, const QSV_IdMapsPool& pool, QSV_OnfId block,
                      QSV_ItemType type);
    // The shared body of AppendNodeGroup and AppendElementGroup; true when a record was made.
    bool AppendGroupRecord(QSV_OnfId block, int id, const std::string& name,
                           const std::vector<int>& members);
    bool AppendSuiteGroup(int id, const QSV_Group& group, const QSV_IdMapsPool& pool);
    void RenameDuplicatedNames(QSV_OnfId block, const char* word);
    // The id for a copy made by CheckIdenticalNames.
    int NextGroupId(QSV_OnfId block) const;
    static bool CompareSets(const std::vector<int>& first, const std::vector<int>& second);

    std::wstring m_FileName;
    NameMap m_NodeGroupNames;
    NameMap m_ElementGroupNames;
};
