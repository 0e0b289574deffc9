// The extension module brelononf._core: what its sources share. The module reads ONF files into
// numpy arrays and writes models back from them; the pure-Python modules of the package give
// these arrays their shape (Model, Block, Groups, Results).
//
// Every engine call runs with the GIL held: the engine has no locks, and its log lines go to
// Python's logging from the thread that made them.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include "QSV_DataDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class OnfBlock;
class QSV_IdMapsPool;

namespace onf_python {

namespace py = pybind11;

// ---- Paths, texts and arrays (onf_arrays.cpp) -------------------------------------------------

// The engine's wide form of a file name, from the bytes that os.fsencode gives. Bytes that are no
// UTF-8 become U+FFFD, as in every file name the engine takes: such a file cannot be opened.
std::wstring WidePath(const py::bytes& path);

// A C-contiguous array of `shape`, its values not yet set.
template <class T>
py::array_t<T> NewArray(const std::vector<py::ssize_t>& shape) {
    return py::array_t<T>(shape);
}

// A read-only array over `values` without a copy; `owner` keeps the engine object that holds
// them alive for as long as the array (or a view of it) lives.
py::array ViewOf(const std::vector<int>& values, const py::object& owner);

// Texts as a numpy unicode array ('U'), no Python object per text. Bytes that are no UTF-8 become
// the code points U+DC80 to U+DCFF, as Python's "surrogateescape" makes them, so that a text
// written back gives the same bytes.
py::array StringArray(const std::vector<std::string>& texts);
// Element `index` of a unicode array as UTF-8, the inverse of StringArray. Throws ValueError for
// a code point that has no UTF-8 form (a surrogate other than those StringArray makes).
std::string TextAt(const py::array& strings, size_t index);
// A Python str of bytes that may be no UTF-8, decoded as StringArray does.
py::str PyText(const std::string& text);

// ---- Blocks as tables (onf_tables.cpp) ----------------------------------------------------------

// Column names of a block's items, one per item, item 0 included: "id" for an integer key, "key"
// for a name key, then the catalogue's names of the items in snake case ("item<k>" for a block
// the catalogue lacks). A name taken before gets "_<k>" appended.
std::vector<std::string> ColumnNames(const OnfBlock& block);
// (name, BlockDataType) of each column of TableOf, the key first.
py::list SchemaOf(const OnfBlock& block);
// The records of `block` in index order, one column per item: integers int32, reals float64,
// floats float32, strings unicode, vectors (n, 3) and tensors (n, 6) float64; a list item gives
// its values one after the other under its name and, under "<name>_offsets", n + 1 int64 offsets.
py::dict TableOf(const OnfBlock& block);
// The records of `block`'s set records, in the order TableOf gives them.
std::vector<size_t> RecordIndices(const OnfBlock& block);
// Makes a record of `block` for each row of `table` (columns as TableOf gives them, with the
// dtypes it gives). A key the block holds already fails with ValueError.
void FillBlock(OnfBlock& block, QSV_IdMapsPool& pool, const py::dict& table);
// The descriptor's set items by key name ({"ONF_ID": 180, "LOADCASE": 3}); a NON_ONF block's
// descriptor has no "ONF_ID".
py::dict DescriptorItems(const QSV_DataDescriptor& descriptor);
// Calls each(row, index) for every item `descriptor` sets, in item order, with the item's name
// and type (row) and its index.
template <class Each>
void ForEachSetItem(const QSV_DataDescriptor& descriptor, Each each) {
    for (int i = 0; i < QSV_DataDescriptor::NUM_ITEMS; ++i) {
        const auto index = static_cast<QSV_DataDescriptor::ResultIndex>(i);
        if (descriptor.IsSet(index)) {
            each(QSV_DataDescriptor::RD_NAME_TYPE_ITEMS[i], index);
        }
    }
}
// The descriptor of the items of `items`, as DescriptorItems gives them. An unknown key fails
// with ValueError.
QSV_DataDescriptor MakeDescriptor(const py::dict& items);

// ---- Module parts -------------------------------------------------------------------------------

// Failures and log lines (onf_module.cpp).
void RegisterFailures(py::module_& m);
void RegisterLogSink(py::module_& m);
// Block listing, generic blocks, groups and results (onf_files.cpp).
void RegisterFiles(py::module_& m);
// Model reading and writing (onf_model.cpp).
void RegisterModel(py::module_& m);

} // namespace onf_python
