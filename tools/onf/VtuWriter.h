// A model as a VTK XML unstructured grid (.vtu), for viewers: the points and cells of a model,
// flags of its groups and the values of an optimisation result file as point and cell data.
// The grid is built in memory by ModelVtuExport and written by WriteVtu.
#pragma once

#include "VtkCells.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

class OnfBlock;
class OnfModelFile;
class OnfGroupsFile;
class ONFOptResultFile;

namespace onf_tool {

// A named array of point or cell data. Exactly one of the value vectors is used, by `type`,
// holding `components` values per point or cell.
struct VtuArray {
    enum Type { INT32, UINT8, FLOAT64 };
    std::string name;
    Type type = INT32;
    int components = 1;
    std::vector<int32_t> ints;
    std::vector<uint8_t> flags;
    std::vector<double> reals;
};

// An unstructured grid as VTK holds it: point coordinates (x, y, z per point), the cells'
// point numbers one after the other with each cell's end offset, the cells' types, and data.
struct VtuGrid {
    std::vector<double> points;
    std::vector<int64_t> connectivity;
    std::vector<int64_t> offsets;
    std::vector<uint8_t> types;
    std::vector<VtuArray> pointData;
    std::vector<VtuArray> cellData;

    size_t GetNumPoints() const { return points.size() / 3; }
    size_t GetNumCells() const { return types.size(); }
};

// How the arrays' values are written: base64 of the raw little-endian bytes, compact and exact
// (the default), or as text, which a person can read. In text, reals take the fewest digits
// that read back to the same value, and NaN is written "nan", which some readers refuse.
enum VtuEncoding { VTU_BINARY = 0, VTU_ASCII = 1 };

// Writes `grid` to `path` as a VTK XML unstructured grid (format version 1.0, 64-bit offsets),
// replacing the file. Throws std::runtime_error with the system's reason when the file cannot
// be written.
void WriteVtu(const VtuGrid& grid, const std::string& path, VtuEncoding encoding = VTU_BINARY);
// The same to an open stream, which stays open; failures name the stream `name`.
void WriteVtu(const VtuGrid& grid, FILE* file, const std::string& name,
              VtuEncoding encoding = VTU_BINARY);

// Builds the grid of a model. Points are the nodes in the order of the node block, placed in
// global coordinates; cells are the elements in the order of the element block. Elements that
// cannot be drawn are left out: dummies silently (counted), others with a warning. The model
// must outlive the object.
class ModelVtuExport {
public:
    // Point data "NodeId"; cell data "ElementId", "ElementType" (the model's element kind),
    // "PropertyId" and "MaterialId". Failures of the coordinate systems pass through.
    explicit ModelVtuExport(const OnfModelFile& model);

    // One UINT8 array "group:<name>" per group: node groups as point data, element groups as
    // cell data, 1 for members. Members that are no point or cell of the grid are warned about.
    void AddGroups(const OnfGroupsFile& groups);
    // The nodal scalars, vectors and displacements as point data and the element scalars as
    // cell data, named by the entry's title. Where an entry has no value, a scalar is NaN and
    // a vector 0, and an entry that leaves points or cells without a value is followed by a
    // UINT8 array "valid:<name>", 1 where it has one. An entry's id is its design iteration:
    // by default only the entries of each block's highest id are taken, with `allEntries`
    // every entry, its array name then followed by " (<id>)".
    void AddResults(const ONFOptResultFile& results, bool allEntries);
    // The design iterations of `results` (the ids of its entries, titles included), ascending.
    static std::vector<int> Iterations(const ONFOptResultFile& results);
    // One step of a series: every field of `results` (a block and an entry title) with its
    // entry of `iteration`, or with no value anywhere when it has none. A field that some
    // iteration lacks or that leaves points or cells without a value carries its "valid:"
    // array in every step, so that all steps hold the same arrays in the same order.
    void AddResultsAt(const ONFOptResultFile& results, int iteration);
    // Removes the point and cell arrays beyond the first `pointArrays` and `cellArrays`: what
    // a step added, before the next step is added.
    void DropArrays(size_t pointArrays, size_t cellArrays);

    const VtuGrid& GetGrid() const { return m_Grid; }
    // Dummy elements, which are not drawn.
    size_t GetNumDummies() const { return m_NumDummies; }
    // Elements left out for another reason: an unused kind, a wrong node count, a missing node.
    size_t GetNumSkipped() const { return m_NumSkipped; }
    // What the caller should pass on as warnings, one sentence each.
    const std::vector<std::string>& GetWarnings() const { return m_Warnings; }

private:
    void AddPoints();
    void AddCells();
    bool AddCell(size_t index);
    void AddGroupBlock(const OnfGroupsFile& groups, int blockNumber, bool nodes);
    // `entry` may be null: a field without a value at this iteration.
    template <class Entry>
    void AddEntry(const Entry* entry, const std::string& name, bool nodal, int components,
                  bool validity);
    template <class Block>
    void AddResultBlock(const Block& block, const char* defaultName, bool nodal, int components,
                        bool allEntries);
    template <class Block>
    void AddBlockAt(const Block& block, const char* defaultName, bool nodal, int components,
                    int iteration);
    template <class Entry>
    size_t CountCovered(const Entry& entry, bool nodal) const;
    // The point of a node id or the cell of an element id; -1 for none.
    int64_t PointOf(int node) const;
    int64_t CellOf(int element) const;
    std::string UniqueName(const std::string& name, bool pointData) const;
    void Warn(const std::string& text);

    const OnfModelFile& m_Model;
    // The node and element blocks, looked up once: a look-up by number is not cheap.
    const OnfBlock& m_Nodes;
    const OnfBlock& m_Elements;
    VtuGrid m_Grid;
    // By record index of the node and element blocks: the point or cell made of it, or -1.
    std::vector<int64_t> m_NodeIndexToPoint;
    std::vector<int64_t> m_ElementIndexToCell;
    size_t m_NumDummies = 0;
    size_t m_NumSkipped = 0;
    std::vector<std::string> m_Warnings;
    // Of a series: the iterations, and by block number and field name whether the field
    // carries a validity array.
    std::vector<int> m_Iterations;
    std::map<std::pair<int, std::string>, bool> m_PartialFields;
};

// Writes a series of grids for a viewer's time slider: one .vtu file for each design
// iteration of `results`, in a folder named after `pvdPath` without its extension
// ("bridge.pvd" makes "bridge/iteration_45.vtu"), and the collection file `pvdPath` whose
// time steps are the iterations. `grid` gets the results of each step and loses them again.
// Files are written beside their final names and renamed once all are written, so that a
// failure leaves an earlier series as it was. Throws std::runtime_error with the system's
// reason, or when `results` holds no iteration. Returns the number of steps.
size_t WriteVtuSeries(ModelVtuExport& grid, const ONFOptResultFile& results,
                      const std::string& pvdPath, VtuEncoding encoding);

// `text` with the characters XML reserves written as entities.
std::string XmlEscaped(const std::string& text);

} // namespace onf_tool
