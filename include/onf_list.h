// Stream-format lists and groups: a list of ids with a compact text form that folds ascending
// arithmetic runs ("1-5", "1-7:2"), and the named node and element groups built on it.
#pragma once

#include "onf_base.h"

#include <istream>
#include <ostream>
#include <set>
#include <string>
#include <vector>

class TextLinesProvider;
class TextLineSplitter;

// A plain vector of ids with the folded text form of the result file.
class ONFList {
public:
    ONFList();
    // A list of that one value, not a list of that size.
    explicit ONFList(int value);
    // Implicit, so that a vector or a set of ids passes wherever a list is asked for.
    ONFList(const std::vector<int>& data);
    ONFList(std::vector<int>&& data);
    // The values ascending.
    ONFList(const std::set<int>& data);
    ONFList(const ONFList& other);
    ONFList(ONFList&& other) noexcept;
    ONFList& operator=(const ONFList& other);
    ONFList& operator=(ONFList&& other) noexcept;
    virtual ~ONFList();

    const std::vector<int>& GetData() const { return m_Data; }
    int GetSize() const { return static_cast<int>(m_Data.size()); }
    // The value at `index`, or -1 for an index below 0 or past the end.
    int GetItem(int index) const;
    // Stores `value` at `index`; below 0 is ignored. Past the end the list first grows to 1.5
    // times the index (and at least to index + 1), new values 0.
    void SetItem(int index, int value);
    void PushBackItem(int value) { m_Data.push_back(value); }
    // New values are 0; a negative size empties the list.
    void Resize(int size);
    // Empties the list, keeping its capacity.
    void Clear() { m_Data.clear(); }
    // Ascending.
    void Sort();

private:
    friend std::istream& operator>>(std::istream& is, ONFList& list);
    std::vector<int> m_Data;
};

// Reads as many values as the list holds (its size is the expected count), runs cut at that
// size. A list of size 0 reads one integer, which should be 0. A missing ',' between values
// throws QSV_Failure "161048150210"; bad numbers only leave the stream's fail bit set.
std::istream& operator>>(std::istream& is, ONFList& list);
// Writes the folded tokens, ten to a line, with no line end after the last one. An empty list
// writes " " and a line end.
std::ostream& operator<<(std::ostream& os, const ONFList& list);

// A named list of ids with an id of its own (0 by default).
class ONFGroup : public ONFBaseItem {
public:
    ONFGroup();
    ONFGroup(int id, const std::string& name, const std::vector<int>& data);
    ONFGroup(const ONFGroup& other);
    ONFGroup(ONFGroup&& other) noexcept;
    ONFGroup& operator=(const ONFGroup& other);
    ONFGroup& operator=(ONFGroup&& other) noexcept;
    ~ONFGroup() override;

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    ONFList& GetList() { return m_List; }
    const ONFList& GetList() const { return m_List; }
    int GetSize() const { return m_List.GetSize(); }
    int GetItem(int index) const { return m_List.GetItem(index); }

    // Reads one group from three or more block lines: "id, count", the name, then the list
    // (always at least one line, also for an empty group). Throws QSV_Failure "054022160910"
    // for a first line of fewer than two tokens, and a QSV_Failure when the block runs out of
    // lines. The group's id, name and list are replaced.
    void LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter);

private:
    friend std::istream& operator>>(std::istream& is, ONFGroup& group);
    std::string m_Name;
    ONFList m_List;
};

// Reads "id, count", the name line and, for a count of 1 or more, the list and its line end.
std::istream& operator>>(std::istream& is, ONFGroup& group);
// Writes "id, count", the name and, for a non-empty list, the list and a line end.
std::ostream& operator<<(std::ostream& os, const ONFGroup& group);

// The groups of nodes, block 200.
class ONFNodeGroup : public ONFGroup {
public:
    static constexpr int block_id = 200;
    // "ONF NODE GROUP DEFINITION"
    static const onf_detail::StreamHeaderText header;

    ONFNodeGroup() = default;
    ONFNodeGroup(int id, const std::string& name, const std::vector<int>& data)
        : ONFGroup(id, name, data) {}
    ONFNodeGroup(const ONFNodeGroup& other) = default;
    ONFNodeGroup(ONFNodeGroup&& other) noexcept = default;
    ONFNodeGroup& operator=(const ONFNodeGroup& other) = default;
    ONFNodeGroup& operator=(ONFNodeGroup&& other) noexcept = default;
    ~ONFNodeGroup() override = default;

    static int GetBlockID() { return block_id; }
    static const onf_detail::StreamHeaderText& GetHeader() { return header; }
};

// The groups of elements, block 210.
class ONFElementGroup : public ONFGroup {
public:
    static constexpr int block_id = 210;
    // "ONF ELEMENT GROUP DEFINITION"
    static const onf_detail::StreamHeaderText header;

    ONFElementGroup() = default;
    ONFElementGroup(int id, const std::string& name, const std::vector<int>& data)
        : ONFGroup(id, name, data) {}
    ONFElementGroup(const ONFElementGroup& other) = default;
    ONFElementGroup(ONFElementGroup&& other) noexcept = default;
    ONFElementGroup& operator=(const ONFElementGroup& other) = default;
    ONFElementGroup& operator=(ONFElementGroup&& other) noexcept = default;
    ~ONFElementGroup() override = default;

    static int GetBlockID() { return block_id; }
    static const onf_detail::StreamHeaderText& GetHeader() { return header; }
};
