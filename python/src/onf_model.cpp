// Model files: every block as a table, nodes in global coordinates, element nodes as indices of
// the node table; and a model written back from tables.
#include "onf_python.h"

#include "OnfBlockSet.h"
#include "OnfBlockTextReader.h"
#include "OnfFileKind.h"
#include "OnfModelFile.h"
#include "QSV_DataDescriptor.h"
#include "QSV_OnfCatalogue.h"
#include "VtkCells.h"

#include <algorithm>
#include <memory>
#include <unordered_map>

namespace onf_python {

namespace {

constexpr int NODES_BLOCK = 110;
constexpr int ELEMENTS_BLOCK = 140;

// Node id to its row in the node table. Ids of a model mostly fill a range with few gaps: then a
// table over the range answers, else a hash map.
class NodeRows {
public:
    explicit NodeRows(const py::array_t<int32_t>& ids) {
        const int32_t* id = ids.data();
        const size_t n = static_cast<size_t>(ids.shape(0));
        if (n == 0) {
            return;
        }
        const auto range = std::minmax_element(id, id + n);
        m_First = *range.first;
        const auto span = static_cast<uint64_t>(static_cast<int64_t>(*range.second) - m_First) + 1;
        if (span <= 4 * static_cast<uint64_t>(n) + 1024) {
            m_Dense.assign(static_cast<size_t>(span), -1);
            for (size_t row = 0; row < n; ++row) {
                m_Dense[static_cast<size_t>(id[row] - m_First)] = static_cast<int64_t>(row);
            }
        } else {
            m_Sparse.reserve(n);
            for (size_t row = 0; row < n; ++row) {
                m_Sparse.emplace(id[row], static_cast<int64_t>(row));
            }
        }
    }

