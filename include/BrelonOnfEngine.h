// The umbrella header: every public header of the engine (include/) and of the suite services
// it stands on (contracts/). A client compiles with -I include -I contracts.
#pragma once

#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"
#include "BrelonMatrix.h"

#include "OnfConstants.h"
