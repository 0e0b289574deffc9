// A block's records as columns of numpy arrays, and columns back into records.
#include "onf_python.h"

#include "OnfBlock.h"
#include "QSV_DataDescriptor.h"
#include "QSV_OnfCatalogue.h"

#include <cctype>
#include <cstring>
#include <set>

namespace onf_python {

namespace {

using Item = OnfBlock::Item;

// A block keyed by names keeps each name's index of its id map as the record's key; every other
// block keeps an integer id, also where its format gives the key as a string.
bool KeyedByName(const OnfBlock& block) {
    const int number = block.GetBlockId();
    if (number < 0 || !QSV_OnfInfoPool::ExistsOnfBlock(number) ||
        block.GetBlockFormatString().compare(0, 1, "I") == 0) {
        return false;
    }
    const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(number));
    return QSV_ID_TYPE_INFO[row.m_BlockIdType].keyKind != 0;
}

std::string SnakeCase(const std::string& name) {
    std::string out;
    for (const char c : name) {
        const auto u = static_cast<unsigned char>(c);
        if (std::isalnum(u)) {
            out += static_cast<char>(std::tolower(u));
        } else if (!out.empty() && out.back() != '_') {
            out += '_';
        }
    }
    while (!out.empty() && out.back() == '_') {
        out.pop_back();
    }
    return out;
}

// Values a record holds for an item of a fixed-size type: 3 for a vector, 6 for a tensor.
size_t Width(BlockDataType type) {
    return type == BDT_VECTOR ? 3 : type == BDT_TENSOR ? 6 : 1;
}

// The raw bytes of a fixed-size item, as the record holds them.
template <class T>
void ReadRaw(const OnfBlock& block, size_t index, size_t item, T* out, size_t count) {
    DataRecordEntry entry;
    block.GetRecordItem(index, item, entry);
    std::memcpy(out, entry.m_Value, count * sizeof(T));
}

// One column of a fixed-size item: `read(index, out)` stores the record's `width` values.
template <class T, class Read>
py::array FixedColumn(const std::vector<size_t>& indices, size_t width, Read read) {
    std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(indices.size())};
    if (width > 1) {
        shape.push_back(static_cast<py::ssize_t>(width));
    }
    py::array_t<T> column = NewArray<T>(shape);
    T* out = column.mutable_data();
    for (size_t r = 0; r < indices.size(); ++r) {
        read(indices[r], out + r * width);
    }
    return std::move(column);
}

// A list item: values one after the other, and offsets.
template <class T, class ListOf>
void AddListColumn(const std::vector<size_t>& indices, const std::string& name, ListOf listOf,
                   py::dict& table) {
    py::array_t<int64_t> offsets =
        NewArray<int64_t>({static_cast<py::ssize_t>(indices.size() + 1)});
    int64_t* offset = offsets.mutable_data();
    offset[0] = 0;
    for (size_t r = 0; r < indices.size(); ++r) {
        offset[r + 1] = offset[r] + static_cast<int64_t>(listOf(indices[r]).size());
    }
    py::array_t<T> values = NewArray<T>({static_cast<py::ssize_t>(offset[indices.size()])});
    T* out = values.mutable_data();
    for (size_t r = 0; r < indices.size(); ++r) {
        const auto& list = listOf(indices[r]);
        std::copy(list.begin(), list.end(), out + offset[r]);
    }
    table[py::str(name)] = values;
    table[py::str(name + "_offsets")] = offsets;
}