    // The row of node `id`, -1 for a node the model lacks.
    int64_t Row(int32_t id) const {
        if (!m_Dense.empty()) {
            const int64_t offset = static_cast<int64_t>(id) - m_First;
            return offset >= 0 && offset < static_cast<int64_t>(m_Dense.size())
                       ? m_Dense[static_cast<size_t>(offset)]
                       : -1;
        }
        const auto found = m_Sparse.find(id);
        return found == m_Sparse.end() ? -1 : found->second;
    }

private:
    int64_t m_First = 0;
    std::vector<int64_t> m_Dense;
    std::unordered_map<int32_t, int64_t> m_Sparse;
};

// Positions of the node block's records in global coordinates, in table order.
py::array_t<double> GlobalCoordinates(const OnfModelFile& model, const OnfBlock& nodes) {
    const std::vector<size_t> indices = RecordIndices(nodes);
    py::array_t<double> coords = NewArray<double>({static_cast<py::ssize_t>(indices.size()), 3});
    double* out = coords.mutable_data();
    for (size_t row = 0; row < indices.size(); ++row) {
        const BrelonMatrix<3, 1, double> point = model.GetNodeGlobalCoordinatesAtIdx(indices[row]);
        std::copy(&point[0], &point[0] + 3, out + 3 * row);
    }
    return coords;
}

// The element nodes of the element table as rows of the node table.
py::array_t<int64_t> Connectivity(const py::dict& nodeTable, const py::dict& elementTable) {
    const NodeRows rows(nodeTable["id"].cast<py::array_t<int32_t>>());
    const auto ids = elementTable["nodes"].cast<py::array_t<int32_t>>();
    const size_t n = static_cast<size_t>(ids.shape(0));
    py::array_t<int64_t> connectivity = NewArray<int64_t>({static_cast<py::ssize_t>(n)});
    const int32_t* id = ids.data();
    int64_t* out = connectivity.mutable_data();
    for (size_t k = 0; k < n; ++k) {
        out[k] = rows.Row(id[k]);
    }
    return connectivity;
}

bool IsPlain(const QSV_DataDescriptor& descriptor, int number) {
    return descriptor == QSV_DataDescriptor(static_cast<QSV_OnfId>(number));
}

py::dict ReadModel(const py::bytes& path) {
    auto model = std::make_unique<OnfModelFile>(WidePath(path), nullptr);
    model->Read();
    py::list blocks;
    py::dict result;
    for (const QSV_DataDescriptor& descriptor : model->FindBlocks(QSV_DataDescriptorPattern())) {
        const auto& block = static_cast<const OnfBlock&>(model->GetDataBlock(descriptor));
        py::dict entry;
        entry["number"] = static_cast<int>(block.GetBlockId());
        entry["name"] = OnfBlockName(block.GetBlockId());
        entry["descriptor"] = DescriptorItems(descriptor);
        entry["format"] = block.GetBlockFormatString();
        entry["table"] = TableOf(block);
        if (IsPlain(descriptor, NODES_BLOCK)) {
            result["global_coordinates"] = GlobalCoordinates(*model, block);
            result["nodes"] = entry["table"];
        } else if (IsPlain(descriptor, ELEMENTS_BLOCK)) {
            result["elements"] = entry["table"];
        }
        blocks.append(entry);
    }
    if (result.contains("nodes") && result.contains("elements")) {
        result["connectivity"] = Connectivity(result["nodes"], result["elements"]);
    }
    result["blocks"] = blocks;
    return result;
}

// A custom block whose descriptor names no number (NON_ONF) comes only from a file, since the
// set's CreateDataBlock wants a number: it is read from the text of an empty block with its
// descriptor and format, as a file would give it.
OnfBlock& NewNonOnfBlock(OnfBlockSet& set, const QSV_DataDescriptor& descriptor,
                         const std::string& format) {
    std::string items;
    ForEachSetItem(descriptor, [&](const QSV_DataDescriptor::NameAndType& row, auto index) {
        items += std::string(row.name) + "=" +
                 (row.type == QSV_DataDescriptor::ITEM_TYPE_INTEGER
                      ? std::to_string(descriptor.GetInteger(index))
                      : descriptor.GetString(index)) +
                 "\n";
    });
    const std::string text = std::string("   -1\n") +
                             (items.empty() ? "" : "   -2\n" + items + "   -2\n") +
                             "   -3\nFORMAT=" + format + "\n   -3\nNON_ONF\n0\n   -1\n";
    OnfBlockTextReader reader(text.data(), text.size(), L"(a new custom block)",
                              OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    set.LoadFrom(reader, BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS);
    return static_cast<OnfBlock&>(set.GetDataBlock(descriptor));
}

// A new empty block of `set` under `descriptor`, replacing one it holds: in the catalogue's
// format for a catalogued number, else in `format`.
OnfBlock& NewBlock(OnfBlockSet& set, const QSV_DataDescriptor& descriptor,
                   const std::string& format) {
    if (set.HasBlock(descriptor)) {
        set.DeleteDataBlock(descriptor);
    }
    if (!descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID)) {
        return NewNonOnfBlock(set, descriptor, format);
    }
    const bool catalogued =
        QSV_OnfInfoPool::ExistsOnfBlock(descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID));
    return static_cast<OnfBlock&>(catalogued ? set.CreateDataBlock(descriptor, 0)
                                             : set.CreateDataBlock(descriptor, 0, 0, format));
}

void WriteModel(const py::bytes& path, const py::list& blocks) {
    auto model = std::make_unique<OnfModelFile>(WidePath(path), nullptr);
    for (const py::handle entry : blocks) {
        const QSV_DataDescriptor descriptor =
            MakeDescriptor(py::cast<py::dict>(entry["descriptor"]));
        OnfBlock& block = NewBlock(*model, descriptor, entry["format"].cast<std::string>());
        FillBlock(block, model->GetIdMapsPool(), py::cast<py::dict>(entry["table"]));
    }
    model->Write();
}

// The columns of a block's records: (name, type) in item order, the types as numpy knows them.
py::list Schema(const py::dict& descriptorItems, const std::string& format) {
    OnfBlockSet set;
    return SchemaOf(NewBlock(set, MakeDescriptor(descriptorItems), format));
}

// Each element kind that a cell draws, by kind: (VTK cell type, the element's node count, for
// each cell node its place in the element's node list). The table `onf export` writes by.
py::dict CellShapes() {
    py::dict shapes;
    for (int kind = 0; kind < OnfElement::NUM_ELEM_TYPES; ++kind) {
        const onf_tool::VtkCellShape& shape = onf_tool::VtkShapeOf(kind);
        if (shape.cellType == onf_tool::VTK_EMPTY_CELL) {
            continue;
        }
        py::list order;
        for (int i = 0; i < shape.cellNodes; ++i) {
            order.append(shape.order != nullptr ? shape.order[i] : i);
        }
        shapes[py::int_(kind)] =
            py::make_tuple(static_cast<int>(shape.cellType), static_cast<int>(shape.elementNodes),
                           py::tuple(order));
    }
    return shapes;
}

} // namespace

void RegisterModel(py::module_& m) {
    m.attr("CELL_SHAPES") = CellShapes();
    m.def("read_model", &ReadModel, py::arg("path"),
          "Every block of a model file as a table, with the nodes in global coordinates and the "
          "element nodes as rows of the node table.");
    m.def("write_model", &WriteModel, py::arg("path"), py::arg("blocks"),
          "Writes a model file holding the given blocks (descriptor, format, table each) and the "
          "model's empty default blocks.");
    m.def("schema", &Schema, py::arg("descriptor"), py::arg("format") = "",
          "The columns of a block: (name, BlockDataType) for each item, the key first.");
}

} // namespace onf_python
