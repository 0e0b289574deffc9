// The descriptor of a block instance: the ordered key under which a database keeps a block.
#pragma once

#include "QSV_OnfCatalogue.h"

#include <cstdint>
#include <memory>
#include <string>

// 14 items, each an integer or a string by its row in RD_NAME_TYPE_ITEMS, and a 32-bit mask in
// which bit i says that item i is set. Item 1 is the ONF block number; the others qualify one
// instance of a block among several of the same number (several load cases, iterations and so
// on). A value type, ordered, cheap enough to copy for the few blocks of a file.
//
// Key names as written in a descriptor section of a file ("KEY = value"):
//   0 MODEL      string   name of the model or component the block belongs to
//   1 ONF_ID     integer  the ONF block number (written from the block number line, not here)
//   2 VARIANT    integer  design variant
//   3 ITERATION  integer  optimisation iteration
//   4 ANALYSIS   integer  analysis type number
//   5 LOADCASE   integer  load case
//   6 SUBCASE    integer  subcase of the load case
//   7 STEP       integer  load or time step
//   8 SUBSTEP    integer  substep of the step
//   9 EIGENMODE  integer  mode number of an eigen analysis
//  10 TIME       string   time point, kept as written so that it compares exactly
//  11 RESULT     string   kind of result the block holds
//  12 COMPONENT  string   component of that result
//  13 LABEL      string   free label
// A reader accepts every unambiguous prefix of a key ("LOAD" for LOADCASE, "SUBC" for SUBCASE;
// "SUB" and "S" are ambiguous).
class QSV_DataDescriptor {
public:
    enum ResultIndex {
        RI_MODEL = 0,
        RI_ONF_ID = 1,
        RI_VARIANT = 2,
        RI_ITERATION = 3,
        RI_ANALYSIS = 4,
        RI_LOADCASE = 5,
        RI_SUBCASE = 6,
        RI_STEP = 7,
        RI_SUBSTEP = 8,
        RI_EIGENMODE = 9,
        RI_TIME = 10,
        RI_RESULT = 11,
        RI_COMPONENT = 12,
        RI_LABEL = 13,
    };
    static constexpr int NUM_ITEMS = 14;
    // Item types of NameAndType::type.
    static constexpr int ITEM_TYPE_INTEGER = 0;
    static constexpr int ITEM_TYPE_STRING = 1;

    // The key name of a descriptor item in a file and the type of its value.
    struct NameAndType {
        const char* name; // capitals and "_" only
        int type;         // ITEM_TYPE_INTEGER or ITEM_TYPE_STRING
    };
    // One row for each item, indexed by ResultIndex.
    static const NameAndType RD_NAME_TYPE_ITEMS[NUM_ITEMS];

    // Empty: no item set (mask 0).
    QSV_DataDescriptor();
    // Item 1 set to `id` and nothing else (mask 2): the descriptor of a plain block.
    QSV_DataDescriptor(QSV_OnfId id);
    QSV_DataDescriptor(const QSV_DataDescriptor& other);
    QSV_DataDescriptor(QSV_DataDescriptor&& other) noexcept = default;
    QSV_DataDescriptor& operator=(const QSV_DataDescriptor& other);
    QSV_DataDescriptor& operator=(QSV_DataDescriptor&& other) noexcept = default;
    ~QSV_DataDescriptor();

    // Back to empty: every item unset, integers 0, strings "", m_Spare -1.
    void Init();
    // Set an item and its bit. An index outside 0 to 13, or an item of the other type, is a
    // QSV_Failure.
    void SetInteger(ResultIndex index, int value);
    void SetString(ResultIndex index, const std::string& value);
    // Clears an item and its bit.
    void Unset(ResultIndex index);
    // The item's value; an unset item reads 0 or "". An index outside 0 to 13, or an item of
    // the other type, is a QSV_Failure.
    int GetInteger(ResultIndex index) const;
    std::string GetString(ResultIndex index) const;
    bool IsSet(ResultIndex index) const;
    uint32_t GetMask() const { return m_Mask; }

    // A strict weak order: first by block number (a descriptor without one first), then by
    // mask, then by the set items in index order (integer items by value, string items by
    // bytes). Descriptors with the same set items and values are equivalent.
    bool operator<(const QSV_DataDescriptor& other) const;
    // Neither orders before the other.
    bool operator==(const QSV_DataDescriptor& other) const;
    bool operator!=(const QSV_DataDescriptor& other) const { return !(*this == other); }

    // Fails with a QSV_Failure for a descriptor that no block can have: one without a block
    // number (item 1).
    void CheckValidity() const;

    // A free integer that follows the presence bits and travels with the descriptor: -1
    // unless a user sets it. The text reader sets it to -1 when it fixes item 1. It takes no
    // part in order or equality.
    int GetSpare() const { return m_Spare; }
    void SetSpare(int value) { m_Spare = value; }

private:
    // The five string items (0, 10 to 13), by their place in this array.
    static constexpr int NUM_STRING_ITEMS = 5;
    static int StringSlot(int index) { return index == RI_MODEL ? 0 : index - RI_TIME + 1; }
    const std::string& StringOf(int index) const;

    int m_Integers[NUM_ITEMS] = {};
    // The texts of the string items, made when one is set: every block and every key of a block
    // set holds a descriptor, and most have no text, so an empty one costs a pointer rather than
    // fourteen strings.
    std::unique_ptr<std::string[]> m_Strings;
    uint32_t m_Mask = 0;
    int m_Spare = -1;
};
