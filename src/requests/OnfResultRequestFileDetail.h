// Shared constants of the result request file's sources: the log tag, the block numbers and the
// record item numbers of the request blocks. Private to the engine.
#pragma once

#include "QSV_OnfCatalogue.h"

class OnfBlock;
class QSV_DataBlock;

namespace onf_detail {
namespace rr {

extern const char* const kTag;

// "Error in the cross-references ...": a request names a record its side block lacks.
extern const char* const kCrossReferenceText;

constexpr QSV_OnfId kRequestBlock = static_cast<QSV_OnfId>(400);
constexpr QSV_OnfId kOptionsBlock = static_cast<QSV_OnfId>(410);
constexpr QSV_OnfId kUserVarBlock = static_cast<QSV_OnfId>(420);
constexpr QSV_OnfId kMatrixBlock = static_cast<QSV_OnfId>(430);
constexpr QSV_OnfId kSensitivityBlock = static_cast<QSV_OnfId>(440);
constexpr QSV_OnfId kNodeGroupBlock = static_cast<QSV_OnfId>(10030);
constexpr QSV_OnfId kElementGroupBlock = static_cast<QSV_OnfId>(10032);

// Target blocks with details of their own.
constexpr int kGlobalMatrices = 589;
constexpr int kUserVariables = 620;
constexpr int kSensResponses = 640;
constexpr int kSensNodal = 641;
constexpr int kSensElement = 642;
constexpr int kSensShape = 643;

using ItemNo = QSV_DataRecordItem::DataRecordItem;

constexpr ItemNo Item(int item) {
    return static_cast<ItemNo>(item);
}

// Items of block 400.
constexpr ItemNo RR_TARGET_BLOCK = Item(1);
constexpr ItemNo RR_ANALYSIS_TYPE = Item(2);
constexpr ItemNo RR_LOADCASE = Item(3);
constexpr ItemNo RR_SUBSTEP = Item(4);
constexpr ItemNo RR_MARK = Item(5);
constexpr ItemNo RR_TIME_FLAG = Item(6);
constexpr ItemNo RR_DETAIL_REF = Item(7);
constexpr ItemNo RR_TIME_VALUE = Item(8);

// Items of block 420.
constexpr ItemNo UV_KIND = Item(1);
constexpr ItemNo UV_NUMBER = Item(2);
constexpr ItemNo UV_NAME = Item(3);

// Items of block 440.
constexpr ItemNo SR_NAME = Item(1);
constexpr ItemNo SR_LABEL = Item(2);
constexpr ItemNo SR_USER_OUTPUT_IDS = Item(3);
constexpr ItemNo SR_TYPE = Item(4);
constexpr ItemNo SR_QUALIFIER = Item(5);
constexpr ItemNo SR_HAS_NODE_SET = Item(6);
constexpr ItemNo SR_HAS_ELEMENT_SET = Item(7);
constexpr ItemNo SR_NODE_SET = Item(8);
constexpr ItemNo SR_ELEMENT_SET = Item(9);
constexpr ItemNo SR_CS_TYPE = Item(10);
constexpr ItemNo SR_CS_ORIGIN = Item(11);
constexpr ItemNo SR_CS_AXIS_Z = Item(12);
constexpr ItemNo SR_CS_AXIS_X = Item(13);

// Item 1 of blocks 10030 and 10032: the member ids of a group.
constexpr ItemNo GROUP_ITEMS = Item(1);

// The items 1 upward that the engine reads, as format characters.
extern const char* const kRequestItems;     // block 400
extern const char* const kUserVarItems;     // block 420
extern const char* const kMatrixItems;      // block 430
extern const char* const kSensitivityItems; // block 440
extern const char* const kGroupItems;       // blocks 10030 and 10032

// A file may give a block a format section of its own. Before its records are read by item
// number, this checks that items 1 upward have the types `items` names (more may follow), and
// fails with "ONF block %d has the format '%s', which the result-request file cannot read."
// otherwise, so that no read goes past a record.
void CheckLayout(const QSV_DataBlock& block, QSV_OnfId id, const char* items);

// The index of record `recordId` of the side block `id` that a request refers to, after
// CheckLayout with `items`. A record the block lacks fails with kCrossReferenceText and the
// identifier `failureId`.
size_t SideRecordIndex(const OnfBlock& block, QSV_OnfId id, const char* items, int recordId,
                       const char* failureId);

} // namespace rr
} // namespace onf_detail
