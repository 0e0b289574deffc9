#include "DiffTolerance.h"

#include "OnfToolFiles.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace onf_tool {

namespace {

// The defaults of engineers' comparison tools: variables relative, coordinates absolute.
const double kDefaultRelative = 1e-6;
const double kDefaultPositionAbsolute = 1e-6;

std::string Trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

bool ParseReal(const std::string& text, double& value) {
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0' && errno == 0 && value >= 0 && std::isfinite(value);
}

bool ParseCount(const std::string& text, int& value) {
    if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != text.npos) {
        return false;
    }
    value = std::atoi(text.c_str());
    return true;
}

// The item of a rule as the table keys it: a record item number of a catalogued block
// (given by number or by its catalogue name), else the text as it stands (an entry title).
// Empty when the block has no such item.
std::string ItemKey(int block, const std::string& text) {
    const std::vector<std::string>* names = CatalogueItemNames(block);
    int number = 0;
    if (ParseCount(text, number)) {
        const bool exists =
            names == nullptr || (number >= 1 && static_cast<size_t>(number) <= names->size());
        return exists ? std::to_string(number) : std::string();
    }
    if (names == nullptr) {
        return block >= 700 && block <= 740 ? text : std::string();
    }
    const auto found = std::find(names->begin(), names->end(), text);
    return found != names->end() ? std::to_string(found - names->begin() + 1) : std::string();
}

// A rule for an item that its block does not have matches nothing. Tolerance files are shared
// between comparisons and written ahead of the files they serve, so such a rule is dropped with
// a warning that names it rather than refusing the comparison.
std::string NoSuchItem(int block, const std::string& item, const std::string& rule) {
    const std::string name = OnfBlockName(block);
    return "block " + std::to_string(block) + (name.empty() ? "" : " " + name) + " has no item '" +
           item + "': the rule '" + Trimmed(rule) + "' matches nothing";
}

} // namespace

bool Tolerance::Agree(double a, double b) const {
    if (ignore || a == b || (std::isnan(a) && std::isnan(b))) {
        return true;
    }
    if (!std::isfinite(a) || !std::isfinite(b)) { // no tolerance spans a NaN or an infinity
        return false;
    }
    const double difference = std::fabs(a - b);
    const double larger = std::max(std::fabs(a), std::fabs(b));
    return difference <= absolute || difference <= relative * larger || larger < floor;
}

std::string Tolerance::Text() const {
    if (ignore) {
        return "ignore";
    }
    std::string text;
    const std::pair<const char*, double> kinds[] = {
        {"abs", absolute}, {"rel", relative}, {"floor", floor}};
    for (const auto& kind : kinds) {
        if (kind.second > 0) {
            text +=
                (text.empty() ? "" : ",") + std::string(kind.first) + ":" + RealText(kind.second);
        }
    }
    return text.empty() ? "exact" : text;
}

bool Tolerance::Parse(const std::string& text, Tolerance& tolerance, std::string& error) {
    tolerance = Tolerance();
    const std::string written = Trimmed(text);
    if (written == "ignore" || written == "exact") {
        tolerance.ignore = written == "ignore";
        return true;
    }
    for (const std::string& part : SplitAtCommas(written)) {
        const size_t colon = part.find(':');
        const std::string kind = Trimmed(part.substr(0, colon));
        double value = 0.0;
        double* field = kind == "abs"     ? &tolerance.absolute
                        : kind == "rel"   ? &tolerance.relative
                        : kind == "floor" ? &tolerance.floor
                                          : nullptr;
        if (colon == std::string::npos || field == nullptr ||
            !ParseReal(Trimmed(part.substr(colon + 1)), value)) {
            error = "'" + written + "' is no tolerance (abs:A, rel:R, floor:F joined by commas, " +
                    "exact or ignore)";
            return false;
        }
        *field = value;
    }
    return true;
}

