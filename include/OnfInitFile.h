// The init file: size hints for the reader of a model. One record of block 97 per ONF block of
// the model, keyed by the block number, with the lowest and highest record id and the number of
// records, so that a later stage can size its tables before it reads the model itself.
//
// The values are worked out by the caller (a model file collects them); this class only stores,
// reads and writes them. One object belongs to one thread.
#pragma once

#include "OnfBlockSet.h"
#include "QSV_OnfCatalogue.h"

#include <string>

// The init file: size hints of a model, one record of block 97 for each ONF block (first and last
// record id, record count).
class OnfInitFile : public OnfBlockSet {
public:
    // An empty init file (the empty block 97) that Read and Write use at `name`, taken as
    // given. Nothing is read here.
    explicit OnfInitFile(const std::wstring& name);
    // Releases the database without writing: only Write writes.
    ~OnfInitFile() override;

    // Stores the size hints of block `block`, overwriting an earlier record for that block.
    void AppendInit(QSV_OnfId block, int first_id, int last_id, int count);
    // The record count stored for `block`, 0 when the block has no record.
    int GetNumItems(QSV_OnfId block) const;
    // Replaces block 97 by the one in the file. A missing or damaged file fails in the reader.
    void Read();
    // Writes the file anew (header lines and block 97); fails in the writer.
    void Write() const;

private:
    std::wstring m_FileName;
};
