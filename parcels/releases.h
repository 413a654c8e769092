#pragma once

// New parcels in a step, as the time-tables of the sources ask for.

#include "control/run_state.h"

namespace dfl {

void RELEASE_INST(RunState& run);
void RELEASE_POINT(RunState& run);
void RELEASE_LINE(RunState& run);
void RELEASE_AREA(RunState& run);

enum class Plane { xy, xz, yz };
// Point (a, b) of a plane in the polygon of a row of an area source, by a count of crossings. A
// point on a slanted edge is inside; on edges along the axes those at the right and at the top are.
bool INPOLYm(float a, float b, const Array2<double>& position, int row, int vertices, Plane plane);

}  // namespace dfl