std::vector<std::string> SplitAtCommas(const std::string& text) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t comma = text.find(','); comma != std::string::npos; comma = text.find(',', start)) {
        parts.push_back(text.substr(start, comma - start));
        start = comma + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

ToleranceTable::ToleranceTable() {
    m_Values.relative = kDefaultRelative;
    m_Positions.absolute = kDefaultPositionAbsolute;
}

void ToleranceTable::SetAbsolute(double value) {
    TakeGlobalKinds();
    m_Values.absolute = m_Positions.absolute = value;
}

void ToleranceTable::SetRelative(double value) {
    TakeGlobalKinds();
    m_Values.relative = m_Positions.relative = value;
}

// The first --absolute or --relative decides the kinds of comparison: the kinds it and later
// options do not give are 0, whatever the defaults had.
void ToleranceTable::TakeGlobalKinds() {
    if (!m_GlobalKinds) {
        m_GlobalKinds = true;
        m_Values.absolute = m_Values.relative = 0.0;
        m_Positions.absolute = m_Positions.relative = 0.0;
    }
}

void ToleranceTable::SetFloor(double value) {
    m_Values.floor = m_Positions.floor = value;
}

std::string ToleranceTable::AddRule(const std::string& rule) {
    const size_t equals = rule.rfind('=');
    if (equals == std::string::npos) {
        return "'" + rule + "' is no tolerance rule (BLOCK[:ITEM]=TOL)";
    }
    const std::string selector = Trimmed(rule.substr(0, equals));
    Tolerance tolerance;
    std::string error;
    if (!Tolerance::Parse(rule.substr(equals + 1), tolerance, error)) {
        return error;
    }
    if (selector == "default" || selector == "positions") {
        (selector == "default" ? m_Values : m_Positions) = tolerance;
        return std::string();
    }
    const size_t colon = selector.find(':');
    int block = 0;
    if (!ParseBlockOperand(Trimmed(selector.substr(0, colon)), block)) {
        return "'" + selector.substr(0, colon) + "' is no block number or name";
    }
    std::string item;
    if (colon != std::string::npos) {
        const std::string named = Trimmed(selector.substr(colon + 1));
        if (named.empty()) {
            return "'" + selector + "' names no item";
        }
        item = ItemKey(block, named);
        if (item.empty()) {
            m_Warnings.push_back(NoSuchItem(block, named, rule));
            return std::string();
        }
    }
    m_Rules[std::make_pair(block, item)] = tolerance;
    return std::string();
}

std::string ToleranceTable::ReadFile(const std::string& path) {
    std::ifstream in(path);
    if (!in) {
        return path + ": cannot open: " + std::strerror(errno);
    }
    std::string line;
    for (size_t number = 1; std::getline(in, line); ++number) {
        const std::string rule = Trimmed(line.substr(0, line.find('#')));
        const std::string place = path + ":" + std::to_string(number) + ": ";
        const size_t warnings = m_Warnings.size();
        const std::string error = rule.empty() ? std::string() : AddRule(rule);
        if (!error.empty()) {
            return place + error;
        }
        if (m_Warnings.size() > warnings) {
            m_Warnings.back() = place + m_Warnings.back();
        }
    }
    return std::string();
}

const Tolerance& ToleranceTable::For(int block, const std::string& item) const {
    auto found = m_Rules.find(std::make_pair(block, item));
    if (found == m_Rules.end()) {
        found = m_Rules.find(std::make_pair(block, std::string()));
    }
    if (found != m_Rules.end()) {
        return found->second;
    }
    return IsPosition(block, item) ? m_Positions : m_Values;
}

bool ToleranceTable::IsPosition(int block, const std::string& item) {
    return (block == 110 && item == "3") || (block == 100 && item == "4") ||
           (block == 810 && item == "1");
}

void ItemRange::Add(double value) {
    if (std::isnan(value)) {
        return;
    }
    min = count == 0 ? value : std::min(min, value);
    max = count == 0 ? value : std::max(max, value);
    ++count;
}

bool WriteToleranceFile(FILE* out, const std::string& source, const ToleranceTable& table,
                        const std::vector<ItemRange>& ranges) {
    std::fprintf(out,
                 "# Tolerances of onf diff for files like %s,\n"
                 "# read by onf diff --tol-file FILE A B.\n"
                 "# A rule a line, SELECTOR = TOL: SELECTOR is BLOCK or BLOCK:ITEM (an item\n"
                 "# number or an entry title), \"default\" or \"positions\"; TOL is abs:A, "
                 "rel:R,\n# floor:F joined by commas, exact or ignore. Later rules win.\n",
                 source.c_str());
    std::fprintf(out, "default = %s\npositions = %s\n", table.For(-1, "").Text().c_str(),
                 table.For(110, "3").Text().c_str());
    for (const ItemRange& range : ranges) {
        std::fprintf(out, "%d:%s = %s  # %s: %zu value%s from %s to %s\n", range.block,
                     range.item.c_str(), table.For(range.block, range.item).Text().c_str(),
                     range.description.c_str(), range.count, range.count == 1 ? "" : "s",
                     RealText(range.min).c_str(), RealText(range.max).c_str());
    }
    return std::fflush(out) == 0 && !std::ferror(out);
}

} // namespace onf_tool