void AddColumn(const OnfBlock& block, const std::vector<size_t>& indices, size_t item,
               const std::string& name, py::dict& table) {
    const BlockDataType type = block.GetRecordMapEntry(item).m_Type;
    const auto it = static_cast<Item>(item);
    if (item == 0 && !KeyedByName(block)) {
        table[py::str(name)] = FixedColumn<int32_t>(
            indices, 1, [&](size_t index, int32_t* out) { *out = block.GetId(index); });
        return;
    }
    switch (type) {
    case BDT_INTEGER:
        table[py::str(name)] = FixedColumn<int32_t>(
            indices, 1, [&](size_t index, int32_t* out) { *out = block.GetInt(index, it); });
        break;
    case BDT_REAL:
        table[py::str(name)] = FixedColumn<double>(
            indices, 1, [&](size_t index, double* out) { *out = block.GetReal(index, it); });
        break;
    case BDT_FLOAT:
        table[py::str(name)] = FixedColumn<float>(
            indices, 1, [&](size_t index, float* out) { ReadRaw(block, index, item, out, 1); });
        break;
    case BDT_VECTOR:
    case BDT_TENSOR: {
        const size_t width = Width(type);
        table[py::str(name)] = FixedColumn<double>(indices, width, [&](size_t index, double* out) {
            ReadRaw(block, index, item, out, width);
        });
        break;
    }
    case BDT_STRING: {
        std::vector<std::string> texts(indices.size());
        for (size_t r = 0; r < indices.size(); ++r) {
            block.GetString(indices[r], it, texts[r]);
        }
        table[py::str(name)] = StringArray(texts);
        break;
    }
    case BDT_ORDERED_LIST:
    case BDT_INT_LIST:
        AddListColumn<int32_t>(
            indices, name, [&](size_t index) -> const auto& { return block.GetIntList(index, it); },
            table);
        break;
    case BDT_DOUBLE_LIST:
        AddListColumn<double>(
            indices,
            name, [&](size_t index) -> const auto& { return block.GetRealList(index, it); }, table);
        break;
    default:
        break; // the optional types exist only in exported tables, never in a record
    }
}

// ---- Columns into records ---------------------------------------------------------------------

// A column of `table`, as a C-contiguous array of T with `rows` rows of `width` values.
template <class T>
py::array_t<T> ColumnArray(const py::dict& table, const std::string& name, size_t rows,
                           size_t width) {
    if (!table.contains(name)) {
        throw py::key_error("the table has no column '" + name + "'");
    }
    auto column = py::array_t<T, py::array::c_style>::ensure(table[py::str(name)]);
    if (!column) {
        PyErr_Clear();
        throw py::type_error("column '" + name + "' does not hold values of the item's type (" +
                             std::string(py::str(py::dtype::of<T>())) + ")");
    }
    const size_t want = width > 1 ? 2 : 1;
    if (static_cast<size_t>(column.ndim()) != want ||
        static_cast<size_t>(column.shape(0)) != rows ||
        (width > 1 && static_cast<size_t>(column.shape(1)) != width)) {
        throw py::value_error("column '" + name + "' has not the shape of " + std::to_string(rows) +
                              " records" +
                              (width > 1 ? " of " + std::to_string(width) + " values" : ""));
    }
    return column;
}

// The values and offsets of a list column, checked so that every record's slice lies inside.
template <class T>
struct ListSource {
    py::array_t<T> values;
    py::array_t<int64_t> offsets;

    ListSource(const py::dict& table, const std::string& name, size_t rows) {
        if (!table.contains(name)) {
            throw py::key_error("the table has no column '" + name + "'");
        }
        auto flat = py::array_t<T, py::array::c_style>::ensure(table[py::str(name)]);
        if (!flat || flat.ndim() != 1) {
            PyErr_Clear();
            throw py::type_error("column '" + name + "' is no flat array of " +
                                 std::string(py::str(py::dtype::of<T>())));
        }
        values = flat;
        offsets = ColumnArray<int64_t>(table, name + "_offsets", rows + 1, 1);
        const int64_t* offset = offsets.data();
        for (size_t r = 0; r < rows; ++r) {
            if (offset[r] < 0 || offset[r] > offset[r + 1] || offset[r + 1] > values.shape(0)) {
                throw py::value_error("column '" + name + "_offsets' gives record " +
                                      std::to_string(r) + " values outside the list");
            }
        }
    }
    std::vector<T> At(size_t row) const {
        const int64_t* offset = offsets.data();
        return std::vector<T>(values.data() + offset[row], values.data() + offset[row + 1]);
    }
};

// A unicode column of `rows` texts.
py::array UnicodeColumn(const py::dict& table, const std::string& name, size_t rows) {
    if (!table.contains(name)) {
        throw py::key_error("the table has no column '" + name + "'");
    }
    py::array column = py::array::ensure(table[py::str(name)]);
    if (!column || column.dtype().kind() != 'U' || column.ndim() != 1 ||
        static_cast<size_t>(column.shape(0)) != rows) {
        PyErr_Clear();
        throw py::type_error("column '" + name + "' is no unicode array of " +
                             std::to_string(rows) + " texts");
    }
    return column;
}

