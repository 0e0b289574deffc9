// The optimisation result file: titles, nodal and element results of the design iterations,
// and the node and element groups they refer to. Written through std::ostream; read back either
// from a std::istream (operator>>) or through the block reader (Read).
#pragma once

#include "onf_base.h"
#include "onf_datablock.h"
#include "onf_list.h"

#include <istream>
#include <ostream>
#include <string>

class OnfBlockTextReader;

// The result file object: the seven blocks as typed vectors, with both reading routes.
class ONFOptResultFile : public ONFFile {
public:
    // `fileName` is UTF-8. The header is set to the three comment lines of a result file and
    // ONF_LINE_NR to 0; all blocks start empty.
    explicit ONFOptResultFile(const std::string& fileName);
    explicit ONFOptResultFile(const std::wstring& fileName);
    ONFOptResultFile(const ONFOptResultFile& other);
    ONFOptResultFile(ONFOptResultFile&& other) noexcept;
    ONFOptResultFile& operator=(const ONFOptResultFile& other);
    ONFOptResultFile& operator=(ONFOptResultFile&& other) noexcept;
    ~ONFOptResultFile() override;

    // Reads the file by the block route and appends its blocks to what this object holds
    // (groups whose id is already there are dropped). Throws the reader's failures,
    // "161050150211" for a block that is no part of a result file, and the blocks' failures.
    void Read();
    // The same from a reader the caller made on the file, which keeps the blocks of numbers the
    // catalogue lacks (UNKNOWN_BLOCK_KEEP), as Read's own reader does.
    void Read(OnfBlockTextReader& reader);
    // Writes the header and all seven blocks to the file. A file that cannot be opened is not
    // reported; nothing is written then.
    void Write() const;

    const ONFOptDataBlock<ONFOptResTitle>& GetOptDBTitle() const { return m_Title; }
    ONFOptDataBlock<ONFOptResTitle>& GetOptDBTitle() { return m_Title; }
    const ONFOptDataBlock<ONFOptResNodalScalar>& GetOptDBNodalScalar() const {
        return m_NodalScalar;
    }
    ONFOptDataBlock<ONFOptResNodalScalar>& GetOptDBNodalScalar() { return m_NodalScalar; }
    const ONFOptDataBlock<ONFOptResNodalVector>& GetOptDBNodalVector() const {
        return m_NodalVector;
    }
    ONFOptDataBlock<ONFOptResNodalVector>& GetOptDBNodalVector() { return m_NodalVector; }
    const ONFOptDataBlock<ONFOptResNodalDisp>& GetOptDBNodalDisp() const { return m_NodalDisp; }
    ONFOptDataBlock<ONFOptResNodalDisp>& GetOptDBNodalDisp() { return m_NodalDisp; }
    const ONFOptDataBlock<ONFOptResElemScalar>& GetOptDBElemScalar() const { return m_ElemScalar; }
    ONFOptDataBlock<ONFOptResElemScalar>& GetOptDBElemScalar() { return m_ElemScalar; }
    const ONFDataBlock<ONFNodeGroup>& GetOptDBNodeGroup() const { return m_NodeGroups; }
    ONFDataBlock<ONFNodeGroup>& GetOptDBNodeGroup() { return m_NodeGroups; }
    const ONFDataBlock<ONFElementGroup>& GetOptDBElementGroup() const { return m_ElementGroups; }
    ONFDataBlock<ONFElementGroup>& GetOptDBElementGroup() { return m_ElementGroups; }

    // Numbers of entries of the result blocks.
    int GetSizeDBTitle() const { return m_Title.GetSize(); }
    int GetSizeDBNodalScalar() const { return m_NodalScalar.GetSize(); }
    int GetSizeDBNodalVector() const { return m_NodalVector.GetSize(); }
    int GetSizeDBNodalDisp() const { return m_NodalDisp.GetSize(); }
    int GetSizeDBElemScalar() const { return m_ElemScalar.GetSize(); }
    // Numbers of groups.
    int GetNumNodeGroup() const { return m_NodeGroups.GetSize(); }
    int GetNumElementGroup() const { return m_ElementGroups.GetSize(); }
    // Range-checked; throw QSV_Failure "System exception ..." ("161506150210").
    const ONFNodeGroup& GetNodeGroup(int index) const { return m_NodeGroups.GetItem(index); }
    const ONFElementGroup& GetElementGroup(int index) const {
        return m_ElementGroups.GetItem(index);
    }

private:
    friend std::istream& operator>>(std::istream& is, ONFOptResultFile& file);

    ONFDataBlock<ONFNodeGroup> m_NodeGroups;
    ONFDataBlock<ONFElementGroup> m_ElementGroups;
    ONFOptDataBlock<ONFOptResTitle> m_Title;
    ONFOptDataBlock<ONFOptResNodalScalar> m_NodalScalar;
    ONFOptDataBlock<ONFOptResNodalVector> m_NodalVector;
    ONFOptDataBlock<ONFOptResNodalDisp> m_NodalDisp;
    ONFOptDataBlock<ONFOptResElemScalar> m_ElemScalar;
};

// Reads blocks until the input ends, appending to the file object. Throws "161049150210" for a
// bad start marker, "161050150210" for a block number that is no part of a result file,
// "161051150210" for a bad end marker, and the blocks' failures.
std::istream& operator>>(std::istream& is, ONFOptResultFile& file);
// Sets precision 6, scientific and show-point on the stream (they stay set), then writes the
// header and the blocks 700, 710, 720, 730, 740, 200 and 210, empty ones included.
std::ostream& operator<<(std::ostream& os, const ONFOptResultFile& file);
