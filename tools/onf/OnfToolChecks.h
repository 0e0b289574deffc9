// Checks of a model beyond the record grammar: what the engine reads without a word, but what
// makes the model unusable to the programs after it (a viewer, a solver interface): elements on
// nodes that do not exist, node counts that do not fit the element kind, references to
// coordinate systems, properties, materials, layers and load or constraint sets that no block
// defines, and members of groups that the model does not hold.
#pragma once

#include "OnfBlockTextReader.h"
#include "OnfToolLocate.h"

#include <functional>
#include <string>
#include <vector>

class OnfBlock;
class OnfBlockSet;

namespace onf_tool {

class FileLogScope;
class ToolFile;

// Reports, at its line and column, what the record grammar reads without a word but is almost
// always a typo: values left over behind a record's format (a decimal comma splits a number in
// two, and the last value of the record falls off), an empty value behind a trailing comma, and
// an integer key with characters behind its digits ("5x" reads as 5) or none at all (an empty
// line in a body reads as a record with id 0). With `numbers`, also each value that the block
// loader counts as invalid, infinite or not a number, as an error. The block is read in
// `format`; a block that declares no records is not walked.
void LintBlock(const TextLinesParser& lines, const BlockPlace& place,
               const OnfBlockTextReader::BLOCK_INFO& block, const std::string& format, bool numbers,
               FileLogScope& scope);

// One finding: the record it is about and what is wrong with it.
struct ModelFinding {
    int block;  // the block number of the record
    int record; // the record's id
    int level;  // the engine's levels: 1 error, 2 warning
    std::string message;
};

// The block of a number that the checks read, or null when the file has none.
using BlockLookup = std::function<const OnfBlock*(int number)>;
// The blocks of a file object, which must outlive the lookup.
BlockLookup BlocksOf(const OnfBlockSet& set);

// Reports each finding at the line of its record in `file` (whose text must still be held).
void ReportFindings(ToolFile& file, const std::vector<ModelFinding>& findings, FileLogScope& scope);

// Checks the references between the blocks of a model. Findings come in the order of the
// blocks checked, records in ascending index order.
void CheckModel(const BlockLookup& blocks, std::vector<ModelFinding>& findings);
// Of those checks, the one that a node's place in global coordinates needs: every node is
// defined in a coordinate system that the model holds.
void CheckNodeSystems(const BlockLookup& blocks, std::vector<ModelFinding>& findings);

// Warns of node groups (block 200) that share a name, and of element groups (block 210) that
// do: the suite's programs find groups by name. (Reading a file of more than two blocks renames
// such groups, with the engine's warning; a file of two keeps them.)
void CheckGroupNames(const BlockLookup& groups, std::vector<ModelFinding>& findings);

// Checks the members of the node groups (block 200) and element groups (block 210) of a groups
// file against the nodes and elements of a model; `modelName` names the model in messages.
void CheckGroupMembers(const BlockLookup& groups, const BlockLookup& model,
                       const std::string& modelName, std::vector<ModelFinding>& findings);

} // namespace onf_tool
