// `onf diff` of two optimisation result files: each result field (a block and an entry title)
// iteration by iteration, value by value keyed by node or element id, and the groups by id.
#include "DiffCompare.h"
#include "OnfToolFiles.h"

#include "ONFOptResultFile.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

namespace onf_tool {

namespace {

// ---- Iterations --------------------------------------------------------------------------------

bool ParseIteration(const std::string& text, int& value) {
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    value = static_cast<int>(parsed);
    return !text.empty() && *end == '\0' && parsed >= -2147483647L && parsed <= 2147483647L;
}

// Iterations of one field of a file, ascending, each with its entries in file order.
template <class Item>
using FieldEntries = std::map<int, std::vector<const ONFOptDataBlockEntry<Item>*>>;

// The iterations of A and B to compare, and whether each file has its iteration.
struct IterationPair {
    int a, b;
    bool inA, inB;
};

template <class Item>
std::vector<IterationPair> SelectPairs(const FieldEntries<Item>& a, const FieldEntries<Item>& b,
                                       const IterationSelection& selection) {
    std::vector<IterationPair> pairs;
    if (selection.last) {
        const int lastA = a.empty() ? 0 : a.rbegin()->first;
        const int lastB = b.empty() ? 0 : b.rbegin()->first;
        pairs.push_back({lastA, lastB, !a.empty(), !b.empty()});
        return pairs;
    }
    for (const auto& pair : selection.pairs) {
        if (a.count(pair.first) > 0 || b.count(pair.second) > 0) {
            pairs.push_back(
                {pair.first, pair.second, a.count(pair.first) > 0, b.count(pair.second) > 0});
        }
    }
    std::set<int> iterations;
    for (const auto* side : {&a, &b}) {
        for (const auto& entry : *side) {
            iterations.insert(entry.first);
        }
    }
    for (const int iteration : iterations) {
        bool wanted = selection.IsAll();
        for (const auto& range : selection.ranges) {
            wanted = wanted || (iteration >= range.first && iteration <= range.second);
        }
        if (wanted) {
            pairs.push_back({iteration, iteration, a.count(iteration) > 0, b.count(iteration) > 0});
        }
    }
    return pairs;
}

// ---- Values ------------------------------------------------------------------------------------

struct Values {
    double v[3];
    int n;
};

Values ValuesOf(double value) {
    return {{value, 0.0, 0.0}, 1};
}

Values ValuesOf(const BrelonMatrix<3, 1, double>& value) {
    return {{value[0], value[1], value[2]}, 3};
}

std::string Text(const Values& values) {
    std::string text;
    for (int i = 0; i < values.n; ++i) {
        text += (i > 0 ? ", " : "") + RealText(values.v[i]);
    }
    return text;
}

// Title lines are kept whole; a line end that a file carried is no part of them.
std::string Title(const std::string& title) {
    return title.substr(0, title.find_last_not_of(" \t\r") + 1);
}

// Compares the values of two entries of one field, node or element by id.
template <class Item>
class EntryDiffer {
public:
    EntryDiffer(DiffSection& section, const Tolerance& tolerance, const char* unit)
        : m_Section(section), m_Tolerance(tolerance), m_Unit(unit) {}

    void Run(const ONFOptDataBlockEntry<Item>& a, const ONFOptDataBlockEntry<Item>& b) {
        PairUnitsByKey(
            m_Section, Keys(a), Keys(b), [this](int id) { return Where(id); },
            [&](const std::pair<int, size_t>& ka, const std::pair<int, size_t>& kb) {
                Compare(ka.first, a.GetItems()[ka.second], b.GetItems()[kb.second]);
            });
    }

private:
    static std::vector<std::pair<int, size_t>> Keys(const ONFOptDataBlockEntry<Item>& entry) {
        std::vector<std::pair<int, size_t>> keys;
        keys.reserve(entry.GetItems().size());
        for (size_t i = 0; i < entry.GetItems().size(); ++i) {
            keys.emplace_back(entry.GetItems()[i].GetID(), i);
        }
        std::sort(keys.begin(), keys.end());
        return keys;
    }

    std::string Where(int id) const { return m_Unit + (" " + std::to_string(id)); }

    void Compare(int id, const Item& itemA, const Item& itemB) {
        const Values a = ValuesOf(itemA.GetValue());
        const Values b = ValuesOf(itemB.GetValue());
        int worst = -1;
        for (int c = 0; c < a.n; ++c) {
            const double difference = a.v[c] - b.v[c];
            m_Section.AddToNorm(std::isnan(difference) && std::isnan(a.v[c]) && std::isnan(b.v[c])
                                    ? 0.0
                                    : difference);
            if (!m_Tolerance.Agree(a.v[c], b.v[c]) &&
                (worst < 0 || !(std::fabs(difference) <= std::fabs(a.v[worst] - b.v[worst])))) {
                worst = c;
            }
        }
        if (worst >= 0) {
            m_Section.RealsDiffer(Where(id), a.v[worst], b.v[worst], Text(a), Text(b));
        }
    }