// Stores item `item` of row `row` of the table into the record `index`.
class ItemWriter {
public:
    ItemWriter(OnfBlock& block, size_t item, const py::dict& table, const std::string& name,
               size_t rows)
        : m_Block(block), m_Item(static_cast<Item>(item)),
          m_Type(block.GetRecordMapEntry(item).m_Type) {
        if (m_Type == BDT_INTEGER) {
            m_Ints = ColumnArray<int32_t>(table, name, rows, 1);
        } else if (m_Type == BDT_REAL || m_Type == BDT_VECTOR || m_Type == BDT_TENSOR) {
            m_Reals = ColumnArray<double>(table, name, rows, Width(m_Type));
        } else if (m_Type == BDT_FLOAT) {
            m_Floats = ColumnArray<float>(table, name, rows, 1);
        } else if (m_Type == BDT_STRING) {
            m_Texts = UnicodeColumn(table, name, rows);
        } else if (m_Type == BDT_ORDERED_LIST || m_Type == BDT_INT_LIST) {
            m_IntLists.reset(new ListSource<int32_t>(table, name, rows));
        } else if (m_Type == BDT_DOUBLE_LIST) {
            m_RealLists.reset(new ListSource<double>(table, name, rows));
        }
    }

    void Write(size_t index, size_t row) const {
        switch (m_Type) {
        case BDT_INTEGER:
            m_Block.SetRecordItem(index, m_Item, static_cast<int>(m_Ints.data()[row]));
            break;
        case BDT_REAL:
            m_Block.SetRecordItem(index, m_Item, m_Reals.data()[row]);
            break;
        case BDT_FLOAT:
            m_Block.SetRecordItem(index, m_Item, static_cast<double>(m_Floats.data()[row]));
            break;
        case BDT_VECTOR:
        case BDT_TENSOR:
            m_Block.SetRecordItem(index, m_Item, m_Reals.data() + row * Width(m_Type),
                                  Width(m_Type));
            break;
        case BDT_STRING:
            m_Block.SetRecordItem(index, m_Item, TextAt(m_Texts, row));
            break;
        case BDT_ORDERED_LIST:
        case BDT_INT_LIST:
            // A sorted item (`O`) read from a file is sorted already; one a caller made is sorted
            // here, as the block's loader sorts it. A list item (`L`) keeps its order.
            m_Block.SetRecordItem(index, m_Item, m_IntLists->At(row),
                                  m_Type == BDT_ORDERED_LIST ? ONF_INT_LIST_SORTED
                                                             : ONF_INT_LIST_ORDERED);
            break;
        case BDT_DOUBLE_LIST: {
            // The typed face has no setter for real lists: the list goes into the pool through
            // the abstract face, and the item holds its reference, as a loaded record does.
            const std::vector<double> values = m_RealLists->At(row);
            const size_t list = m_Block.SetDoubleList(values.data(), values.size());
            m_Block.SetRecordItem(index, m_Item, static_cast<int>(list));
            break;
        }
        default:
            break;
        }
    }

private:
    OnfBlock& m_Block;
    Item m_Item;
    BlockDataType m_Type;
    py::array_t<int32_t> m_Ints;
    py::array_t<double> m_Reals;
    py::array_t<float> m_Floats;
    py::array m_Texts;
    std::unique_ptr<ListSource<int32_t>> m_IntLists;
    std::unique_ptr<ListSource<double>> m_RealLists;
};

// The record index for row `row`: made by its integer id, or by its name through the id
// adapter, which alone can key a record by name.
class RecordMaker {
public:
    RecordMaker(OnfBlock& block, QSV_IdMapsPool& pool, const py::dict& table, size_t rows,
                const std::string& keyName)
        : m_Block(block), m_Pool(pool), m_ByName(KeyedByName(block)) {
        if (m_ByName) {
            m_Names = UnicodeColumn(table, keyName, rows);
        } else {
            m_Ids = ColumnArray<int32_t>(table, keyName, rows, 1);
        }
    }

    size_t Make(size_t row) {
        if (!m_ByName) {
            const int id = m_Ids.data()[row];
            bool created = false;
            const size_t index = m_Block.GetWarrantedRecordIdx(id, created);
            if (!created) {
                throw py::value_error("block " + std::to_string(m_Block.GetBlockId()) +
                                      " holds the id " + std::to_string(id) + " twice");
            }
            return index;
        }
        const std::string name = TextAt(m_Names, row);
        if (!m_Seen.insert(name).second) {
            throw py::value_error("block " + std::to_string(m_Block.GetBlockId()) +
                                  " holds the key '" + name + "' twice");
        }
        QSV_IdDataBlock adapter(m_Block, m_Pool, true);
        QSV_IdDataRecord record(m_Block);
        adapter.SetRecord(name, record);
        const QSV_OnfMetaData& info = QSV_OnfInfoPool::GetOnfInfo(m_Block.GetBlockId());
        return m_Pool.GetIdMap(info.m_BlockIdType).GetIdx(name);
    }

private:
    OnfBlock& m_Block;
    QSV_IdMapsPool& m_Pool;
    bool m_ByName;
    py::array_t<int32_t> m_Ids;
    py::array m_Names;
    std::set<std::string> m_Seen;
};

} // namespace

