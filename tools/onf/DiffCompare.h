// What `onf diff` compares and how: the options of one run, and the comparison of two
// optimisation result files entry by entry (the block files' comparison is in cmd_diff.cpp).
#pragma once

#include "DiffReport.h"
#include "DiffTolerance.h"

#include <set>
#include <string>
#include <utility>
#include <vector>

class ONFOptResultFile;

namespace onf_tool {

// Which design iterations (entry ids) of two result files are compared. By default every
// iteration of either file with the same iteration of the other.
struct IterationSelection {
    bool last = false;                       // the last iteration of each field in A and B
    std::vector<std::pair<int, int>> ranges; // FIRST-LAST, each with the same one in B
    std::vector<std::pair<int, int>> pairs;  // A:B, iteration A of A with iteration B of B

    bool IsAll() const { return !last && ranges.empty() && pairs.empty(); }
    // "last", or N, N-M and A:B joined by commas. False with `error` set otherwise.
    static bool Parse(const std::string& text, IterationSelection& selection, std::string& error);
};

struct DiffOptions {
    ToleranceTable tolerances;
    DiffListing listing;
    std::set<int> only; // blocks compared; empty for all
    std::set<int> skip; // blocks left out
    bool global = false;
    bool iterationsGiven = false;
    IterationSelection iterations;
    std::string summary; // the tolerance file to write, "-" for standard output

    bool IsSelected(int block) const {
        return (only.empty() || only.count(block) > 0) && skip.count(block) == 0;
    }
};

// Compares the entries (blocks 700 to 740, by title and design iteration) and the groups of
// two result files; appends a section for each entry and group block compared.
void CompareResultFiles(const ONFOptResultFile& a, const ONFOptResultFile& b,
                        const DiffOptions& options, std::vector<DiffSection>& sections);
// The range of every result field (block and title) over all its entries.
void ResultRanges(const ONFOptResultFile& file, std::vector<ItemRange>& ranges);

} // namespace onf_tool