    DiffSection& m_Section;
    const Tolerance& m_Tolerance;
    const char* m_Unit;
};

// Title entries hold lines of text, compared line by line.
template <>
class EntryDiffer<ONFOptResTitle> {
public:
    EntryDiffer(DiffSection& section, const Tolerance&, const char*) : m_Section(section) {}

    void Run(const ONFOptDataBlockEntry<ONFOptResTitle>& a,
             const ONFOptDataBlockEntry<ONFOptResTitle>& b) {
        const auto& linesA = a.GetItems();
        const auto& linesB = b.GetItems();
        PairUnitsByPosition(
            m_Section, "line", linesA.size(), linesB.size(), [&](size_t i, const std::string& at) {
                const std::string textA = Title(linesA[i].GetSubtitle());
                const std::string textB = Title(linesB[i].GetSubtitle());
                if (textA != textB) {
                    m_Section.ItemDiffers(at, "\"" + textA + "\"", "\"" + textB + "\"");
                }
            });
    }

private:
    DiffSection& m_Section;
};

// ---- Fields ------------------------------------------------------------------------------------

template <class Item>
std::map<std::string, FieldEntries<Item>> Fields(const ONFOptDataBlock<Item>& block) {
    std::map<std::string, FieldEntries<Item>> fields;
    for (const auto& entry : block.GetEntries()) {
        fields[Title(entry.GetTitle())][entry.GetID()].push_back(&entry);
    }
    return fields;
}

std::string IterationLabel(const IterationPair& pair) {
    if (!pair.inA || !pair.inB || pair.a == pair.b) {
        return "iteration " + std::to_string(pair.inA ? pair.a : pair.b);
    }
    return "iteration " + std::to_string(pair.a) + " vs " + std::to_string(pair.b);
}

template <class Item>
class FieldDiffer {
public:
    FieldDiffer(const DiffOptions& options, std::vector<DiffSection>& sections, const char* unit)
        : m_Options(options), m_Sections(sections), m_Unit(unit) {}

    void Run(const ONFOptDataBlock<Item>& a, const ONFOptDataBlock<Item>& b) {
        if (!m_Options.IsSelected(Item::block_id)) {
            return;
        }
        auto fieldsA = Fields(a);
        auto fieldsB = Fields(b);
        std::set<std::string> titles;
        for (const auto* fields : {&fieldsA, &fieldsB}) {
            for (const auto& field : *fields) {
                titles.insert(field.first);
            }
        }
        for (const std::string& title : titles) {
            for (const IterationPair& pair :
                 SelectPairs(fieldsA[title], fieldsB[title], m_Options.iterations)) {
                ComparePair(title, pair, fieldsA[title], fieldsB[title]);
            }
        }
    }

private:
    using Entries = std::vector<const ONFOptDataBlockEntry<Item>*>;

    DiffSection MakeSection(const std::string& title, const IterationPair& pair,
                            size_t occurrence) const {
        std::string label = "block " + std::to_string(Item::block_id) + " " +
                            (title.empty() ? std::string("(no title)") : title) + ", " +
                            IterationLabel(pair);
        if (occurrence > 0) {
            label += " #" + std::to_string(occurrence + 1);
        }
        DiffSection section(label, m_Unit, m_Options.listing);
        section.block = Item::block_id;
        section.name = Item::header;
        section.title = title;
        section.iterationA = pair.inA ? pair.a : -1;
        section.iterationB = pair.inB ? pair.b : -1;
        return section;
    }

    // Entries of one iteration pair; a field written twice for one iteration pairs in order.
    void ComparePair(const std::string& title, const IterationPair& pair,
                     const FieldEntries<Item>& a, const FieldEntries<Item>& b) {
        static const Entries none;
        const Entries& entriesA = pair.inA ? a.at(pair.a) : none;
        const Entries& entriesB = pair.inB ? b.at(pair.b) : none;
        const Tolerance& tolerance = m_Options.tolerances.For(Item::block_id, title);
        for (size_t k = 0; k < std::max(entriesA.size(), entriesB.size()); ++k) {
            DiffSection section = MakeSection(title, pair, k);
            if (k >= entriesA.size() || k >= entriesB.size()) {
                const auto& present = k < entriesA.size() ? *entriesA[k] : *entriesB[k];
                section.OnlyIn(k < entriesA.size() ? 'A' : 'B', present.GetItems().size());
            } else {
                EntryDiffer<Item>(section, tolerance, m_Unit).Run(*entriesA[k], *entriesB[k]);
            }
            m_Sections.push_back(std::move(section));
        }
    }

