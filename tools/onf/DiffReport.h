// What `onf diff` found, section by section, and how it is shown: one summary line a section
// by default, every difference with --all, or a JSON document with --json.
#pragma once

#include "OnfTool.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace onf_tool {

// How much of each section is shown.
struct DiffListing {
    bool list = false; // every difference, not only the summary line
    size_t limit = 0;  // with `list`, at most this many differences a section; 0 for all
    bool json = false;
};

// One compared section: a block of two files, or one entry (a result field of one design
// iteration) of two optimisation result files. It counts units (records, values, lines) of
// either file, the units that differ, the largest absolute and relative difference of the
// reals that differ and, for entries, the L2 norm of the difference of all values compared.
class DiffSection {
public:
    // `label` starts every line ("block 110 ONF_NODES"); `unit` names what is counted in the
    // singular ("record").
    DiffSection(const std::string& label, const std::string& unit, const DiffListing& listing);

    // Fields of the JSON form: block number and name, descriptor text, entry title and the
    // design iterations of the entry in A and B (-1 where there is none).
    int block = 0;
    std::string name;
    std::string descriptor;
    std::string title;
    long long iterationA = -1;
    long long iterationB = -1;

    // The whole section is in one file only (`side` 'A' or 'B'), with `units` units.
    void OnlyIn(char side, size_t units);
    // A section that cannot be compared unit by unit ("format X vs Y; ...").
    void Incomparable(const std::string& reason);
    // A unit of one file only.
    void UnitOnlyIn(char side, const std::string& unit);
    // Units held by both files; each is counted as compared, and as differing when one of
    // the calls below has been made since the last BeginUnit.
    void BeginUnit();
    void EndUnit();
    // `at` places the difference: "record 2, item 3 (position)", "element 833".
    void ItemDiffers(const std::string& at, const std::string& a, const std::string& b);
    // Reals that differ beyond their tolerance; the texts show the whole item.
    void RealsDiffer(const std::string& at, double a, double b, const std::string& textA,
                     const std::string& textB);
    // Adds a compared value's difference to the L2 norm (entries only).
    void AddToNorm(double difference);

    bool Differs() const { return m_Differing > 0 || !m_Reason.empty() || m_OnlyIn != 0; }
    // Units that differ (a section in one file only counts its units).
    size_t GetNumDiffering() const;
    void Print(FILE* out) const;
    void PrintJson(FILE* out) const;

private:
    struct Extreme {
        double value = -1.0;
        std::string at;
    };
    struct Detail {
        std::string at, a, b;
        char onlyIn = 0;
    };
    void AddDetail(const Detail& detail);
    std::string Units(size_t count) const;
    std::string SummaryText() const;

    std::string m_Label;
    std::string m_Unit;
    const DiffListing& m_Listing;
    char m_OnlyIn = 0;
    std::string m_Reason;
    size_t m_Units = 0;
    size_t m_Differing = 0;
    size_t m_OnlyInA = 0;
    size_t m_OnlyInB = 0;
    bool m_UnitDiffers = false;
    Extreme m_Absolute;
    Extreme m_Relative;
    bool m_HasNorm = false;
    double m_SquareSum = 0.0;
    std::vector<Detail> m_Details;
    size_t m_NumNotShown = 0;
};

// A JSON number, or null when `value` is not finite.
std::string JsonNumber(double value);

// Pairs the units of A and B by key: `a` and `b` hold (key, ...) pairs sorted by key, as a
// std::map or a sorted vector does. A key of one file only is reported with text(key); the
// pairs of a key both hold go to both(pairA, pairB), which reports their differences between
// the section's BeginUnit and EndUnit.
template <class Range, class TextOf, class Both>
void PairUnitsByKey(DiffSection& section, const Range& a, const Range& b, TextOf text, Both both) {
    auto ia = a.begin();
    auto ib = b.begin();
    while (ia != a.end() || ib != b.end()) {
        if (ib == b.end() || (ia != a.end() && ia->first < ib->first)) {
            section.UnitOnlyIn('A', text((ia++)->first));
        } else if (ia == a.end() || ib->first < ia->first) {
            section.UnitOnlyIn('B', text((ib++)->first));
        } else {
            section.BeginUnit();
            both(*ia++, *ib++);
            section.EndUnit();
        }
    }
}

// Pairs the units of A and B by position, `sizeA` and `sizeB` of them: unit i of A with unit i
// of B, each named "UNIT i" from 1. A unit beyond the other file's last is reported as of one
// file only; both(i, name) reports the differences of the pair between BeginUnit and EndUnit.
template <class Both>
void PairUnitsByPosition(DiffSection& section, const std::string& unit, size_t sizeA, size_t sizeB,
                         Both both) {
    for (size_t i = 0; i < std::max(sizeA, sizeB); ++i) {
        const std::string name = unit + " " + std::to_string(i + 1);
        if (i >= sizeA || i >= sizeB) {
            section.UnitOnlyIn(i >= sizeB ? 'A' : 'B', name);
            continue;
        }
        section.BeginUnit();
        both(i, name);
        section.EndUnit();
    }
}

} // namespace onf_tool
