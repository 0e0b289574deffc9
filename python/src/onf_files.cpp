// The outline of any ONF file, its blocks as tables, groups files and optimisation result files.
#include "onf_python.h"

#include "BrelonLineInput.h"
#include "ONFOptResultFile.h"
#include "OnfBlockSet.h"
#include "OnfBlockTextReader.h"
#include "OnfConstants.h"
#include "OnfFileKind.h"
#include "OnfGroupsFile.h"
#include "QSV_DataDescriptor.h"
#include "QSV_OnfCatalogue.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

namespace onf_python {

namespace {

using BlockInfo = OnfBlockTextReader::BLOCK_INFO;

bool IsNonOnf(const BlockInfo& block) {
    return block.block_id == -1 && !block.descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID);
}

// The package's word for each kind of file, by OnfFileKind.
const char* const kKindKeys[ONF_NUM_FILE_KINDS] = {
    "generic", "model", "groups", "init", "modification", "temporary", "requests", "result"};

// What the reader found of one block, as the package's Block takes it.
py::dict Outline(const BlockInfo& block) {
    py::dict outline;
    outline["number"] = block.block_id;
    outline["name"] = IsNonOnf(block) ? std::string(ONF_NON_ONF) : OnfBlockName(block.block_id);
    outline["descriptor"] = DescriptorItems(block.descriptor);
    outline["format"] = PyText(block.format);
    outline["declared_records"] = block.num_records;
    outline["first_line"] = block.first_line;
    outline["num_lines"] = block.num_lines;
    return outline;
}

py::dict Scan(const py::bytes& path) {
    const OnfBlockTextReader reader(WidePath(path).c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    py::list blocks;
    for (const BlockInfo& block : reader.GetBlocksInfo()) {
        blocks.append(Outline(block));
    }
    py::dict result;
    result["blocks"] = blocks;
    result["kind"] = kKindKeys[OnfFileKindOf(reader)];
    return result;
}

// Hears the load of ReadBlocks: each block's records as a table, taken while the block is in
// the set (a later block of the same descriptor replaces it there).
class TableListener : public OnfBlockLoadListener {
public:
    // What became of one block: its table (null while not loaded) and the format it was read in.
    struct Loaded {
        py::object table;
        std::string format;
    };

    explicit TableListener(size_t numBlocks) : m_Loaded(numBlocks) {}

    void OnLoaded(size_t index, const BlockInfo&, const OnfBlock& block) override {
        m_Loaded[index] = Loaded{TableOf(block), block.GetBlockFormatString()};
    }
    // A file's failing block fails the read, as in every file object: the failure the load is
    // handling leaves through the load.
    void OnFailed(size_t, const BlockInfo&, const std::exception&) override { throw; }

    const Loaded& At(size_t index) const { return m_Loaded[index]; }

private:
    std::vector<Loaded> m_Loaded;
};

// Every block of the file in file order, each with its records as the file gives them. A block
// whose number the catalogue lacks and that gives no format has none ("unknown"); of blocks with
// equal descriptors, those before the last are "replaced", as every file object keeps only the
// last.
py::list ReadBlocks(const py::bytes& path) {
    OnfBlockTextReader reader(WidePath(path).c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    const std::vector<BlockInfo>& infos = reader.GetBlocksInfo();
    TableListener listener(infos.size());
    OnfBlockSet set;
    set.LoadFrom(reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS, listener);
    py::list blocks;
    for (size_t i = 0; i < infos.size(); ++i) {
        py::dict block = Outline(infos[i]);
        const bool later = std::any_of(
            infos.begin() + static_cast<std::ptrdiff_t>(i) + 1, infos.end(),
            [&](const BlockInfo& other) { return other.descriptor == infos[i].descriptor; });
        const TableListener::Loaded& loaded = listener.At(i);
        block["status"] = !loaded.table ? "unknown" : later ? "replaced" : "loaded";
        if (loaded.table) {
            block["table"] = loaded.table;
            block["format"] = loaded.format;
        }
        blocks.append(block);
    }
    return blocks;
}

// A Python object that keeps `holder` alive: the base of views over what it owns.
template <class T>
py::object Owner(const std::shared_ptr<T>& holder) {
    return py::capsule(new std::shared_ptr<T>(holder),
                       [](void* pointer) { delete static_cast<std::shared_ptr<T>*>(pointer); });
}

// (id, name, members) of each record of a groups block, members as views.
py::list GroupsOfBlock(const OnfBlock& block, const py::object& owner) {
    using Item = OnfBlock::Item;
    py::list groups;
    std::string name;
    for (const size_t index : RecordIndices(block)) {
        block.GetString(index, QSV_DataRecordItem::GROUP_ITEM_NAME, name);
        const std::vector<int>& members =
            block.GetIntList(index, static_cast<Item>(QSV_DataRecordItem::GROUP_ITEM_MEMBERS));
        groups.append(py::make_tuple(block.GetId(index), PyText(name), ViewOf(members, owner)));
    }
    return groups;
}

py::dict ReadGroups(const py::bytes& path) {
    auto file = std::make_shared<OnfGroupsFile>(WidePath(path));
    file->Read();
    const py::object owner = Owner(file);
    py::dict groups;
    groups["node"] = GroupsOfBlock(file->GetBlock(static_cast<QSV_OnfId>(200)), owner);
    groups["element"] = GroupsOfBlock(file->GetBlock(static_cast<QSV_OnfId>(210)), owner);
    return groups;
}

// ---- Optimisation results -----------------------------------------------------------------

// The values of one result item: the scalar, or the three parts of a vector.
void ValuesOf(const ONFOptResNodalScalar& item, double* out) {
    out[0] = item.GetValue();
}
void ValuesOf(const ONFOptResElemScalar& item, double* out) {
    out[0] = item.GetValue();
}
template <class Vectorial>
void ValuesOf(const Vectorial& item, double* out) {
    for (size_t k = 0; k < 3; ++k) {
        out[k] = item.GetValue()[k];
    }
}

// The entries of one title, in the order of the block.
struct Field {
    std::string title;
    std::vector<size_t> entries;
};

std::vector<Field> FieldsByTitle(const std::vector<std::string>& titles) {
    std::vector<Field> fields;
    for (size_t i = 0; i < titles.size(); ++i) {
        auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const Field& field) { return field.title == titles[i]; });
        if (found == fields.end()) {
            fields.push_back(Field{titles[i], {}});
            found = fields.end() - 1;
        }
        found->entries.push_back(i);
    }
    return fields;
}

// Each title of a result block as one field: its entries' ids are the design iterations, the
// union of their items' ids is sorted, and the values are (iterations x ids x components),
// NaN where an iteration has no value for an id. Of an id given twice in one entry the last
// value counts.
template <class T>
void AddFields(const ONFOptDataBlock<T>& block, size_t width, py::list& out) {
    const auto& entries = block.GetEntries();
    std::vector<std::string> titles;
    for (const auto& entry : entries) {
        titles.push_back(entry.GetTitle());
    }
    for (const Field& field : FieldsByTitle(titles)) {
        std::vector<int> ids;
        for (const size_t e : field.entries) {
            for (const T& item : entries[e].GetItems()) {
                ids.push_back(item.GetID());
            }
        }
        std::sort(ids.begin(), ids.end());
        ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
        const auto k = static_cast<py::ssize_t>(field.entries.size());
        const auto n = static_cast<py::ssize_t>(ids.size());
        py::array_t<int32_t> iterations = NewArray<int32_t>({k});
        py::array_t<double> values = NewArray<double>({k, n, static_cast<py::ssize_t>(width)});
        double* data = values.mutable_data();
        std::fill(data, data + k * n * static_cast<py::ssize_t>(width),
                  std::numeric_limits<double>::quiet_NaN());
        for (py::ssize_t row = 0; row < k; ++row) {
            const auto& entry = entries[field.entries[static_cast<size_t>(row)]];
            iterations.mutable_data()[row] = entry.GetID();
            for (const T& item : entry.GetItems()) {
                const auto column = std::lower_bound(ids.begin(), ids.end(), item.GetID());
                ValuesOf(item, data + (row * n + (column - ids.begin())) * width);
            }
        }
        py::array_t<int32_t> idArray = NewArray<int32_t>({n});
        std::copy(ids.begin(), ids.end(), idArray.mutable_data());
        py::dict result;
        result["block"] = T::block_id;
        result["title"] = PyText(field.title);
        result["iterations"] = iterations;
        result["ids"] = idArray;
        result["values"] = values;
        out.append(result);
    }
}

template <class Group>
py::list ResultGroups(const ONFDataBlock<Group>& block, const py::object& owner) {
    py::list groups;
    for (const Group& group : block.GetItems()) {
        groups.append(py::make_tuple(group.GetID(), PyText(group.GetName()),
                                     ViewOf(group.GetList().GetData(), owner)));
    }
    return groups;
}

py::dict ReadResults(const py::bytes& path) {
    auto file = std::make_shared<ONFOptResultFile>(WidePath(path));
    file->Read();
    py::list titles;
    for (const auto& entry : file->GetOptDBTitle().GetEntries()) {
        py::list lines;
        for (const ONFOptResTitle& item : entry.GetItems()) {
            lines.append(PyText(item.GetSubtitle()));
        }
        titles.append(py::make_tuple(entry.GetID(), PyText(entry.GetTitle()), lines));
    }
    py::list fields;
    AddFields(file->GetOptDBNodalScalar(), 1, fields);
    AddFields(file->GetOptDBNodalVector(), 3, fields);
    AddFields(file->GetOptDBNodalDisp(), 3, fields);
    AddFields(file->GetOptDBElemScalar(), 1, fields);
    const py::object owner = Owner(file);
    py::dict results;
    results["titles"] = titles;
    results["fields"] = fields;
    results["node_groups"] = ResultGroups(file->GetOptDBNodeGroup(), owner);
    results["element_groups"] = ResultGroups(file->GetOptDBElementGroup(), owner);
    return results;
}

} // namespace

void RegisterFiles(py::module_& m) {
    // The kinds of file by the package's words for them, with the names the engine gives them;
    // the generic kind last.
    py::dict kinds;
    for (int kind = ONF_FILE_GENERIC + 1; kind < ONF_NUM_FILE_KINDS; ++kind) {
        kinds[kKindKeys[kind]] = OnfFileKindName(static_cast<OnfFileKind>(kind));
    }
    kinds[kKindKeys[ONF_FILE_GENERIC]] = OnfFileKindName(ONF_FILE_GENERIC);
    m.attr("KIND_NAMES") = kinds;
    m.def("block_name", &OnfBlockName, py::arg("number"),
          "The catalogue name of a block number (or the title of a result file's own block).");
    m.def("scan", &Scan, py::arg("path"),
          "The file's blocks as the reader finds them, unloaded, and the kind of the file.");
    m.def("read_blocks", &ReadBlocks, py::arg("path"),
          "Every block of the file in file order, with the records of those a database holds.");
    m.def("read_groups", &ReadGroups, py::arg("path"),
          "The node and element groups of a groups file as (id, name, members) each.");
    m.def("read_results", &ReadResults, py::arg("path"),
          "Titles, fields and groups of an optimisation result file.");
}

} // namespace onf_python
