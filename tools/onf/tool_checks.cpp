// Checks of a model beyond the record grammar.
#include "OnfToolChecks.h"
#include "OnfToolFiles.h"

#include "OnfBlock.h"
#include "OnfBlockSet.h"
#include "OnfElement.h"
#include "QSV_Failure.h"

#include <cstring>
#include <map>
#include <set>
#include <utility>

namespace onf_tool {

namespace {

// What the records of a block are called in messages.
struct Noun {
    int block;
    const char* singular;
    const char* plural;
};

const Noun kNouns[] = {
    {100, "coordinate system", "coordinate systems"},
    {110, "node", "nodes"},
    {120, "material", "materials"},
    {125, "layer", "layers"},
    {130, "property", "properties"},
    {140, "element", "elements"},
    {151, "constraint node set", "constraint node sets"},
    {152, "constraint", "constraints"},
    {164, "rigid element", "rigid elements"},
    {165, "rigid element node set", "rigid element node sets"},
    {170, "loaded node set", "loaded node sets"},
    {171, "loaded element set", "loaded element sets"},
    {172, "nodal force", "nodal forces"},
    {173, "nodal force set", "nodal force sets"},
    {174, "prescribed displacement", "prescribed displacements"},
    {175, "displacement set", "displacement sets"},
    {176, "acceleration", "accelerations"},
    {177, "convection set", "convection sets"},
    {180, "loadcase", "loadcases"},
    {181, "connector", "connectors"},
};

const Noun& NounOf(int block) {
    for (const Noun& noun : kNouns) {
        if (noun.block == block) {
            return noun;
        }
    }
    static const Noun record = {0, "record", "records"};
    return record;
}

// An integer item, or an integer list, of the records of `block` that names records of one of
// `targets` (up to four blocks; 0 ends the list). Coordinate system 0 is the global system,
// which every model has whether block 100 holds it or not; where `zeroIsNone`, 0 names nothing.
// Properties, materials and layers are `optional`: a file that holds none of them at all (no
// record in the target blocks) carries a mesh without them, and its references to them are not
// checked; a file that holds some must hold every one it names.
struct Reference {
    int block;
    int item;
    int targets[4];
    bool zeroIsNone;
    bool optional;
};

// The first is the system a node is defined in (CheckNodeSystems).
const Reference kReferences[] = {
    {110, 1, {100}, true, false},   {110, 2, {100}, true, false},
    {140, 3, {130}, true, true},    {140, 4, {120}, true, true},
    {140, 8, {110}, false, false},  {130, 6, {120}, true, true},
    {130, 7, {125}, false, true},   {125, 1, {120}, true, true},
    {172, 1, {110}, false, false},  {172, 2, {100}, true, false},
    {174, 1, {110}, false, false},  {174, 2, {100}, true, false},
    {173, 3, {172}, false, false},  {175, 3, {174}, false, false},
    {170, 2, {110}, false, false},  {171, 2, {140}, false, false},
    {181, 2, {110}, false, false},  {151, 3, {110}, false, false},
    {165, 3, {110}, false, false},  {152, 2, {151}, false, false},
    {164, 2, {165}, false, false},  {164, 4, {165}, false, false},
    {177, 4, {140}, false, false},  {180, 15, {173}, false, false},
    {180, 16, {175}, false, false}, {180, 17, {152, 164, 178, 181}, false, false},
    {180, 18, {176}, false, false}, {180, 19, {170}, false, false},
    {180, 20, {171}, false, false},
};

// The records that a reference reaches, as the model holds them.
class Targets {
public:
    Targets(const BlockLookup& blocks, const Reference& reference) : m_Reference(reference) {
        for (int target : reference.targets) {
            if (target != 0 && blocks(target) != nullptr) {
                m_Blocks.push_back(blocks(target));
                m_NumRecords += m_Blocks.back()->GetNumRecords();
            }
        }
    }
    // False for optional targets of which the file holds none.
    bool AreChecked() const { return !m_Reference.optional || m_NumRecords > 0; }
    bool Has(int id) const {
        if (id == 0 && (m_Reference.zeroIsNone || m_Reference.targets[0] == 100)) {
            return true;
        }
        for (const OnfBlock* block : m_Blocks) {
            if (block->HasRecord(id)) {
                return true;
            }
        }
        return false;
    }

private:
    const Reference& m_Reference;
    std::vector<const OnfBlock*> m_Blocks;
    size_t m_NumRecords = 0;
};

// "node 99 is", "nodes 99, 100 and 101 are", "nodes 1, 2, 3, 4, 5 and 7 more are".
std::string IdsText(const std::vector<int>& ids, const Noun& noun) {
    const size_t shown = ids.size() > 6 ? 5 : ids.size();
    std::string text = ids.size() == 1 ? noun.singular : noun.plural;
    for (size_t i = 0; i < shown; ++i) {
        text += (i == 0 ? " " : i + 1 == ids.size() ? " and " : ", ") + std::to_string(ids[i]);
    }
    if (shown < ids.size()) {
        text += " and " + std::to_string(ids.size() - shown) + " more";
    }
    return text + (ids.size() == 1 ? " is" : " are");
}

void CheckReference(const BlockLookup& blocks, const Reference& reference,
                    std::vector<ModelFinding>& findings) {
    const OnfBlock* block = blocks(reference.block);
    if (block == nullptr || reference.item >= static_cast<int>(block->GetNumRecordItems())) {
        return;
    }
    const Targets targets(blocks, reference);
    if (!targets.AreChecked()) {
        return;
    }
    const auto item = static_cast<OnfBlock::Item>(reference.item);
    const BlockDataType type = block->GetRecordMapEntry(reference.item).m_Type;
    const bool list = type == BDT_INT_LIST || type == BDT_ORDERED_LIST;
    std::vector<int> missing;
    for (auto it = block->Begin(); it.IsValid(); ++it) {
        missing.clear();
        if (list) {
            for (int id : block->GetIntListView(*it, item)) {
                if (!targets.Has(id)) {
                    missing.push_back(id);
                }
            }
        } else if (!targets.Has(block->GetInt(*it, item))) {
            missing.push_back(block->GetInt(*it, item));
        }
        if (!missing.empty()) {
            const int id = block->GetId(*it);
            findings.push_back(
                {reference.block, id, QSV_LogMacros::LOG_ERROR,
                 std::string(NounOf(reference.block).singular) + " " + std::to_string(id) + ": " +
                     IdsText(missing, NounOf(reference.targets[0])) + " not defined"});
        }
    }
}

// Element kinds and node counts.
void CheckElementShapes(const OnfBlock& elements, std::vector<ModelFinding>& findings) {
    using namespace QSV_DataRecordItem;
    for (auto it = elements.Begin(); it.IsValid(); ++it) {
        const int id = elements.GetId(*it);
        const int kind = elements.GetInt(*it, ELEM_ITEM_TYPE);
        const size_t listed = elements.GetIntListView(*it, ELEM_ITEM_NODES).size();
        const std::string element = "element " + std::to_string(id);
        const bool known =
            kind >= 0 && kind < OnfElement::NUM_ELEM_TYPES &&
            (kind == OnfElement::ELEM_DUMMY || OnfElement::s_ElemTypeInfo[kind].numNodes > 0);
        if (!known) {
            findings.push_back(
                {140, id, QSV_LogMacros::LOG_ERROR,
                 element + ": kind " + std::to_string(kind) + " is no element kind"});
        } else if (kind != OnfElement::ELEM_DUMMY &&
                   listed != OnfElement::s_ElemTypeInfo[kind].numNodes) {
            findings.push_back({140, id, QSV_LogMacros::LOG_ERROR,
                                element + " of kind " + std::to_string(kind) + " has " +
                                    std::to_string(listed) + (listed == 1 ? " node" : " nodes") +
                                    "; the kind takes " +
                                    std::to_string(OnfElement::s_ElemTypeInfo[kind].numNodes)});
        }
        const int declared = elements.GetInt(*it, ELEM_ITEM_NUM_NODES);
        if (declared != static_cast<int>(listed)) {
            findings.push_back({140, id, QSV_LogMacros::LOG_WARNING,
                                element + ": item 2 gives " + std::to_string(declared) +
                                    " nodes, and its list holds " + std::to_string(listed)});
        }
    }
}

} // namespace

BlockLookup BlocksOf(const OnfBlockSet& set) {
    return [&set](int number) -> const OnfBlock* {
        const auto id = static_cast<QSV_OnfId>(number);
        return set.HasBlock(id) ? &set.GetBlock(id) : nullptr;
    };
}

void ReportFindings(ToolFile& file, const std::vector<ModelFinding>& findings,
                    FileLogScope& scope) {
    std::map<int, std::set<int>> wanted;
    for (const ModelFinding& finding : findings) {
        wanted[finding.block].insert(finding.record);
    }
    std::map<int, std::map<int, size_t>> lines;
    for (const auto& block : wanted) {
        lines[block.first] = file.GetLocator().RecordLines(block.first, block.second,
                                                           file.GetKind() == ONF_FILE_GROUPS);
    }
    for (const ModelFinding& finding : findings) {
        const std::map<int, size_t>& ofBlock = lines[finding.block];
        const auto line = ofBlock.find(finding.record);
        scope.Report(finding.level, finding.message, line == ofBlock.end() ? 0 : line->second);
    }
}

void CheckNodeSystems(const BlockLookup& blocks, std::vector<ModelFinding>& findings) {
    CheckReference(blocks, kReferences[0], findings);
}

void CheckModel(const BlockLookup& blocks, std::vector<ModelFinding>& findings) {
    const OnfBlock* elements = blocks(140);
    if (elements != nullptr && elements->GetNumRecordItems() > 8) {
        CheckElementShapes(*elements, findings);
    }
    for (const Reference& reference : kReferences) {
        CheckReference(blocks, reference, findings);
    }
}

void CheckGroupNames(const BlockLookup& groups, std::vector<ModelFinding>& findings) {
    using namespace QSV_DataRecordItem;
    for (const auto& kind :
         {std::make_pair(200, "node group"), std::make_pair(210, "element group")}) {
        const OnfBlock* block = groups(kind.first);
        if (block == nullptr) {
            continue;
        }
        std::map<std::string, int> first;
        for (auto it = block->Begin(); it.IsValid(); ++it) {
            const std::string name = block->GetString(*it, GROUP_ITEM_NAME);
            const int id = block->GetId(*it);
            const auto seen = first.emplace(name, id);
            if (!seen.second) {
                findings.push_back({kind.first, id, QSV_LogMacros::LOG_WARNING,
                                    std::string(kind.second) + " " + std::to_string(id) +
                                        ": the name " + name + " is that of " + kind.second + " " +
                                        std::to_string(seen.first->second) + " too"});
            }
        }
    }
}

void CheckGroupMembers(const BlockLookup& groups, const BlockLookup& model,
                       const std::string& modelName, std::vector<ModelFinding>& findings) {
    using namespace QSV_DataRecordItem;
    const struct {
        int groupBlock;
        int memberBlock;
        const char* what;
    } kinds[] = {{200, 110, "node group"}, {210, 140, "element group"}};
    std::vector<int> missing;
    for (const auto& kind : kinds) {
        const OnfBlock* block = groups(kind.groupBlock);
        const OnfBlock* members = model(kind.memberBlock);
        if (block == nullptr) {
            continue;
        }
        for (auto it = block->Begin(); it.IsValid(); ++it) {
            missing.clear();
            for (int id : block->GetIntListView(*it, GROUP_ITEM_MEMBERS)) {
                if (members == nullptr || !members->HasRecord(id)) {
                    missing.push_back(id);
                }
            }
            if (!missing.empty()) {
                findings.push_back(
                    {kind.groupBlock, block->GetId(*it), QSV_LogMacros::LOG_ERROR,
                     std::string(kind.what) + " " + block->GetString(*it, GROUP_ITEM_NAME) + ": " +
                         IdsText(missing, NounOf(kind.memberBlock)) + " not in " + modelName});
            }
        }
    }
}

} // namespace onf_tool
