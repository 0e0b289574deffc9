#include "VtuWriter.h"

#include "ONFOptResultFile.h"
#include "OnfBlock.h"
#include "OnfElement.h"
#include "OnfGroupsFile.h"
#include "OnfModelFile.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <type_traits>

namespace onf_tool {

namespace {

// ---- Output ----------------------------------------------------------------------------------

// Collects text in memory and hands it to a stream, which it does not own, in large pieces.
class VtuOutput {
public:
    VtuOutput(FILE* file, const std::string& name) : m_Path(name), m_File(file) {
        m_Buffer.reserve(kFlushBytes + 4096);
    }
    VtuOutput(const VtuOutput&) = delete;
    VtuOutput& operator=(const VtuOutput&) = delete;

    void Text(const char* text) { m_Buffer += text; }
    void Text(const std::string& text) { m_Buffer += text; }
    void Char(char c) { m_Buffer += c; }
    template <class T>
    void Number(T value) {
        char digits[64];
        const auto result = std::to_chars(digits, digits + sizeof digits, value);
        m_Buffer.append(digits, result.ptr);
    }
    void Real(double value) {
        if (std::isnan(value)) {
            m_Buffer += "nan";
        } else {
            Number(value);
        }
    }
    // Flushes once the buffer is full enough; call between values.
    void MaybeFlush() {
        if (m_Buffer.size() >= kFlushBytes) {
            Flush();
        }
    }
    void Close() {
        Flush();
        if (std::fflush(m_File) != 0) {
            Fail("cannot write");
        }
    }

private:
    static const size_t kFlushBytes = 1 << 20;

    void Flush() {
        if (!m_Buffer.empty() &&
            std::fwrite(m_Buffer.data(), 1, m_Buffer.size(), m_File) != m_Buffer.size()) {
            Fail("cannot write");
        }
        m_Buffer.clear();
    }
    [[noreturn]] void Fail(const char* what) const {
        throw std::runtime_error(std::string(what) + " " + m_Path + ": " + std::strerror(errno));
    }

