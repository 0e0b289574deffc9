// When two reals of `onf diff` agree: tolerances by kind (absolute, relative, floor), the
// defaults, rules for one block or one item given on the command line or in a tolerance file,
// and the tolerance file that `--summary` writes as the start of a regression test.
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace onf_tool {

// Two values a and b agree when they are equal (NaN equals NaN), when |a - b| <= absolute,
// when |a - b| <= relative * max(|a|, |b|), or when both lie below `floor` in magnitude. An
// ignored item agrees whatever its values.
struct Tolerance {
    double absolute = 0.0;
    double relative = 0.0;
    double floor = 0.0;
    bool ignore = false;

    bool Agree(double a, double b) const;
    // "rel:1e-06", "abs:1e-06,floor:1e-15", "exact" or "ignore": the text Parse reads.
    std::string Text() const;
    // Reads "ignore", "exact" or KIND:VALUE[,KIND:VALUE...] with KIND abs, rel or floor and
    // VALUE a real of 0 or more; kinds not named stay 0. False with `error` set otherwise.
    static bool Parse(const std::string& text, Tolerance& tolerance, std::string& error);
};

// The parts of an option's value between commas ("a,,b" has an empty part).
std::vector<std::string> SplitAtCommas(const std::string& text);

// The tolerances of one comparison. Without rules, reals agree within a relative 1e-6, and
// positions (block 110 item 3, block 100 item 4, block 810 item 1) within an absolute 1e-6 mm,
// as engineers' comparison tools have it. Global options change these two defaults; rules
// for a block or for one item of a block override them, the later rule winning. An item is
// a record item number (or its catalogue name) in a catalogued block, an entry title in the
// blocks 700 to 740 of an optimisation result file.
class ToleranceTable {
public:
    ToleranceTable();

    // --absolute, --relative: together they replace the kinds of both defaults (a kind not
    // given is 0). --floor: the floor of both defaults.
    void SetAbsolute(double value);
    void SetRelative(double value);
    void SetFloor(double value);
    // "SELECTOR=TOL": SELECTOR is BLOCK, BLOCK:ITEM, "default" or "positions"; TOL as
    // Tolerance::Parse reads it. Returns an empty string, or what is wrong. A rule for an item
    // the block does not have is dropped with a warning (see Warnings).
    std::string AddRule(const std::string& rule);
    // One rule a line; "#" starts a comment, blank lines are skipped. Returns an empty string,
    // or "FILE:LINE: what is wrong"; its warnings begin with "FILE:LINE: ".
    std::string ReadFile(const std::string& path);
    // What the rules read so far said that the comparison goes on without, in their order.
    const std::vector<std::string>& Warnings() const { return m_Warnings; }

    // The tolerance of item `item` (its number as text, or an entry title) of `block`.
    const Tolerance& For(int block, const std::string& item) const;
    // True for the items the position default applies to.
    static bool IsPosition(int block, const std::string& item);

private:
    void TakeGlobalKinds();

    Tolerance m_Values;
    Tolerance m_Positions;
    bool m_GlobalKinds = false;
    // Keyed by block and item; an empty item stands for the whole block.
    std::map<std::pair<int, std::string>, Tolerance> m_Rules;
    std::vector<std::string> m_Warnings;
};

// The range of the values of one item, for the tolerance file that --summary writes.
struct ItemRange {
    int block = 0;
    std::string item;        // as a rule names it
    std::string description; // block and item as a person reads them
    double min = 0.0;
    double max = 0.0;
    size_t count = 0;

    void Add(double value);
};

// Writes a tolerance file with one rule an item, the default tolerance of each, and the
// range of its values in `source` as a comment. False when `out` fails.
bool WriteToleranceFile(FILE* out, const std::string& source, const ToleranceTable& table,
                        const std::vector<ItemRange>& ranges);

} // namespace onf_tool
