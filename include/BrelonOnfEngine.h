// The umbrella header: every public header of the engine (include/) and of the suite services
// it stands on (contracts/). A client compiles with -I include -I contracts.
#pragma once

// Suite services: failures and logging, catalogue, line input and text services, containers,
// numerics, the block database contract and the group types.
#include "BrelonContainers.h"
#include "BrelonLineInput.h"
#include "BrelonMatrix.h"
#include "BrelonNumerics.h"
#include "BrelonTextServices.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Database.h"
#include "QSV_Failure.h"
#include "QSV_Groups.h"
#include "QSV_IdMap.h"
#include "QSV_OnfCatalogue.h"

// The engine: text reader and writer, block store, id maps, text database and block sets.
#include "BrelonOnfIdMap.h"
#include "BrelonOnfTxtDatabase.h"
#include "OnfBlock.h"
#include "OnfBlockSet.h"
#include "OnfBlockTextReader.h"
#include "OnfBlockTextWriter.h"
#include "OnfConstants.h"

// File kinds.
#include "OnfElement.h"
#include "OnfFileKind.h"
#include "OnfGroupsFile.h"
#include "OnfInitFile.h"
#include "OnfMaterialsReducer.h"
#include "OnfModelCs.h"
#include "OnfModelFile.h"
#include "OnfModifFile.h"
#include "OnfResultRequestFile.h"
#include "OnfTemporaryFile.h"

// The stream-format optimisation result file.
#include "ONFOptResultFile.h"
#include "onf_base.h"
#include "onf_datablock.h"
#include "onf_list.h"