    std::string m_Path;
    FILE* m_File = nullptr;
    std::string m_Buffer;
};

const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// VTK reads inline binary data as base64 of one stream: the byte count as a 64-bit integer,
// then the values' bytes. The machine is little-endian, as the file's header says.
void WriteBase64(VtuOutput& out, const void* data, size_t bytes) {
    std::vector<unsigned char> raw(8 + bytes);
    const uint64_t count = bytes;
    std::memcpy(raw.data(), &count, 8);
    if (bytes > 0) {
        std::memcpy(raw.data() + 8, data, bytes);
    }
    std::string text;
    text.reserve((raw.size() + 2) / 3 * 4);
    size_t i = 0;
    for (; i + 3 <= raw.size(); i += 3) {
        const uint32_t v = (uint32_t(raw[i]) << 16) | (uint32_t(raw[i + 1]) << 8) | raw[i + 2];
        text += kBase64[v >> 18];
        text += kBase64[(v >> 12) & 63];
        text += kBase64[(v >> 6) & 63];
        text += kBase64[v & 63];
    }
    if (i < raw.size()) {
        const bool two = i + 1 < raw.size();
        const uint32_t v = (uint32_t(raw[i]) << 16) | (two ? uint32_t(raw[i + 1]) << 8 : 0);
        text += kBase64[v >> 18];
        text += kBase64[(v >> 12) & 63];
        text += two ? kBase64[(v >> 6) & 63] : '=';
        text += '=';
    }
    out.Text(text);
}

template <class T>
void WriteValues(VtuOutput& out, const std::vector<T>& values, VtuEncoding encoding) {
    if (encoding == VTU_BINARY) {
        WriteBase64(out, values.data(), values.size() * sizeof(T));
        return;
    }
    for (size_t i = 0; i < values.size(); ++i) {
        out.Char(i % 12 == 0 ? '\n' : ' ');
        if constexpr (std::is_same<T, double>::value) {
            out.Real(values[i]);
        } else {
            out.Number(static_cast<int64_t>(values[i]));
        }
        out.MaybeFlush();
    }
}

template <class T>
void WriteDataArray(VtuOutput& out, const char* type, const std::string& name, int components,
                    const std::vector<T>& values, VtuEncoding encoding) {
    out.Text("        <DataArray type=\"");
    out.Text(type);
    out.Text("\"");
    if (!name.empty()) {
        out.Text(" Name=\"" + XmlEscaped(name) + "\"");
    }
    if (components != 1) {
        out.Text(" NumberOfComponents=\"" + std::to_string(components) + "\"");
    }
    out.Text(encoding == VTU_BINARY ? " format=\"binary\">\n" : " format=\"ascii\">");
    WriteValues(out, values, encoding);
    out.Text("\n        </DataArray>\n");
}

void WriteArrays(VtuOutput& out, const char* section, const std::vector<VtuArray>& arrays,
                 VtuEncoding encoding) {
    out.Text(std::string("      <") + section + ">\n");
    for (const VtuArray& array : arrays) {
        switch (array.type) {
        case VtuArray::INT32:
            WriteDataArray(out, "Int32", array.name, array.components, array.ints, encoding);
            break;
        case VtuArray::UINT8:
            WriteDataArray(out, "UInt8", array.name, array.components, array.flags, encoding);
            break;
        case VtuArray::FLOAT64:
            WriteDataArray(out, "Float64", array.name, array.components, array.reals, encoding);
            break;
        }
    }
    out.Text(std::string("      </") + section + ">\n");
}

} // namespace

std::string XmlEscaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

void WriteVtu(const VtuGrid& grid, const std::string& path, VtuEncoding encoding) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    }
    try {
        WriteVtu(grid, file, path, encoding);
    } catch (...) {
        std::fclose(file);
        throw;
    }
    if (std::fclose(file) != 0) {
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    }
}

void WriteVtu(const VtuGrid& grid, FILE* file, const std::string& name, VtuEncoding encoding) {
    VtuOutput out(file, name);
    out.Text("<?xml version=\"1.0\"?>\n"
             "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\" "
             "header_type=\"UInt64\">\n"
             "  <UnstructuredGrid>\n");
    out.Text("    <Piece NumberOfPoints=\"" + std::to_string(grid.GetNumPoints()) +
             "\" NumberOfCells=\"" + std::to_string(grid.GetNumCells()) + "\">\n");
    WriteArrays(out, "PointData", grid.pointData, encoding);
    WriteArrays(out, "CellData", grid.cellData, encoding);
    out.Text("      <Points>\n");
    WriteDataArray(out, "Float64", "Points", 3, grid.points, encoding);
    out.Text("      </Points>\n"
             "      <Cells>\n");
    WriteDataArray(out, "Int64", "connectivity", 1, grid.connectivity, encoding);
    WriteDataArray(out, "Int64", "offsets", 1, grid.offsets, encoding);
    WriteDataArray(out, "UInt8", "types", 1, grid.types, encoding);
    out.Text("      </Cells>\n"
             "    </Piece>\n"
             "  </UnstructuredGrid>\n"
             "</VTKFile>\n");
    out.Close();
}

// ---- The model as a grid -----------------------------------------------------------------------

