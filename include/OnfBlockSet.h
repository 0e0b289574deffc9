// The container a typed file object works on: a text database with no file of its own, whose
// blocks are addressed by plain block number. Every lookup makes a descriptor from the number
// alone, so it reaches only blocks whose descriptor holds nothing but the block number.
#pragma once

#include "BrelonOnfTxtDatabase.h"
#include "OnfBlock.h"

// A text database without a file of its own, addressed by plain block number: the base of every
// typed file object.
class OnfBlockSet : public BrelonOnfTxtDatabase {
public:
    // A set with an empty file name.
    OnfBlockSet();

    // The block with this number, made empty if absent (an existing block is not replaced).
    OnfBlock& AddEmptyBlock(QSV_OnfId id);
    // The block with this number; an unknown block fails in the block set.
    OnfBlock& GetBlock(QSV_OnfId id);
    const OnfBlock& GetBlock(QSV_OnfId id) const;
    using BrelonOnfTxtDatabase::HasBlock;
    bool HasBlock(QSV_OnfId id) const;
    // Deletes the block with this number.
    void RemoveBlock(QSV_OnfId id);
    OnfHelpers* GetHelpers();
    // The record with id `id` of block `block`; fails with "The item with id %d was not located
    // in block %d." ("155856310811") if the block holds no such record.
    OnfObject GetOnfObject(QSV_OnfId block, int id);
    // As GetOnfObject, read-only; its failure has the identifier "155455310811".
    OnfConstObject GetConstObject(QSV_OnfId block, int id) const;
};
