#pragma once

// What the hull of a ship does to the water around it: the surface falls and the water is pushed
// aside.

#include "control/run_state.h"

namespace dfl {

// Reads drawdown_data_file (length, beam and draught in m, one a line) and, with "interpolated",
// the grids of drawdown_fse_file (surface) and drawdown_vel_file (u, then v without a head).
void READ_DRAWDOWN_DATA(RunState& run);

// Places the two sources of the hull model so that the Rankine oval around them has the beam of the
// hull. Needs SHIPspeed above 0.
void SHIP_STAGNATION(RunState& run);

// Change of the water at a node by the hull.
struct NodeDrawdown {
  float dz = 0.0f;             // of the surface, m
  float du = 0.0f, dv = 0.0f;  // m/s, mesh axes
};

// The hull as all nodes of one pass see it.
struct PassingHull {
  float xs = 0.0f, ys = 0.0f;  // mesh units
  float sn = 0.0f, cs = 1.0f;  // from mesh axes to the ship's
  float bn = 0.0f, bc = 1.0f;  // and back
  float length = 0.0f, beam = 0.0f;
  float U = 0.0f, s = 0.0f, m = 0.0f;  // speed, place and strength of the sources
  bool continuity = false, returns = false;
  float depth = 0.0f;  // of the water at the ship, m
  float Vr = 0.0f, Lr = 0.0f;
  float calibration_factor = 1.0f;
};
PassingHull passing_hull(const RunState& run);

// Water of depth H at (x, y) beside a hull in potential flow, with the return flow.
NodeDrawdown DRAWDOWN_FUNCTION(const PassingHull& hull, float H, double x, double y);
// The same from the grid that is fixed to the ship; nothing outside it.
NodeDrawdown DRAWDOWN_GRID(const PassingHull& hull, const DrawdownGrid& grid, double x, double y);

}  // namespace dfl