    const DiffOptions& m_Options;
    std::vector<DiffSection>& m_Sections;
    const char* m_Unit;
};

// ---- Groups ------------------------------------------------------------------------------------

std::string MembersText(const ONFGroup& group) {
    const std::vector<int>& data = group.GetList().GetData();
    std::string text = "[";
    for (size_t i = 0; i < data.size() && i < 8; ++i) {
        text += (i > 0 ? ", " : "") + std::to_string(data[i]);
    }
    text += data.size() > 8 ? ", ...] (" + std::to_string(data.size()) + " values)" : "]";
    return text;
}

template <class Group>
void CompareGroups(const ONFDataBlock<Group>& a, const ONFDataBlock<Group>& b,
                   const DiffOptions& options, std::vector<DiffSection>& sections) {
    if (!options.IsSelected(Group::block_id) || (a.GetSize() == 0 && b.GetSize() == 0)) {
        return;
    }
    DiffSection section("block " + std::to_string(Group::block_id) + " " + Group::header, "group",
                        options.listing);
    section.block = Group::block_id;
    section.name = Group::header;
    if (a.GetSize() == 0 || b.GetSize() == 0) {
        section.OnlyIn(a.GetSize() > 0 ? 'A' : 'B', static_cast<size_t>(a.GetSize() + b.GetSize()));
        sections.push_back(std::move(section));
        return;
    }
    const auto groupText = [](int id) { return "group " + std::to_string(id); };
    PairUnitsByKey(section, a.GetIndexMap(), b.GetIndexMap(), groupText,
                   [&](const auto& ka, const auto& kb) {
                       const Group& ga = a.GetItem(ka.second);
                       const Group& gb = b.GetItem(kb.second);
                       const std::string at = groupText(ka.first);
                       if (ga.GetName() != gb.GetName()) {
                           section.ItemDiffers(at + ", name", "\"" + ga.GetName() + "\"",
                                               "\"" + gb.GetName() + "\"");
                       }
                       if (ga.GetList().GetData() != gb.GetList().GetData()) {
                           section.ItemDiffers(at + ", members", MembersText(ga), MembersText(gb));
                       }
                   });
    sections.push_back(std::move(section));
}

template <class Item>
void AddRanges(const ONFOptDataBlock<Item>& block, std::vector<ItemRange>& ranges) {
    for (const auto& field : Fields(block)) {
        ItemRange range;
        range.block = Item::block_id;
        range.item = field.first;
        const size_t iterations = field.second.size();
        range.description = std::string(Item::header) + " \"" + field.first + "\", " +
                            std::to_string(iterations) +
                            (iterations == 1 ? " iteration" : " iterations");
        for (const auto& iteration : field.second) {
            for (const auto* entry : iteration.second) {
                for (const Item& item : entry->GetItems()) {
                    const Values values = ValuesOf(item.GetValue());
                    for (int c = 0; c < values.n; ++c) {
                        range.Add(values.v[c]);
                    }
                }
            }
        }
        ranges.push_back(range);
    }
}

} // namespace

bool IterationSelection::Parse(const std::string& text, IterationSelection& selection,
                               std::string& error) {
    selection = IterationSelection();
    if (text == "last") {
        selection.last = true;
        return true;
    }
    for (const std::string& part : SplitAtCommas(text)) {
        const size_t colon = part.find(':');
        const size_t dash = part.find('-', 1);
        int first = 0;
        int second = 0;
        bool ok = false;
        if (colon != std::string::npos) {
            ok = ParseIteration(part.substr(0, colon), first) &&
                 ParseIteration(part.substr(colon + 1), second);
            selection.pairs.emplace_back(first, second);
        } else if (dash != std::string::npos) {
            ok = ParseIteration(part.substr(0, dash), first) &&
                 ParseIteration(part.substr(dash + 1), second) && first <= second;
            selection.ranges.emplace_back(first, second);
        } else {
            ok = ParseIteration(part, first);
            selection.ranges.emplace_back(first, first);
        }
        if (!ok) {
            error = "'" + text +
                    "' is no iteration selection (last, or N, FIRST-LAST and A:B "
                    "joined by commas)";
            return false;
        }
    }
    return true;
}

void CompareResultFiles(const ONFOptResultFile& a, const ONFOptResultFile& b,
                        const DiffOptions& options, std::vector<DiffSection>& sections) {
    FieldDiffer<ONFOptResTitle>(options, sections, "line")
        .Run(a.GetOptDBTitle(), b.GetOptDBTitle());
    FieldDiffer<ONFOptResNodalScalar>(options, sections, "node")
        .Run(a.GetOptDBNodalScalar(), b.GetOptDBNodalScalar());
    FieldDiffer<ONFOptResNodalVector>(options, sections, "node")
        .Run(a.GetOptDBNodalVector(), b.GetOptDBNodalVector());
    FieldDiffer<ONFOptResNodalDisp>(options, sections, "node")
        .Run(a.GetOptDBNodalDisp(), b.GetOptDBNodalDisp());
    FieldDiffer<ONFOptResElemScalar>(options, sections, "element")
        .Run(a.GetOptDBElemScalar(), b.GetOptDBElemScalar());
    CompareGroups(a.GetOptDBNodeGroup(), b.GetOptDBNodeGroup(), options, sections);
    CompareGroups(a.GetOptDBElementGroup(), b.GetOptDBElementGroup(), options, sections);
}

void ResultRanges(const ONFOptResultFile& file, std::vector<ItemRange>& ranges) {
    AddRanges(file.GetOptDBNodalScalar(), ranges);
    AddRanges(file.GetOptDBNodalVector(), ranges);
    AddRanges(file.GetOptDBNodalDisp(), ranges);
    AddRanges(file.GetOptDBElemScalar(), ranges);
}

} // namespace onf_tool