namespace {

const QSV_OnfId kNodeBlock = static_cast<QSV_OnfId>(110);
const QSV_OnfId kElementBlock = static_cast<QSV_OnfId>(140);
// Items of an element record.
const OnfBlock::Item kElemType = static_cast<OnfBlock::Item>(1);
const OnfBlock::Item kElemProperty = static_cast<OnfBlock::Item>(3);
const OnfBlock::Item kElemMaterial = static_cast<OnfBlock::Item>(4);
const OnfBlock::Item kElemNodes = static_cast<OnfBlock::Item>(8);
// Items of a group record.
const OnfBlock::Item kGroupName = static_cast<OnfBlock::Item>(2);
const OnfBlock::Item kGroupMembers = static_cast<OnfBlock::Item>(3);

VtuArray MakeArray(const std::string& name, VtuArray::Type type, int components, size_t count) {
    VtuArray array;
    array.name = name;
    array.type = type;
    array.components = components;
    const size_t values = count * static_cast<size_t>(components);
    switch (type) {
    case VtuArray::INT32:
        array.ints.assign(values, 0);
        break;
    case VtuArray::UINT8:
        array.flags.assign(values, 0);
        break;
    case VtuArray::FLOAT64:
        array.reals.assign(values, 0.0);
        break;
    }
    return array;
}

std::string Plural(size_t count, const char* singular, const char* plural) {
    return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

void SetValue(VtuArray& array, size_t at, double value) {
    array.reals[at] = value;
}
void SetValue(VtuArray& array, size_t at, const BrelonMatrix<3, 1, double>& value) {
    for (size_t c = 0; c < 3; ++c) {
        array.reals[at * 3 + c] = value[c];
    }
}

} // namespace

ModelVtuExport::ModelVtuExport(const OnfModelFile& model)
    : m_Model(model), m_Nodes(model.GetBlock(kNodeBlock)),
      m_Elements(model.GetBlock(kElementBlock)) {
    AddPoints();
    AddCells();
}

void ModelVtuExport::AddPoints() {
    const OnfBlock& nodes = m_Nodes;
    const long long maxIndex = nodes.GetMaxIndex();
    m_NodeIndexToPoint.assign(static_cast<size_t>(maxIndex + 1), -1);
    m_Grid.points.reserve(nodes.GetNumRecords() * 3);
    VtuArray ids = MakeArray("NodeId", VtuArray::INT32, 1, 0);
    ids.ints.reserve(nodes.GetNumRecords());
    for (QSV_DataBlock::IndexIterator it(nodes, 0, maxIndex); it.IsValid(); ++it) {
        const BrelonMatrix<3, 1, double> position = m_Model.GetNodeGlobalCoordinatesAtIdx(*it);
        m_NodeIndexToPoint[*it] = static_cast<int64_t>(ids.ints.size());
        ids.ints.push_back(nodes.GetId(*it));
        m_Grid.points.insert(m_Grid.points.end(), {position[0], position[1], position[2]});
    }
    m_Grid.pointData.push_back(std::move(ids));
}

void ModelVtuExport::AddCells() {
    const OnfBlock& elements = m_Elements;
    const long long maxIndex = elements.GetMaxIndex();
    m_ElementIndexToCell.assign(static_cast<size_t>(maxIndex + 1), -1);
    VtuArray ids = MakeArray("ElementId", VtuArray::INT32, 1, 0);
    VtuArray types = MakeArray("ElementType", VtuArray::INT32, 1, 0);
    VtuArray properties = MakeArray("PropertyId", VtuArray::INT32, 1, 0);
    VtuArray materials = MakeArray("MaterialId", VtuArray::INT32, 1, 0);
    for (QSV_DataBlock::IndexIterator it(elements, 0, maxIndex); it.IsValid(); ++it) {
        if (!AddCell(*it)) {
            continue;
        }
        m_ElementIndexToCell[*it] = static_cast<int64_t>(ids.ints.size());
        ids.ints.push_back(elements.GetId(*it));
        types.ints.push_back(elements.GetInt(*it, kElemType));
        properties.ints.push_back(elements.GetInt(*it, kElemProperty));
        materials.ints.push_back(elements.GetInt(*it, kElemMaterial));
    }
    m_Grid.cellData.push_back(std::move(ids));
    m_Grid.cellData.push_back(std::move(types));
    m_Grid.cellData.push_back(std::move(properties));
    m_Grid.cellData.push_back(std::move(materials));
    if (m_NumSkipped > 0) {
        Warn(Plural(m_NumSkipped, "element was", "elements were") +
             " left out of the grid (see the warnings above)");
    }
}

// Appends the cell of the element at `index`; false, counted and (except for dummies) warned
// about, when it cannot be drawn.
bool ModelVtuExport::AddCell(size_t index) {
    const OnfBlock& elements = m_Elements;
    const int id = elements.GetId(index);
    const int type = elements.GetInt(index, kElemType);
    if (type == OnfElement::ELEM_DUMMY) {
        ++m_NumDummies;
        return false;
    }
    const VtkCellShape& shape = VtkShapeOf(type);
    const OnfIntListView list = elements.GetIntListView(index, kElemNodes);
    std::string problem;
    if (shape.cellType == VTK_EMPTY_CELL) {
        problem = "is of kind " + std::to_string(type) + ", which has no cell shape";
    } else if (list.size() != shape.elementNodes) {
        problem = "of kind " + std::to_string(type) + " has " + std::to_string(list.size()) +
                  " nodes instead of " + std::to_string(shape.elementNodes);
    }
    for (size_t i = 0; problem.empty() && i < shape.cellNodes; ++i) {
        const int node = list[shape.order != nullptr ? shape.order[i] : i];
        const int64_t point = PointOf(node);
        if (point < 0) {
            problem = "refers to node " + std::to_string(node) + ", which the model lacks";
        }
        m_Grid.connectivity.push_back(point);
    }
    if (!problem.empty()) {
        m_Grid.connectivity.resize(m_Grid.offsets.empty() ? 0 : m_Grid.offsets.back());
        ++m_NumSkipped;
        Warn("element " + std::to_string(id) + " " + problem);
        return false;
    }
    m_Grid.offsets.push_back(static_cast<int64_t>(m_Grid.connectivity.size()));
    m_Grid.types.push_back(shape.cellType);
    return true;
}

int64_t ModelVtuExport::PointOf(int node) const {
    const long long index = m_Nodes.GetRecordIdx(node);
    return index < 0 ? -1 : m_NodeIndexToPoint[static_cast<size_t>(index)];
}

int64_t ModelVtuExport::CellOf(int element) const {
    const long long index = m_Elements.GetRecordIdx(element);
    return index < 0 ? -1 : m_ElementIndexToCell[static_cast<size_t>(index)];
}

std::string ModelVtuExport::UniqueName(const std::string& name, bool pointData) const {
    const std::vector<VtuArray>& arrays = pointData ? m_Grid.pointData : m_Grid.cellData;
    const auto taken = [&arrays](const std::string& candidate) {
        return std::any_of(arrays.begin(), arrays.end(),
                           [&candidate](const VtuArray& a) { return a.name == candidate; });
    };
    std::string unique = name;
    for (int n = 2; taken(unique); ++n) {
        unique = name + " #" + std::to_string(n);
    }
    return unique;
}

void ModelVtuExport::Warn(const std::string& text) {
    m_Warnings.push_back(text);
}

void ModelVtuExport::AddGroups(const OnfGroupsFile& groups) {
    AddGroupBlock(groups, 200, true);
    AddGroupBlock(groups, 210, false);
}

void ModelVtuExport::AddGroupBlock(const OnfGroupsFile& groups, int blockNumber, bool nodes) {
    const auto number = static_cast<QSV_OnfId>(blockNumber);
    if (!groups.HasBlock(number)) {
        return;
    }
    const OnfBlock& block = groups.GetBlock(number);
    const size_t count = nodes ? m_Grid.GetNumPoints() : m_Grid.GetNumCells();
    for (QSV_DataBlock::IndexIterator it(block, 0, block.GetMaxIndex()); it.IsValid(); ++it) {
        std::string name;
        block.GetString(*it, kGroupName, name);
        VtuArray flags = MakeArray(UniqueName("group:" + name, nodes), VtuArray::UINT8, 1, count);
        size_t missing = 0;
        for (const int member : block.GetIntListView(*it, kGroupMembers)) {
            const int64_t at = nodes ? PointOf(member) : CellOf(member);
            if (at < 0) {
                ++missing;
            } else {
                flags.flags[static_cast<size_t>(at)] = 1;
            }
        }
        if (missing > 0) {
            Warn(std::string(nodes ? "node" : "element") + " group '" + name +
                 "': " + Plural(missing, "member is", "members are") + " not in the grid");
        }
        (nodes ? m_Grid.pointData : m_Grid.cellData).push_back(std::move(flags));
    }
}

// A value a result gives no point or cell: a scalar is NaN, which viewers draw in their
// no-value colour and leave out of colour ranges; a vector is 0, since warping by a NaN vector
// sends a point to nowhere. The "valid:" array tells the two kinds of zero apart.
template <class Entry>
void ModelVtuExport::AddEntry(const Entry* entry, const std::string& name, bool nodal,
                              int components, bool validity) {
    const size_t count = nodal ? m_Grid.GetNumPoints() : m_Grid.GetNumCells();
    VtuArray values = MakeArray(UniqueName(name, nodal), VtuArray::FLOAT64, components, count);
    if (components == 1) {
        values.reals.assign(count, std::numeric_limits<double>::quiet_NaN());
    }
    VtuArray valid =
        MakeArray(UniqueName("valid:" + values.name, nodal), VtuArray::UINT8, 1, count);
    size_t missing = 0;
    size_t covered = 0;
    using Items = typename std::decay<decltype(entry->GetItems())>::type;
    static const Items none;
    for (const auto& item : entry != nullptr ? entry->GetItems() : none) {
        const int64_t at = nodal ? PointOf(item.GetID()) : CellOf(item.GetID());
        if (at < 0) {
            ++missing;
            continue;
        }
        SetValue(values, static_cast<size_t>(at), item.GetValue());
        covered += valid.flags[static_cast<size_t>(at)] == 0 ? 1 : 0;
        valid.flags[static_cast<size_t>(at)] = 1;
    }
    if (missing > 0) {
        Warn("result '" + values.name + "': " + Plural(missing, "value refers", "values refer") +
             " to " + (nodal ? "nodes" : "elements") + " not in the grid");
    }
    std::vector<VtuArray>& arrays = nodal ? m_Grid.pointData : m_Grid.cellData;
    arrays.push_back(std::move(values));
    if (validity || covered < count) {
        arrays.push_back(std::move(valid));
    }
}

namespace {

// The array name of an entry: its title, without the blanks and carriage return a title line
// may end in, or the block's name for an untitled entry.
std::string FieldName(const std::string& title, const char* defaultName) {
    std::string name = title.substr(0, title.find_last_not_of(" \t\r") + 1);
    return name.empty() ? std::string(defaultName) : name;
}

template <class Block>
void AddIterations(const Block& block, std::set<int>& iterations) {
    for (const auto& entry : block.GetEntries()) {
        iterations.insert(entry.GetID());
    }
}

} // namespace

template <class Block>
void ModelVtuExport::AddResultBlock(const Block& block, const char* defaultName, bool nodal,
                                    int components, bool allEntries) {
    const auto& entries = block.GetEntries();
    if (entries.empty()) {
        return;
    }
    int last = entries.front().GetID();
    for (const auto& entry : entries) {
        last = std::max(last, entry.GetID());
    }
    for (const auto& entry : entries) {
        if (!allEntries && entry.GetID() != last) {
            continue;
        }
        std::string name = FieldName(entry.GetTitle(), defaultName);
        if (allEntries) {
            name += " (" + std::to_string(entry.GetID()) + ")";
        }
        AddEntry(&entry, name, nodal, components, false);
    }
}

template <class Entry>
size_t ModelVtuExport::CountCovered(const Entry& entry, bool nodal) const {
    std::vector<bool> covered(nodal ? m_Grid.GetNumPoints() : m_Grid.GetNumCells(), false);
    size_t count = 0;
    for (const auto& item : entry.GetItems()) {
        const int64_t at = nodal ? PointOf(item.GetID()) : CellOf(item.GetID());
        if (at >= 0 && !covered[static_cast<size_t>(at)]) {
            covered[static_cast<size_t>(at)] = true;
            ++count;
        }
    }
    return count;
}

// The fields of a block (entries of one title), each with its entry of `iteration` or none.
// A field that some iteration of the file lacks, or that leaves some point or cell without a
// value, carries its validity array in every step, so that every step has the same arrays.
template <class Block>
void ModelVtuExport::AddBlockAt(const Block& block, const char* defaultName, bool nodal,
                                int components, int iteration) {
    using Entry = typename std::decay<decltype(block.GetEntries().front())>::type;
    using Item = typename std::decay<decltype(block.GetEntries().front().GetItems().front())>::type;
    std::vector<std::string> names;
    std::map<std::string, std::map<int, const Entry*>> fields;
    for (const auto& entry : block.GetEntries()) {
        const std::string name = FieldName(entry.GetTitle(), defaultName);
        if (fields.count(name) == 0) {
            names.push_back(name);
        }
        fields[name].emplace(entry.GetID(), &entry); // the first entry of an iteration counts
    }
    const size_t count = nodal ? m_Grid.GetNumPoints() : m_Grid.GetNumCells();
    for (const std::string& name : names) {
        const auto& entries = fields[name];
        const auto key = std::make_pair(Item::block_id, name);
        auto partial = m_PartialFields.find(key);
        if (partial == m_PartialFields.end()) {
            bool some = entries.size() < m_Iterations.size();
            for (const auto& entry : entries) {
                some = some || CountCovered(*entry.second, nodal) < count;
            }
            partial = m_PartialFields.emplace(key, some).first;
        }
        const auto found = entries.find(iteration);
        AddEntry(found != entries.end() ? found->second : nullptr, name, nodal, components,
                 partial->second);
    }
}

void ModelVtuExport::AddResults(const ONFOptResultFile& results, bool allEntries) {
    AddResultBlock(results.GetOptDBNodalScalar(), "nodal scalar", true, 1, allEntries);
    AddResultBlock(results.GetOptDBNodalVector(), "nodal vector", true, 3, allEntries);
    AddResultBlock(results.GetOptDBNodalDisp(), "displacement", true, 3, allEntries);
    AddResultBlock(results.GetOptDBElemScalar(), "element scalar", false, 1, allEntries);
}

std::vector<int> ModelVtuExport::Iterations(const ONFOptResultFile& results) {
    std::set<int> iterations;
    AddIterations(results.GetOptDBTitle(), iterations);
    AddIterations(results.GetOptDBNodalScalar(), iterations);
    AddIterations(results.GetOptDBNodalVector(), iterations);
    AddIterations(results.GetOptDBNodalDisp(), iterations);
    AddIterations(results.GetOptDBElemScalar(), iterations);
    return std::vector<int>(iterations.begin(), iterations.end());
}

void ModelVtuExport::AddResultsAt(const ONFOptResultFile& results, int iteration) {
    if (m_Iterations.empty()) {
        m_Iterations = Iterations(results);
    }
    AddBlockAt(results.GetOptDBNodalScalar(), "nodal scalar", true, 1, iteration);
    AddBlockAt(results.GetOptDBNodalVector(), "nodal vector", true, 3, iteration);
    AddBlockAt(results.GetOptDBNodalDisp(), "displacement", true, 3, iteration);
    AddBlockAt(results.GetOptDBElemScalar(), "element scalar", false, 1, iteration);
}

void ModelVtuExport::DropArrays(size_t pointArrays, size_t cellArrays) {
    m_Grid.pointData.resize(std::min(pointArrays, m_Grid.pointData.size()));
    m_Grid.cellData.resize(std::min(cellArrays, m_Grid.cellData.size()));
}

} // namespace onf_tool