std::vector<std::string> ColumnNames(const OnfBlock& block) {
    const int number = block.GetBlockId();
    const QSV_OnfMetaData* row = number >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(number)
                                     ? &QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(number))
                                     : nullptr;
    std::vector<std::string> names{KeyedByName(block) ? "key" : "id"};
    std::set<std::string> taken(names.begin(), names.end());
    for (size_t item = 1; item < block.GetNumRecordItems(); ++item) {
        std::string name;
        if (row != nullptr && item - 1 < row->m_ItemNames.size()) {
            name = SnakeCase(row->m_ItemNames[item - 1]);
        }
        if (name.empty()) {
            name = "item" + std::to_string(item);
        }
        if (!taken.insert(name).second) {
            name += "_" + std::to_string(item);
            taken.insert(name);
        }
        names.push_back(name);
    }
    return names;
}

std::vector<size_t> RecordIndices(const OnfBlock& block) {
    std::vector<size_t> indices;
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        indices.push_back(*it);
    }
    return indices;
}

py::list SchemaOf(const OnfBlock& block) {
    const std::vector<std::string> names = ColumnNames(block);
    py::list schema;
    for (size_t item = 0; item < names.size(); ++item) {
        const BlockDataType type =
            item == 0 && !KeyedByName(block) ? BDT_INTEGER : block.GetRecordMapEntry(item).m_Type;
        schema.append(py::make_tuple(names[item], static_cast<int>(type)));
    }
    return schema;
}

py::dict TableOf(const OnfBlock& block) {
    const std::vector<size_t> indices = RecordIndices(block);
    const std::vector<std::string> names = ColumnNames(block);
    py::dict table;
    for (size_t item = 0; item < block.GetNumRecordItems(); ++item) {
        AddColumn(block, indices, item, names[item], table);
    }
    return table;
}

void FillBlock(OnfBlock& block, QSV_IdMapsPool& pool, const py::dict& table) {
    const std::vector<std::string> names = ColumnNames(block);
    if (!table.contains(names[0])) {
        throw py::key_error("the table of block " + std::to_string(block.GetBlockId()) +
                            " has no column '" + names[0] + "'");
    }
    const size_t rows = static_cast<size_t>(py::len(table[py::str(names[0])]));
    RecordMaker maker(block, pool, table, rows, names[0]);
    std::vector<ItemWriter> writers;
    writers.reserve(names.size());
    for (size_t item = 1; item < names.size(); ++item) {
        writers.emplace_back(block, item, table, names[item], rows);
    }
    for (size_t row = 0; row < rows; ++row) {
        const size_t index = maker.Make(row);
        for (const ItemWriter& writer : writers) {
            writer.Write(index, row);
        }
    }
}

py::dict DescriptorItems(const QSV_DataDescriptor& descriptor) {
    py::dict items;
    ForEachSetItem(descriptor, [&](const QSV_DataDescriptor::NameAndType& row, auto index) {
        if (row.type == QSV_DataDescriptor::ITEM_TYPE_INTEGER) {
            items[row.name] = descriptor.GetInteger(index);
        } else {
            items[row.name] = PyText(descriptor.GetString(index));
        }
    });
    return items;
}

QSV_DataDescriptor MakeDescriptor(const py::dict& items) {
    QSV_DataDescriptor descriptor;
    for (const auto& pair : items) {
        const std::string key = py::str(pair.first);
        int found = -1;
        for (int i = 0; i < QSV_DataDescriptor::NUM_ITEMS; ++i) {
            if (key == QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[i].name) {
                found = i;
            }
        }
        if (found < 0) {
            throw py::value_error("'" + key + "' is no descriptor key");
        }
        const auto index = static_cast<QSV_DataDescriptor::ResultIndex>(found);
        if (QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[found].type ==
            QSV_DataDescriptor::ITEM_TYPE_INTEGER) {
            descriptor.SetInteger(index, pair.second.cast<int>());
        } else {
            descriptor.SetString(index, pair.second.cast<std::string>());
        }
    }
    return descriptor;
}

} // namespace onf_python
