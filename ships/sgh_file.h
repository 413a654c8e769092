#pragma once

// Grids in SGH form: a head in EnSim form, then rows of values.

#include "control/array.h"
#include "control/run_state.h"
#include "control/text_reader.h"

namespace dfl {

struct SghHeader {
  float xorigin = 0.0f, yorigin = 0.0f;
  float xdelta = 0.0f, ydelta = 0.0f;
  int xcount = 0, ycount = 0;
  float angle = 0.0f;  // degrees
};

// Reads the head at the place of `in`. Every key must stand in it once.
SghHeader read_sgh_header(const RunState& run, TextReader& in);
// Reads ycount rows of xcount values; (row, column).
void READ_SGH_FILE_SCALAR(const RunState& run, TextReader& in, const SghHeader& header,
                          Array2<float>& values);

}  // namespace dfl
