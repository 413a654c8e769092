#pragma once

// What the water does to the bed at every node, once a bed update.

#include "control/run_state.h"
#include "sediment/bedforms.h"

namespace dfl {

// Fills USTAR, TAUbed, KSnode, BEDFORMnode, MOBILITYnode, QSED and DZDT of the nodes and BEDrate of
// the elements from the flow and waves at Tnow.
void BED_FIELDS(RunState& run);

}  // namespace dfl
